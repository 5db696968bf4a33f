#!/usr/bin/python3
"""The C programs in the documents compile without a warning, link against the built library and run; so do the examples
to listen to."""
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

import numpy as np
import soundfile
from scipy import signal

from support.built import BITS, BUILD, CC, ROOT
import sdr

CLIENT = os.environ.get("ZOVEK_CLIENT") != "OFF"
SANITIZE = os.environ.get("ZOVEK_SANITIZE")
FLAGS = [f"-m{BITS}", "-std=c99", "-Wall", "-Wextra", "-Werror"] + ([f"-fsanitize={SANITIZE}"] if SANITIZE else [])


def sent(*names):
    """Programmes of the sample band, pauses of 3 s between them; peaks of 1 at 8 kHz."""
    parts = []
    for name in names:
        audio, _ = soundfile.read(ROOT / f"samples/{name}.ref.flac")
        parts += [audio / np.max(np.abs(audio)), np.zeros(3 * 8000)]
    return np.concatenate(parts)


class Documents(unittest.TestCase):
    def test_programs_run(self):
        programs = [(path, code) for path in [ROOT / "README.md", *sorted(ROOT.glob("docs/*.md"))]
                    for code in re.findall(r"```c\n(.*?)```", path.read_text(), flags=re.S) if "main(" in code]
        self.assertTrue(programs)
        for path, code in programs:
            with self.subTest(path=path.name), tempfile.TemporaryDirectory() as folder:
                source, program = pathlib.Path(folder, "program.c"), pathlib.Path(folder, "program")
                source.write_text(code)
                subprocess.run([CC, *FLAGS, f"-I{ROOT / 'include'}", source, "-o", program, f"-L{BUILD}", "-lzovek",
                                f"-Wl,-rpath,{BUILD}"], check=True)
                done = subprocess.run([program], input=bytes(range(256)) * 64, capture_output=True)
                self.assertEqual(done.returncode, 0, done.stderr)
                self.assertTrue(done.stdout)

    def test_sources_to_copy_compile(self):
        sources = re.findall(r"```cpp\n(.*?)```", (ROOT / "CONTRIBUTING.md").read_text(), flags=re.S)
        self.assertTrue(sources)
        folders = [f"-I{ROOT / folder}" for folder in ("include", "src", "tests", "tools", "bindings/cpp")]
        for source in sources:
            subprocess.run([CC, f"-m{BITS}", "-std=c++20", "-Wall", "-Wextra", "-Wno-missing-field-initializers", "-Werror",
                            "-isystem/usr/src/googletest/googletest/include", *folders, "-fsyntax-only", "-xc++", "-"],
                           input=source.encode(), check=True)

    def test_readme_program_receives(self):
        """Its lines, pasted, receive the station that they name; the program holds speech with pauses, at any level."""
        readme = (ROOT / "README.md").read_text()
        program, lines = (re.search(rf"## In a program.*?```{kind}\n(.*?)```", readme, re.S)[1] for kind in ("c", "sh"))
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            (folder / "samples").symlink_to(ROOT / "samples")
            (folder / "radio.c").write_text(program)
            (folder / "zovek.pc").write_text(f"Name: zovek\nDescription: as built\nVersion: 1\nCflags: -I{ROOT / 'include'}\n"
                                             f"Libs: -L{BUILD} -lzovek\n")
            compiler = folder / "bin/cc"
            compiler.parent.mkdir()
            compiler.write_text(f'#!/bin/sh\nexec {shutil.which(CC)} {" ".join(FLAGS)} "$@"\n')
            compiler.chmod(0o755)
            env = {**os.environ, "PATH": f"{compiler.parent}:{BUILD}:{os.environ['PATH']}", "PKG_CONFIG_PATH": name,
                   "LD_LIBRARY_PATH": str(BUILD)}
            self.assertTrue(lines.startswith("cc "))
            subprocess.run(["sh", "-e", "-c", lines if CLIENT else lines.splitlines()[0]], cwd=folder, env=env, check=True)
            if CLIENT:
                self.assertGreater(sdr.measure_files(folder / "music.wav", ROOT / "samples/am_music.ref.flac")["left"].db, 30)

            def received(band):
                done = subprocess.run([folder / "radio"], input=np.rint(band).astype("<i2").tobytes(), capture_output=True, env=env)
                self.assertEqual((done.returncode, done.stderr), (0, b""))
                return np.frombuffer(done.stdout, "<i2")[::2].astype(float)

            for names in (("fm_speech", "usb_speech"), ("am_music",)):
                said = sent(*names)
                fast = signal.resample_poly(said, 12, 1)
                carrier = np.cos(2 * np.pi * 4500 / 96000 * np.arange(len(fast)))
                levels = []
                for modulation, level, least in ((0.5, -1, 29), (0.9, -20, 29), (0.7, -40, 29), (0.9, -60, 22)):
                    with self.subTest(names=names, modulation=modulation, level=level):
                        peak = 32767 * 10 ** (level / 20)
                        audio = received(peak / (1 + modulation) * (1 + modulation * fast) * carrier)
                        self.assertLess(np.mean(np.abs(audio) >= 32767), 0.001)
                        self.assertGreater(sdr.measure(audio, 48000, said, 8000).db, least)
                        levels.append(20 * np.log10(np.std(audio[48000:]) / np.std(said[8000:]) / modulation / 32768))
                self.assertLess(max(levels) - min(levels), 2, levels)
            band = 3000 * (1 + 0.5 * fast) * carrier
            wanted = received(band)
            band[5 * 96000 + 777:6 * 96000] = 0
            self.assertLess(np.abs(20 * np.log10(np.std(received(band)[7 * 48000:]) / np.std(wanted[7 * 48000:]))), 0.5)

    @unittest.skipUnless(CLIENT, "built without the client")
    def test_examples_to_listen_to(self):
        client, listen = {**os.environ, "CLIENT": BUILD / "zovek"}, ROOT / "scripts/listen"
        names = set(re.findall(r"^(\S+):", subprocess.run([listen], check=True, capture_output=True, text=True).stdout, re.M))
        told = {name for path in ROOT.glob("docs/*.md") for name in re.findall(r"^scripts/listen ([a-z-]+)", path.read_text(), re.M)}
        self.assertEqual(names, told)
        for name in names:
            with self.subTest(name):
                done = subprocess.run([listen, name], env=client, capture_output=True, text=True)
                self.assertEqual(done.returncode, 0, done.stderr)
                a, b = (ROOT.joinpath(path).read_bytes() for path in done.stdout.split())
                self.assertTrue(len(a) > 100000 < len(b) and a != b)
        self.assertEqual(subprocess.run([listen, "nosuch"], capture_output=True).returncode, 2)

    def test_links_lead_somewhere(self):
        for path in [*ROOT.glob("*.md"), *ROOT.glob("docs/*.md"), *ROOT.glob("samples/*.md")]:
            text = re.sub(r"```.*?```", "", path.read_text(), flags=re.S)
            for target in re.findall(r"\]\(([^)#:]+)\)", text):
                self.assertTrue((path.parent / target).exists(), f"{path.name}: {target}")


if __name__ == "__main__":
    unittest.main()
