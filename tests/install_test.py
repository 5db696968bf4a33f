#!/usr/bin/python3
"""What is installed serves a stranger's program wherever it lies: by pkg-config and by CMake, moved as a whole, and taken
back without a trace.

Folders of their own are set up for each way to install, with the libraries of the build laid in. Reads the folder of the
build from ZOVEK_BUILD."""
import os
import pathlib
import re
import shutil
import subprocess
import unittest

from support.built import BITS, BUILD, CC, ROOT, InFolder

PROGRAM = """#include <stdio.h>
#include <zovek/zovek.h>
int main(void)
{
    ZVDelayLine *line = ZVDelayLine16_Construct(NULL);
    if (!line) return 1;
    printf("%d\\n", (int)line->buffer_size);
    ZVDelayLine_Destruct(line, 1);
    return 0;
}
"""
PROJECT = """cmake_minimum_required(VERSION 3.22)
project(stranger C)
find_package(zovek 1.0 REQUIRED)
add_executable(program program.c)
target_link_libraries(program zovek::LIBRARY)
"""
FLAGS = {"CC": CC, "CFLAGS": f"-m{BITS}", "CXXFLAGS": f"-m{BITS}"}


def run(*command, **environment):
    done = subprocess.run([str(word) for word in command], env={**os.environ, **environment}, stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if done.returncode:
        raise AssertionError(f"{' '.join(map(str, command))} gave {done.returncode}:\n{done.stdout}")
    return done.stdout


@unittest.skipIf(os.environ.get("ZOVEK_SANITIZE"), "nobody installs what sanitizers were built into")
class Install(InFolder):
    def installed(self, *options, root=""):
        """Configured with these options and installed below a root; what the installation said."""
        build = self.folder / "build"
        shutil.rmtree(build, ignore_errors=True)
        run("cmake", "-G", "Ninja", "-S", ROOT, "-B", build, "-DZOVEK_CLIENT=OFF", "-DZOVEK_SELFTEST=OFF", *options, **FLAGS)
        for library in BUILD.glob("libzovek.*"):
            shutil.copy(library, build, follow_symlinks=False)
        return run("cmake", "--install", build, DESTDIR=str(root))

    def serves(self, libraries):
        """A program finds what it needs to be compiled, linked and run, by the libraries' folder alone."""
        source, program = self.folder / "program.c", self.folder / "program"
        source.write_text(PROGRAM)
        found = run("pkg-config", "--cflags", "--libs", "zovek", PKG_CONFIG_PATH=str(libraries / "pkgconfig"))
        for option in found.split():
            if option.startswith(("-I", "-L")):
                self.assertTrue(pathlib.Path(option[2:]).resolve().is_relative_to(self.folder), found)
        run(CC, f"-m{BITS}", source, *found.split(), "-o", program)
        self.assertEqual(run(program, LD_LIBRARY_PATH=str(libraries)), "1024\n")

    def test_wherever_it_lies_programs_are_built_with_it(self):
        debian = pathlib.Path("/etc/debian_version").exists() and BITS == "64"
        for name, options, root, libraries in (
                ("a prefix", ["-DCMAKE_INSTALL_PREFIX={0}/own"], "", "own/lib.*"),
                ("below another root", ["-DCMAKE_INSTALL_PREFIX=/opt/own"], "stage", "stage/opt/own/lib.*"),
                ("a system's prefix", ["-DCMAKE_INSTALL_PREFIX=/usr"], "stage",
                 "stage/usr/lib/x86_64-linux-gnu" if debian else "stage/usr/lib.*"),
                ("folders of their own", ["-DCMAKE_INSTALL_PREFIX={0}/own", "-DCMAKE_INSTALL_LIBDIR={0}/libraries",
                                          "-DCMAKE_INSTALL_INCLUDEDIR={0}/own/headers"], "", "libraries"),
                ("the same below a root", ["-DCMAKE_INSTALL_PREFIX=/usr", "-DCMAKE_INSTALL_LIBDIR=/opt/lib"], "stage",
                 "stage/opt/lib")):
            with self.subTest(name):
                root = self.folder / root if root else ""
                said = self.installed(*(option.format(self.folder) for option in options), root=root)
                tops = [self.folder / top for top in ("own", "stage", "libraries")]
                (found,) = [path.parent.parent for top in tops for path in top.rglob("zovek.pc")]
                self.assertRegex(str(found.relative_to(self.folder)), f"^{libraries}$")
                self.assertEqual("LD_LIBRARY_PATH" in said, not root)
                self.serves(found)
                run("cmake", "--build", self.folder / "build", "--target", "uninstall", DESTDIR=str(root))
                left = [path for top in tops for path in top.rglob("*") if not path.is_dir() or path.name == "zovek"]
                self.assertFalse(left)

    def test_moves_as_a_whole(self):
        self.installed(f"-DCMAKE_INSTALL_PREFIX={self.folder}/own")
        (self.folder / "own").rename(self.folder / "moved")
        (libraries,) = [path.parent for path in (self.folder / "moved").glob("lib*/pkgconfig")]
        self.serves(libraries)
        (self.folder / "program.c").write_text(PROGRAM)
        for library in "zovek", "zovek_static":
            (self.folder / "CMakeLists.txt").write_text(PROJECT.replace("LIBRARY", library))
            run("cmake", "-G", "Ninja", "-S", self.folder, "-B", self.folder / library,
                f"-DCMAKE_PREFIX_PATH={self.folder}/moved", **FLAGS)
            run("cmake", "--build", self.folder / library)
            self.assertEqual(run(self.folder / library / "program"), "1024\n")

    @unittest.skipIf(os.environ.get("ZOVEK_CLIENT") == "OFF", "built without the client")
    def test_the_client_needs_no_library_of_ours(self):
        # All is of this component; naming it leaves alone the list by which a user's own installation is taken back.
        run("cmake", "--install", BUILD, "--prefix", self.folder / "own", "--component", "Unspecified")
        run(self.folder / "own/bin/zovek", "cpu")
        self.assertNotIn("libzovek", run("ldd", self.folder / "own/bin/zovek"))


if __name__ == "__main__":
    unittest.main()
