#!/usr/bin/python3
"""The built shared library from outside: its names, its dependencies, its headers.

Reads the folder of the build from ZOVEK_BUILD."""
import os
import pathlib
import re
import subprocess
import tempfile
import unittest

from support.built import BITS, BUILD, CC, ROOT, output

LIBRARY = BUILD / "libzovek.so.1"
HEADERS = sorted((ROOT / "include/zovek").glob("*.h"))


def exported():
    lines = output("nm", "-D", "--defined-only", LIBRARY).splitlines()
    return {line.split()[2].split("@")[0] for line in lines if line.split()[1] != "A"}


def declared():
    text = "\n".join(re.sub(r"/\*.*?\*/", "", header.read_text(), flags=re.S) for header in HEADERS)
    return set(re.findall(r"^ZV_API [^;(]*?(\w+)\(", text, flags=re.M))


def mapped():
    return set(re.findall(r"^    (\w+);$", (ROOT / "src/zovek.map").read_text(), flags=re.M))


class Library(unittest.TestCase):
    def test_exports_the_207_names_that_the_map_lists_and_the_headers_declare(self):
        self.assertEqual(len(mapped()), 207)
        self.assertEqual(exported(), mapped())
        self.assertEqual(declared(), mapped())

    def test_depends_on_the_c_and_mathematics_libraries_alone(self):
        needed = set(re.findall(r"NEEDED.*\[(.*?)\]", output("readelf", "-d", LIBRARY)))
        if os.environ.get("ZOVEK_SANITIZE"):
            self.skipTest("sanitizers bring libraries of their own")
        self.assertLessEqual(needed, {"libc.so.6", "libm.so.6", "ld-linux-x86-64.so.2", "ld-linux.so.2"})
        self.assertIn("libzovek.so.1", output("readelf", "-d", LIBRARY))

    def test_hardened_as_distributions_do(self):
        client = BUILD / "zovek"
        for path in [LIBRARY] + ([client] if client.exists() else []):
            with self.subTest(path.name):
                self.assertRegex(output("readelf", "-dW", path), r"FLAGS.* (BIND_)?NOW\b")
                segments = output("readelf", "-lW", path)
                self.assertIn("GNU_RELRO", segments)
                self.assertRegex(segments, r"GNU_STACK +(0x\w+ +){5}RW +0x")
                self.assertIn("__stack_chk_fail", output("nm", "-D", "--undefined-only", path))

    def test_the_system_runs_its_load_and_tells_the_current_directory(self):
        program = ("#include <string.h>\n#include <unistd.h>\n#include <zovek/zovek.h>\n"
                   "int main(void) {\n"
                   "    static char name[8192];\n"
                   "    ZVString string;\n"
                   "    ZVString_Construct(&string);\n"
                   "    ZVString_Set_CurrentDirectory(&string);\n"
                   "    return _CPU()->timer_frequency == 0 || !getcwd(name, sizeof name) ||\n"
                   "           strcmp(string.text, name) || string.length != (int32_t)strlen(name);\n}\n")
        sanitize = os.environ.get("ZOVEK_SANITIZE")
        flags = [f"-m{BITS}", f"-I{ROOT / 'include'}"] + ([f"-fsanitize={sanitize}"] if sanitize else [])
        with tempfile.TemporaryDirectory() as folder:
            run, source = pathlib.Path(folder, "run"), pathlib.Path(folder, "run.c")
            source.write_text(program)
            subprocess.run([CC, *flags, source, "-o", run, LIBRARY.resolve(), f"-Wl,-rpath,{BUILD}"], check=True)
            deep = pathlib.Path(folder, *["d" * 200] * 15)
            deep.mkdir(parents=True)
            subprocess.run([run], cwd=deep, check=True)

    def test_each_header_compiles_alone_as_c99_and_as_cpp20(self):
        with tempfile.TemporaryDirectory() as folder:
            for header in HEADERS:
                for language, standard in (("c", "c99"), ("c++", "c++20")):
                    source = pathlib.Path(folder) / f"one.{language[0]}"
                    source.write_text(f"#include <zovek/{header.name}>\n")
                    flags = ["-Wall", "-Wextra", "-Wpedantic", "-Werror", "-fsyntax-only", f"-I{ROOT / 'include'}"]
                    compiler = "cc" if language == "c" else "c++"
                    run = subprocess.run([compiler, f"-std={standard}", "-x", language, *flags, source],
                                         capture_output=True, text=True)
                    self.assertEqual(run.returncode, 0, f"{header.name} as {standard}: {run.stderr}")


if __name__ == "__main__":
    unittest.main()
