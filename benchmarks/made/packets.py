"""Packets as stations and receivers make them: noise, FM, fading, tones and clocks off. The noise of a case rises from its
first packet to its last, so that nobody gets all."""
import re
from pathlib import Path
from tempfile import TemporaryDirectory

import numpy as np
from scipy import signal

import modem
from . import Case, has, lines_right, run

BLANKS = ["Q SAT", "QA 1-3", "Q B 2C"]
CALLS = "QA1AA QB2BB-9 QC3CC-1 QD4DDD QE5E-11 QF66F-7 QG7GGG-15".split()
PATHS = ["", ",WIDE1-1", ",WIDE1-1,WIDE2-2", ",QX9XX*,WIDE2-1", ",QY8YY-3,QZ7ZZ-2*,WIDE3-3"]
WORDS = "alpha bravo beacon 73 net repeater hill rain 12.6V test over home mobile 145.825 balloon".split()


def text(random, calls=CALLS):
    source, destination = random.choice(calls, 2)
    place = f"!{random.integers(9000):04}.{random.integers(100):02}N/{random.integers(18000):05}.{random.integers(100):02}E-"
    return f"{source}>{destination}{random.choice(PATHS)}:{place}{' '.join(random.choice(WORDS, random.integers(3, 12)))}"


def fsk(levels, baud, mark, space, rate):
    """Tones in one phase, analytic; a bit may end at any part of a sample, which then turns by its share of both."""
    edges = np.arange(len(levels) + 1) / baud * rate  # samples
    turned = np.concatenate([[0], np.cumsum(np.where(np.asarray(levels) == 1, mark, space) / baud)])
    return np.exp(2j * np.pi * np.interp(np.arange(int(edges[-1])), edges, turned))


def packet(line, rate, hf=False, mistuned=0, fast=0, tones=None, twist=0):
    """Analytic signal. mistuned in Hz, fast as a part of the bit rate, twist in dB that the higher tone is louder."""
    mark, space = tones or ((1600, 1800) if hf else (1200, 2200))
    levels = modem.nrzi(modem.hdlc(modem.ax25(line)))
    out = fsk(levels, (300 if hf else 1200) * (1 + fast), mark + mistuned, space + mistuned, rate)
    if twist:  # as a sloping line between the tones does it
        slope = 10 ** (twist / 20 / 2)
        bend = signal.firwin2(2 * (rate // 600) + 1, [0, 2 * mark / rate, 2 * space / rate, 1],
                              [1 / slope, 1 / slope, slope, slope])
        out = np.convolve(out, bend, "same")
    return out


def fading(random, count, rate, doppler):
    """Rayleigh: paths from all around, by their Doppler shifts (Clarke)."""
    t = np.arange(count) / rate
    angles, phases = random.uniform(0, 2 * np.pi, (2, 16))
    return sum(np.exp(1j * (2 * np.pi * doppler * np.cos(a) * t + p)) for a, p in zip(angles, phases)) / 4


def white(random, count, rate, snr):
    """Noise against a sine of amplitude 1, SNR in dB in 3 kHz."""
    return random.normal(0, np.sqrt(10 ** (-snr / 10) / 2 * rate / 2 / 3000), count)


def stations(rate, snrs, count=40, hf=False, change=lambda random, out: out, calls=CALLS, **options):
    """A maker of packets with noise from the first SNR to the second. Options may be functions of the random source."""
    def make(random):
        sent, parts = [text(random, calls) for _ in range(count)], []
        for k, line in enumerate(sent):
            chosen = {name: value(random) if callable(value) else value for name, value in options.items()}
            out = change(random, packet(line, rate, hf, **chosen))
            out = np.pad(np.real(out), int(0.15 * rate * (4 if hf else 1)))
            parts.append(out + white(random, len(out), rate, np.interp(k, (0, count - 1), snrs)))
        return 0.2 * np.concatenate(parts), sent
    return make


def over_fm(rate, snrs, count=40, emphasis=0, deemphasis=False, deviation=3000):
    """A maker of packets through an FM receiver, C/N in 12.5 kHz, noise between. emphasis: dB an octave at the sender."""
    wide = 48000

    def make(random):
        sent, parts = [text(random) for _ in range(count)], []
        channel = signal.firwin(255, 6250, fs=wide)
        for k, line in enumerate(sent):
            audio = np.real(packet(line, wide, twist=emphasis * np.log2(2200 / 1200)))
            audio = np.pad(audio / np.max(np.abs(audio)), int(0.15 * wide))
            carrier = np.exp(2j * np.pi * deviation * np.cumsum(audio) / wide)
            density = 10 ** (-np.interp(k, (0, count - 1), snrs) / 10) * wide / 12500
            carrier += random.normal(0, np.sqrt(density / 2), (len(audio), 2)) @ (1, 1j)
            carrier = np.convolve(carrier, channel, "same")
            turn = np.angle(carrier[1:] * np.conj(carrier[:-1])) * wide / (2 * np.pi * deviation)
            if deemphasis:
                keep = np.exp(-1 / (750e-6 * wide))
                turn = 8 * signal.lfilter([1 - keep], [1, -keep], turn)
            parts.append(signal.resample_poly(turn, rate // np.gcd(rate, wide), wide // np.gcd(rate, wide)))
        return np.clip(0.15 * np.concatenate(parts), -1, 1), sent
    return make


def baseband(line, rate, fast=0):
    """A packet of 9600 Bd as an FM discriminator gives it."""
    return modem.baseband(modem.scrambled(modem.nrzi(modem.hdlc(modem.ax25(line), (150, 10)))), 9600 * (1 + fast), rate)


def scrambled_stations(rate, ratios, count=40, change=lambda random, out: out, after=lambda out: out, **options):
    """A maker of packets of 9600 Bd in white noise from the first Eb/N0 to the second, dB. change is at the sender, after
    at the receiver."""
    def make(random):
        sent, parts = [text(random) for _ in range(count)], []
        for k, line in enumerate(sent):
            chosen = {name: value(random) if callable(value) else value for name, value in options.items()}
            out = np.pad(change(random, baseband(line, rate, **chosen)), int(0.03 * rate))
            density = 10 ** (-np.interp(k, (0, count - 1), ratios) / 10) / 9600
            parts.append(out + random.normal(0, np.sqrt(density * rate / 2), len(out)))
        return np.clip(0.15 * after(np.concatenate(parts)), -1, 1), sent
    return make


def scrambled_over_fm(rate, ratios, count=40, deviation=3000, width=15000, offset=0):
    """A maker of packets of 9600 Bd through an FM receiver of a width in Hz, C/N in 12.5 kHz."""
    wide = 96000

    def make(random):
        sent, parts = [text(random) for _ in range(count)], []
        channel = signal.firwin(255, width / 2, fs=wide)
        pulse = signal.firwin(127, 5500, fs=wide)  # of the sender
        for k, line in enumerate(sent):
            audio = np.convolve(np.pad(baseband(line, wide), int(0.03 * wide)), pulse, "same")
            carrier = np.exp(2j * np.pi * np.cumsum(deviation * audio + offset) / wide)
            density = 10 ** (-np.interp(k, (0, count - 1), ratios) / 10) * wide / 12500
            carrier += random.normal(0, np.sqrt(density / 2), (len(audio), 2)) @ (1, 1j)
            carrier = np.convolve(carrier, channel, "same")
            turn = np.angle(carrier[1:] * np.conj(carrier[:-1])) * wide / (2 * np.pi * deviation)
            common = np.gcd(rate, wide)
            parts.append(signal.resample_poly(turn, rate // common, wide // common))
        return np.clip(0.15 * np.concatenate(parts), -1, 1), sent
    return make


def low_pass(cutoff, rate):
    """Of a radio's audio path, of second order."""
    return lambda out: signal.lfilter(*signal.butter(2, cutoff, fs=rate), out)


def high_pass(cutoff, rate):
    return lambda out: signal.lfilter(*signal.butter(1, cutoff, "high", fs=rate), out)


def clipped(random, out):
    return np.clip(np.real(out), -0.4, 0.4) / 0.4


def flutter(doppler, rate):
    return lambda random, out: out * fading(random, len(out), rate, doppler)


def atest(*options):
    def decode(path):
        with TemporaryDirectory() as folder:
            plain = Path(folder, "plain.wav")
            run("sox", path, plain)
            found = re.findall(r"^(?:\x1b\[[0-9;]*m)?\[[\d.]+\] (.*)$", run("atest", "-F", "0", *options, plain), re.M)
        return [re.sub(r"<0x0[ad]>", "", line) for line in found]
    return decode if has("atest", "sox") else None


def multimon(path):
    with TemporaryDirectory() as folder:
        raw = Path(folder, "22050.raw")
        run("sox", path, "-t", "raw", "-e", "signed", "-b", "16", "-c", "1", "-r", "22050", raw)
        heard = run("multimon-ng", "-q", "-t", "raw", "-a", "AFSK1200", raw)
    lines = []
    for head, info in re.findall(r"^AFSK1200: fm (.*?) UI.*\n(.*)$", heard, re.M):
        source, destination, *path = [re.sub(r"-0$", "", call) for call in re.split(" to | via |,", head)]
        lines.append(f"{source}>{destination}{''.join(',' + call for call in path)}:{info}")
    return lines


def without_marks(lines, sent):
    """What a peer doesn't mark as sent on still counts."""
    def plain(all_of):
        return [line.split(":", 1)[0].replace("*", "") + ":" + line.split(":", 1)[-1] for line in all_of]
    return lines_right(plain(lines), plain(sent))


VHF = {"atest": atest("-P", "E+"), "multimon": multimon if has("multimon-ng", "sox") else None}
G3RUH = {"atest": atest("-B", "9600"), "atest +": atest("-B", "9600", "-P", "+"), "atest F1": atest("-B", "9600", "-F", "1")}
HF = {"atest": atest("-B", "300", "-P", "D+")}


def vhf(name, rate, make, peers=VHF):
    return Case(name, rate, make, "--mode packet", without_marks, peers)


def hf(name, rate, make):
    return Case(name, rate, make, "--mode packet --hf", without_marks, HF)


def g3ruh(name, rate, make):
    return Case(f"9600 Bd, {name}", rate, make, "--mode packet --g3ruh", without_marks, G3RUH)


CASES = [
    *(vhf(f"noise, {rate} Hz", rate, stations(rate, (12, 2))) for rate in (8000, 11025, 48000)),
    vhf("FM, flat", 22050, over_fm(22050, (10, 3))),
    vhf("FM, pre- and de-emphasis", 44100, over_fm(44100, (10, 3), emphasis=6, deemphasis=True)),
    vhf("FM, de-emphasis alone", 48000, over_fm(48000, (10, 3), deemphasis=True)),
    vhf("call signs with blanks", 22050, stations(22050, (12, 5), calls=BLANKS),
        {"atest": VHF["atest"]}),  # the other leaves blanks out
    vhf("treble 8 dB down", 22050, stations(22050, (12, 3), twist=-8)),
    vhf("treble 12 dB down", 22050, stations(22050, (14, 5), twist=-12)),
    vhf("treble 8 dB up", 22050, stations(22050, (12, 3), twist=8)),
    vhf("clipped", 22050, stations(22050, (12, 2), change=clipped)),
    vhf("bit rate 3 % fast", 22050, stations(22050, (16, 4), fast=0.03)),
    vhf("bit rate 3 % slow", 22050, stations(22050, (16, 4), fast=-0.03)),
    vhf("tones 1300 and 2100", 22050, stations(22050, (16, 4), tones=(1300, 2100))),
    vhf("up to 90 Hz, 1.5 %, 10 dB off", 22050,
        stations(22050, (16, 4), mistuned=lambda r: r.uniform(-90, 90), fast=lambda r: r.uniform(-0.015, 0.015),
                 twist=lambda r: r.uniform(-10, 10))),
    *(vhf(f"flutter, {doppler} Hz", 22050, stations(22050, (26, 14), change=flutter(doppler, 22050)))
      for doppler in (2, 10, 30)),
    hf("300 Bd, noise", 8000, stations(8000, (3, -6), 20, True)),
    hf("300 Bd, up to 120 Hz off", 8000, stations(8000, (6, -3), 20, True, mistuned=lambda r: r.uniform(-120, 120))),
    hf("300 Bd, 100 Hz off", 8000, stations(8000, (4, -5), 20, True, mistuned=100)),
    hf("300 Bd, 1 Hz fading", 8000, stations(8000, (20, 6), 20, True, change=flutter(1, 8000))),
    *(g3ruh(f"noise, {rate} Hz", rate, scrambled_stations(rate, (12, 5))) for rate in (22050, 38400, 44100, 48000, 96000)),
    *(g3ruh(f"{part * 100:g} % fast", 48000, scrambled_stations(48000, (12, 5), fast=part)) for part in (1e-4, -3e-3, 5e-3)),
    g3ruh("sent through 4 kHz", 48000, scrambled_stations(48000, (14, 7), change=lambda r, out: low_pass(4000, 48000)(out))),
    *(g3ruh(f"heard through {cutoff} Hz", 48000, scrambled_stations(48000, (14, 7), after=low_pass(cutoff, 48000)))
      for cutoff in (3000, 4500, 6000)),
    *(g3ruh(f"without what is below {cutoff} Hz", 48000, scrambled_stations(48000, (14, 7), after=high_pass(cutoff, 48000)))
      for cutoff in (20, 50, 100)),
    g3ruh("off tune, a DC of up to 0.7", 48000,
        scrambled_stations(48000, (12, 5), change=lambda r, out: out + r.uniform(-0.7, 0.7))),
    *(g3ruh(f"FM, {width} Hz wide", rate, scrambled_over_fm(rate, (16, 8), width=width))
      for width, rate in ((15000, 48000), (12000, 44100), (20000, 96000))),
    g3ruh("FM, 1.2 kHz off tune", 48000, scrambled_over_fm(48000, (18, 10), offset=1200)),
]
