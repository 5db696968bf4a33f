"""Tone signals with a known content, for samples and tests. Amplitude 1 is one tone, or a pair of tones, of 0 dB."""
import numpy as np

KEYS = "123A456B789C*0#D"
ROWS, COLUMNS = (697, 770, 852, 941), (1209, 1336, 1477, 1633)
ZVEI1 = dict(zip("0123456789ABCDE", (2400, 1060, 1160, 1270, 1400, 1530, 1670, 1830, 2000, 2200, 2800, 810, 970, 886, 2600)))
CCIR = dict(zip("0123456789ABCDE", (1981, 1124, 1197, 1275, 1358, 1446, 1540, 1640, 1747, 1860, 2400, 930, 2247, 991, 2110)))
EIA = dict(zip("0123456789ABCDE", (600, 741, 882, 1023, 1164, 1305, 1446, 1587, 1728, 1869, 2151, 2433, 2010, 2292, 459)))
SELCAL = dict(zip("ABCDEFGHJKLMPQRS", (312.6, 346.7, 384.6, 426.6, 473.2, 524.8, 582.1, 645.7, 716.1, 794.3, 881.0, 977.2,
                                      1083.9, 1202.3, 1333.5, 1479.1)))


def sine(frequency, seconds, rate, phase=0.0):
    return np.sin(phase + 2 * np.pi * frequency * np.arange(round(seconds * rate)) / rate)


def silence(seconds, rate):
    return np.zeros(round(seconds * rate))


def pair(low, high, seconds, rate, twist=0.0):
    """Two tones, the high one twist dB over the low one, of the power of one sine of amplitude 1."""
    ratio = 10 ** (twist / 20)
    return (sine(low, seconds, rate, 1) + ratio * sine(high, seconds, rate, 2)) / np.sqrt(1 + ratio ** 2)


def dtmf(digits, rate, tone=0.05, gap=0.05, twist=0.0, off=0.0):
    """Keys with a gap behind each; all tones off by a part of their frequency."""
    parts = []
    for digit in digits:
        row, column = divmod(KEYS.index(digit), 4)
        parts += [pair(ROWS[row] * (1 + off), COLUMNS[column] * (1 + off), tone, rate, twist), silence(gap, rate)]
    return np.concatenate(parts)


def five_tone(digits, rate, table=ZVEI1, tone=0.07):
    """A call; a digit that comes again goes as the repeat tone."""
    sent = [digit if k == 0 or digit != digits[k - 1] else "" for k, digit in enumerate(digits)]
    for k, digit in enumerate(sent):
        sent[k] = digit or ("E" if sent[k - 1] != "E" else digits[k])
    return np.concatenate([sine(table[digit], tone, rate) for digit in sent])


def selcal(code, rate, shift=0.0):
    """A call like AB-CD through a receiver that is off tune by shift Hz."""
    pulses = [pair(*(SELCAL[letter] + shift for letter in letters), 1, rate) for letters in code.split("-")]
    return np.concatenate([pulses[0], silence(0.2, rate), pulses[1]])


def babble(seconds, rate, seed):
    """Noise between 350 and 950 Hz in syllables, for speech; power of a sine of amplitude 1."""
    random = np.random.default_rng(seed)
    count = round(seconds * rate)
    spectrum = np.fft.rfft(random.normal(0, 1, count))
    frequency = np.fft.rfftfreq(count, 1 / rate)
    voice = np.fft.irfft(spectrum * ((frequency > 350) & (frequency < 950)), count)
    voice *= np.clip(np.sin(2 * np.pi * 2.3 * np.arange(count) / rate + seed), 0.02, 1)
    return voice / np.sqrt(2 * np.mean(voice ** 2))


def ctcss(tones, seconds, rate, below=14):
    """Babble over after over, with a sub-audible tone so many dB below it, or None."""
    parts = []
    for k, tone in enumerate(tones):
        over = babble(seconds, rate, k)
        parts.append(over if tone is None else over + 10 ** (-below / 20) * sine(tone, seconds, rate, k))
    return np.concatenate(parts)
