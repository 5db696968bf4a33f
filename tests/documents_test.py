#!/usr/bin/python3
"""The C programs in the documents compile without a warning, link against the built library and run; so do the examples
to listen to."""
import os
import pathlib
import re
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = pathlib.Path(os.environ.get("ZOVEK_BUILD", ROOT / "build/release"))
BITS = os.environ.get("ZOVEK_BITS", "64")
CC = os.environ.get("ZOVEK_CC", "cc")


class Documents(unittest.TestCase):
    def test_programs_run(self):
        programs = [(path, code) for path in [ROOT / "README.md", *sorted(ROOT.glob("docs/*.md"))]
                    for code in re.findall(r"```c\n(.*?)```", path.read_text(), flags=re.S) if "main(" in code]
        self.assertTrue(programs)
        sanitize = os.environ.get("ZOVEK_SANITIZE")
        for path, code in programs:
            with self.subTest(path=path.name), tempfile.TemporaryDirectory() as folder:
                source, program = pathlib.Path(folder, "program.c"), pathlib.Path(folder, "program")
                source.write_text(code)
                flags = [f"-m{BITS}", "-std=c99", "-Wall", "-Wextra", "-Werror", f"-I{ROOT / 'include'}"]
                flags += [f"-fsanitize={sanitize}"] if sanitize else []
                subprocess.run([CC, *flags, source, "-o", program, f"-L{BUILD}", "-lzovek", f"-Wl,-rpath,{BUILD}"],
                               check=True)
                done = subprocess.run([program], input=bytes(range(256)) * 64, capture_output=True)
                self.assertEqual(done.returncode, 0, done.stderr)
                self.assertTrue(done.stdout)

    @unittest.skipIf(os.environ.get("ZOVEK_CLIENT") == "OFF", "built without the client")
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
            for target in re.findall(r"\]\(([^)#:]+)\)", path.read_text()):
                self.assertTrue((path.parent / target).exists(), f"{path.name}: {target}")


if __name__ == "__main__":
    unittest.main()
