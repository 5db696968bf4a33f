"""Stations with a carrier that isn't where the dial is, for `zovek receive -M sam`.

A case makes a band of 16-bit samples (two columns for I/Q), its rate in Hz, and the audio that was sent, at 8 kHz. Its
peers hear the band alone, but for the model: it is told the phase of the carrier that was sent last.
"""
from dataclasses import dataclass, field
from fractions import Fraction
from importlib.util import find_spec

import numpy as np
import soundfile
from scipy import signal

from . import ROOT

AUDIO = 8000       # Hz, of what is sent
DIAL = 0.25        # of the rate: where the station is looked for; the centre in I/Q
NOISE_BAND = 6000  # Hz, in which the carrier-to-noise ratio counts
HEARD = 2800       # Hz, either side of the carrier
TEXTS = ("usb_speech", "fm_speech", "lsb_weak", "sam_fading")


def speech(random, seconds):
    said = np.concatenate([soundfile.read(ROOT / f"samples/{name}.ref.flac")[0] for name in TEXTS])
    return piece(said, random, seconds)


def music(random, seconds):
    return piece(soundfile.read(ROOT / "samples/am_music.ref.flac")[0][4 * AUDIO:], random, seconds)


def piece(audio, random, seconds):
    """From a random place on, with peaks of 1."""
    part = np.roll(audio, -random.integers(len(audio)))
    part = np.resize(part, round(seconds * AUDIO))
    return part / np.max(abs(part))


def resampled(audio, rate, to):
    ratio = Fraction(int(to), int(rate))
    return signal.resample_poly(audio, ratio.numerator, ratio.denominator)


def at_rate(audio, rate, count):
    fast = resampled(audio, AUDIO, rate)
    return np.pad(fast, (0, max(0, count - len(fast))))[:count]


# ---- What becomes of a station on its way, in complex numbers at the band's rate ----

def echo(station, rate, random):
    """A second path, 0.4 ms late and 1.2 dB down, turns through the carrier every five seconds."""
    late = np.roll(station, round(0.0004 * rate))
    turn = np.exp(2j * np.pi * (np.arange(len(station)) / rate / 5 + random.random()))
    return station + 0.87 * late * turn


def flat_fade(station, rate, random):
    """Down to -20 dB and back, all frequencies at once."""
    return station * 10 ** (-0.5 - 0.5 * np.cos(2 * np.pi * (np.arange(len(station)) / rate / 4 + random.random())))


@dataclass
class Station:
    name: str
    rate: int = 48000         # Hz
    seconds: float = 10
    off: float = 0            # Hz that the carrier stands off the dial
    drift: float = 0          # Hz a minute
    step: float = 0           # Hz, in the middle
    cn: float = 45            # dB, carrier over noise
    modulation: float = 0.8
    audio: object = speech
    path: object = None
    beside: tuple = ()        # (Hz from the dial, dB over the carrier, modulation) of others
    iq: bool = False
    more: str = ""            # options
    peers: dict = field(default_factory=dict)

    def __post_init__(self):
        self.name = f"sam, {self.name}"
        self.peers = {"model": self.by_known_carrier}
        if find_spec("gnuradio"): self.peers["GNU Radio"] = self.by_gnuradio

    @property
    def dial(self):
        return 0 if self.iq else int(DIAL * self.rate)

    @property
    def options(self):
        return f"-M sam -f {self.dial} {'--iq ' if self.iq else ''}{self.more}".strip()

    def make(self, random):
        count = round(self.seconds * self.rate)
        time = np.arange(count) / self.rate
        sent = self.audio(random, self.seconds)
        hertz = self.off + self.drift / 60 * time + self.step * (time >= self.seconds / 2 + random.uniform(-0.5, 0.5))
        self.phase = 2 * np.pi * (np.cumsum(hertz) / self.rate + random.random())
        station = (1 + self.modulation * at_rate(sent, self.rate, count)) * np.exp(1j * self.phase)
        if self.path: station = self.path(station, self.rate, random)
        width = self.rate if self.iq else self.rate / 2
        spread = 10 ** (-self.cn / 20) * np.sqrt(width / NOISE_BAND)
        for hz, db, depth in self.beside:
            other = 1 + depth * at_rate(speech(random, self.seconds), self.rate, count)
            station = station + 10 ** (db / 20) * other * np.exp(2j * np.pi * (hz * time + random.random()))
        band = station * np.exp(2j * np.pi * self.dial * time)
        noise = random.normal(0, spread / np.sqrt(2), (2, count))
        if self.iq:
            band = np.column_stack((band.real + noise[0], band.imag + noise[1]))
        else:
            band = band.real + noise[0]
        return np.rint(20000 / np.max(abs(band)) * band).astype("<i2"), self.rate, sent

    def down(self, band, rate, phase=None):
        """The station at 12 kHz, complex, the dial or the known phase turned to 0."""
        if phase is None: phase = np.zeros(len(band))
        whole = band @ (1, 1j) if self.iq else band.astype(float)
        turned = whole * np.exp(-1j * (2 * np.pi * self.dial * np.arange(len(whole)) / rate + phase))
        if self.iq:  # in steps, or the filters were endless
            while rate > 200000 and rate % 5 == 0:
                turned, rate = signal.resample_poly(turned, 1, 5), rate // 5
        taps = signal.firwin(2 * round(0.02 * rate) + 1, HEARD, window="blackman", fs=rate)
        return resampled(signal.oaconvolve(turned, taps, mode="same"), rate, 12000)

    def by_known_carrier(self, band, rate):
        return self.down(band, rate, self.phase).real, 12000

    def by_gnuradio(self, band, rate):
        """A translating filter and a loop that may go 600 Hz to either side."""
        from gnuradio import analog, blocks, filter as filters, gr
        from gnuradio.fft import window
        step = max(d for d in range(1, rate // 12000 + 1) if rate % d == 0)
        slow = rate // step
        limit = 2 * np.pi * 600 / slow
        taps = filters.firdes.low_pass(1, rate, HEARD + 150, 300, window.WIN_HAMMING)
        sink = blocks.vector_sink_f()
        graph = gr.top_block()
        graph.connect(blocks.vector_source_c((band @ (1, 1j) if self.iq else band).astype(np.complex64) / 32768),
                      filters.freq_xlating_fir_filter_ccf(step, taps, self.dial, rate),
                      analog.pll_carriertracking_cc(2 * np.pi * 10 / slow, limit, -limit), blocks.complex_to_real(1), sink)
        graph.run()
        audio = np.array(sink.data())
        return audio - np.mean(audio), slow


CASES = [
    *(Station(f"{off:+} Hz", off=off) for off in (0, 10, -30, 50, -50, 100, -100, 300, -300)),
    *(Station(f"{cn} dB, {off:+} Hz", off=off, cn=cn) for cn in (30, 20, 10) for off in (0, 100)),
    *(Station(f"{100 * part:.0f} % {kind.__name__}, -70 Hz", off=-70, modulation=part, audio=kind)
      for part, kind in ((0.3, speech), (1, speech), (0.3, music), (1, music))),
    *(Station(f"drift {drift:+} Hz a minute", off=20, drift=drift, seconds=30) for drift in (5, -20, 50)),
    *(Station(f"step of {step:+} Hz", off=10, step=step) for step in (-12, 40, -150)),
    Station("selective fade", path=echo, off=4),
    Station("selective fade, +60 Hz", path=echo, off=60),
    Station("selective fade, music, -40 Hz", path=echo, off=-40, audio=music),
    Station("flat fade, +60 Hz", path=flat_fade, off=60),
    Station("44.1 kHz, +80 Hz", rate=44100, off=80),
    Station("192 kHz, +80 Hz", rate=192000, off=80),
    Station("I/Q at 2.4 MHz, -80 Hz", rate=2400000, off=-80, iq=True, seconds=5),
    Station("neighbour 5 kHz up, 10 dB, +40 Hz", off=40, beside=((5000, 10, 0.8),)),
    Station("neighbours 9 kHz off, 20 dB, +40 Hz", off=40, beside=((9000, 20, 0.8), (-9000, 20, 0.8))),
    Station("whistle at +350 Hz, 6 dB down", off=20, beside=((350, -6, 0),)),
    Station("whistle at -400 Hz, 3 dB up", off=30, beside=((-400, 3, 0),)),
]
