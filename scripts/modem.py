"""Data signals with a known content, for samples and tests: frames to levels, levels to audio."""
import re

import numpy as np


def crc_x25(data):
    crc = 0xFFFF
    for byte in data:
        crc ^= byte
        for _ in range(8):
            crc = crc >> 1 ^ (0x8408 if crc & 1 else 0)
    return crc ^ 0xFFFF


def address(call, last, bit7):
    """A call sign as AB1CD-7 in seven bytes; bit7 is that of the last byte."""
    name, _, ssid = call.partition("-")
    return bytes(ord(c) << 1 for c in name.ljust(6)) + bytes([bit7 << 7 | 0x60 | int(ssid or 0) << 1 | last])


def ax25(monitor, control=0x03, pid=0xF0):
    """A frame without its check sequence from SRC>DST,PATH:INFO, '*' behind the last digipeater used. The info is
    text or bytes in Latin-1. A pid of None leaves it out."""
    source, destination, path, info = re.fullmatch(r"([^>]+)>([^,:]+)((?:,[^,:]+)*):(.*)", monitor, re.S).groups()
    digipeaters = path.split(",")[1:]
    used = max((k for k, call in enumerate(digipeaters) if call.endswith("*")), default=-1)
    calls = [(destination, 1), (source, 0)] + [(call.rstrip("*"), k <= used) for k, call in enumerate(digipeaters)]
    head = b"".join(address(call, k == len(calls) - 1, bit7) for k, (call, bit7) in enumerate(calls))
    return head + bytes([control]) + (b"" if pid is None else bytes([pid])) + info.encode("latin-1")


def hdlc(frame, flags=(40, 4), crc=None):
    """Data bits of a frame: flags before and behind, check sequence, bit stuffing."""
    body = frame + (crc_x25(frame) if crc is None else crc).to_bytes(2, "little")
    bits, ones = [], 0
    for byte in body:
        for k in range(8):
            bit = byte >> k & 1
            bits.append(bit)
            ones = ones + 1 if bit else 0
            if ones == 5:
                bits.append(0)
                ones = 0
    flag = [0, 1, 1, 1, 1, 1, 1, 0]
    return flag * flags[0] + bits + flag * flags[1]


def fx25(bits):
    """Data bits of a frame, flags and all, as an FX.25 codeword of 64 bytes and 16 check bytes behind its tag."""
    product = [[0] * 256 for _ in range(256)]  # in GF(2^8) by x^8 + x^4 + x^3 + x^2 + 1
    for a in range(1, 256):
        for b in range(1, 256):
            half = product[a][b >> 1]
            product[a][b] = (half << 1 ^ (half >> 7) * 0x11d) ^ (b & 1) * a
    divisor, root = [1], 2
    for _ in range(16):  # (x - 2)(x - 2^2)...
        divisor = [high ^ product[root][low] for high, low in zip(divisor + [0], [0] + divisor)]
        root = product[root][2]
    bits = (bits + [0, 1, 1, 1, 1, 1, 1, 0] * 64)[:64 * 8]
    data = [sum(bits[8 * k + n] << n for n in range(8)) for k in range(64)]
    rest = data + [0] * (239 - 64) + [0] * 16
    for k in range(239):
        rest[k:k + 17] = [old ^ product[rest[k]][term] for old, term in zip(rest[k:k + 17], divisor)]
    tag = list(0xC7DC0508F3D9B09E.to_bytes(8, "little"))
    return [byte >> n & 1 for byte in tag + data + rest[239:] for n in range(8)]


def nrzi(bits, level=1):
    """Levels of data bits: a 0 changes the level."""
    levels = []
    for bit in bits:
        level = level if bit else 1 - level
        levels.append(level)
    return levels


def fsk(levels, baud, mark, space, rate, phase=0.0):
    """Levels as tones in one phase, amplitude 1: mark Hz for 1, space Hz for 0."""
    count = round(len(levels) / baud * rate)
    at = np.minimum((np.arange(count) * baud / rate).astype(int), len(levels) - 1)
    hertz = np.where(np.asarray(levels)[at] == 1, mark, space)
    return np.sin(phase + 2 * np.pi * np.cumsum(hertz) / rate)


def scrambled(bits):
    """By x^17 + x^12 + 1: each is the sum of what goes in and of those that went out 12 and 17 before."""
    sent = [0] * 17
    for bit in bits:
        sent.append(bit ^ sent[-12] ^ sent[-17])
    return sent[17:]


def baseband(levels, baud, rate):
    """Levels as +-1 with edges rounded over half a bit, and nothing above 0.9 of the bit rate."""
    fine = 16  # samples a bit
    edge, place = np.hanning(fine // 2 + 1), np.arange(-80, 81)
    pure = 1.8 / fine * np.sinc(1.8 / fine * place) * np.hamming(161)
    shape = np.convolve(edge / sum(edge), pure)
    high = np.convolve(np.repeat(2.0 * np.array(levels) - 1, fine), shape, "same")
    at = np.arange(int(len(levels) / baud * rate)) * baud / rate * fine
    return np.interp(at, np.arange(len(high)), high)


def noise(samples, seed, rate, density, power=0.5):
    """White noise whose power in 3 kHz is density against a signal of this power: a sine of amplitude 1 has 1/2, pages have
    1."""
    sigma = np.sqrt(density * power * rate / 2 / 3000)
    return np.random.default_rng(seed).normal(0, sigma, samples)


def overs(signals, rate, pause=0.25):
    """Signals one after the other, with silence around each."""
    silence = np.zeros(round(pause * rate))
    return np.concatenate([silence] + [part for signal in signals for part in (signal, silence)])


def packet(monitor, rate, hf=False, **frame):
    """A packet of 1200 Bd or, for short wave, 300 Bd."""
    levels = nrzi(hdlc(ax25(monitor, **frame)))
    return fsk(levels, 300, 1600, 1800, rate) if hf else fsk(levels, 1200, 1200, 2200, rate)


ITA2 = {"letters": "\0E\nA SIU\rDRJNFCKTZLWHYPQOBG\x0fMXV\x0e", "figures": "\x003\n- '87\r\x054\a,!:(5+)2#6019?&\x0f./=\x0e"}
FIGURES, LETTERS = 27, 31


def ita2(text, unshift=True):
    """Codes of a text: letters first, and behind a blank again with unshift."""
    codes, shift = [LETTERS], "letters"
    for char in text:
        if char not in ITA2[shift]:
            shift = "figures" if shift == "letters" else "letters"
            codes.append(FIGURES if shift == "figures" else LETTERS)
        codes.append(ITA2[shift].index(char))
        if char == " " and unshift:
            shift = "letters"
    return codes


def with_parity(data, bits, odd=False):
    return [code | (code.bit_count() + odd) % 2 << bits for code in data]


def start_stop(codes, bits, stop=1, idle=10):
    """Levels of half a bit each: a start bit, the bits of a code from the lowest, and the stop."""
    levels = [1] * 2 * idle
    for code in codes:
        levels += [0, 0] + [code >> k // 2 & 1 for k in range(2 * bits)] + [1] * round(2 * stop)
    return levels + [1] * 2 * idle


def keyed(codes, bits, baud, mark, space, rate, stop=1, idle=10):
    """Audio of characters."""
    return fsk(start_stop(codes, bits, stop, idle), 2 * baud, mark, space, rate)
