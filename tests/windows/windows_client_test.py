#!/usr/bin/python3
"""The client for Windows: what it needs, names of files, line ends, and that it gives what the one for Linux gives.

Reads the folder of the build from ZOVEK_BUILD."""
import os
import pathlib
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
BUILD = pathlib.Path(os.environ.get("ZOVEK_BUILD", ROOT / "build/windows"))
OTHER = ROOT / "build/release/zovek"
SAMPLES = ROOT / "samples"
DATA = [("packet", ""), ("packet_hf", "--hf"), ("rtty", ""), ("ascii", "--bits 7"), ("same", ""), ("navtex", ""), ("pocsag", ""),
        ("dtmf", ""), ("zvei", ""), ("selcal", ""), ("ctcss", "")]


def run(*arguments, client=BUILD / "zovek", **options):
    return subprocess.run([client, *map(str, arguments)], capture_output=True, timeout=60, **options)


class WindowsClient(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def test_needs_the_system_alone(self):
        tables = subprocess.run(["x86_64-w64-mingw32-objdump", "-p", BUILD / "zovek.exe"], capture_output=True, text=True, check=True)
        needed = {line.split()[-1].lower() for line in tables.stdout.splitlines() if "DLL Name:" in line}
        self.assertLessEqual(needed, {"advapi32.dll", "kernel32.dll", "msvcrt.dll"})

    def test_decodes_the_samples(self):
        for name, options in DATA:
            done = run("decode", SAMPLES / f"{name}.flac", "--mode", name.split("_")[0], *options.split())
            self.assertEqual(done.stdout, (SAMPLES / f"{name}.txt").read_bytes(), name)
            self.assertNotIn(b"\r", done.stderr)

    def test_names_of_any_letters_and_patterns(self):
        for name in ("Grüße 波.flac", "x y.flac"):
            self.folder.joinpath(name).write_bytes((SAMPLES / "dtmf.flac").read_bytes())
        done = run("decode", "Grüße 波.flac", "--mode", "dtmf", cwd=self.folder)
        self.assertEqual(done.stdout, (SAMPLES / "dtmf.txt").read_bytes())
        done = run("decode", "*.flac", "--mode", "dtmf", cwd=self.folder)
        lines = (SAMPLES / "dtmf.txt").read_text().splitlines()
        self.assertEqual(sorted(done.stdout.decode().splitlines()),
                         sorted(f"{name}.flac: {line}" for name in ("Grüße 波", "x y") for line in lines))
        for _ in range(2): # new, and in place of the old one
            done = run("resample", "x y.flac", "-r", "16k", "-o", "Ж/ö.wav", cwd=self.folder)
            self.assertEqual((done.returncode, done.stderr.decode()), (1, "zovek: Ж/ö.wav: No such file or directory\n"))
            self.assertEqual(run("resample", "x y.flac", "-r", "16k", "-o", "ö 波.wav", cwd=self.folder).returncode, 0)
        self.assertEqual(sorted(os.listdir(self.folder)), ["Grüße 波.flac", "x y.flac", "ö 波.wav"])
        done = run("receive", "日本.wav", "-M", "am", cwd=self.folder)
        self.assertEqual((done.returncode, done.stderr.decode()), (1, "zovek: 日本.wav: No such file or directory\n"))

        done = run("resample", SAMPLES / "dtmf.flac", "-r", "16k", "-o", self.folder)
        self.assertEqual((done.returncode, done.stderr.decode()), (1, f"zovek: {self.folder}: Is a directory\n"))

    @unittest.skipUnless(OTHER.exists(), f"no client for Linux at {OTHER}")
    def test_gives_what_linux_gives(self):
        band, speech = SAMPLES / "band.flac", SAMPLES / "fm_speech.ref.flac"
        for line in (["receive", band, *station.split(), "-o", "-"] for station in (
                "-M am -f 4500", "-M sam -f 4500", "-M usb -f 14250", "-M isb -f 9k", "-M fm -f 39.5k --audio-rate 44.1k")):
            self.same(*line)
        self.same("resample", speech, "-r", "44.1k", "-o", "-")
        self.same("clean", speech, "--denoise", "--shift", "100", "-o", "-")
        self.same("spectrum", band, "--csv")
        self.same("waterfall", band, "-o", "-")
        self.same("receive", "--help")

    def same(self, *line):
        here, there = run(*line), run(*line, client=OTHER)
        self.assertEqual((here.returncode, there.returncode), (0, 0), here.stderr)
        self.assertGreater(len(there.stdout), 1000)
        self.assertTrue(here.stdout == there.stdout, line)


if __name__ == "__main__":
    unittest.main()
