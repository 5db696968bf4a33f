#!/usr/bin/python3
"""The DLL from outside: names, dependencies, layouts, instructions.

Reads the folder of the build from ZOVEK_BUILD."""
import os
import pathlib
import re
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
BUILD = pathlib.Path(os.environ.get("ZOVEK_BUILD", ROOT / "build/windows"))
TOOLS = "x86_64-w64-mingw32-"
sys.path.insert(0, str(ROOT / "tests"))
import abi_test
from library_test import mapped, output


class Dll(unittest.TestCase):
    def test_exports_the_207_names_and_nothing_else(self):
        tables = output(TOOLS + "objdump", "-p", BUILD / "zovek.dll")
        names = re.findall(r"^\t\[ *\d+\] (\w+)$", tables[tables.index("[Ordinal/Name Pointer] Table"):], flags=re.M)
        self.assertEqual(len(names), 207)
        self.assertEqual(set(names), mapped())

    def test_the_import_library_offers_the_same_names(self):
        symbols = output(TOOLS + "nm", "--defined-only", BUILD / "libzovek.dll.a")
        self.assertEqual(set(re.findall(r" T (\w+)$", symbols, flags=re.M)), mapped())

    def test_depends_on_the_systems_libraries_alone(self):
        tables = output(TOOLS + "objdump", "-p", BUILD / "zovek.dll")
        needed = {name.lower() for name in re.findall(r"DLL Name: (.*)", tables)}
        self.assertEqual(needed, {"kernel32.dll", "advapi32.dll", "msvcrt.dll"})

    def test_records_have_the_layout_of_64_bits(self):
        abi_test.check(self, 0, TOOLS + "gcc-posix")

    def test_no_wide_register_is_moved_as_if_the_stack_were_aligned_for_it(self):
        """The system aligns the stack to 16 bytes; a move that wants 32 or 64 stops the program now and then."""
        code = output(TOOLS + "objdump", "-d", "--no-show-raw-insn", BUILD / "zovek.dll")
        moves = re.findall(r"\tvmov\w+ .*[(].*%[yz]mm.*|\tvmov\w+ .*%[yz]mm.*[(].*", code)
        self.assertGreater(len(moves), 1000)
        self.assertEqual([move for move in moves if re.match(r"\tvmov(aps|apd|dqa)", move)], [])


if __name__ == "__main__":
    unittest.main()
