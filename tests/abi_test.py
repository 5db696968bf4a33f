#!/usr/bin/python3
"""The layout of every public record, on 64 and on 32 bits, against the pinned table layouts.txt."""
import pathlib
import re
import subprocess
import tempfile
import unittest

from support.built import ROOT


def layouts():
    """{record: ((size64, size32), [(field, offset64, offset32), ...])}"""
    records = {}
    for line in (ROOT / "tests/layouts.txt").read_text().splitlines():
        if line.startswith("#"):
            continue
        name, *numbers = line.split()
        if line.startswith(" "):
            records[record][1].append((name, *map(int, numbers)))
        else:
            record = name
            records[record] = (tuple(map(int, numbers)), [])
    return records


def check(case, column, *compiler):
    """The table's offsets and sizes of 64 or 32 bits (column 0 or 1), as static assertions of a C program."""
    claims = ["#include <stddef.h>", "#include <zovek/zovek.h>"]
    for record, (sizes, fields) in layouts().items():
        claims.append(f'_Static_assert(sizeof({record}) == {sizes[column]}, "{record}");')
        claims += [f'_Static_assert(offsetof({record}, {field}) == {offsets[column]}, "{record}.{field}");'
                   for field, *offsets in fields]
    with tempfile.TemporaryDirectory() as folder:  # freestanding: without the C library's headers of 32 bits
        source = pathlib.Path(folder, "claims.c")
        source.write_text("\n".join(claims) + "\n")
        done = subprocess.run([*compiler, "-std=c11", "-ffreestanding", "-fsyntax-only", f"-I{ROOT / 'include'}", source],
                              capture_output=True, text=True)
    case.assertEqual(done.returncode, 0, f"{compiler}: {done.stderr}")


class Abi(unittest.TestCase):
    def test_offsets_and_sizes(self):
        check(self, 0, "cc", "-m64")
        check(self, 1, "cc", "-m32")

    def test_the_table_has_every_record_and_every_field_in_order(self):
        for header in (ROOT / "include/zovek").glob("*.h"):
            text = re.sub(r"/\*.*?\*/", "", header.read_text(), flags=re.S)
            for record, body in re.findall(r"struct (\w+) \{(.*?)\n\};", text, flags=re.S):
                pointers = re.sub(r"\(\*(\w+)\)\s*\([^)]*\)", r"\1", body)
                declared = re.findall(r"(\w+)(?:\[\d+\])?\s*[,;]", pointers)
                self.assertEqual([field for field, *_ in layouts()[record][1]], declared, record)


if __name__ == "__main__":
    unittest.main()
