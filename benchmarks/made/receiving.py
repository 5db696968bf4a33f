"""Stations for `zovek receive`, made from a seed, and two other receivers to hear them with: flow graphs of GNU Radio,
and a textbook receiver in numpy in double precision, with filters of several thousand taps.

A case makes a band of 16-bit samples (two columns for I/Q), its rate in Hz, and the audio that was sent, at 8 kHz.
"""
from dataclasses import dataclass, field
from functools import cache, partial
from importlib.util import find_spec
from typing import Callable

import numpy as np
import soundfile
from scipy import signal

from . import ROOT

AUDIO_RATE = 8000  # Hz, of what is sent
SECONDS = 6
VOICES = ("usb_speech", "lsb_weak", "fm_speech", "sam_fading")  # of samples/
STRONGEST = 28000  # steps: where a band with a strong neighbour has its peak


@dataclass
class Case:
    """A row of the table. peers: {title: hear(band, rate)}, which gives audio and its rate."""
    name: str
    make: Callable  # of a random generator: band, rate in Hz, audio sent
    options: str    # of zovek receive
    peers: dict = field(default_factory=dict)


# ---- Stations, complex, seen from their carrier, with a carrier or a mean magnitude of about 1 ----

@cache
def voice(name):
    audio, rate = soundfile.read(ROOT / f"samples/{name}.ref.flac")
    assert rate == AUDIO_RATE
    return audio / np.max(np.abs(audio))


def speech(random, name=None):
    """SECONDS of a speaker, from somewhere on; peaks at 1."""
    audio = voice(name or VOICES[random.integers(len(VOICES))])
    audio = np.roll(audio, -random.integers(len(audio)))[:SECONDS * AUDIO_RATE]
    return audio / np.max(np.abs(audio))


def raised(audio, rate):
    """Audio at the rate of the band."""
    return signal.resample(audio, SECONDS * rate)


def am(audio, rate, depth=0.8):
    return 1 + depth * raised(audio, rate) + 0j


def usb(audio, rate):
    return signal.hilbert(raised(audio, rate))


def lsb(audio, rate):
    return np.conj(usb(audio, rate))


def fm(audio, rate, deviation=3000):
    return np.exp(2j * np.pi * deviation * np.cumsum(raised(audio, rate)) / rate)


def turned(station, hz, rate):
    return station * np.exp(2j * np.pi * hz * np.arange(len(station)) / rate)


STATIONS = {"am": am, "sam": am, "usb": usb, "lsb": lsb, "isb": usb, "fm": fm}
NOISE_BAND = {"am": 6000, "sam": 6000, "usb": 3000, "lsb": 3000, "isb": 3000, "fm": 12500}  # Hz, in which SNR counts


def band(random, mode, rate, carrier, snr, rms=None, neighbour=None, offset=0.0, iq=False, **shape):
    """A station with noise, snr in dB (of AM: of its sidebands), and perhaps a neighbour: (Hz from the station, dB above
    it, and what makes it or None for a bare carrier). As loud as rms, in steps, or with its peak at STRONGEST."""
    sent = speech(random, VOICES[0])
    station = STATIONS[mode](sent, rate, **shape)
    power = np.mean(np.abs(station - np.mean(station) * (mode in ("am", "sam")))**2)
    whole = turned(station * np.exp(2j * np.pi * random.uniform()), carrier + offset, rate)
    if neighbour:
        hz, db, kind = neighbour
        other = kind(speech(random, VOICES[1]), rate) if kind else np.ones(len(station))
        level = np.sqrt(np.mean(np.abs(station)**2) / np.mean(np.abs(other)**2)) * 10**(db / 20)
        whole = whole + turned(level * other * np.exp(2j * np.pi * random.uniform()), carrier + hz, rate)
    noise = np.sqrt(power * 10**(-snr / 10) * rate / NOISE_BAND[mode] / 2)
    whole = whole + noise * (random.normal(size=len(whole)) + 1j * random.normal(size=len(whole)))
    whole = np.column_stack((whole.real, whole.imag)) if iq else whole.real
    whole *= rms / np.std(whole) if rms else STRONGEST / np.max(np.abs(whole))
    return np.rint(np.clip(whole, -32768, 32767)).astype(np.int16), rate, sent


# ---- The textbook receiver ----

WIDTH = {"am": 6000, "sam": 5600, "fm": 12500}  # Hz, of the other receivers
SIDES = {"usb": (300, 2700), "isb": (300, 2700), "lsb": (-2700, -300)}  # Hz from the carrier
MODEL_TRANSITION = 400  # Hz, from what a filter of the model keeps to 100 dB down; FM has 4 times that
CARRIER_REACH, CARRIER_WIDTH = 200, 15  # Hz: synchronous AM looks for its carrier, and takes what lies around it


def edges(mode):
    return SIDES.get(mode) or (-WIDTH[mode] / 2, WIDTH[mode] / 2)


def at_baseband(samples, rate, carrier):
    z = samples[:, 0] + 1j * samples[:, 1] if samples.ndim == 2 else signal.hilbert(samples.astype(float))
    return turned(z, -carrier, rate)


def carrier_of(z, rate):
    spectrum, hz = np.fft.fft(z), np.fft.fftfreq(len(z), 1 / rate)
    line = hz[np.argmax(np.abs(spectrum) * (np.abs(hz) < CARRIER_REACH))]
    return np.fft.ifft(spectrum * np.exp(-((hz - line) / CARRIER_WIDTH)**2))


DETECTORS = {"am": lambda z, rate: np.abs(z),
             "sam": lambda z, rate: np.real(z * np.exp(-1j * np.angle(carrier_of(z, rate)))),
             "fm": lambda z, rate: np.angle(z[1:] * np.conj(z[:-1]))}


def by_model(mode, carrier, samples, rate):
    low, high = edges(mode)
    transition = MODEL_TRANSITION * (4 if mode == "fm" else 1)
    taps = signal.firwin(int(6.5 * rate / transition) | 1, (high - low) / 2 + transition / 4, window=("kaiser", 10.06), fs=rate)
    middle = (low + high) / 2
    z = signal.oaconvolve(at_baseband(samples, rate, carrier + middle), taps, "same")
    step = max(d for d in range(1, rate // 24000 + 1) if rate % d == 0)
    z = turned(z[::step], middle, rate // step)
    audio = DETECTORS.get(mode, lambda z, rate: z.real)(z, rate // step)
    return audio - np.mean(audio), rate // step


# ---- GNU Radio ----

def by_gnuradio(mode, carrier, samples, rate):
    from gnuradio import analog, blocks, filter as filters, gr
    from gnuradio.filter import firdes
    low, high = edges(mode)
    step = max(d for d in range(1, rate // 24000 + 1) if rate % d == 0)
    graph, fast = gr.top_block(), rate // step
    z = samples[:, 0] + 1j * samples[:, 1] if samples.ndim == 2 else samples.astype(complex)
    shape = [1.0, rate, high, 2000] if mode == "fm" else [1.0, rate, high + 200, 600]
    taps = firdes.complex_band_pass(1.0, rate, low, high, 400) if mode in SIDES else firdes.low_pass(*shape)
    chain = [blocks.vector_source_c((z / 32768).astype(np.complex64)), filters.freq_xlating_fir_filter_ccc(step, taps, carrier, rate)]
    if mode == "am":
        chain.append(blocks.complex_to_mag(1))
    elif mode == "fm":
        chain.append(analog.quadrature_demod_cf(1.0))
    else:
        if mode == "sam":
            reach = 2 * np.pi * CARRIER_REACH / fast
            chain.append(analog.pll_carriertracking_cc(2 * np.pi * 10 / fast, reach, -reach))
        chain.append(blocks.complex_to_real(1))
    sink = blocks.vector_sink_f()
    graph.connect(*chain, sink)
    graph.run()
    audio = np.array(sink.data())
    return audio - np.mean(audio), fast


def peers(mode, carrier):
    known = {"numpy": partial(by_model, mode, carrier)}
    if find_spec("gnuradio"):
        known["GNU Radio"] = partial(by_gnuradio, mode, carrier)
    return known


def case(name, mode, rate, carrier, snr, iq=False, **rest):
    options = f"-M {mode} -f {carrier}" + (" --iq" if iq else "")
    return Case(name, partial(band, mode=mode, rate=rate, carrier=carrier, snr=snr, iq=iq, **rest), options, peers(mode, carrier))


CASES = [
    *(case(f"{mode}, {rate} Hz, {rms} steps rms", mode, rate, rate // 4, 30, rms=rms)
      for mode, rate, rms in (("am", 48000, 3), ("sam", 44100, 1), ("usb", 48000, 3), ("usb", 44100, 1), ("lsb", 192000, 10),
                              ("fm", 48000, 3), ("fm", 192000, 10))),
    *(case(f"{mode}, I/Q {rate} Hz, 3 steps rms", mode, rate, carrier, 30, rms=3, iq=True)
      for mode, rate, carrier in (("am", 192000, -20000), ("usb", 192000, -20000), ("usb", 2400000, 600000))),
    *(case(f"{mode}, {rate} Hz, carrier {hz:+} Hz, {db} dB up", mode, rate, rate // 4, 30, neighbour=(hz, db, None))
      for mode, rate, hz, db in (
          ("am", 48000, 4000, 10), ("am", 48000, 8000, 50), ("am", 192000, -40000, 60), ("sam", 48000, 8000, 60),
          ("sam", 44100, -6000, 40), ("usb", 48000, 8000, 50), ("usb", 96000, -5000, 60), ("lsb", 44100, -6000, 40),
          ("fm", 192000, 20000, 60))),
    *(case(f"am, {rate} Hz, one {hz:+} Hz, {db} dB up", "am", rate, rate // 4, 30, neighbour=(hz, db, am))
      for rate, hz, db in ((48000, 5000, 20), (64000, 6000, 30), (48000, 9000, 50))),
    *(case(f"fm, {own} kHz, {rate} Hz, one of {other} kHz {hz:+} Hz, {db} dB up", "fm", rate, rate // 4, 25, deviation=1000 * own,
           neighbour=(hz, db, partial(fm, deviation=1000 * other)))
      for rate, own, other, hz, db in ((48000, 3, 3, -12500, 20), (64000, 3, 3, 12500, 45), (192000, 3, 5, -12500, 30),
                                       (64000, 5, 5, 12500, 30), (192000, 5, 5, 25000, 50))),
    *(case(f"{mode}, clean", mode, 48000, 12000, 30) for mode in ("am", "sam", "usb", "lsb")),
    *(case(f"fm, {deviation // 1000} kHz, clean", "fm", 48000, 12000, 25, deviation=deviation) for deviation in (3000, 5000)),
]
