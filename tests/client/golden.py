#!/usr/bin/python3
"""Runs the client as users and scripts do: files and pipes of all formats, wrong options, ends in the middle.

    golden.py CLIENT    the program to test
"""
import cmath
import json
import math
import os
import pty
import random
import signal
import struct
import subprocess
import sys
import tempfile
import time
import unittest
import wave

CLIENT = os.path.abspath(sys.argv.pop(1))
ON_WINE = os.path.exists(CLIENT + ".exe")  # called through Wine
RATE = 24000  # Hz, of the recordings made here


def run(*arguments, data=b"", **options):
    return subprocess.run([CLIENT, *map(str, arguments)], input=data, capture_output=True, timeout=60, **options)


def stop(client, number=signal.SIGINT):
    """Asks a client that waits for input to stop."""
    client.send_signal(number)
    if ON_WINE:  # Wine hands the signal on as Ctrl-C, but reads of this system's pipes wait on
        time.sleep(0.3)
        client.stdin.close()


def chunk(name, data, size=None):
    return name + struct.pack("<I", len(data) if size is None else size) + data


def wav(data, code=1, bits=16, channels=1, rate=RATE, size=None, before=b""):
    """A WAV file. size is the length that its header tells of."""
    frame = channels * bits // 8
    body = b"WAVE" + chunk(b"fmt ", struct.pack("<HHIIHH", code, channels, rate, rate * frame % 2**32, frame, bits))
    return chunk(b"RIFF", body + before + chunk(b"data", data, size), size)


def pack(form, values):
    return struct.pack(f"<{len(values)}{form}", *values)


def s24(values):
    return b"".join(struct.pack("<i", value)[:3] for value in values)


def au(values):
    return b".snd" + struct.pack(">5I", 24, 2 * len(values), 3, RATE, 1) + struct.pack(f">{len(values)}h", *values)


def tones(*parts, seconds=1.5, noise=1):
    """Sum of (Hz, amplitude) in 16 bits, with noise of a few units."""
    dice = random.Random(1)
    return [round(sum(a * math.cos(2 * math.pi * f * k / RATE) for f, a in parts) + dice.gauss(0, noise))
            for k in range(int(seconds * RATE))]


def am(carrier, level, tone=1000):
    return tones((carrier, level), (carrier - tone, level / 4), (carrier + tone, level / 4))


def fm(carrier, deviation, tone=1000):
    return [round(8000 * math.cos(2 * math.pi * carrier * k / RATE + deviation / tone * math.sin(
        2 * math.pi * tone * k / RATE))) for k in range(int(1.5 * RATE))]


def tone_of(audio, rate, hz):
    """Complex amplitude of a tone, and the amplitude of all that isn't in it. The ends are left out."""
    first = rate // 10
    audio = audio[first:first + (len(audio) - 2 * first) // (rate // 100) * (rate // 100)]
    mean = sum(audio) / len(audio)
    found = 2 / len(audio) * sum((v - mean) * cmath.exp(-2j * math.pi * hz * (k + first) / rate)
                                 for k, v in enumerate(audio))
    power = sum((v - mean) ** 2 for v in audio) / len(audio)
    return found, math.sqrt(max(2 * power - abs(found) ** 2, 1e-3))


def receive(signal16, *arguments):
    """Left channel, right channel, summary."""
    done = run("receive", "-t", "raw", "-r", RATE, "--output-type", "raw", "--json", *arguments,
               data=pack("h", signal16))
    assert done.returncode == 0, done.stderr
    audio = struct.unpack(f"<{len(done.stdout) // 2}h", done.stdout)
    return audio[::2], audio[1::2], json.loads(done.stderr)


BAND = am(6000, 8000)
PLAIN = wav(pack("h", BAND))


class InFolder(unittest.TestCase):
    """Runs in an empty folder of its own."""

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        os.chdir(self.folder.name)
        self.addCleanup(os.chdir, "/")

    def one_line(self, done, status, *words):
        text = done.stderr.decode()
        self.assertEqual((done.returncode, text.count("\n"), done.stdout), (status, 1, b""), text)
        self.assertTrue(text.startswith("zovek: "), text)
        for word in words:
            self.assertIn(word, text)


class Client(InFolder):
    def test_wrong_usage(self):
        for line in ("", "tune", "receive", "receive -M ssb", "receive -M am -f nan", "receive -M am -f -5",
                     "receive -M am -f 1.5", "receive -M am -f 3x", "receive -M am --taps 2", "receive -M am --taps 3.5",
                     "receive -M am --taps 1e9", "receive -M am --volume inf", "receive -M am --channel 0",
                     "receive -M am -t raw", "receive -M am -r 48k", "receive -M am -t raw -r 0", "receive -M am --nothing",
                     "receive -M am --offset 1500", "receive -M isb --agc", "receive -M fm --iq-agc",
                     "receive -M am --iq --channel 1",
                     "receive -M am -t cu8 -r 24k --channels 1", "receive -M am -t cs8", "receive -M am --audio-rate 1999", "receive -M am --audio-rate 11M",
                     "receive -M am --audio-rate 8000.5", "decode --mode packet --iq -t cs8 -r 24k", "receive -M usb --gain 1 --agc", "receive -M am -o x.wav --output-type mp3", "cpu extra"):
            with self.subTest(line):
                self.one_line(run(*line.split(), data=PLAIN), 2, "--help")

    def test_wrong_words_are_named(self):
        for line, words in (("", ("which command",)), ("receve", ("no command 'receve'", "receive?")), ("wat x.wav", ("waterfall?",)),
                            ("help receve", ("no command 'receve'", "receive?")), ("receve --help", ("no command 'receve'",)),
                            ("cpu -- --json", ("--json' is one word too many",)),
                            ("receive -M am -f 4,5k", ("--frequency", "'4,5k'", "decimal mark is a point")),
                            ("clean --notch 4,5kHz", ("--notch", "'4,5kHz'", "decimal mark is a point")),
                            ("spectrum --start 5kHz", ("--start", "'5kHz'")), ("waterfall --size 1,024", ("decimal mark",)),
                            ("resample -r 4,8k", ("decimal mark",)), ("decode --mode dtmf --if 4,5k", ("decimal mark",)),
                            ("spectrum --mark 4,5k:am", ("decimal mark",)), ("receive -M am -o x.OGG", ("x.OGG", "WAV, FLAC or raw")),
                            ("receive -M=ssb", ("'ssb'",)), ("receive -M am -f=", ("--frequency", "empty")),
                            ("receive --bandwith 5k", ("no option '--bandwith'", "--bandwidth?")),
                            ("cpu extra", ("'extra'",)), ("receive -M am --agc=5", ("--agc takes no value",)),
                            ("receive -M am -M fm", ("--mode", "more than once")), ("receive -f", ("--frequency needs",)),
                            ("receive -M am -f 3x", ("--frequency: '3x'",)), ("receive -M ssb", ("'ssb'", "lsb, fm, wfm or cw")),
                            ("decode --mode rtty --baud x", ("--baud: 'x'", "10 to 9600")),
                            ("decode --mode dtmf --baud 50", ("--baud", "rtty, ascii, not of dtmf")),
                            ("decode --mode navtex,dtmf --hf", ("--hf", "packet, not of navtex, dtmf")),
                            ("receive -M am -o x.mp3", ("x.mp3", "WAV, FLAC or raw")),
                            ("waterfall -o x.jpg", ("x.jpg", "PNG")), ("waterfall --live --title x", ("--title", "-o")),
                            ("spectrum --floor -50", ("--floor", "-o"))):
            with self.subTest(line):
                self.one_line(run(*line.split(), data=PLAIN), 2, *words)
        self.assertEqual(run("decode", "--mode", "navtex,rtty,dtmf", "--centre", "1k", "--pause", "1", data=PLAIN).returncode, 0)

    def test_words_as_users_write_them(self):
        """Each line gives what the first of its row gives."""
        with open("-x.wav", "wb") as file:
            file.write(PLAIN)
        pairs = pack("h", [v for pair in zip(BAND, BAND[::-1]) for v in pair])
        raw = "--output-type raw"
        for data, plain, *others in (
                (PLAIN, f"receive -M am -f 6000 {raw}", f"receive -M AM -f 6kHz {raw}", f"receive --mode=Am -f=6.0khz {raw}",
                 f"-- receive -M=am -f 6000hz {raw}", f"receive -vMam -f+6K {raw}", f"receive -M am -f 6k {raw} --",
                 "receive -M am -f 6k --output-type RAW -- -", f"receive -M am -f 6k {raw} -- -x.wav", f"receive -M am -f 6k {raw} ./-x.wav"),
                (pairs, f"receive -M usb -f -2900 -t cs16 -r 24000 {raw}", f"receive -M USB -f=-2.9k -t CS16 -r=24kHz {raw}",
                 f"receive -M usb --frequency=-2.9kHz -t cs16 -r24k {raw}"),
                (PLAIN, "spectrum --csv --start 0.5 --from 5000 --size 1024", "spectrum --csv --start 0.5s --from 5kHz --window HANN --size 1024 -"),
                (PLAIN, f"clean --notch 1000:80 --shift -300 {raw}", f"clean --notch 1kHz:80Hz --shift=-300Hz {raw}"),
                (PLAIN, f"resample -r 8000 {raw}", f"resample -r8kHz {raw} --", f"resample {raw} -r 8KHZ -- -x.wav"),
                (PLAIN, "decode --mode tones --freq 1000,5000 --every 0.5", "decode --mode TONES --freq 1k,5kHz --every 0.5s -- -"),
                (b"", "receive --help", "help receive"), (b"", "--help", "help", "help help")):
            expected = run(*plain.split(), data=data)
            self.assertEqual((expected.returncode, bool(expected.stdout)), (0, True), expected.stderr)
            for line in others:
                with self.subTest(line):
                    done = run(*line.split(), data=data)
                    self.assertEqual(done.returncode, 0, done.stderr)
                    self.assertTrue(done.stdout.replace(b"./-x.wav", b"standard input") == expected.stdout)
        spaced = run("receive", "-M", "am", "-f", "6 kHz", *raw.split(), data=PLAIN)
        self.assertTrue(spaced.stdout == run("receive", "-M", "am", *raw.split(), data=PLAIN).stdout)
        self.assertEqual(run("receive", "-M", "am", "-o", "x.RAW", data=PLAIN).returncode, 0)
        with open("x.RAW", "rb") as file:
            self.assertTrue(file.read() == spaced.stdout)
        self.assertEqual(run("waterfall", "-o", "--", "--mark", "6k:AM:music", data=PLAIN).returncode, 0)  # a file of this name
        self.assertTrue(os.path.exists("--"))

    def test_quiet(self):
        """Results and errors stay, all else goes."""
        both = wav(pack("h", [v for pair in zip(BAND, BAND) for v in pair]), channels=2)[:-4000]  # and truncated
        for line in ("receive -v -M am", "resample -r 8k", "clean --denoise", "decode --mode tones --freq 1k", "spectrum", "spectrum -o x.png",
                     "waterfall -o x.png --mark 20k", "waterfall --live"):
            with self.subTest(line):
                loud, still = run(*line.split(), data=both), run(*line.split(), "--quiet", data=both)
                self.assertEqual((loud.returncode, still.returncode, still.stderr), (0, 0, b""))
                self.assertGreater(loud.stderr.count(b"\n"), 0 if "live" in line else 1)
                self.assertTrue(loud.stdout == still.stdout)
        self.assertTrue(json.loads(run("receive", "-M", "am", "--quiet", "--json", data=both).stderr)["truncated"])
        for line, status in (("receive -M am none.wav --quiet", 1), ("decode --mode packet none.wav --quiet", 1),
                             ("decode --mode packet none.wav none.wav --quiet", 1), ("spectrum --quiet --from 3x", 2)):
            done = run(*line.split())
            self.assertEqual((done.returncode, done.stderr.count(b"\n")), (status, max(line.count("none"), 1)))

    def test_terminal_as_input(self):
        master, slave = pty.openpty()
        done = subprocess.run([CLIENT, "decode", "--mode", "packet"], stdin=slave, capture_output=True, timeout=10)
        self.one_line(done, 2, "standard input is a terminal")
        os.close(slave)
        os.close(master)

    def test_output_that_takes_nothing(self):
        for line in ("--help", "--version", "cpu", "cpu --json", "selftest", "receive --help"):
            with self.subTest(line), open("/dev/full", "w") as full:
                done = subprocess.run([CLIENT, *line.split()], stdout=full, stderr=subprocess.PIPE)
                self.assertEqual((done.returncode, done.stderr.count(b"\n")), (1, 1))
                self.assertIn(b"standard output", done.stderr)

    def test_nothing_in_it(self):
        """Of no samples audio and messages are none; there is nothing to draw, and what was there stays."""
        with open("none.wav", "wb") as file:
            file.write(wav(b""))
        for line in ("receive -M am", "resample -r 8k", "clean --denoise"):
            with self.subTest(line):
                self.one_line(run(*line.split(), "none.wav", "-o", "out.wav"), 0, "0 samples")
                with wave.open("out.wav") as file:
                    self.assertEqual(file.getnframes(), 0)
        self.one_line(run("decode", "--mode", "packet,rtty", "none.wav"), 0, "0 messages")
        for line in ("waterfall -o out.wav.png", "waterfall --live", "spectrum", "spectrum --json", "spectrum -o out.wav.png"):
            with self.subTest(line):
                self.one_line(run(*line.split(), "none.wav"), 1, "none.wav: holds no samples")
        self.one_line(run("decode", "--mode", "packet", "missing.wav"), 1, "No such file")
        self.assertEqual(sorted(os.listdir()), ["none.wav", "out.wav"])

    def test_what_cannot_be_done(self):
        for data, line, why in ((PLAIN, "-f 12001", "12000"), (PLAIN, "-M usb -f 11.8k", "beyond"), (PLAIN, "-M lsb -f 0", "beyond"),
                                (PLAIN, "missing.wav", "No such file"), (PLAIN, "/", "directory"),
                                (b"no sound", "", "not an audio file"), (b"", "", "empty"),
                                (PLAIN[:20], "", "damaged or truncated"), (PLAIN, "--channel 2", "1 channel"),
                                (PLAIN, "-o none/x.wav", "none/x.wav: No such file"), (PLAIN, "-o /dev/full", "space"),
                                (PLAIN, "--iq", "two channels, not 1"), (PLAIN, "-t cs16 -r 60M", "50 MHz"),
                                (PLAIN, "-t cu8 -r 24k -f -12001", "from -12000 Hz to 12000 Hz")):
            with self.subTest(line or data[:8]):
                mode = [] if "-M" in line else ["-M", "am"]
                self.one_line(run("receive", *mode, *line.split(), data=data), 1, why)
        self.assertEqual(os.listdir(), [])

    def test_same_samples_same_audio(self):
        """However 16-bit samples come in, the same bytes go out."""
        other = [0] * len(BAND)
        pair = [v for both in zip(other, BAND) for v in both]
        note = chunk(b"LIST", b"INFO" + bytes(3000))
        expected = run("receive", "-M", "am", "-f", "6k", "--output-type", "raw", data=PLAIN).stdout
        self.assertEqual(len(expected), 4 * 12000 * 3 // 2)
        for name, data, line in (
                ("24 bits", wav(s24([256 * v for v in BAND]), bits=24), ""),
                ("32 bits", wav(pack("i", [65536 * v for v in BAND]), bits=32), ""),
                ("float", wav(pack("f", [v / 32768 for v in BAND]), 3, 32), ""),
                ("double", wav(pack("d", [v / 32768 for v in BAND]), 3, 64), ""),
                ("AU", au(BAND), ""), ("raw", pack("h", BAND), "-t raw -r 24k"), ("raw", pack("h", BAND), "-t raw -r 0.024M"),
                ("second channel", wav(pack("h", pair), channels=2), "--channel 2"),
                ("second raw channel", pack("h", pair), "-t raw -r 24k --channels 2 --channel 2"),
                ("a chunk before", wav(pack("h", BAND), before=note), ""),
                ("to the end", wav(pack("h", BAND), size=0x7ffff000), ""),
                ("to the end, unsigned", wav(pack("h", BAND), size=0xffffffff, before=note), "")):
            with open("band", "wb") as file:
                file.write(data)
            for path in ("band", "-"):
                with self.subTest(f"{name} from {path}"):
                    done = run("receive", path, "-M", "am", "-f", "6000", "--output-type", "raw", "--json", *line.split(),
                               data=data)
                    self.assertTrue(done.stdout == expected, done.stderr)
                    self.assertFalse(json.loads(done.stderr)["truncated"])

    def test_other_formats_are_rounded_and_saturated(self):
        wide = [(0x7fffff, 32767), (0x7fff7f, 32767), (127, 0), (128, 1), (-128, 0), (-129, -1), (-0x800000, -32768)]
        real = [(2, 32767), (-3, -32768), (math.nan, 0), (1, 32767), (0.6 / 32768, 1), (-0.4 / 32768, 0)]
        for name, form, code, bits, pairs in (("24", s24, 1, 24, wide), ("float", lambda v: pack("f", v), 3, 32, real),
                                              ("u8", bytes, 1, 8, [(v, 256 * (v - 128)) for v in (0, 1, 128, 200, 255)])):
            with self.subTest(name):
                dice = random.Random(2)
                drawn = [dice.choice(pairs) for _ in range(9000)]
                outputs = [run("receive", "-M", "usb", "-f", "3k", "--gain", "1", "--output-type", "raw", data=data).stdout
                           for data in (wav(form([a for a, b in drawn]), code, bits), wav(pack("h", [b for a, b in drawn])))]
                self.assertTrue(outputs[0] == outputs[1] and len(outputs[0]) == 18000)

    def test_outputs(self):
        """A file, a file that is replaced, a pipe and raw hold the same audio; only the file knows its length."""
        with open("old.wav", "wb") as file:
            file.write(b"old")
        os.symlink("old.wav", "link.wav")
        for path in ("new.wav", "link.wav", "new.raw"):
            self.assertEqual(run("receive", "-M", "am", "-o", path, data=PLAIN).stdout, b"")
        pipe = run("receive", "-M", "am", data=PLAIN).stdout
        self.assertEqual(struct.unpack("<4sI4s", pipe[:12]), (b"RIFF", 0x7ffff024, b"WAVE"))
        self.assertEqual(struct.unpack("<4sI", pipe[36:44]), (b"data", 0x7ffff000))
        for path in ("new.wav", "link.wav"):
            with wave.open(path) as file:
                self.assertEqual(file.getparams()[:4], (2, 2, 12000, 18000))
                self.assertTrue(file.readframes(18000) == pipe[44:])
        with open("new.raw", "rb") as file:
            self.assertTrue(file.read() == pipe[44:])
        mono = run("receive", "-M", "am", "--mono", "--output-type", "raw", data=PLAIN).stdout
        self.assertTrue(mono == b"".join(pipe[k:k + 2] for k in range(44, len(pipe), 4)))
        self.assertTrue(os.path.islink("link.wav"))
        self.assertEqual(sorted(os.listdir()), ["link.wav", "new.raw", "new.wav", "old.wav"])

    @unittest.skipIf(ON_WINE, "memory as this system counts it")
    def test_memory_by_what_is_worked_on(self):
        """4 kB of samples take no more for what their header tells of rate and channels, or it is told."""
        with open(CLIENT, "rb") as file:
            most, patience = (800, 120) if b"__asan_init" in file.read() else (200, 30)  # MB, s
        for rate, channels, status, line, why in (
                (8000000, 1024, 0, "receive -M am -o x.wav", "2 samples"), (100000000, 1024, 1, "receive -M fm -o x.wav", "beyond 50 MHz"),
                (26000000, 2, 1, "receive --iq -M am -o x.wav", "26000000 Hz is beyond 25 MHz"),
                (8000000, 1024, 0, "decode --if 1M --mode packet", "0 messages"), (200000000, 1, 1, "decode --mode same", "beyond 100 MHz"),
                (100000000, 1024, 0, "decode --mode packet,rtty,ascii,same,navtex,pocsag,dtmf,zvei,selcal,ctcss", "0 messages"),
                (100000000, 1024, 0, "decode --mode tones --freq 1k", "0 messages"),
                (100000000, 1024, 0, "spectrum --size 1048576", "1048576 points"), (100000000, 1024, 0, "waterfall -o x.png", "100 MHz"),
                (100000000, 1024, 0, "waterfall --live", "taking the first"),
                (16000000, 1024, 1, "clean --shift 5 -o x.wav", "1024 channel(s), times 1 shift(s), is beyond 16.7 MHz"),
                (9000000, 1, 1, "clean --shift 5 --shift 6 -o x.wav", "times 2 shift(s)"),
                (9000000, 1, 0, "clean --shift 5 --shift 0 -o x.wav", "2048 samples"),
                (100000000, 1024, 0, "clean --denoise --autonotch -o x.wav", "2 samples"),
                (100000000, 1024, 1, "resample -r 8k -o x.wav", "too far apart"),
                (100000000, 1024, 0, "resample -r 100M -o x.wav", "2 samples")):
            with self.subTest(f"{rate} Hz, {channels}: {line}"):
                with open("band.wav", "wb") as file:
                    file.write(wav(bytes(4096), channels=channels, rate=rate))
                start = time.monotonic()
                with subprocess.Popen([CLIENT, *line.split(), "band.wav"], stdout=subprocess.DEVNULL, stderr=subprocess.PIPE) as client:
                    text = client.stderr.read().decode()
                    _, ended, usage = os.wait4(client.pid, 0)
                    client.returncode = os.waitstatus_to_exitcode(ended)
                self.assertEqual((client.returncode, why in text), (status, True), text)
                self.assertLess(usage.ru_maxrss / 1024, most)
                self.assertLess(time.monotonic() - start, patience)

    def test_length_of_the_audio(self):
        for samples in (0, 1, 2, 3, 8191, 8193, 24001, 36000):
            for mode, rate in (("am", "12k"), ("isb", "12k"), ("sam", "9k"), ("fm", "40k"), ("usb", "44.1k"), ("am", "8001")):
                with self.subTest(f"{samples} {mode}"):
                    left, right, summary = receive(BAND[:samples], "-M", mode, "--audio-rate", rate)
                    self.assertEqual((summary["samples"], len(left)), (samples, len(right)))
                    self.assertEqual(summary["output_rate"], float(rate.rstrip("k")) * (1000 if "k" in rate else 1))
                    self.assertAlmostEqual(summary["output_frames"], samples * summary["output_rate"] / RATE, delta=0.51)

    def test_truncated(self):
        for name, data, samples in (("WAV", PLAIN[:-10001], len(BAND) - 5001), ("AU", au(BAND)[:-2000], len(BAND) - 1000),
                                    ("header alone", PLAIN[:44], 0), ("raw", pack("h", BAND[:500]) + b"x", 500)):
            with self.subTest(name):
                raw = "-t raw -r 24k".split() if name == "raw" else []
                done = run("receive", "-M", "am", "-o", "x.wav", *raw, data=data)
                self.assertIn(b"truncated", done.stderr)
                self.assertIn(f"{samples} samples".encode(), done.stderr)
                with wave.open("x.wav") as file:
                    self.assertEqual((done.returncode, file.getnframes()), (0, (samples + 1) // 2))

    def test_broken_pipe_is_quiet(self):
        done = subprocess.run(f"'{CLIENT}' receive -M am -t raw -r 24k /dev/zero | head -c 100 | wc -c; echo ${{PIPESTATUS[0]}}",
                              shell=True, executable="/bin/bash", capture_output=True, timeout=60)
        self.assertEqual((done.stdout.split(), done.stderr), ([b"100", b"141"], b""))

    def recorder(self, path="x.wav"):
        """A client that has received BAND into a file, and waits for more."""
        client = subprocess.Popen([CLIENT, "receive", "-M", "am", "-t", "raw", "-r", "24k", "-o", path], stdin=subprocess.PIPE,
                                  stderr=subprocess.PIPE)
        for clean in (client.stderr.close, client.stdin.close, client.wait, client.kill):  # the last one first
            self.addCleanup(clean)
        before = set(os.listdir())
        client.stdin.write(pack("h", BAND))
        client.stdin.flush()
        deadline = time.monotonic() + 30
        while not any(name.startswith(path + ".") and os.path.getsize(name) > 40000 for name in set(os.listdir()) - before):
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.01)
        return client

    def test_stopped_from_outside(self):
        names = ["INT"] if ON_WINE else "INT TERM HUP QUIT PIPE XFSZ XCPU ALRM PROF VTALRM USR1 USR2 PWR".split()
        for number in [getattr(signal, "SIG" + name) for name in names if hasattr(signal, "SIG" + name)]:
            with self.subTest(number):
                client = self.recorder()
                for _ in range(3 if number == signal.SIGHUP else 1):  # the kernel's, the shell's, and the kernel's again
                    stop(client, number)
                text = client.stderr.read()
                self.assertEqual((client.wait(20), b"stopped" in text), (128 + number, True))
                with wave.open("x.wav") as file:
                    self.assertGreaterEqual(file.getnframes(), 12000)
                    self.assertEqual(len(file.readframes(10**6)), 4 * file.getnframes())
                self.assertEqual(os.listdir(), ["x.wav"])

    @unittest.skipIf(ON_WINE, "signals of POSIX")
    def test_ignored_signals_stay_ignored(self):
        before = signal.signal(signal.SIGHUP, signal.SIG_IGN)
        try:
            client = self.recorder()
        finally:
            signal.signal(signal.SIGHUP, before)
        client.send_signal(signal.SIGHUP)
        client.stdin.write(bytes(48000))
        _, text = client.communicate(timeout=20)
        self.assertEqual((client.returncode, b"stopped" in text), (0, False))
        with wave.open("x.wav") as file:
            self.assertEqual(file.getnframes(), (len(BAND) + 24000) // 2)

    @unittest.skipIf(ON_WINE, "terminals of POSIX")
    def test_terminal_that_closes(self):
        child, master = pty.fork()
        if child == 0:  # a shell that has the terminal, and the client on it
            os.execlp("bash", "bash", "-ic", f"tail -c +1 -f band | '{CLIENT}' receive -M am -t raw -r 24k -o x.wav; true")
        with open("band", "wb") as file:
            file.write(pack("h", BAND))
        deadline = time.monotonic() + 30
        while not (os.path.exists("x.wav.part") and os.path.getsize("x.wav.part") > 40000):
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.01)
        os.close(master)
        while os.path.exists("x.wav.part") and time.monotonic() < deadline: time.sleep(0.01)
        os.waitpid(child, 0)
        with wave.open("x.wav") as file:
            self.assertGreaterEqual(file.getnframes(), 12000)

    def test_talk_that_nobody_hears(self):
        """The reader of standard error is gone: the file is finished at the first line."""
        if ON_WINE: self.skipTest("signals of POSIX")
        read, write = os.pipe()
        os.close(read)
        with open("band.raw", "wb") as file:
            file.write(pack("h", BAND))
        done = subprocess.run([CLIENT, "receive", "-M", "am", "-t", "raw", "-r", "24k", "-v", "-o", "x.wav", "band.raw"], stderr=write)
        os.close(write)
        self.assertEqual((done.returncode in (-13, 141), os.listdir()), (True, ["band.raw"]))  # at the first line, before all
        with subprocess.Popen([CLIENT, "receive", "-M", "am", "-t", "raw", "-r", "24k", "-o", "x.wav", "band.raw"],
                              stderr=subprocess.PIPE) as client:
            client.stderr.close()
            self.assertEqual(client.wait(20), 141)  # at the last one
        with wave.open("x.wav") as file:
            self.assertEqual(file.getnframes(), len(BAND) // 2)

    def test_forms_of_output(self):
        """By type or by the name's ending, into files and pipes: the same samples, as finely as they are written."""
        raw = {kind: run("receive", "-M", "am", "-f", "6k", "--output-type", kind, data=PLAIN).stdout for kind in ("raw", "s24", "f32")}
        plain = struct.unpack(f"<{len(raw['raw']) // 2}h", raw["raw"])
        fine = [v[0] / 65536 for v in struct.iter_unpack("<i", b"".join(b"\0" + raw["s24"][k:k + 3] for k in range(0, len(raw["s24"]), 3)))]
        real = [v[0] * 32768 for v in struct.iter_unpack("<f", raw["f32"])]
        self.assertTrue(len(plain) == len(fine) == len(real) > 1000)
        self.assertLess(max(abs(p - r) for p, r in zip(plain, real)), 0.51)
        self.assertLess(max(abs(f - r) for f, r in zip(fine, real)), 0.51 / 256)
        self.assertGreater(sum(f % 1 != 0 for f in fine), len(fine) / 2)
        for kind, ending in (("wav", ".wav"), ("wav24", ""), ("wavf32", ""), ("flac", ".FLAC"), ("flac24", ""), ("s24", ".s24"), ("f32", ".f32")):
            with self.subTest(kind):
                line = ["receive", "-M", "am", "-f", "6k"] + (["--output-type", kind] if not ending else [])
                self.assertEqual(run(*line, "-o", "x" + ending, data=PLAIN).returncode, 0)
                with open("x" + ending, "rb") as file:
                    content = file.read()
                piped = run("receive", "-M", "am", "-f", "6k", "--output-type", kind, data=PLAIN).stdout
                if kind in raw:
                    self.assertTrue(content == piped == raw[kind])
                    continue
                form = {"wav": "raw", "flac": "raw", "wavf32": "f32"}.get(kind, "s24")
                for data in content, piped:
                    back = run("resample", "-r", "12k", "--output-type", form, data=data)
                    self.assertTrue(back.stdout == raw[form] and b"truncated" not in back.stderr)
                if kind[:3] == "wav":
                    bits = {"wav": 16, "wav24": 24, "wavf32": 32}[kind]
                    self.assertEqual(struct.unpack("<HH", content[56:58] + content[70:72]), (3 if kind == "wavf32" else 1, bits))
        self.one_line(run("resample", "-t", "raw", "--input-rate", "1M", "-r", "1M", "-o", "y.flac"), 1, "FLAC holds no audio of 1000000 Hz")
        self.assertEqual([name for name in os.listdir() if "y" in name], [])

    @unittest.skipIf(ON_WINE, "limits of POSIX")
    def test_output_that_takes_no_more(self):
        """What a limit or a full disk leaves is a whole file."""
        with open("old.wav", "wb") as file:
            file.write(b"old")
        for command in ("receive -M am -r 24k --mono", "resample --input-rate 24k -r 24k", "clean --shift 5 -r 24k"):
            for ignored, status in (("", 153), ("trap '' XFSZ; ", 1)):
                with self.subTest(command + ignored):
                    done = subprocess.run(["bash", "-c", f"{ignored}ulimit -f 41; exec '{CLIENT}' {command} -t raw /dev/zero -o x.wav"],
                                          capture_output=True, timeout=60)
                    self.one_line(done, status, "x.wav: File too large: the audio up to there is kept")
                    with wave.open("x.wav") as file:
                        self.assertEqual(os.path.getsize("x.wav"), 80 + 2 * file.getnframes())
                        self.assertGreater(file.getnframes(), 10000)
            done = subprocess.run(["bash", "-c", f"ulimit -f 0; exec '{CLIENT}' {command} -t raw /dev/zero -o old.wav"],
                                  capture_output=True, timeout=60)
            self.one_line(done, 153, "old.wav: File too large")
        with open("noise.raw", "wb") as file:
            file.write(random.Random(1).randbytes(200000))
        done = subprocess.run(["bash", "-c", f"ulimit -f 41; exec '{CLIENT}' resample -t raw noise.raw --input-rate 24k -r 24k -o x.flac"],
                              capture_output=True, timeout=60)
        self.one_line(done, 153, "x.flac: File too large: the audio up to there is kept")
        heard = run("resample", "x.flac", "-r", "24k", "--output-type", "raw").stdout
        self.assertEqual(heard, random.Random(1).randbytes(len(heard)))
        self.assertGreater(len(heard), 30000)
        for name in ("x.flac", "noise.raw"):
            os.remove(name)
        done = subprocess.run(["bash", "-c", f"ulimit -f 1; exec '{CLIENT}' spectrum -o x.png -"], input=PLAIN, capture_output=True)
        self.one_line(done, 153, "x.png: File too large")
        self.assertEqual(sorted(os.listdir()), ["old.wav", "x.wav"])
        self.assertEqual(os.path.getsize("old.wav"), 3)

    def test_watched_and_killed(self):
        """What is written can be heard meanwhile, and stays so if the program is killed; the next run leaves it alone."""
        client = self.recorder()
        with open("x.wav.part", "rb") as file:
            self.assertEqual(struct.unpack("<4sI", file.read(80)[72:]), (b"data", 0x7ffff000))
        heard = run("resample", "-r", "12k", "x.wav.part", "--output-type", "raw")
        self.assertEqual((heard.returncode, b"truncated" in heard.stderr), (0, False))
        self.assertGreaterEqual(len(heard.stdout), 48000)
        if ON_WINE: return
        client.send_signal(signal.SIGKILL)
        client.wait()
        left = os.path.getsize("x.wav.part")
        done = run("receive", "-M", "am", "-o", "x.wav", data=PLAIN)
        self.assertIn(b"x.wav.part: is there already", done.stderr)
        self.assertEqual((sorted(os.listdir()), os.path.getsize("x.wav.part")), (["x.wav", "x.wav.part"], left))

    @unittest.skipIf(ON_WINE, "links of POSIX")
    def test_links_and_names(self):
        os.mkdir("far")
        for name, target in (("one.wav", "far/new.wav"), ("two.wav", "one.wav"), ("loop.wav", "loop.wav"), ("lost.wav", "none/x.wav")):
            os.symlink(target, name)
        for name, status, why in (("loop.wav", 1, "Too many levels"), ("lost.wav", 1, "No such file"), ("one.wav", 0, ""),
                                  ("two.wav", 0, "")):
            with self.subTest(name):
                self.one_line(run("clean", "--shift", 5, "-o", name, data=PLAIN), status, name + ": " + why if status else name)
                self.assertTrue(os.path.islink(name))
        self.assertEqual((os.listdir("far"), os.path.getsize("far/new.wav")), (["new.wav"], 80 + 2 * len(BAND)))
        os.chmod("far/new.wav", 0o640)
        self.assertEqual(run("clean", "--shift", 5, "two.wav", "-o", "two.wav").returncode, 0)  # over what it reads
        self.assertEqual((os.stat("far/new.wav").st_mode & 0o777, os.path.getsize("far/new.wav")), (0o640, 80 + 2 * len(BAND)))

    def test_empty_values(self):
        for line in (["receive", "-M", "am", "-o", ""], ["receive", "-M", "am", "--output", ""], ["receive", "-M", "am", ""],
                     ["clean", "--shift", "5", "-o", ""], ["decode", "--mode", "dtmf", ""], ["decode", "--mode", "dtmf", "-", ""],
                     ["spectrum", "-o", ""], ["waterfall", "-o", ""], ["spectrum", "--title", ""]):
            with self.subTest(line):
                self.one_line(run(*line, data=PLAIN), 2, ": the value is empty")
        self.assertEqual(os.listdir(), [])

    @unittest.skipIf(ON_WINE, "names of POSIX")
    def test_names_that_are_not_utf8(self):
        for name, shown in ((b"caf\xe9.wav", "caf\ufffd.wav"), ("caf\u00e9\U0001d11e.wav".encode(), "caf\u00e9\U0001d11e.wav"),
                            (b"\xed\xa0\x80\xc0\xaf.wav", "\ufffd" * 5 + ".wav"), (b'"\\\n\x7f\xf0\x9f', '"\\\n\x7f\ufffd\ufffd')):
            with self.subTest(shown):
                with open(name, "wb") as file:
                    file.write(PLAIN)
                for line, key in ((["clean", "--shift", "5", "-o", name + b".out", "--json"], "file"),
                                  (["spectrum", name, "--json", "--peaks", "0"], "input"),
                                  (["decode", "--mode", "tones", "--freq", "1k", "--json", name, name], "file")):
                    done = subprocess.run([CLIENT, *line], input=PLAIN, capture_output=True)
                    told = json.loads((done.stdout or done.stderr).splitlines()[0].decode())
                    self.assertEqual(told[key], shown + (".out" if key == "file" and line[0] == "clean" else ""))

    def test_every_mode_gives_its_tone(self):
        """A tone of 1 kHz comes out clean, in time with the recording, and at the usual level."""
        upper, lower = [(6000 + 1000, 500)], [(6000 - 1000, 500)]
        for mode, band, channel in (("am", am(6000, 8000), 0), ("am", am(6000, 80), 0), ("sam", am(6000, 8000), 0),
                                    ("sam", am(6007, 800), 0), ("usb", tones(*upper, (5200, 5000)), 0),
                                    ("lsb", tones(*lower, (7500, 5000)), 0), ("isb", tones(*upper), 1),
                                    ("isb", tones(*lower), 0), ("fm", fm(6000, 3000), 0)):
            with self.subTest(f"{mode} {band[:3]}"):
                *channels, summary = receive(band, "-M", mode, "-f", "6k")
                tone, rest = tone_of(channels[channel], round(summary["output_rate"]), 1000)
                self.assertGreater(20 * math.log10(abs(tone) / rest), 25 if band[0] < 200 else 30)
                self.assertTrue(1000 < abs(tone) < 30000, abs(tone))
                if mode == "isb":
                    opposite, _ = tone_of(channels[1 - channel], 12000, 1000)
                    self.assertGreater(20 * math.log10(abs(tone) / abs(opposite)), 40)
                if mode in ("am", "sam"): # either sign of a synchronous detector
                    late = math.degrees(cmath.phase(tone if mode == "am" else tone * tone)) / (1 if mode == "am" else 2)
                    self.assertLess(abs(late), 16) # half a frame is 15 degrees

    def test_summary_of_modes(self):
        for offset in (-12, 0, 7):
            _, _, summary = receive(am(6000 + offset, 4000), "-M", "sam", "-f", "6k")
            self.assertTrue(summary["locked"])
            self.assertAlmostEqual(summary["carrier_offset"], offset, delta=0.5)
        noise = tones(noise=1000)
        self.assertFalse(receive(noise, "-M", "sam")[2]["locked"])
        self.assertGreater(receive(noise, "-M", "fm")[2]["noise_level"], 20 * receive(fm(6000, 3000), "-M", "fm")[2]["noise_level"])
        self.assertEqual([receive([v, 0] * 9000, "-M", "am")[2]["overloads"] > 0 for v in (31999, -32000)], [False, True])

    def test_cpu(self):
        record = json.loads(run("cpu", "--json").stdout)
        self.assertLessEqual({"ZVFIR1616", "ZVFIR3232_Process2", "ZVLMS1616", "MemorySet_DWord"}, set(record["kernels"]))
        self.assertIn(record["brand"], run("cpu").stdout.decode())

    def test_selftest(self):
        text, record = run("selftest"), json.loads(run("selftest", "--json").stdout)
        self.assertEqual((text.returncode, text.stderr), (0, b""))
        self.assertTrue(record["equal"])
        self.assertGreater(len(record["parts"]), 35)
        for name, part in record["parts"].items():
            self.assertRegex(text.stdout.decode(), f"(?m)^{name} +{part['result']} +{part['kernel']}")


if __name__ == "__main__":
    unittest.main(verbosity=1)
