"""Alerts, bulletins and pages, as they come and out of shape, and signals of other kinds that are none of them."""
import re
import tempfile
from itertools import combinations
from pathlib import Path

import numpy as np
import soundfile
from scipy import signal

from . import Case, has, lines_right, run
import bulletins
import modem
import tones


# ---- Pages ----
def page_texts(random, count):
    """Pages of some 40 characters, each of its own address."""
    words = "the quick brown fox jumps over a lazy dog 0123456789 PAGE Call -".split()
    return [(int(random.integers(8, 1 << 21)), int(random.integers(1, 4)), f"{k} " + " ".join(random.choice(words, 8))[:40].strip())
            for k in range(count)]


def pages(baud, rate, snr, change=lambda audio, rate: audio, count=10, shared=False, level=0.1, **audio):
    """count pages, each a transmission of its own, or all in one (shared); SNR against the page in 3 kHz."""
    def make(random):
        sent = page_texts(random, count)
        rows = [sent] if shared else [[page] for page in sent]
        heard = modem.overs([bulletins.pocsag_audio(bulletins.pocsag_words(row), baud, rate, **audio) for row in rows], rate)
        heard = heard + modem.noise(len(heard), random, rate, 10 ** (-snr / 10), power=1)
        return level * change(heard, rate), [page[2] for page in sent]
    return make


def high_passed(hertz):
    return lambda audio, rate: signal.lfilter(*signal.butter(1, hertz, "high", fs=rate), audio)


def low_passed(hertz):
    return lambda audio, rate: signal.lfilter(*signal.butter(4, hertz, fs=rate), audio)


def discriminator(cn, deviation=4500, width=12500):
    """Pages through FM at a carrier-to-noise ratio in a width: limiter and discriminator, clicks and all."""
    def change(audio, rate):
        fast = 48000
        sent = signal.resample_poly(audio, fast, rate)
        carrier = np.exp(2j * np.pi * deviation / fast * np.cumsum(sent))
        random = np.random.default_rng(len(audio))
        noise = random.normal(0, 1, (2, len(carrier))) * np.sqrt(10 ** (-cn / 10) * fast / width / 2)
        heard = signal.lfilter(signal.firwin(129, width / 2, fs=fast), 1, carrier + noise[0] + 1j * noise[1])
        turned = np.angle(heard[1:] * np.conj(heard[:-1])) * fast / 2 / np.pi / deviation
        return signal.resample_poly(signal.lfilter(*signal.butter(3, 5000, fs=fast), turned), rate, fast)
    return change


def judge_pages(lines, sent):
    """Pages whose text is right, and others, be it that they mark what was lost."""
    texts = [line.partition(": ")[2] for line in lines]
    right = sum(text in texts for text in sent)
    return right, len(lines) - right


def page_by_multimon(path):
    with tempfile.TemporaryDirectory() as folder:
        raw = Path(folder, "22050.raw")
        run("sox", path, "-t", "raw", "-e", "signed", "-b", "16", "-c", "1", "-r", "22050", raw)
        text = run("multimon-ng", "-q", "-t", "raw", "-f", "alpha", *(f"-aPOCSAG{baud}" for baud in (512, 1200, 2400)), raw)
    return [": " + re.sub("(<NUL>)*$", "", line) for line in re.findall(r"Alpha: +(.*)$", text, re.M)]


def syndrome(word):
    for k in range(30, 9, -1):
        if word >> k & 1:
            word ^= 0b11101101001 << (k - 10)
    return word


ERRORS = {syndrome(sum(1 << k for k in places)): sum(1 << k for k in places) for count in (0, 1, 2) for places in combinations(range(31), count)}


def page_by_model(baud):
    """The matched filter's bound with hard decisions: integrate and dump at the best timing of the known preamble and sync
    word, the rate and zero known, two errors of each codeword mended."""
    def decode(path):
        audio, rate = soundfile.read(path)
        sums = np.concatenate([[0], np.cumsum(audio)])
        known = [word >> k & 1 for word in (0xAAAAAAAA, 0xAAAAAAAA, bulletins.SYNC) for k in range(31, -1, -1)]

        def dump(first, bits):
            edges = np.asarray(first)[..., None] + np.arange(bits + 1) * rate / baud
            return np.diff(np.interp(edges, np.arange(len(sums)), sums))
        starts = np.arange(0, len(audio) - len(known) * rate / baud, rate / baud / 20)
        match = np.concatenate([dump(part, len(known)) @ (1 - 2 * np.array(known)) for part in np.array_split(starts, 50)])
        lines, free = [], 0
        for peak in signal.find_peaks(match, 0.7 * np.max(match), distance=20 * 32)[0]:
            at, bits, batch = starts[peak] + len(known) * rate / baud, "", True
            if at < free:
                continue
            while batch and at + 17 * 32 * rate / baud < len(audio):
                heard = dump(at, 17 * 32) < 0
                words = [int("".join("01"[b] for b in heard[k:k + 32]), 2) for k in range(0, 17 * 32, 32)]
                for word in words[:16]:
                    errors = ERRORS.get(syndrome(word >> 1))
                    word = None if errors is None else word ^ errors << 1
                    if word is not None and word >> 31 and word != bulletins.IDLE:
                        bits += f"{word >> 11 & 0xfffff:020b}"
                    elif word is None:
                        bits += "x" * 20
                batch = (words[16] ^ bulletins.SYNC).bit_count() < 7
                at += 17 * 32 * rate / baud
            free = at
            text = "".join("?" if "x" in bits[k:k + 7] else chr(int(bits[k:k + 7][::-1], 2)) for k in range(0, len(bits) - 6, 7))
            lines.append(": " + text.rstrip("\0"))
        return lines
    return decode


def page_case(name, baud, snr, rate=22050, off=1.0, model=True, **more):
    peers = {"multimon": page_by_multimon if has("multimon-ng", "sox") else None, "model": page_by_model(baud * off) if model else None}
    return Case(f"pages, {baud} Bd, {name}", rate, pages(baud * off, rate, snr, **more), "--mode pocsag", judge_pages, peers)


PAGES = [page_case(f"{snr} dB", baud, snr) for baud, steps in ((512, (9, 0, -4)), (1200, (13, 3, 1, 0)), (2400, (15, 6, 3)))
         for snr in steps] + [
    page_case("48 kHz, 3 dB", 1200, 3, 48000),
    page_case("8 kHz, 6 dB", 2400, 6, 8000),
    page_case("8 kHz, 3 dB", 1200, 3, 8000),
    page_case("upside down, off tune, 3 dB", 1200, 3, change=lambda x, rate: 3 - x, model=False),
    page_case("2 % fast, 6 dB", 1200, 6, off=1.02),
    page_case("2 % slow, 6 dB", 1200, 6, off=0.98),
    page_case("clipped, 6 dB", 1200, 6, change=lambda x, rate: np.clip(x, -0.5, 0.5)),
    page_case("high-passed at 30 Hz, 6 dB", 512, 6, change=high_passed(30)),
    page_case("high-passed at 100 Hz, 12 dB", 512, 12, change=high_passed(100)),
    page_case("high-passed at 300 Hz, 15 dB", 1200, 15, change=high_passed(300)),
    page_case("low-passed at 1 kHz, 9 dB", 1200, 9, change=low_passed(1000)),
    page_case("discriminator, C/N 6 dB", 1200, 40, change=discriminator(6)),
    page_case("discriminator, C/N 8 dB", 2400, 40, change=discriminator(8)),
    page_case("one over, 3 dB", 1200, 3, shared=True, model=False),
]


# ---- Alerts ----
def alerts(snr, *odd):
    """Headers three times each, of which parts stand as `odd` has them: pairs of what and by what it is replaced."""
    def make(random):
        heads = [f"ZCZC-WXR-TOR-{random.integers(1000000):06}-019155+0130-{random.integers(1, 366):03}1203-QAA{k}/NWS-" for k in range(10)]
        for what, by in odd:
            heads = [re.sub(what, by, head) for head in heads]
        heard = np.concatenate([bulletins.same(head, 22050) for head in heads])
        return 0.1 * (heard + modem.noise(len(heard), random, 22050, 10 ** (-snr / 10))), heads * 3
    return make


def judge_alerts(lines, sent):
    return lines_right([line for line in lines if line != "NNNN"], sent)


def alert_by_atest(path):
    return re.findall(r"\{DE(.*)$", run("atest", "-B", "EAS", path), re.M)


ALERTS = [Case(f"headers, {name}", 22050, alerts(*how), "--mode same", judge_alerts, {"atest": alert_by_atest if has("atest") else None})
          for name, *how in (("10 dB", 10), ("3 dB", 3), ("0 dB", 0), ("day 000, 10 dB", 10, (r"\d{3}1203", "0001203")),
                             ("day 367, 10 dB", 10, (r"\d{3}1203", "3671203")), ("hour 24, 10 dB", 10, ("1203-", "2400-")),
                             ("60 minutes, 10 dB", 10, ("0130", "0060")), ("an unknown event, 10 dB", 10, ("TOR", "t?R")),
                             ("hour 24, 3 dB", 3, ("1203-", "2400-")))]


# ---- What is none of them: nothing may come ----
def telemetry(random, lines):
    """Lines as balloons send them."""
    place = random.uniform(-60, 60, 2)
    return "".join(f"$$QB{random.integers(100)},{k},{k // 60 % 24:02}:{k % 60:02}:00,{place[0]:.5f},{place[1] + k / 1000:.5f},"
                   f"{random.integers(30000)},{random.integers(20)}*{random.integers(1 << 16):04X}\n" for k in range(lines))


def keyed(bits, baud, stop, low, shift, parity=0):
    """Start-stop text at a tone pair; parity adds that many bits."""
    def make(random, rate):
        if bits == 5:
            codes = modem.ita2("".join(random.choice(list("ETAOINSHRDLU 0123456789"), 120)) + "\r\n")
        else:
            codes = modem.with_parity(telemetry(random, 2).encode(), bits) if parity else telemetry(random, 2).encode()
        swap = random.integers(2)
        pair = (low + shift, low) if swap else (low, low + shift)
        return modem.keyed(codes, bits + parity, baud, *pair, rate, stop)
    return make


def packets(hf):
    def make(random, rate):
        text = "".join(random.choice(list("abcdefghij 0123456789/:!"), random.integers(20, 120)))
        return np.concatenate([modem.packet(f"QA{k}AA>QTEST:{text}", rate, hf) for k in range(5)])
    return make


def dtmf(random, rate):
    return tones.dtmf(random.choice(list(tones.KEYS), 200), rate)


def selcal(random, rate):
    calls = random.choice(list("ABCDEFGHJKLMPQRS"), (12, 4), replace=True)
    return np.concatenate([tones.selcal(f"{a}{b}-{c}{d}", rate) for a, b, c, d in calls])


def speech(random, rate):
    words = Path(__file__).resolve().parents[2].joinpath("docs/decoding.md").read_text().split()
    at = random.integers(len(words) - 300)
    with tempfile.TemporaryDirectory() as folder:
        path = Path(folder, "speech.wav")
        run("espeak-ng", "-w", path, "-s", random.integers(120, 200), "-p", random.integers(100), " ".join(words[at:at + 300]))
        audio, made_at = soundfile.read(path)
    return 3 * signal.resample_poly(audio, rate, made_at)


def noise(random, rate):
    return np.zeros(60 * rate)


def others(name, *kinds, rate=22050):
    """Each kind at 30, 10 and 3 dB."""
    def make(random):
        parts = []
        for kind in kinds:
            for snr in (30, 10, 3):
                audio = kind(random, rate)
                parts += [audio + modem.noise(len(audio), random, rate, 10 ** (-snr / 10)), modem.noise(rate, random, rate, 0.1)]
        return 0.15 * np.concatenate(parts), []
    return Case(f"other: {name}", rate, make, "--mode same,navtex,pocsag --json")


OTHERS = [others(f"balloon, {bits}-N-{stop}, {baud} Bd, {low:g}+{shift}",
                 *[keyed(bits, baud, stop, low, shift, parity) for parity in range(9 - bits)])
          for bits, stop in ((7, 1), (7, 2), (8, 1), (8, 2)) for baud in (100, 50)
          for low, shift in ((667, 425), (800, 425), (915, 170), (850, 350), (600, 770))] + [
    *(others(f"teleprinter, {baud:.4g} Bd, {shift} Hz", *[keyed(5, baud, stop, low, shift) for stop in (1, 1.5, 2) for low in (915, 800)])
      for baud in (1000 / 22, 50, 75, 100) for shift in (170, 200, 425)),
    others("packets, 1200 Bd", packets(False)), others("packets, 300 Bd", packets(True)), others("keys", dtmf),
    others("calls of aircraft", selcal), others("noise", noise)]
if has("espeak-ng"):
    OTHERS.append(others("speech", speech))

CASES = PAGES + ALERTS + OTHERS
