#!/usr/bin/python3
"""Runs the client's waterfall and spectrum: pictures read back by the pixel, lists, numbers, the live terminal.

    pictures.py CLIENT    the program to test
"""
import fcntl
import json
import math
import os
import pty
import random
import re
import select
import signal
import struct
import subprocess
import termios
import time
import unittest
import zlib

from golden import CLIENT, ON_WINE, RATE, InFolder, chunk, pack, run, tones, wav

WINDOWS = ("rectangular", "triangular", "hann", "hamming", "blackman")
TONES = [v // 2 for v in tones((3000, 20000), (7500, 2000), seconds=2, noise=30)]
PLAIN = wav(pack("h", TONES))
DICE = random.Random(6)
PAIRS = wav(pack("h", [round(10000 * part(-2 * math.pi * 4500 * k / RATE) + DICE.gauss(0, 9)) for k in range(RATE)
                       for part in (math.cos, math.sin)]), channels=2)


def picture(data):
    """Width, height, rows of (red, green, blue) of a PNG file, and its colour type."""
    assert data[:8] == b"\x89PNG\r\n\x1a\n"
    chunks, at = {}, 8
    while at < len(data):
        size, name = struct.unpack(">I4s", data[at:at + 8])
        body = data[at + 8:at + 8 + size]
        assert struct.unpack(">I", data[at + 8 + size:at + 12 + size])[0] == zlib.crc32(name + body)
        chunks[name] = chunks.get(name, b"") + body
        at += 12 + size
    width, height, depth, kind = struct.unpack(">IIBB", chunks[b"IHDR"][:10])
    assert depth == 8
    step = {2: 3, 3: 1, 6: 4}[kind]
    raw, above, rows = zlib.decompress(chunks[b"IDAT"]), bytes(width * step), []
    for y in range(height):
        start = y * (width * step + 1)
        code, row = raw[start], bytearray(raw[start + 1:start + 1 + width * step])
        for k in range(len(row) if code else 0):
            a, b, c = row[k - step] if k >= step else 0, above[k], above[k - step] if k >= step else 0
            near = min((abs(b - c), 0, a), (abs(a - c), 1, b), (abs(a + b - 2 * c), 2, c))[2]
            row[k] = (row[k] + (0, a, b, (a + b) // 2, near)[code]) & 255
        above = bytes(row)
        cells = [above[k:k + step] for k in range(0, len(above), step)]
        rows.append([tuple(chunks[b"PLTE"][3 * c[0]:3 * c[0] + 3]) if kind == 3 else tuple(c[:3]) for c in cells])
    return width, height, rows, kind


def light(colour):
    return 0.2126 * colour[0] + 0.7152 * colour[1] + 0.0722 * colour[2]


def waterfall(line, data=PLAIN):
    """Rows of the picture, and the summary."""
    small = "" if "--height" in line else " --height 100"
    done = run("waterfall", "-o", "-", "--json", *(line + small).split(), data=data)
    assert done.returncode == 0, done.stderr
    _, _, rows, kind = picture(done.stdout)
    return rows, json.loads(done.stderr) | {"kind": kind}


def column_of(summary, hz):
    pixels = summary["right"] - summary["left"] + 1
    return summary["left"] + math.floor((hz - summary["low"]) / (summary["high"] - summary["low"]) * pixels)


class Pictures(InFolder):
    def test_wrong_usage(self):
        for line in ("waterfall", "waterfall -o x.png --size 1000", "waterfall -o x.png --size 8", "waterfall -o x.png --window flat",
                     "waterfall -o x.png --floor -20 --ceiling -30", "waterfall -o x.png --overlap 100", "waterfall -o x.png --depth 16",
                     "waterfall -o x.png --mark usb", "waterfall -o x.png --mark 1k:zzz:name", "waterfall -o x.png --from 2k --to 1k", "waterfall -o x.png --start 2 --end 1",
                     "waterfall --live -o x.png", "waterfall -o x.png --iq --channel 1", "spectrum --json --csv", "spectrum -o - --csv",
                     "spectrum --peaks -1"):
            with self.subTest(line):
                self.one_line(run(*line.split(), data=PLAIN), 2, "--help")
        self.assertEqual(os.listdir(), [])

    def test_what_cannot_be_done(self):
        with open("x.png", "wb") as file:
            file.write(b"old")
        for data, line, why in ((PLAIN, "--to 12001", "0 to 12000 Hz"), (PLAIN, "--from=-1", "0 to 12000 Hz"),
                                (PLAIN, "--from 1000.1 --to 1000.2", "no bin"), (PLAIN, "--iq", "two channels"),
                                (PAIRS, "--iq --to 12.1k", "-12000 to 12000"), (PLAIN, "--start 3", "--start"),
                                (wav(b""), "", "no samples"), (b"no sound", "", "not an audio file"),
                                (PLAIN, "-o none/x.png", "No such file"), (PLAIN, "-o /dev/full", "space"), (PLAIN, "none.wav", "No such")):
            for command in ("waterfall", "spectrum"):
                with self.subTest(f"{command} {line}"):
                    output = [] if "-o" in line else ["-o", "x.png"]
                    self.one_line(run(command, *line.split(), *output, data=data), 1, why)
        with open("x.png", "rb") as file:
            self.assertEqual((file.read(), os.listdir()), (b"old", ["x.png"]))

    def test_tones_stand_at_their_ticks(self):
        """The lightest column is the tone's, in every row, and the axis has its tick there."""
        for line, data, hz, ticks in (("", PLAIN, 3000, (3000,)), ("--size 1024 --window blackman", PLAIN, 3000, (2000, 3000, 8000)),
                                      ("--from 2.5k --to 3.6k", PLAIN, 3000, (2600, 3000)), ("--size 64", PLAIN, 3000, (3000,)),
                                      ("--from 7k --width 400", PLAIN, 7500, (8000,)), ("--iq", PAIRS, -4500, (-4000, 0, 4000)),
                                      ("--swap-iq", PAIRS, 4500, (4000,)),
                                      ("-t cs16 -r 24k", PAIRS[44:], -4500, (-4000,)),
                                      ("--iq --from -6k --to -2k --size 4096", PAIRS, -4500, (-4500, -3000))):
            with self.subTest(line):
                rows, summary = waterfall(line, data)
                left, right, top, bottom = (summary[key] for key in ("left", "right", "top", "bottom"))
                mean = [sum(light(rows[y][x]) for y in range(top, bottom + 1)) for x in range(left, right + 1)]
                best = [x + left for x, v in enumerate(mean) if v >= max(mean) - 1e-6]
                self.assertIn(column_of(summary, hz), best)
                self.assertLessEqual(len(best), 1 + (right - left + 1) * summary["bin_width"] / (summary["high"] - summary["low"]))
                below = rows[bottom + 6]  # only labelled ticks are as long
                for tick in ticks:
                    self.assertGreater(light(below[column_of(summary, tick)]), 100)
                self.assertLess(sum(light(colour) > 100 for colour in below), 20)

    def test_levels_have_their_colours(self):
        """A tone's pixel has the colour that the scale beside the field shows for its level."""
        bins = wav(pack("h", tones((3093.75, 10000), (7500, 1000), noise=1)))  # of 23.4375 Hz, off the grid
        for window in WINDOWS:
            rows, summary = waterfall(f"--size 1024 --height 400 --window {window} --floor -60 --ceiling 0", bins)
            scale = [rows[y][summary["right"] + 28] for y in range(summary["top"], summary["bottom"] + 1)]
            middle = rows[(summary["top"] + summary["bottom"]) // 2 + 3]
            for hz, level in ((3093.75, 20 * math.log10(10000 / 32768)), (7500, 20 * math.log10(1000 / 32768))):
                colour = middle[column_of(summary, hz)]
                places = [k for k, other in enumerate(scale) if other == colour]
                self.assertTrue(places, f"{window} {hz}: {colour} isn't on the scale")
                self.assertAlmostEqual(-60 * (sum(places) / len(places) + 0.5) / len(scale), level, delta=0.4)

    def test_a_label_wider_than_its_plot(self):
        tone = wav(pack("h", [round(10000 * math.sin(2 * math.pi * 0.2109 * k)) for k in range(4 * RATE)]))
        done = run("spectrum", "-", "-o", "-", "--width", 64, "--height", 120, "--size", 65536, data=tone)
        self.assertEqual(done.returncode, 0, done.stderr)  # the standard library's assertions would stop it
        self.assertGreater(picture(done.stdout)[1], 120)

    def test_depths_look_the_same(self):
        pictures = [waterfall(f"--width 400 --depth {depth} --mark 3k:am:one --mark 7.5k:usb") for depth in (8, 24, 32)]
        self.assertEqual([summary["kind"] for _, summary in pictures], [3, 2, 6])
        self.assertTrue(pictures[0][0] == pictures[1][0] == pictures[2][0])
        spectra = [picture(run("spectrum", "-o", "-", "--width", "300", "--height", "200", "--depth", depth, data=PLAIN).stdout)[2] for depth in (8, 24, 32)]
        self.assertTrue(spectra[0] == spectra[1] == spectra[2])

    def test_marks(self):
        """A stem at the carrier, and a bar over the side that the mode takes in."""
        for mode, low, high in (("usb", 300, 2700), ("lsb", -2700, -300), ("am", -4500, 4500), ("isb", -2700, 2700)):
            rows, summary = waterfall(f"--mark 5250:{mode}:name --mark 9999")
            bar = rows[summary["top"] - 5]
            def lit(hz):
                return light(bar[column_of(summary, hz)]) > 40
            self.assertTrue(lit(5250) and lit(9999), mode)
            for hz in (low + 60, (low + high) / 2 + 60, high - 60):
                self.assertTrue(lit(5250 + hz), f"{mode} {hz}")
            for hz in (low - 60, high + 60):
                self.assertFalse(lit(5250 + hz), f"{mode} {hz}")
        self.assertIn(b"outside the band shown", run("waterfall", "-o", "x.png", "--mark", "20k", data=PLAIN).stderr)

    def test_time_runs_downward(self):
        """A burst between 0.5 and 0.75 s stands there, from a file, a pipe and in a part of the recording."""
        burst = [v if 12000 <= k < 18000 else 0 for k, v in enumerate(tones((3000, 20000), seconds=2, noise=0))]
        raw = "-t raw -r 24k"
        for line, data, offset in (("", wav(pack("h", burst)), 0), (raw, pack("h", burst), 0), ("--height 100 --overlap 90", wav(pack("h", burst)), 0),
                                   ("--start 0.25 --end 1.5", wav(pack("h", burst)), 0.25)):
            with self.subTest(line):
                rows, summary = waterfall(line + " --size 512 --floor -40 --ceiling -5", data)
                x, top, bottom = column_of(summary, 3000), summary["top"], summary["bottom"]
                lit = [y for y in range(top, bottom + 1) if light(rows[y][x]) > 100]
                second = (bottom - top + 1) / (summary["last"] - summary["first"])
                begin, end = ((y - top) / second + summary["first"] for y in (lit[0], lit[-1] + 1))
                self.assertAlmostEqual(begin, 0.5, delta=0.03)
                self.assertAlmostEqual(end, 0.75, delta=0.03)
                self.assertAlmostEqual(summary["seconds"], 1.25 if offset else 2, places=6)
                self.assertAlmostEqual(summary["first"], offset, delta=0.02)

    def test_truncated(self):
        for command in ("waterfall", "spectrum"):
            done = run(command, "-o", "x.png", data=PLAIN[:-30001])
            self.assertEqual(done.returncode, 0)
            self.assertIn(b"truncated", done.stderr)
            done = run(command, "-o", "y.png", data=wav(pack("h", TONES[:100])))
            self.assertEqual(done.returncode, 0)
            self.assertIn(b"silence", done.stderr)

    def test_spectrum_lists_tones(self):
        for window in WINDOWS:
            for hz in (3000, 3003, 3005.86):
                heard = wav(pack("h", [v // 2 for v in tones((hz, 20000), (7500, 2000), seconds=2, noise=30)]))
                with self.subTest(f"{window} {hz}"):
                    text = run("spectrum", "--window", window, "--peaks", 2, data=heard).stdout.decode().splitlines()[1:]
                    found = [[float(word) for word in line.split()[:3]] for line in text]
                    self.assertEqual(len(found), 2)
                    for (at, level, above), wanted, amplitude in zip(found, (hz, 7500), (10000, 1000)):
                        self.assertAlmostEqual(at, wanted, delta=0.3)
                        self.assertAlmostEqual(level, 20 * math.log10(amplitude / 32768), delta=0.1)
                        self.assertGreater(above, 20)
        listed = run("spectrum", "--iq", data=PAIRS).stdout.decode().splitlines()
        self.assertEqual(len(listed), 2)
        self.assertAlmostEqual(float(listed[1].split()[0]), -4500, delta=0.1)
        self.assertAlmostEqual(float(listed[1].split()[1]), 20 * math.log10(10000 / 32768), delta=0.05)

    def test_spectrum_as_numbers(self):
        line = ("spectrum", "--size", "2048", "--from", "1k", "--to", "9k")
        numbers = json.loads(run(*line, "--json", data=PLAIN).stdout)
        header, *csv = run(*line, "--csv", data=PLAIN).stdout.decode().split()
        self.assertEqual(header, "frequency_hz,level_dbfs,highest_dbfs")
        self.assertEqual([float(text.split(",")[1]) for text in csv], numbers["levels"])
        first, last = (float(csv[k].split(",")[0]) for k in (0, -1))
        self.assertTrue(1000 <= first < 1012 and 8988 < last <= 9000 and abs(numbers["first"] - first) < 1e-3)
        self.assertEqual(len(csv), round((last - first) / numbers["bin_width"]) + 1)
        at = round((3000 - first) / numbers["bin_width"])
        self.assertAlmostEqual(numbers["levels"][at], 20 * math.log10(10000 / 32768), delta=0.1)
        self.assertTrue(all(high >= mean - 1e-9 for high, mean in zip(numbers["highest"], numbers["levels"])))

    def test_true_frequencies(self):
        """A tone 4.5 kHz below the centre of I/Q, or at 3 of 12 kHz: options tell the centre, else the header, else the name."""
        auxi = chunk(b"auxi", 2 * struct.pack("<8H", 2026, 4, 3, 1, 12, 30, 15, 250) + struct.pack("<I", 4_000_000_000) + bytes(96))
        other = chunk(b"auxi", "<?xml?>".encode("utf-16") * 9)
        def inserted(at, piece=auxi):
            return chunk(b"RIFF", PAIRS[8:at] + piece + PAIRS[at:])
        for name, data, line, zero, told in (("x.wav", PAIRS, "--iq --center 10.48955G", 10_489_550_000, ""),
                                             ("x_24kHz_100600kHz.wav", PAIRS, "--iq", 100_600_000, "its name"),
                                             ("x_100MHz.wav", inserted(36), "--iq", 4_000_000_000, "auxi"),
                                             ("x.wav", inserted(len(PAIRS)), "--iq", 4_000_000_000, "auxi"),
                                             ("x.wav", inserted(36), "--iq --centre 7M", 7_000_000, ""),
                                             ("x.wav", inserted(36, other), "--iq", 0, ""),
                                             ("x_100MHz.wav", PLAIN, "--centre 7.05M", 7_044_000, ""), ("x_100MHz.wav", PLAIN, "", 0, "")):
            with self.subTest(f"{name} {line}"):
                with open(name, "wb") as file:
                    file.write(data)
                pairs, options = "--iq" in line, line.split()
                tone, top = zero + (-4500 if pairs else 3000), zero + 12000
                done = run("spectrum", name, "--json", "--peaks", 1, *options)
                found = json.loads(done.stdout)
                self.assertAlmostEqual(found["peaks"][0]["frequency"], tone, delta=0.1)
                self.assertAlmostEqual(found["first"], zero - 12000 * pairs, delta=1e-3)
                self.assertEqual(found.get("center"), zero + (0 if pairs else 6000) if zero else None)
                self.assertEqual(done.stderr.count(b"centre is"), told != "")
                self.assertIn(told, done.stderr.decode())
                part = "--from", tone - 500, "--to", tone + 500, "-o", "y.png", "--mark", f"{tone}:am"
                drawn = json.loads(run("waterfall", name, *part, "--json", *options).stderr.splitlines()[-1])
                self.assertTrue(tone - 520 < drawn["low"] < drawn["high"] < tone + 520)
                done = run("receive", name, "-M", "am", "-f", tone, "-o", "y.wav", "--json", *options)
                self.assertEqual(json.loads(done.stderr.splitlines()[-1])["frequency"], tone)
                for wrong in ("receive -M am -f", "spectrum --to"):
                    self.one_line(run(*wrong.split(), top + 1, name, *options), 1, str(top + 1), str(top))

    def test_live_into_a_pipe(self):
        os.environ["COLUMNS"] = "60"
        before = time.monotonic()
        done = run("waterfall", "--live", "--size", "512", "--floor", "-60", "--ceiling", "0", data=PLAIN)
        took = time.monotonic() - before
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        lines = done.stdout.decode().split("\n")[:-1]
        rows = 2 * len(lines)
        self.assertTrue(36 <= rows <= 40 and (rows - 2) / 20 <= took < 5, f"{rows} rows in {took} s")
        for line in lines:
            self.assertEqual(line.count("\u2580"), 60)
            self.assertTrue(line.endswith("\033[0m"))
        cells = cells_of(lines[len(lines) // 2])
        self.assertEqual(max(range(60), key=lambda c: light(cells[c][0])), 3000 * 60 // 12000)

    @unittest.skipIf(ON_WINE, "Wine has no console without a display")
    def test_live_in_a_terminal(self):
        """Half blocks in 24-bit colour; after a resize the new width; on Ctrl-C all is as it was."""
        master, slave = pty.openpty()
        fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 20, 70, 0, 0))
        reader, writer = os.pipe()
        with subprocess.Popen([CLIENT, "waterfall", "-", "--live", "-t", "raw", "-r", "24k"], stdin=reader, stdout=slave,
                              stderr=subprocess.PIPE) as client:
            os.close(reader)

            def drawn(wait):
                text = b""
                while select.select([master], [], [], wait)[0]:
                    text += os.read(master, 1 << 16)
                return text

            def feed(seconds):
                text = b""
                for _ in range(int(seconds * 20)):
                    os.write(writer, pack("h", TONES[:1200]))
                    time.sleep(0.05)
                    text += drawn(0)
                return text.decode(errors="replace")

            before = feed(1.5)
            self.assertTrue(before.startswith("\033[?25l"))
            widths = {line.count("\u2580") for line in before.split("\n") if line.endswith("\033[0m\r\r")}
            self.assertEqual(widths, {70})
            self.assertRegex(before, r"\|0 +\|2 .*kHz")
            fcntl.ioctl(master, termios.TIOCSWINSZ, struct.pack("HHHH", 20, 50, 0, 0))
            client.send_signal(signal.SIGWINCH)
            after = feed(1)
            self.assertIn("\033[2J", after)
            fresh = after[after.rindex("\033[2J"):]
            widths = [line.count("\u2580") for line in fresh.split("\n") if line.endswith("\033[0m\r\r")]
            self.assertEqual(set(widths), {50})
            self.assertGreater(len(widths), 14)  # the rows of before, and those since
            client.send_signal(signal.SIGINT)
            end = drawn(0.5).decode(errors="replace")
            os.close(slave)
            os.close(writer)
            self.assertEqual((client.wait(10), end[-10:]), (130, "\033[0m\033[?25h"))
            self.assertIn(b"stopped", client.stderr.read())
        os.close(master)


def cells_of(line):
    """(upper, lower) colour of each cell of a line."""
    cells, colours = [], {}
    for which, rgb, block in re.findall("\033\\[([34]8);2;([0-9;]+)m|(\u2580)", line):
        if block:
            cells.append((colours["38"], colours["48"]))
        else:
            colours[which] = tuple(map(int, rgb.split(";")))
    return cells


if __name__ == "__main__":
    unittest.main(verbosity=1)
