"""Signals of warning and paging services with a known content: SAME headers, SITOR-B bulletins, POCSAG pages."""
import re

import numpy as np

import modem

SAME_BAUD = 3125 / 6


def same_burst(text, rate, baud=SAME_BAUD, shift=0.0, preamble=16):
    """One burst: preamble and text, lowest bit of each byte first. text is a str, or bytes to damage it."""
    data = b"\xab" * preamble + (text if isinstance(text, bytes) else text.encode())
    bits = [byte >> k & 1 for byte in data for k in range(8)]
    return modem.fsk(bits, baud, 4 * SAME_BAUD + shift, 3 * SAME_BAUD + shift, rate)


def same(header, rate, **burst):
    """A header three times, end of message three times, a second of silence between all. A list of three texts for
    header gives each burst its own."""
    headers = header if isinstance(header, list) else [header] * 3
    return modem.overs([same_burst(text, rate, **burst) for text in headers + ["NNNN"] * 3], rate, 1.0)


# CCIR 476: B is the higher frequency, in the order of sending. Letter, figure, signal.
CCIR_476 = """A - BBBYYYB B ? YBYYBBB C : BYBBBYY D $ BBYYBYB E 3 YBBYBYB F ! BBYBBYY G & BYBYBBY H # BYYBYBB I 8 BYBBYYB
 J \x07 BBBYBYY K ( YBBBBYY L ) BYBYYBB M . BYYBBBY N , BYYBBYB O 9 BYYYBBB P 0 BYBBYBY Q 1 YBBBYBY R 4 BYBYBYB
 S ' BBYBYYB T 5 YYBYBBB U 7 YBBBYYB V = YYBBBBY W 2 BBBYYBY X / YBYBBBY Y 6 BBYBYBY Z + BBYYYBB""".split()
LETTERS = dict(zip(CCIR_476[0::3], CCIR_476[2::3]))
FIGURES = dict(zip(CCIR_476[1::3], CCIR_476[2::3]))
EITHER = {"\r": "YYYBBBB", "\n": "YYBBYBB", " ": "YYBBBYB"}
TO_LETTERS, TO_FIGURES, ALPHA, REP = "YBYBBYB", "YBBYBBY", "BBBBYYY", "YBBYYBB"


def sitor_characters(text):
    """Characters with shifts; a new line is carriage return and line feed."""
    codes, figures = [TO_LETTERS], False
    for c in re.sub(r"\r?\n", "\r\n", text):
        if c not in EITHER:
            if (c in FIGURES) != figures:
                figures = not figures
                codes.append(TO_FIGURES if figures else TO_LETTERS)
            codes.append((FIGURES if figures else LETTERS)[c])
        else:
            codes.append(EITHER[c])
    return codes


def sitor_bits(text, phasing=35, tail=14):
    """Each character first in its own place and again five places later, behind so many pairs of phasing signals."""
    first = [REP] * phasing + sitor_characters(text) + [ALPHA] * tail
    second = [ALPHA] * (phasing + 2) + first[phasing:]
    return [int(b == "B") for pair in zip(first, second) for code in pair for b in code]


def sitor(text, rate, centre=1000.0, baud=100.0, inverted=False, **pairs):
    bits = sitor_bits(text, **pairs)
    shift = -85 if inverted else 85
    return modem.fsk(bits, baud, centre + shift, centre - shift, rate)


SYNC, IDLE = 0x7CD215D8, 0x7A89C197


def pocsag_codeword(payload):
    """21 bits, 10 of BCH(31,21) with x^10 + x^9 + x^8 + x^6 + x^5 + x^3 + 1 by long division, one of even parity."""
    rest = payload << 10
    for k in range(30, 9, -1):
        if rest >> k & 1:
            rest ^= 0b11101101001 << (k - 10)
    word = (payload << 10 | rest) << 1
    return word | bin(word).count("1") & 1


def pocsag_message(address, function, text=None, numeric=False):
    """Codewords of a page, the address first."""
    bits = ""
    if text is not None and numeric:
        digits = "0123456789*U -]["
        text = text + " " * (-len(text) % 5)
        bits = "".join(f"{digits.index(c):04b}"[::-1] for c in text)
    elif text is not None:
        bits = "".join(f"{ord(c):07b}"[::-1] for c in text)
        bits += "0" * (-len(bits) % 20)
    words = [pocsag_codeword(address >> 3 << 2 | function)]
    return words + [pocsag_codeword(1 << 20 | int(bits[k:k + 20], 2)) for k in range(0, len(bits), 20)]


def pocsag_words(pages, preamble=18):
    """All codewords of a transmission: preamble, and batches of a sync and sixteen codewords with idle ones between."""
    stream = []
    for address, words in ((page[0], pocsag_message(*page)) for page in pages):
        while len(stream) % 16 // 2 != address & 7:
            stream.append(IDLE)
        stream += words
    stream += [IDLE] * (-len(stream) % 16)
    batches = [[SYNC] + stream[k:k + 16] for k in range(0, len(stream), 16)]
    return [0xAAAAAAAA] * preamble + [word for batch in batches for word in batch]


def pocsag_audio(words, baud, rate, inverted=False):
    """What a discriminator gives: +1 for a 0, -1 for a 1 (a 0 is the higher frequency), through a channel filter."""
    bits = [word >> k & 1 for word in words for k in range(31, -1, -1)]
    at = (np.arange(int(len(bits) / baud * rate)) * baud / rate).astype(int)
    levels = (1.0 - 2.0 * np.array(bits)[at]) * (-1 if inverted else 1)
    width = max(int(0.3 * rate / baud), 1)
    return np.convolve(levels, np.hanning(width + 2)[1:-1] / np.sum(np.hanning(width + 2)), "same")


def pocsag(pages, baud, rate, **audio):
    """pages are tuples of address, function, text (None: tone only) and whether it is numeric."""
    return pocsag_audio(pocsag_words(pages), baud, rate, **audio)
