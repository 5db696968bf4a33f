#!/usr/bin/python3
"""What is installed serves strangers' programs wherever it lies: by pkg-config, by CMake and by hand, moved as a whole, as
a part of their own project, and taken back without a trace. Beside it what tells of the client: manual and completion.

Folders of their own are set up for each way to install, with the libraries of the build laid in. Reads the folder of the
build from ZOVEK_BUILD."""
import os
import pathlib
import re
import shutil
import subprocess
import unittest

from support.built import BITS, BUILD, CC, CLIENT, ROOT, InFolder

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
PROGRAM_CPP = """#include <cstdio>
#include <span>
#include <zovek.hpp>
int main()
{
    const zovek::DelayLine line(ZVDelayLine16_Construct);
    std::printf("%d " ZOVEK_VERSION "\\n", int(line->buffer_size));
}
"""
FIND = "find_package(zovek 1.0 REQUIRED)"
PROJECT = """cmake_minimum_required(VERSION 3.22)
project(stranger C CXX)
set(CMAKE_C_STANDARD 99)
set(CMAKE_CXX_STANDARD 20)
{find}
foreach(library zovek static)
    foreach(language c cpp)
        add_executable(${{language}}_${{library}} program.${{language}})
        target_link_libraries(${{language}}_${{library}} PRIVATE zovek::${{library}})
    endforeach()
endforeach()
"""
VERSION = ".".join(re.findall(r"#define ZV_VERSION_\w+ (\d+)", (ROOT / "include/zovek/base.h").read_text()))
SAID = {"c": "1024\n", "cpp": f"1024 {VERSION}\n"}
CXX = CC.replace("gcc", "g++").replace("clang", "clang++") if re.search("gcc|clang", CC) else "c++"
FLAGS = {"CC": CC, "CXX": CXX, "CFLAGS": f"-m{BITS}", "CXXFLAGS": f"-m{BITS}"}


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

    def sources(self):
        for name, text in ("program.c", PROGRAM), ("program.cpp", PROGRAM_CPP):
            (self.folder / name).write_text(text)

    def compiled(self, libraries, *options):
        """C99 and C++20 by these options."""
        for compiler, standard, language in (CC, "-std=c99", "c"), (CXX, "-std=c++20", "cpp"):
            program = self.folder / "program"
            run(compiler, f"-m{BITS}", standard, "-Wall", "-Wextra", "-Werror", "-pedantic",
                self.folder / f"program.{language}", *options, "-o", program)
            self.assertEqual(run(program, LD_LIBRARY_PATH=str(libraries)), SAID[language])

    def serves(self, libraries):
        """Programs find what they need to be compiled, linked and run, by the libraries' folder alone."""
        self.sources()
        path = {"PKG_CONFIG_PATH": str(libraries / "pkgconfig")}
        self.assertEqual(run("pkg-config", "--modversion", "zovek", **path), VERSION + "\n")
        found = run("pkg-config", "--cflags", "--libs", "zovek", **path).split()
        for option in found:
            if option.startswith(("-I", "-L")):
                self.assertTrue(pathlib.Path(option[2:]).resolve().is_relative_to(self.folder), found)
        self.compiled(libraries, *found)
        if BITS == "64" and "clang" not in CC: # a compiler may lack what it takes to link all of it statically
            found = run("pkg-config", "--static", "--cflags", "--libs", "zovek", **path).split()
            self.compiled(libraries, "-static", *found)

    def built_by_cmake(self, find, *options, environment=FLAGS, targets=("c_zovek", "c_static", "cpp_zovek", "cpp_static")):
        self.sources()
        (self.folder / "CMakeLists.txt").write_text(PROJECT.format(find=find))
        build = self.folder / "by_cmake"
        shutil.rmtree(build, ignore_errors=True)
        run("cmake", "-G", "Ninja", "-S", self.folder, "-B", build, *options, **environment)
        if targets:
            run("cmake", "--build", build, "--target", *targets, "--parallel", "2")
        for target in targets:
            self.assertEqual(run(build / target), SAID[target.split("_")[0]])
        return build

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
        self.built_by_cmake(FIND, f"-DCMAKE_PREFIX_PATH={self.folder}/moved")
        headers = f"-I{self.folder}/moved/include"
        for by_hand in (f"-L{libraries}", "-lzovek"), (libraries / "libzovek.a", "-lm"):
            self.compiled(libraries, headers, *by_hand)

    @unittest.skipIf(BITS != "64" or os.environ.get("ZOVEK_LTO") == "ON", "is the same in every build of ours")
    def test_a_project_takes_it_as_a_part_of_its_own(self):
        plain = {**FLAGS, "CFLAGS": "-O0 -w", "CXXFLAGS": "-O0 -w"} # it takes the time of one compilation of the library
        for way, find, targets in (
                ("a subfolder", f"add_subdirectory({ROOT} part)", ("c_zovek", "cpp_static")),
                ("FetchContent", f"include(FetchContent)\nFetchContent_Declare(zovek SOURCE_DIR {ROOT})\n"
                                 "FetchContent_MakeAvailable(zovek)", ())):
            with self.subTest(way):
                build = self.built_by_cmake(find, environment=plain, targets=targets)
                known = run("cmake", "--build", build, "--target", "help")
                self.assertIn("libzovek.a", known)
                self.assertFalse(re.findall("zovek_client|selftest|install", known)) # it gets what it asked for

    @unittest.skipIf(os.environ.get("ZOVEK_CLIENT") == "OFF", "built without the client")
    def test_the_client_needs_no_library_of_ours(self):
        # All is of this component; naming it leaves alone the list by which a user's own installation is taken back.
        run("cmake", "--install", BUILD, "--prefix", self.folder / "own", "--component", "Unspecified")
        self.assertEqual(run(self.folder / "own/bin/zovek", "--version"), f"zovek {VERSION}\n")
        run(self.folder / "own/bin/zovek", "cpu")
        self.assertNotIn("libzovek", run("ldd", self.folder / "own/bin/zovek"))

    @unittest.skipUnless((BUILD / "pages").exists(), "built without the client, or for another system")
    def test_shells_and_the_manual_know_the_client(self):
        run("cmake", "--install", BUILD, "--prefix", self.folder / "own", "--component", "Unspecified")
        share = self.folder / "own/share"
        commands = re.findall(r"^  (\w+)  ", run(CLIENT, "--help").split("Commands:")[1], re.M)
        pages = sorted((share / "man/man1").iterdir())
        self.assertEqual([page.name for page in pages], ["zovek-%s.1" % name for name in sorted(commands)] + ["zovek.1"])
        for page in pages:
            words = page.stem.split("-")[1:]
            options = re.findall(r"^  (?:-\w,)?(--[\w-]+)", run(CLIENT, *words, "--help"), re.M)
            self.assertEqual([name for name in options if name.replace("-", r"\-") not in page.read_text()], [])
            if shutil.which("groff"):
                self.assertEqual(run("groff", "-man", "-Tutf8", "-ww", "-z", page), "")

        # What stands on the line, and all that may end it.
        (self.folder / "a name.wav").touch()
        cases = (("zovek re", {"receive", "resample"}), ("zovek receive -M ", set("am sam isb usb lsb fm wfm cw".split())),
                 ("zovek decode --mode packet,rt", {"packet,rtty"}), ("zovek receive --ov", {"--overs-only"}),
                 ("zovek receive a", {"a name.wav"}), ("zovek receive x.wav -o a", {"a name.wav"}),
                 ("zovek receive -r ", set()))
        bash = (f"cd '{self.folder}'; source '{share}/bash-completion/completions/zovek'; read -ra COMP_WORDS <<<\"$0\"\n"
                "[[ $0 != *' ' ]] || COMP_WORDS+=('')\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _zovek\n"
                "for word in \"${COMPREPLY[@]}\"; do printf '%s\\n' \"$word\"; done")
        fish = f"cd '{self.folder}'; source '{share}/fish/vendor_completions.d/zovek.fish'; complete -C $argv[1]"
        for line, wanted in cases:
            with self.subTest(line):
                self.assertEqual(set(run("bash", "-c", bash, line).splitlines()), wanted)
                if shutil.which("fish") and wanted: # for a value of its own it offers files
                    said = run("fish", "--no-config", "-c", fish, line, HOME=str(self.folder))
                    self.assertEqual({each.split("\t")[0].replace("\\ ", " ") for each in said.splitlines()}, wanted)
        lines = [line for line, wanted in cases if wanted]
        for wait in ("0.1", "1", "3") if shutil.which("zsh") else (): # the longer ones on a busy machine
            said = run("zsh", "-f", ROOT / "tests/support/complete.zsh", wait, share / "zsh/site-functions", self.folder, *lines)
            shown = dict(zip(lines, said.replace("\\ ", " ").split("\f")))
            missing = {line: [word for word in wanted if word.split(",")[-1] not in shown[line].replace(line, "")]
                       for line, wanted in cases if wanted}
            if not any(missing.values()):
                break
        else:
            self.assertFalse(shutil.which("zsh") and missing)


if __name__ == "__main__":
    unittest.main()
