#!/usr/bin/python3
"""The client on recordings made by others: every mode, with its defaults, against the audio that was sent.

The recordings lie in the folder shared/data beside the checkout, or where ZOVEK_DATA says. Without them the test is
skipped, but never where CI runs."""
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = pathlib.Path(os.environ.get("ZOVEK_BUILD", ROOT / "build/release"))
DATA = pathlib.Path(os.environ.get("ZOVEK_DATA", ROOT.parent / "shared/data"))
sys.path.insert(0, str(ROOT / "scripts"))
import sdr  # noqa: E402

# Recording, mode, frequency in Hz, and the SDR in dB that other receivers get from it, to a tenth, channel by channel.
STATIONS = [
    ("a01_am_48000", "am", 12000, {"left": 28.8}),
    ("a02_am_fading_48000", "sam", 12000, {"left": 6.1}),
    ("a03_isb_48000", "isb", 12000, {"left": 26.5, "right": 25.2}),
    ("a04_usb_48000", "usb", 12000, {"left": 15.7}),
    ("a05_lsb_interf_48000", "lsb", 12000, {"left": 25.6}),
    ("a06_fm_5k_48000", "fm", 12000, {"left": 20.1}),
    ("a07_am_44100", "am", 11025, {"left": 23.7}),
]


@unittest.skipUnless(DATA.exists() or os.environ.get("CI"), f"no recordings at {DATA}")
class Recordings(unittest.TestCase):
    def test_every_mode_is_as_good_as_other_receivers(self):
        for name, mode, frequency, wanted in STATIONS:
            with self.subTest(name=name, mode=mode), tempfile.TemporaryDirectory() as folder:
                output = pathlib.Path(folder, "out.wav")
                subprocess.run([BUILD / "zovek", "receive", DATA / f"if/{name}.flac", "-M", mode, "-f", str(frequency),
                                "-o", output], check=True, capture_output=True)
                figures = sdr.measure_files(output, DATA / f"if/{name}.ref.flac")
                for channel, floor in wanted.items():
                    print(f"{name} {mode} {channel}: {figures[channel].db:.2f} dB, others {floor} dB")
                    self.assertGreaterEqual(round(figures[channel].db, 1), floor, f"{name} {channel}")


if __name__ == "__main__":
    unittest.main()
