"""Overs of spoken words with a sub-audible tone below them, and what has none; judged over by over."""
import functools
import io
import subprocess
import wave

import numpy as np
from made import Case  # puts scripts/ on the path
from scipy import signal

import bulletins
import modem
import tones

TONES = [67.0, 69.3, 71.9, 74.4, 77.0, 79.7, 82.5, 85.4, 88.5, 91.5, 94.8, 97.4, 100.0, 103.5, 107.2, 110.9, 114.8, 118.8,
         123.0, 127.3, 131.8, 136.5, 141.3, 146.2, 151.4, 156.7, 159.8, 162.2, 165.5, 167.9, 171.3, 173.8, 177.3, 179.9, 183.5,
         186.2, 189.9, 192.8, 196.6, 199.5, 203.5, 206.5, 210.7, 218.1, 225.7, 229.1, 233.6, 241.8, 250.3, 254.1]
OVER, OVERS = 4, 24  # s, overs a recording
WORDS = """station calling this is the mobile unit on the way to the north bridge please stand by we have two vehicles at the
gate over copy that the weather is clear wind from the west at ten knots roger meet me at the main entrance in fifteen
minutes bring the second radio and the long cable all units return to base when ready what is your position going down
the valley road now near the old mill say again your signal was broken thank you good morning everyone""".split()
VOICES = ["en-us", "en-gb", "en-gb-scotland", "en-us+m1", "en-us+m3", "en-us+m7", "en-gb+f2", "en-us+f4", "en-gb-x-rp", "de", "fr", "es"]


@functools.lru_cache(maxsize=None)
def spoken(text, voice, pitch, speed):
    """Audio of a text at 22050 Hz."""
    command = ["espeak-ng", "-v", voice, "-p", str(pitch), "-s", str(speed), "--stdout", text]
    data = subprocess.run(command, check=True, capture_output=True).stdout
    with wave.open(io.BytesIO(data)) as file:
        rate = file.getframerate()
    audio = np.frombuffer(data[44:len(data) // 2 * 2], "<i2") / 32768
    loud = np.flatnonzero(np.abs(audio) > 0.02)
    return audio[loud[0]:loud[-1]], rate


def voice(random, seconds, rate, highpass=None):
    """Somebody who speaks, from the first sample on; rms 1. Above highpass Hz alone, as radios send."""
    text = " ".join(random.choice(WORDS, round(seconds * 5)))
    audio, own = spoken(text, random.choice(VOICES), int(random.integers(0, 90)), int(random.integers(130, 190)))
    if highpass:
        audio = signal.sosfilt(signal.butter(6, highpass, "highpass", fs=own, output="sos"), audio)
    audio = signal.resample_poly(audio, rate, own)[:round(seconds * rate)]
    audio = np.pad(audio, (0, round(seconds * rate) - len(audio)))
    return audio / np.sqrt(np.mean(audio ** 2))


def hum(random, seconds, rate, mains):
    """Mains and their harmonics, each of a random strength; off by up to 0.1 %; rms 1."""
    mains *= 1 + random.uniform(-1e-3, 1e-3)
    sum_ = sum(random.uniform(0.1, 1) * tones.sine(mains * k, seconds, rate, random.uniform(0, 6)) for k in range(1, 9))
    return sum_ / np.sqrt(np.mean(sum_ ** 2))


def overs(random, rate, below=(14, 20), snr=40, highpass=None, off=0.0, mains=None, hum_below=20, none=1 / 6):
    """Overs of OVER s in a row, some without a tone. Noise is white, so many dB under the voice in 3 kHz."""
    parts, sent = [], []
    for k in range(OVERS):
        over = voice(random, OVER, rate, highpass)
        tone = None if random.random() < none else random.choice(TONES)
        if tone:
            share = np.sqrt(2) * 10 ** (-random.choice(below) / 20)
            over = over + share * tones.sine(tone * (1 + off * random.uniform(-1, 1)), OVER, rate, random.uniform(0, 6))
        parts.append(over)
        sent.append(f"{k * OVER} {tone or 'none'}")
    audio = np.concatenate(parts)
    if mains:
        audio = audio + 10 ** (-hum_below / 20) * hum(random, len(parts) * OVER, rate, mains)
    audio = audio + modem.noise(len(audio), random.integers(1 << 30), rate, 2 * 10 ** (-snr / 10))
    return 0.1 * audio, sent


def judge(lines, sent):
    """Overs that are told right by their middle, and tones that are told in an over without them."""
    told = [(float(time), state) for time, state in (line.split() for line in lines)]
    states = [over.split()[1] for over in sent]
    right = sum(next((state for time, state in reversed(told) if time < (k + 0.5) * OVER), "off") == wanted
                for k, wanted in enumerate(states))
    wrong = 0
    for time, state in told:
        near = {states[min(max(int((time + late) // OVER), 0), len(states) - 1)] for late in (-0.5, 0, 0.5)}
        wrong += state not in ("off", "none") and state not in near
    return right, wrong


def transforms(path):
    """The peer: one transform an over, whose bounds it is told; the strongest line there, if it is 20 dB over the median."""
    with wave.open(str(path)) as file:
        rate, audio = file.getframerate(), np.frombuffer(file.readframes(file.getnframes()), "<i2") / 32768
    lines = []
    for k in range(len(audio) // (OVER * rate)):
        over = audio[k * OVER * rate:][:OVER * rate]
        power = np.abs(np.fft.rfft(over * np.hanning(len(over)), 4 * len(over))) ** 2
        first, last = (round(f * 4 * OVER) for f in (60, 260))
        power = power[first:last]
        line = (first + int(np.argmax(power))) / (4 * OVER)
        tone = min(TONES, key=lambda tone: abs(tone - line))
        clear = power.max() > 100 * np.median(power) and abs(line / tone - 1) < 0.0065
        lines.append(f"{k * OVER} {tone if clear else 'none'}")
    return lines


def case(name, rate, **settings):
    return Case(name, rate, lambda random: overs(random, rate, **settings), "--mode ctcss", judge, {"a transform an over": transforms})


RATES = 8000, 11025, 16000, 22050, 32000, 44100, 48000, 96000
CASES = [case(f"overs at {rate} Hz", rate) for rate in RATES]
CASES += [case(f"overs at {rate} Hz, noise at 10 dB", rate, snr=10) for rate in (8000, 48000)]
CASES += [case(f"overs at {rate} Hz, voice from 300 Hz on", rate, highpass=300) for rate in (8000, 48000)]
CASES += [case(f"overs at 16000 Hz, hum of {mains} Hz {below} dB below the voice", 16000, mains=mains, hum_below=below)
          for mains in (50, 60) for below in (14, 20, 26)]
CASES += [case(f"overs without a tone, hum of {mains} Hz", 16000, mains=mains, none=1) for mains in (50, 60)]

# What other modes send, by name: audio of amplitude 1 at a rate. None of it has a tone below speech.
FRAME = "QA1AA-9>APRS,WIDE2-1:!4903.50N/07201.75W>on the way, 3 stops to go"
TEXT = "the quick brown fox jumps over the lazy dog 0123456789\r\n"
OTHERS = {
    "keys": lambda random, rate: tones.dtmf(random.choice(list(tones.KEYS), 40), rate, 0.07, 0.05),
    "a key for long": lambda random, rate: tones.dtmf(random.choice(list(tones.KEYS)), rate, 5),
    "five tones": lambda random, rate: np.concatenate([tones.five_tone("12334", rate, table, length) for table, length in (
        (tones.ZVEI1, 0.07), (tones.CCIR, 0.1), (tones.EIA, 0.033)) for _ in range(4)]),
    **{f"calls to aircraft {shift} Hz off": lambda random, rate, shift=shift: np.concatenate([part for _ in range(6) for part in (
        tones.selcal("{}{}-{}{}".format(*sorted(random.choice(list(tones.SELCAL), 4, replace=False))), rate, shift),
        tones.silence(0.5, rate))]) for shift in (-60, 0, 60)},
    **{f"a tone of {hertz} Hz": lambda random, rate, hertz=hertz: tones.sine(hertz, 6, rate) for hertz in (
        312.6, 346.7, 350, 400, 500, 800, 1000, 1400, 1500, 1750, 1800, 2100, 2400, 2800)},
    "text telephone": lambda random, rate: modem.keyed(modem.ita2(TEXT.upper().strip()), 5, 45.45, 1400, 1800, rate, 1.5),
    "teletype": lambda random, rate: modem.keyed(modem.ita2(TEXT.upper().strip()), 5, 45.45, 2125, 2295, rate, 1.5),
    "300 Bd": lambda random, rate: modem.keyed((TEXT * 4).encode(), 8, 300, 1270, 1070, rate),
    "1200 Bd": lambda random, rate: modem.keyed((TEXT * 10).encode(), 8, 1200, 1200, 2200, rate),
    "packets": lambda random, rate: modem.overs([modem.packet(FRAME, rate)] * 8, rate),
    "packets, 300 Bd": lambda random, rate: modem.packet(FRAME, rate, hf=True),
    "NAVTEX": lambda random, rate: bulletins.sitor("ZCZC AB12\n" + TEXT.upper() + "NNNN", rate),
    "an alert": lambda random, rate: bulletins.same("ZCZC-WXR-TOR-031055-019000+0030-0011200-QAA0/NWS-", rate),
    **{f"pages, {baud} Bd": lambda random, rate, baud=baud: np.concatenate([bulletins.pocsag([(1234567, 3, TEXT)], baud, rate)
                                                                       for _ in range(3)]) for baud in (512, 1200, 2400)},
}


def others(random, rate, snr):
    """All of them, one after the other, each at a strength of its own; with pauses and without."""
    parts = []
    for make in OTHERS.values():
        parts += [10 ** (-random.uniform(0, 20) / 20) * make(random, rate), tones.silence(random.choice([0.0, 3]), rate)]
    audio = np.concatenate(parts)
    return 0.3 * (audio + modem.noise(len(audio), random.integers(1 << 30), rate, 10 ** (-snr / 10))), []


def no_tones(lines, sent):
    return 0, sum(not line.endswith((" off", " none")) for line in lines)


CASES += [Case(f"what other modes send, {snr} dB, {rate} Hz", rate, lambda random, rate=rate, snr=snr: others(random, rate, snr),
               "--mode ctcss", no_tones) for snr in (90, 40, 20) for rate in (8000, 22050, 48000)]
