"""What was built, where it lies, and how the tests run it."""
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ.get("ZOVEK_BUILD", ROOT / "build/release"))
CLIENT = BUILD / "zovek"
BITS = os.environ.get("ZOVEK_BITS", "64")
CC = os.environ.get("ZOVEK_CC", "cc")
DATA = pathlib.Path(os.environ.get("ZOVEK_DATA", ROOT.parent / "shared/data"))  # recordings made by others
needs_data = unittest.skipUnless(DATA.exists() or os.environ.get("CI"), f"no recordings at {DATA}")
sys.path.insert(0, str(ROOT / "scripts"))


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def decode(*arguments, status=0):
    """Lines of messages, and what was said."""
    run = subprocess.run([CLIENT, "decode", *map(str, arguments)], capture_output=True, text=True)
    assert run.returncode == status, (run.returncode, run.stderr)
    return run.stdout.splitlines(), run.stderr


class InFolder(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory())).resolve()

    def written(self, audio, rate, name="heard.wav"):
        import soundfile  # not where the library alone is tested

        soundfile.write(self.folder / name, audio, rate)
        return self.folder / name
