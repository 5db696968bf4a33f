#!/usr/bin/python3
"""zovek decode: packets made here, bit by bit, and recordings of others with their known frames."""
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

import soundfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = pathlib.Path(os.environ.get("ZOVEK_BUILD", ROOT / "build/release"))
sys.path.insert(0, str(ROOT / "scripts"))
import modem  # noqa: E402

DATA = pathlib.Path(os.environ.get("ZOVEK_DATA", ROOT.parent / "shared/data"))


def decode(*arguments, status=0):
    run = subprocess.run([BUILD / "zovek", "decode", *map(str, arguments)], capture_output=True, text=True)
    assert run.returncode == status, (run.returncode, run.stderr)
    return run.stdout.splitlines(), run.stderr


class Packets(unittest.TestCase):
    ONE = "QAB1CD-7>QTEST,QRELAY-1*,QWIDE2-2:Hello \xb5, {}"
    TWO = "Q9Z>QTEST-3:second" + bytes(range(32, 127)).decode()

    def recording(self, rate, *monitors, baud=1200, tones=(1200, 2200), crc=None):
        levels = [modem.nrzi(modem.hdlc(modem.ax25(monitor + "\r"), crc=crc)) for monitor in monitors]
        audio = modem.overs([0.3 * modem.fsk(bits, baud, *tones, rate) for bits in levels], rate, 0.5)
        audio += modem.noise(len(audio), 3, rate, 1e-3)
        path = pathlib.Path(self.folder.name, f"made{rate}.wav")
        soundfile.write(path, audio, rate)
        return path

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)

    def test_made_frames_at_many_rates(self):
        wanted = [self.ONE.replace("\xb5", "<0xb5>"), self.TWO]
        for rate in (8000, 11025, 44100, 48000):
            lines, _ = decode(self.recording(rate, self.ONE, self.TWO), "--mode", "packet")
            self.assertEqual(lines, wanted, rate)
        lines, _ = decode(self.recording(12000, self.ONE, baud=300, tones=(1600, 1800)), "--mode", "packet", "--hf")
        self.assertEqual(lines, wanted[:1])

    def test_samples(self):
        for name, *options in (("packet",), ("packet_hf", "--hf")):
            lines, _ = decode(ROOT / f"samples/{name}.flac", "--mode", "packet", *options)
            self.assertEqual(lines, (ROOT / f"samples/{name}.txt").read_text().splitlines())

    def test_json_tells_fields_and_the_raw_frame(self):
        lines, _ = decode(self.recording(22050, self.ONE), "--mode", "packet", "--json")
        message = json.loads(lines[0])
        self.assertEqual(len(lines), 1)
        self.assertIn(modem.ax25(self.ONE + "\r").hex(), json.dumps(message))
        self.assertEqual(message["mode"], "packet")
        self.assertAlmostEqual(message["time"], 0.5, delta=0.4)
        self.assertIn("QAB1CD-7", json.dumps(message))

    def test_a_damaged_frame_or_file_costs_itself_alone(self):
        good = self.recording(22050, self.TWO)
        broken = self.recording(44100, self.ONE, crc=0x1234)
        rubbish = pathlib.Path(self.folder.name, "rubbish.wav")
        rubbish.write_bytes(b"no audio at all")
        lines, talk = decode(rubbish, broken, good, "--mode", "packet", status=1)
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
