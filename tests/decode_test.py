#!/usr/bin/python3
"""zovek decode: packets made here, bit by bit, and recordings of others with their known frames."""
import json
import os
import pathlib
import subprocess
import tempfile
import unittest

import numpy as np
import soundfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = pathlib.Path(os.environ.get("ZOVEK_BUILD", ROOT / "build/release"))
DATA = pathlib.Path(os.environ.get("ZOVEK_DATA", ROOT.parent / "shared/data"))


def decode(*arguments, status=0):
    run = subprocess.run([BUILD / "zovek", "decode", *map(str, arguments)], capture_output=True, text=True)
    assert run.returncode == status, (run.returncode, run.stderr)
    return run.stdout.splitlines(), run.stderr


def address(call, last):
    name, _, ssid = call.rstrip("*").partition("-")
    used = 0x80 if call.endswith("*") else 0
    return bytes(ord(c) << 1 for c in f"{name:<6}") + bytes([0x60 | used | int(ssid or 0) << 1 | last])


def frame(destination, source, path, info):
    """An AX.25 unnumbered-information frame with its check sequence (CRC-16/X.25)."""
    calls = [destination, source, *path]
    octets = b"".join(address(call, call is calls[-1]) for call in calls) + b"\x03\xf0" + info
    crc = 0xFFFF
    for octet in octets:
        crc ^= octet
        for _ in range(8):
            crc = crc >> 1 ^ (0x8408 if crc & 1 else 0)
    return octets + (crc ^ 0xFFFF).to_bytes(2, "little")


def afsk(octets, rate, baud=1200, tones=(2200, 1200), level=0.3):
    """HDLC flags, bit stuffing, NRZI (0 changes the tone) and a phase-continuous pair of tones."""
    bits, ones = [], 0
    for bit in np.unpackbits(np.frombuffer(octets, np.uint8), bitorder="little"):
        bits.append(bit)
        ones = ones + 1 if bit else 0
        if ones == 5:
            bits.append(0)
            ones = 0
    flag = [0, 1, 1, 1, 1, 1, 1, 0]
    tone = np.cumsum(np.array(flag * 40 + bits + flag * 4) == 0) % 2
    hz = np.array(tones)[tone[(np.arange(int(len(tone) * rate / baud)) * baud / rate).astype(int)]]
    return level * np.sin(2 * np.pi * np.cumsum(hz) / rate)


class Packets(unittest.TestCase):
    def recording(self, rate, *frames, **how):
        gap = np.random.default_rng(3).normal(0, 0.02, rate // 2)
        audio = np.concatenate([part for f in frames for part in (gap, afsk(f, rate, **how))] + [gap])
        path = pathlib.Path(self.folder.name, f"made{rate}.wav")
        soundfile.write(path, audio, rate)
        return path

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.one = frame("QTEST", "QAB1CD-7", ["QRELAY-1*", "QWIDE2-2"], b"Hello \xc2\xb5, {}\r")
        self.two = frame("QTEST-3", "Q9Z", [], b"second" + bytes(range(32, 127)))

    def test_made_frames_at_many_rates(self):
        wanted = ["QAB1CD-7>QTEST,QRELAY-1*,QWIDE2-2:Hello µ, {}", "Q9Z>QTEST-3:second" + bytes(range(32, 127)).decode()]
        for rate in (8000, 11025, 44100, 48000):
            lines, _ = decode(self.recording(rate, self.one, self.two), "--mode", "packet")
            self.assertEqual(lines, wanted, rate)
        lines, _ = decode(self.recording(12000, self.one, baud=300, tones=(1800, 1600)), "--mode", "packet", "--hf")
        self.assertEqual(lines, wanted[:1])

    def test_json_tells_fields_and_the_raw_frame(self):
        lines, _ = decode(self.recording(22050, self.one), "--mode", "packet", "--json")
        message = json.loads(lines[0])
        self.assertEqual(len(lines), 1)
        self.assertIn(self.one[:-2].hex(), json.dumps(message))
        self.assertEqual(message["mode"], "packet")
        self.assertAlmostEqual(message["time"], 0.5, delta=0.4)
        self.assertIn("QAB1CD-7", json.dumps(message))

    def test_a_damaged_frame_or_file_costs_itself_alone(self):
        broken = bytearray(self.one)
        broken[20] ^= 0x55
        good = self.recording(22050, bytes(broken), self.two)
        rubbish = pathlib.Path(self.folder.name, "rubbish.wav")
        rubbish.write_bytes(b"no audio at all")
        lines, talk = decode(rubbish, good, "--mode", "packet", status=1)
        self.assertEqual(len(lines), 1)
        self.assertIn("rubbish.wav", talk)
        decode(good, "--mode", "nosuch", status=2)

    @unittest.skipUnless(DATA.exists() or os.environ.get("CI"), f"no recordings at {DATA}")
    def test_recordings_of_others(self):
        right = 0
        for name, *options in (("s01_awgn_22050",), ("s02_fm_disc_22050",), ("s03_fm_flat_de_44100",),
                               ("s04_mixed_22050",), ("s05_if_fm_48000", "--if", 12000, "-M", "fm"),
                               ("s06_hf300_8000", "--hf"), ("s07_noise_only_22050",)):
            lines, _ = decode(DATA / f"afsk/{name}.flac", "--mode", "packet", *options)
            sent = (DATA / f"afsk/{name}.txt").read_text().splitlines()
            self.assertLessEqual(set(lines), set(sent), f"{name}: a frame that nobody sent")
            right += len(set(lines))
            print(f"{name}: {len(set(lines))} of {len(set(sent) - {''})}")
        self.assertGreaterEqual(right, 255)
        for name in ("afsk_iss_44100", "afsk_lorem_11025"):
            lines, _ = decode(DATA / f"offair/{name}.flac", "--mode", "packet")
            self.assertEqual(len(lines), 1, name)


if __name__ == "__main__":
    unittest.main()
