#!/usr/bin/python3
"""The layout of every public record, on 64 and on 32 bits, against the pinned table layouts.txt."""
import pathlib
import re
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent


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


class Abi(unittest.TestCase):
    def test_offsets_and_sizes(self):
        for column, flag in enumerate(("-m64", "-m32")):
            claims = ["#include <stddef.h>", "#include <zovek/zovek.h>"]
            for record, (sizes, fields) in layouts().items():
                claims.append(f'_Static_assert(sizeof({record}) == {sizes[column]}, "{record}");')
                claims += [f'_Static_assert(offsetof({record}, {field}) == {offsets[column]}, "{record}.{field}");'
                           for field, *offsets in fields]
            with tempfile.TemporaryDirectory() as folder:
                source = pathlib.Path(folder, "claims.c")
                source.write_text("\n".join(claims) + "\n")
                done = subprocess.run(["cc", flag, "-std=c11", "-fsyntax-only", f"-I{ROOT / 'include'}", source],
                                      capture_output=True, text=True)
            self.assertEqual(done.returncode, 0, f"{flag}: {done.stderr}")

    def test_the_table_has_every_record_and_every_field_in_order(self):
        for header in (ROOT / "include/zovek").glob("*.h"):
            text = re.sub(r"/\*.*?\*/", "", header.read_text(), flags=re.S)
            for record, body in re.findall(r"struct (\w+) \{(.*?)\n\};", text, flags=re.S):
                pointers = re.sub(r"\(\*(\w+)\)\s*\([^)]*\)", r"\1", body)
                declared = re.findall(r"(\w+)(?:\[\d+\])?\s*[,;]", pointers)
                self.assertEqual([field for field, *_ in layouts()[record][1]], declared, record)


if __name__ == "__main__":
    unittest.main()
