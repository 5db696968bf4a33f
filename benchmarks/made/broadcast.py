"""FM broadcasts for `zovek receive -M wfm`, made from a seed as I/Q, and two other receivers to hear them with: a flow
graph of GNU Radio, and a textbook receiver in numpy in double precision.

All tones stand at whole Hz and last throughout, so what a receiver gives is judged by a transform over whole seconds:
the lines of what was sent are signal, all else from 30 Hz to 15 kHz is noise and distortion.
"""
from dataclasses import dataclass, field
from functools import partial
from importlib.util import find_spec
from typing import Callable

import numpy as np
from scipy import signal

SECONDS = 6
HEARD = slice(3, 5)  # s, that are judged
DEVIATION = 75000    # Hz
PILOT, RDS = 0.09, 0.04  # of the deviation
STRONGEST = 28000    # steps: where the band has its peak
NOISE_BAND = 200000  # Hz, in which C/N counts


def sinad(audio, rate, tones):
    """dB of the tones, Hz, over all else that can be heard."""
    spectrum = heard(audio, rate)
    all_else = np.sum(spectrum[30:15001]) - np.sum(spectrum[tones])
    return 10 * np.log10(np.sum(spectrum[tones]) / all_else)


def leaks(audio, rate, tones):
    """dB of the tones over the loudest line beyond 16 kHz."""
    spectrum = heard(audio, rate)
    return 10 * np.log10(np.sum(spectrum[tones]) / np.max(spectrum[16000:]))


def heard(audio, rate):
    """Power by Hz."""
    seconds = audio[HEARD.start * rate:HEARD.stop * rate].reshape(-1, rate)
    return np.mean(np.abs(np.fft.rfft(seconds))**2, axis=0) / rate**2


@dataclass
class Case:
    """As receiving.Case; measure(audio, rate, sent) gives the figure, dB."""
    name: str
    make: Callable
    options: str
    peers: dict = field(default_factory=dict)
    measure: Callable = sinad


# ---- Stations: a second, which is a period ----

def lines(random, tones, microseconds):
    """A spectrum by Hz: tones that fall by 3 dB an octave as music does, with pre-emphasis."""
    spectrum = np.zeros(15001, complex)
    hz = np.array(tones)
    spectrum[hz] = hz**-0.5 * np.exp(2j * np.pi * random.uniform(size=len(tones))) * (1 + 2e-6j * np.pi * hz * microseconds)
    return spectrum


def second_of(spectrum, rate):
    return np.fft.irfft(spectrum, rate) * rate


def music(random, count=40):
    """Tones in Hz, none a multiple of another by design."""
    return sorted({int(hz) for hz in np.geomspace(40, 14900, count) * random.uniform(0.98, 1.0, count)})


def kept(audio, low, high):
    """A second of audio without what is beyond two frequencies, Hz."""
    spectrum = np.fft.rfft(audio)
    spectrum[:low] = spectrum[high + 1:] = 0
    return np.fft.irfft(spectrum, len(audio))


def station(random, rate, tones, microseconds=50, stereo=True, loud=False):
    """Loud: as a studio's limiter makes it, with most of its time near the full deviation, and distorted."""
    time, both = np.arange(rate) / rate, second_of(lines(random, tones, microseconds), rate)
    if loud:
        both = kept(np.clip(5 * both / np.max(np.abs(both)), -1, 1), 1, 15000)
    composite = both / np.max(np.abs(both))
    if stereo:
        apart = second_of(lines(random, music(random), microseconds), rate)
        programme = both / np.max(np.abs(both)) + 0.5 * apart / np.max(np.abs(apart)) * np.sin(4 * np.pi * 19000 * time)
        data = kept(np.repeat(random.choice([-1.0, 1.0], 2400), rate // 2400 + 1)[:rate], 0, 2400)  # as RDS has it
        composite = ((1 - PILOT - RDS) * programme / np.max(np.abs(programme)) + PILOT * np.sin(2 * np.pi * 19000 * time)
                     + RDS * data / np.max(np.abs(data)) * np.sin(6 * np.pi * 19000 * time))
    return np.exp(2j * np.pi * DEVIATION * np.cumsum(composite - np.mean(composite)) / rate)


def band(random, rate, cn=None, tones=None, carrier=0, offset=0, neighbour=None, bits=16, **shape):
    """I/Q in steps of 16 bits with as many of them as it has: a station, cn in dB, and perhaps another that is
    (Hz from it, dB above it)."""
    sent = tones or music(random)
    place = 2j * np.pi * np.arange(rate) / rate
    whole = station(random, rate, sent, **shape) * np.exp(place * (carrier + offset))
    if neighbour:
        hz, db = neighbour
        whole = whole + 10**(db / 20) * station(random, rate, music(random), loud=True) * np.exp(place * (carrier + hz))
    whole = np.tile(whole, SECONDS)
    if cn is not None:
        level = np.sqrt(10**(-cn / 10) * rate / NOISE_BAND / 2)
        whole = whole + level * (random.normal(size=len(whole)) + 1j * random.normal(size=len(whole)))
    pairs = np.column_stack((whole.real, whole.imag))
    step = 1 << (16 - bits)
    pairs = pairs * STRONGEST / np.max(np.abs(pairs)) / step + random.uniform(-0.5, 0.5, pairs.shape)
    return np.clip(np.rint(pairs) * step, -32768, 32767).astype(np.int16), rate, sent


# ---- Other receivers ----

def steps_of(rate):
    """Decimations before and behind the detector: some 240 kHz, some 48 kHz, in whole Hz."""
    first = max(d for d in range(1, rate // 240000 + 1) if rate % d == 0)
    second = max(d for d in range(1, rate // first // 48000 + 1) if (rate // first) % d == 0)
    return first, second


def by_model(carrier, microseconds, samples, rate):
    first, second = steps_of(rate)
    fast = rate // first
    z = (samples[:, 0] + 1j * samples[:, 1]) * np.exp(-2j * np.pi * carrier * np.arange(len(samples)) / rate)
    if rate > fast:
        z = signal.oaconvolve(z, signal.firwin(int(6.5 * rate / 30000) | 1, 105000, window=("kaiser", 10.06), fs=rate), "same")[::first]
    audio = np.angle(z[1:] * np.conj(z[:-1])) * fast / (2 * np.pi * DEVIATION)
    audio = np.append(audio, 0.0)
    hz = np.fft.rfftfreq(len(audio), 1 / fast)
    audio = np.fft.irfft(np.fft.rfft(audio) / (1 + 2e-6j * np.pi * hz * microseconds) * np.clip((18000 - hz) / 2000, 0, 1), len(audio))
    return audio[::second], fast // second


def by_gnuradio(carrier, microseconds, samples, rate):
    from gnuradio import blocks, gr
    first, second = steps_of(rate)
    graph, sink = gr.top_block(), blocks.vector_sink_f()
    z = ((samples[:, 0] + 1j * samples[:, 1]) / 32768).astype(np.complex64)
    graph.connect(blocks.vector_source_c(z), *gnuradio_chain(carrier, microseconds, rate), sink)
    graph.run()
    return np.array(sink.data()), rate // first // second


def gnuradio_chain(carrier, microseconds, rate):
    """As flow graphs of broadcast receivers have it."""
    from gnuradio import analog, filter as filters
    from gnuradio.filter import firdes
    first, second = steps_of(rate)
    fast = rate // first
    return [filters.freq_xlating_fir_filter_ccc(first, firdes.low_pass(1.0, rate, 100000, 40000), carrier, rate),
            analog.quadrature_demod_cf(fast / (2 * np.pi * DEVIATION)),
            analog.fm_deemph(fast, microseconds * 1e-6),  # at 48 kHz it would be 3 dB low at 15 kHz
            filters.fir_filter_fff(second, firdes.low_pass(1.0, fast, 16500, 3000))]


def case(name, rate, carrier=0, microseconds=50, measure=sinad, **rest):
    peers = {"numpy": partial(by_model, carrier, microseconds)}
    if find_spec("gnuradio"):
        peers["GNU Radio"] = partial(by_gnuradio, carrier, microseconds)
    options = f"-M wfm --iq -f {carrier} --deemphasis {microseconds} --output-type wavf32"
    return Case(f"wfm, {name}", partial(band, rate=rate, carrier=carrier, microseconds=microseconds, **rest), options, peers, measure)


CASES = [
    case("1 kHz at 75 kHz, mono, 240 kHz", 240000, tones=[1000], stereo=False),
    case("15 kHz at 75 kHz, mono, 2.4 MHz", 2400000, 600000, tones=[15000], stereo=False),
    case("tones of 400 Hz and 9 kHz, mono, 250 kHz", 250000, tones=[400, 9000], stereo=False),
    case("1 kHz at 75 kHz, stereo, 2.4 MHz", 2400000, 600000, tones=[1000]),
    case("400 Hz to 9 kHz, stereo, 2.4 MHz", 2400000, 600000, tones=[400, 1100, 2900, 9000]),
    case("pilot and subcarriers, 2.4 MHz", 2400000, -600000, measure=leaks),
    *(case(f"music, mono, 2.4 MHz, C/N {cn} dB", 2400000, 600000, cn=cn, stereo=False) for cn in (20, 40, 60)),
    *(case(f"music, stereo, 2.4 MHz, C/N {cn} dB", 2400000, 600000, cn=cn) for cn in (15, 20, 30, 40, 50, 60)),
    *(case(f"music, stereo, {rate / 1e6:g} MHz, C/N 40 dB", rate, min(rate // 8, 300000) * (rate > 300000), cn=40)
      for rate in (240000, 250000, 1024000, 2048000, 3200000)),
    case("music, stereo, 75 us, 2.4 MHz, C/N 30 dB", 2400000, 600000, microseconds=75, cn=30),
    case("music, stereo, 2.4 MHz, 8 bits", 2400000, 600000, bits=8),
    case("music, stereo, 1.024 MHz, 8 bits, C/N 20 dB", 1024000, 200000, bits=8, cn=20),
    case("music, stereo, 10 kHz off, 2.4 MHz, C/N 40 dB", 2400000, 600000, offset=10000, cn=40),
    *(case(f"music, stereo, one {hz / 1000:+g} kHz, {db} dB up, 2.4 MHz, C/N 50 dB", 2400000, 500000, neighbour=(hz, db), cn=50)
      for hz, db in ((200000, 0), (200000, 10), (200000, 20), (-300000, 30), (400000, 40))),
]
