"""Tones that signal: keys of telephones over what stands on the line, calls to aircraft through short wave, and what
sounds like calls of five tones but is none."""
import re
import subprocess
import tempfile
import wave
from functools import partial
from pathlib import Path

import numpy as np

import modem
import tones
from . import Case, has, lines_right, run


def common(a, b):
    """Length of the longest common subsequence."""
    row = [0] * (len(b) + 1)
    for x in a:
        last = row
        row = [0]
        for k, y in enumerate(b):
            row.append(last[k] + 1 if x == y else max(row[-1], last[k + 1]))
    return row[-1]


def keys_right(lines, sent):
    heard = "".join(lines)
    right = common(heard, sent)
    return right, len(heard) - right


def white(count, rate, snr, random):
    """Noise snr dB in 3 kHz below a sine of amplitude 1; None: none."""
    return 0 if snr is None else random.normal(0, np.sqrt(10 ** (-snr / 10) * rate / 12000), count)


def multimon(demodulator):
    def hear(path):
        with tempfile.NamedTemporaryFile(suffix=".raw") as raw:
            run("sox", path, "-t", "raw", "-e", "signed", "-b", "16", "-c", "1", "-r", "22050", raw.name)
            text = run("multimon-ng", "-q", "-t", "raw", "-a", demodulator, raw.name)
        lines = re.findall(rf"^{demodulator}: (\S+)", text, re.M)
        # It leaves the repeat tone of a call as E.
        return lines if demodulator == "DTMF" else [re.sub(r"(.)E", r"\1\1", line) for line in lines]
    return hear if has("multimon-ng", "sox") else None


# ---- Keys ----
def keys(rate, random, standing=(), below=6, snr=25, tone=0.07, gap=0.07, twist=0.0, off=0.0, level=0.1, count=60):
    """Keys over tones that stand all the while, each so many dB below each key tone of a pair."""
    sent = "".join(random.choice(list(tones.KEYS), count))
    audio = modem.overs([tones.dtmf(sent, rate, tone, gap, twist * random.choice([-1, 1]), off * random.choice([-1, 1]))], rate, 0.5)
    for hertz in standing:
        audio = audio + 10 ** (-below / 20) / np.sqrt(2) * tones.sine(hertz, len(audio) / rate, rate, random.uniform(0, 6))[:len(audio)]
    return level * (audio + white(len(audio), rate, snr, random)), sent


DIAL = (350, 440)


def key_case(name, rate, **what):
    return Case(f"keys, {name}", rate, lambda random: keys(rate, random, **what), "--mode dtmf", keys_right, {"multimon-ng": multimon("DTMF")})


KEYS = [
    key_case("dial tone 350 + 440", 8000, standing=DIAL),
    key_case("dial tone, 48 kHz, 3 dB below", 48000, standing=DIAL, below=3),
    key_case("dial tone, 40 ms, 15 dB, twist 4 dB", 22050, standing=DIAL, tone=0.04, gap=0.04, snr=15, twist=4),
    key_case("dial tone as loud, 100 ms, 1.5 % off", 11025, standing=DIAL, below=0, tone=0.1, off=0.015),
    key_case("dial tone, 10 dB, -60 dB of full scale", 16000, standing=DIAL, snr=10, level=0.001),
    key_case("ringing 440 + 480", 8000, standing=(440, 480)),
    key_case("busy 480 + 620", 8000, standing=(480, 620), twist=3),
    key_case("425, as loud", 8000, standing=(425,), below=0, off=0.01),
    key_case("400, 3 dB below, 50 ms", 44100, standing=(400,), below=3, tone=0.05, gap=0.05),
    key_case("no tone, 5 dB, 1.5 % off, twist 5 dB", 8000, snr=5, off=0.015, twist=5),
    key_case("no tone, 40 ms, 8 dB, 48 kHz", 48000, snr=8, tone=0.04, gap=0.04),
    key_case("no tone, 3 dB", 22050, snr=3),
]


# ---- Calls to aircraft ----
def fading(count, rate, spread, random):
    """Gains of a Rayleigh path of mean power 1, its Doppler spectrum a Gaussian of two sigma = spread Hz."""
    coarse = 20  # Hz
    n = int(count / rate * coarse) + 200
    hertz = np.fft.fftfreq(n, 1 / coarse)
    gains = np.fft.ifft(np.fft.fft(random.normal(0, 1, n) + 1j * random.normal(0, 1, n)) * np.exp(-(hertz / spread) ** 2))
    gains /= np.sqrt(np.mean(np.abs(gains) ** 2))
    at = np.arange(count) / rate * coarse
    return np.interp(at, np.arange(n), gains.real) + 1j * np.interp(at, np.arange(n), gains.imag)


def through(audio, rate, spread, paths, random):
    """Audio through short wave: paths 1.5 ms apart, each with its own fading."""
    spectrum = np.fft.fft(audio)
    spectrum[len(spectrum) // 2:] = 0
    analytic, sum_ = 2 * np.fft.ifft(spectrum), 0
    for path in range(paths):
        sum_ = sum_ + np.roll(analytic, round(path * 0.0015 * rate)) * fading(len(audio), rate, spread, random) / np.sqrt(paths)
    return sum_.real


def calls(rate, random, snr=10, shift=60, twist=0.0, hum=None, spread=0.0, paths=1, carrier=None, voice=False, level=0.1, count=10):
    """Calls off tune by up to shift Hz either way. hum: dB of sidebands 120 Hz off the stronger tone over the weaker one."""
    sent, parts = [], []
    for _ in range(count):
        letters = random.choice(list(tones.SELCAL), 4, replace=False)
        code = "-".join("".join(sorted(pair)) for pair in (letters[:2], letters[2:]))
        off, parts_of = random.uniform(-shift, shift), []
        for pair in code.split("-"):
            strong, weak = random.permutation([tones.SELCAL[letter] + off for letter in pair])
            pulse = tones.sine(strong, 1, rate, random.uniform(0, 6)) + 10 ** (-twist / 20) * tones.sine(weak, 1, rate, random.uniform(0, 6))
            if hum is not None:
                for side in (-120, 120):
                    pulse = pulse + 10 ** ((hum - twist) / 20) * tones.sine(strong + side, 1, rate, random.uniform(0, 6))
            parts_of += [pulse / np.sqrt(1 + 10 ** (-twist / 10)), tones.silence(0.2, rate)]
        call = np.concatenate(parts_of[:-1])
        around = [tones.babble(2.5, rate, int(random.integers(1 << 30))) if voice else tones.silence(2.5, rate) for _ in range(2)]
        parts += [around[0], tones.silence(0.3, rate), call, tones.silence(0.3, rate), around[1]]
        sent.append(code)
    audio = np.concatenate(parts)
    if spread:
        audio = through(audio, rate, spread, paths, random)
    if carrier is not None:
        audio = audio + 10 ** (carrier / 20) * tones.sine(random.uniform(300, 1500), len(audio) / rate, rate)[:len(audio)]
    return level * (audio + white(len(audio), rate, snr, random)), sent


def transform(path):
    """A peer: one transform over each pulse, where they stand best, and a search for the shift."""
    with wave.open(str(path)) as file:
        rate = file.getframerate()
        audio = np.frombuffer(file.readframes(file.getnframes()), "<i2").astype(float)
    step, size = round(0.1 * rate), round(0.9 * rate)
    letters, hertz = list(tones.SELCAL), np.array(list(tones.SELCAL.values()))
    shifts = np.arange(-60, 61)
    spectra = []
    for at in range(0, len(audio) - size, step):
        power = np.abs(np.fft.rfft(audio[at:at + size] * np.hanning(size), 2 * size)) ** 2
        bins = np.round((hertz[None, :] + shifts[:, None]) * 2 * size / rate).astype(int)
        band = power[round(250 * 2 * size / rate):round(1550 * 2 * size / rate)]
        spectra.append((np.max([power[bins + k] for k in range(-3, 4)], axis=0), np.median(band)))
    found, last = [], -99
    scores = []
    for k in range(len(spectra) - 12):
        (one, floor_1), (two, floor_2) = spectra[k], spectra[k + 12]
        first, second = np.argsort(one, axis=1)[:, -2:], np.argsort(two, axis=1)[:, -2:]
        rows = np.arange(len(shifts))[:, None]
        fit = np.log(one[rows, first]).sum(axis=1) + np.log(two[rows, second]).sum(axis=1)
        best = int(np.argmax(fit))
        least = min(one[best, first[best]].min() / floor_1, two[best, second[best]].min() / floor_2)
        scores.append((least, k, [*sorted(first[best]), *sorted(second[best])]))
    for least, k, code in sorted(scores, reverse=True, key=lambda score: score[0]):
        if least > 30 and len(set(code)) == 4 and all(abs(k - other) > 20 for other, _ in found):
            found.append((k, "{}{}-{}{}".format(*(letters[letter] for letter in code))))
    return [text for _, text in sorted(found)]


def call_case(name, rate, **what):
    return Case(f"calls, {name}", rate, lambda random: calls(rate, random, **what), "--mode selcal", lines_right, {"a transform": transform})


CALLS = [
    call_case("10 dB", 8000),
    call_case("0 dB", 8000, snr=0),
    call_case("-5 dB", 11025, snr=-5),
    call_case("twist 12 dB", 8000, twist=12),
    call_case("twist 12 dB, sidebands 3 dB below the weak tone", 8000, twist=12, hum=-3, snr=20),
    call_case("flat fading 0.2 Hz", 8000, spread=0.2, snr=15),
    call_case("flat fading 1 Hz", 8000, spread=1, snr=15),
    call_case("two paths 0.5 Hz", 16000, spread=0.5, paths=2, snr=15),
    call_case("a carrier as loud", 8000, carrier=0),
    call_case("a carrier 10 dB up", 8000, carrier=10),
    call_case("voice before and behind, 3 dB", 48000, voice=True, snr=3),
]


# ---- What is no call of five tones ----
def five_tones(rate, random, table=tones.ZVEI1, length=0.07, snr=5, off=0.0, count=20):
    sent = ["".join(random.choice(list("0123456789"), 5)) for _ in range(count)]
    table = {digit: hertz * (1 + off) for digit, hertz in table.items()}
    audio = modem.overs([tones.five_tone(call, rate, table, length) for call in sent], rate, 0.4)
    return 0.1 * (audio + white(len(audio), rate, snr, random)), sent


def words(random, count):
    return " ".join("".join(random.choice(list("ETAOINSHRDLUCMWY"), random.integers(2, 8))) for _ in range(count))


def text_telephone(rate, random, baud=45.45, stop=2, mark=1400, space=1800, snr=20, count=12):
    """Lines of words as a text telephone sends them, hand-typed in places: pauses between characters, the carrier held."""
    lines = []
    for _ in range(count):
        codes = modem.ita2(words(random, 6))
        for at in range(0, len(codes), 5):
            levels = modem.start_stop(codes[at:at + 5], 5, stop, idle=random.integers(0, 8))
            lines.append(modem.fsk(levels, 2 * baud, mark, space, rate))
        lines.append(tones.silence(0.5, rate))
    audio = np.concatenate(lines)
    return 0.1 * (audio + white(len(audio), rate, snr, random)), []


def five_case(name, rate, options="", peer="ZVEI1", make=five_tones, **what):
    return Case(name, rate, partial(make, rate, **what), f"--mode zvei {options}", lines_right, {"multimon-ng": multimon(peer)} if peer else {})


FIVE = [
    five_case("five tones, zvei1 at 5 dB", 8000),
    five_case("five tones, zvei1 at 0 dB, 1.5 % off", 22050, snr=0, off=0.015),
    five_case("five tones, ccir at 5 dB, -1.5 % off", 22050, "--set ccir", "CCIR", table=tones.CCIR, length=0.1, off=-0.015),
    five_case("five tones, eia at 5 dB, 1.5 % off", 48000, "--set eia", "EIA", table=tones.EIA, length=0.033, off=0.015),
    five_case("text telephone, 45.45 Bd, as zvei1", 8000, make=text_telephone),
    five_case("text telephone, 50 Bd, 1.5 stop bits, as zvei1", 22050, make=text_telephone, baud=50, stop=1.5),
]

CASES = [*KEYS, *CALLS, *FIVE]
