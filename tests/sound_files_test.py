#!/usr/bin/python3
"""Every container and coding that libsndfile can write, through the client: whole, halved, damaged, by file and by pipe.

What comes is compared with what libsndfile itself reads, so the tables here are docs/formats.md's: what a pipe can't bring,
and of which containers a shortfall is told."""
import ctypes
import ctypes.util
import datetime
import json
import math
import os
import pathlib
import signal
import struct
import subprocess
import tempfile
import time
import unittest

import numpy as np
import soundfile

from support.built import BITS, CLIENT

OTHER_LIBRARY = BITS == "32"  # a static one, without MP3, which rounds in its own way
LENGTHS = 1, 4081, 70001  # frames; the last is beyond the 64 kB that a pipe's head is kept of
RATES = {"OPUS": 48000, "SDS": 16000, "MP3": 32000, "XI": 44100}  # Hz; else 8000
FROM_FILES_ALONE = {"MP3", "SDS", "SVX", "VOC", "PAF", "HTK", "SD2"}
CODINGS_FROM_FILES = {"ALAC_16", "ALAC_20", "ALAC_24", "ALAC_32", "DWVW_12", "DWVW_16", "DWVW_24", "W64 IMA_ADPCM"}
TOLD = {"WAV", "WAVEX", "RF64", "W64", "AIFF", "AU", "CAF", "FLAC", "OGG"}


class Info(ctypes.Structure):
    _fields_ = [("frames", ctypes.c_int64)] + [(name, ctypes.c_int) for name in ("rate", "channels", "format", "sections", "seekable")]


library = ctypes.CDLL(ctypes.util.find_library("sndfile"))
library.sf_open.restype = ctypes.c_void_p
library.sf_close.argtypes = [ctypes.c_void_p]
READERS = {np.int16: library.sf_readf_short, np.int32: library.sf_readf_int, np.float32: library.sf_readf_float}
for reader in READERS.values():
    reader.restype, reader.argtypes = ctypes.c_int64, [ctypes.c_void_p, ctypes.c_void_p, ctypes.c_int64]


def truth(path):
    """The 16-bit samples of libsndfile's own, interleaved; None where it doesn't open the file."""
    info = Info()
    file = library.sf_open(os.fsencode(path), 0x10, ctypes.byref(info))
    if not file:
        return None
    coding = info.format & 0xFFFF
    kind = np.int32 if coding in (3, 4) or info.format >> 16 == 0x11 else np.int16 if coding in (1, 2, 5, 16, 17) else np.float32
    data = np.zeros((6 * LENGTHS[-1], info.channels), kind)
    count = READERS[kind](file, data.ctypes.data, len(data))
    library.sf_close(file)
    data = data[:max(count, 0)].ravel()
    if kind == np.int16:
        return data
    if kind == np.float32:
        data = np.rint(np.clip(data.astype(float) * 2**31, -2**31, 2**31 - 1))
    return np.minimum((data.astype(np.int64) + 0x8000) >> 16, 32767).astype(np.int16)


def speech(frames, channels=1):
    """Syllables of a gliding tone with harmonics, and noise."""
    time_ = np.arange(frames) / 8000
    voice = sum(np.sin(2 * np.pi * k * 130 * time_ + k * 3 * np.sin(2 * np.pi * 2 * time_)) / k for k in range(1, 9))
    noise = np.random.default_rng(1).standard_normal((frames, channels))
    return (0.25 * voice * (0.55 + 0.45 * np.sin(2 * np.pi * 3 * time_)))[:, None] * np.linspace(1, 0.5, channels) + 0.01 * noise


def resample(path="", data=b"", rate=8000, **options):
    """Samples, summary or None, result. A path, or data that comes by pipe."""
    given = {} if "stdin" in options else {"input": data}
    done = subprocess.run([CLIENT, "resample", path or "-", "-r", str(rate), "--output-type", "raw", "--json"], capture_output=True,
                          timeout=30, **given, **options)
    last = done.stderr.decode().splitlines()[-1] if done.stderr else ""
    return np.frombuffer(done.stdout, "<i2"), json.loads(last) if last.startswith("{") else None, done


def patched(data, *pieces):
    data = bytearray(data)
    for at, piece in pieces:
        data[at:at + len(piece)] = piece
    return bytes(data)


class SoundFiles(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        cls.files = {}  # (container, coding, frames, channels): path
        for container in soundfile.available_formats():
            for coding in soundfile.available_subtypes(container):
                for channels, frames in [(1, frames) for frames in LENGTHS] + [(2, 4081)]:
                    cls.write(container, coding, frames, channels)

    @classmethod
    def write(cls, container, coding, frames, channels):
        path = f"{cls.folder.name}/{container}.{coding}.{frames}.{channels}"
        if container == "RAW" or (OTHER_LIBRARY and container == "MP3"):
            return
        try:
            pages = 4 if container == "OGG" and frames == LENGTHS[-1] else 1  # those of Opus hold a second
            soundfile.write(path, speech(frames * pages, channels), cls.rate(container, coding), format=container, subtype=coding)
        except (RuntimeError, ValueError):
            return  # it reads that alone
        if truth(path) is not None:
            cls.files[container, coding, frames, channels] = path

    @staticmethod
    def rate(container, coding):
        return RATES.get(coding, RATES.get(container, 8000))

    def each(self, lengths=LENGTHS, channels=(1, 2)):
        for (container, coding, frames, several), path in self.files.items():
            if frames in lengths and several in channels:
                case = self.subTest(f"{container} {coding}, {frames} frames of {several}")
                yield case, container, coding, path, self.rate(container, coding)

    def refuses(self, done, *words):
        self.assertEqual((done.returncode, done.stdout, done.stderr.count(b"\n")), (1, b"", 1), done.stderr)
        for word in words:
            self.assertIn(word, done.stderr.decode())

    def same(self, got, wanted):
        self.assertEqual(len(got), len(wanted))
        if len(got):
            self.assertLessEqual(np.max(np.abs(got.astype(int) - wanted)), 2 if OTHER_LIBRARY else 0)

    @staticmethod
    def from_a_file_alone(container, coding):
        return container in FROM_FILES_ALONE or {coding, f"{container} {coding}"} & CODINGS_FROM_FILES

    def test_enough_of_them(self):
        self.assertGreater(len(self.files), 300)
        self.assertLessEqual(TOLD | FROM_FILES_ALONE - {"MP3"}, {key[0] for key in self.files})

    def test_whole(self):
        for case, container, coding, path, rate in self.each():
            with case:
                samples, summary, done = resample(path, rate=rate)
                self.assertIsNotNone(summary, done.stderr)
                self.same(samples, truth(path))
                self.assertEqual([summary[key] for key in ("truncated", "damaged", "unfinished")], [False] * 3)
                self.assertEqual(done.stderr.count(b"\n"), 1, done.stderr)
                data = pathlib.Path(path).read_bytes()
                piped, summary, done = resample(data=data, rate=rate)
                if self.from_a_file_alone(container, coding):
                    self.refuses(done, "pipe")
                    continue
                self.assertEqual((done.returncode, summary and summary["truncated"]), (0, False), done.stderr)
                self.same(piped, samples)

    def test_halved(self):
        for case, container, coding, path, rate in self.each(LENGTHS[-1:], (1,)):
            with case:
                data = pathlib.Path(path).read_bytes()
                half = path + ".half"
                pathlib.Path(half).write_bytes(data[:len(data) // 2])
                if container == "SD2":  # whose header is in a file of its own
                    folder, name = os.path.split(path)
                    pathlib.Path(folder, f"._{name}.half").write_bytes(pathlib.Path(folder, f"._{name}").read_bytes())
                wanted = truth(half) if container != "CAF" else truth(path)
                samples, summary, done = resample(half, rate=rate)
                if wanted is None:
                    self.refuses(done, "truncated" if container != "HTK" else "not an audio file")
                else:
                    self.assertEqual(summary and (summary["truncated"], summary["damaged"]), (container in TOLD, False), done.stderr)
                    self.assertGreater(len(samples), 0.3 * len(truth(path)))
                    if container == "CAF":
                        self.assertLess(len(samples), 0.6 * len(wanted))
                        wanted = wanted[:len(samples)]
                    self.same(samples, wanted)
                if self.from_a_file_alone(container, coding):
                    continue
                piped, summary, done = resample(data=data[:len(data) // 2], rate=rate)
                self.assertEqual(summary and summary["truncated"], container in TOLD, done.stderr)
                self.assertLessEqual(len(samples) - len(piped), 0.01 * len(samples))
                self.same(piped, samples[:len(piped)])

    def test_ends_in_the_header(self):
        seen = set()
        for case, container, _, path, rate in self.each(LENGTHS[:1], (1,)):
            if container in seen:
                continue
            seen.add(container)
            with case:
                data = pathlib.Path(path).read_bytes()
                for length in 3, 12, 29, 43, 61, 127:
                    pathlib.Path(path + ".cut").write_bytes(data[:length])
                    for arguments in {"path": path + ".cut"}, {"data": data[:length]}:
                        samples, _, done = resample(rate=rate, **arguments)
                        self.assertIn(done.returncode, (0, 1), done.stderr)
                        self.assertEqual(done.stderr.count(b"zovek: ") + done.stderr.count(b"{"), 1, done.stderr)
                        self.assertLessEqual(len(samples), 1000)  # a block, of codings in blocks

    def make(self, container, coding="PCM_16", frames=20000, rate=8000):
        path = f"{self.folder.name}/made"
        soundfile.write(path, speech(frames), rate, format=container, subtype=coding)
        return pathlib.Path(path).read_bytes(), truth(path)

    def three_ways(self, data, rate=8000):
        path = f"{self.folder.name}/way"
        pathlib.Path(path).write_bytes(data)
        yield "file", resample(path, rate=rate)
        yield "pipe", resample(data=data, rate=rate)
        with open(path, "rb") as file:
            yield "standard input", resample(stdin=file, rate=rate)

    @staticmethod
    def without_length(container, data, begin):
        """As a recorder leaves it that is killed, with what else may stand there. The samples begin at a byte."""
        zero = bytes(8)
        return {"WAV": [[(begin - 4, zero[:4])], [(4, zero[:4]), (begin - 4, zero[:4])], [(4, b"\xff" * 4), (begin - 4, zero[:4])]],
                "RF64": [[(28, zero)], [(20, zero * 3)]], "W64": [[(begin - 8, struct.pack("<Q", 24))], [(16, zero), (begin - 8, zero)]],
                "AIFF": [[(data.find(b"COMM") + 10, zero[:4]), (begin - 12, struct.pack(">I", size))] for size in (0, 8)],
                "AU": [[(8, zero[:4])]], "CAF": [[(begin - 12, zero)]]}[container]

    @staticmethod
    def to_the_end(container, begin):
        return {"WAV": [(begin - 4, struct.pack("<I", 0x7ffff000))], "RF64": [(28, b"\xff" * 8)],
                "W64": [(begin - 8, b"\xff" * 7 + b"\x7f")], "AIFF": [(begin - 12, struct.pack(">I", 0x7f000008))],
                "AU": [(8, b"\xff" * 4)], "CAF": [(begin - 12, b"\xff" * 8)]}[container]

    def test_length_that_was_never_written(self):
        for container in "WAV", "RF64", "W64", "AIFF", "AU", "CAF":
            data, wanted = self.make(container)
            begin = data.find(wanted[:8].astype(">i2" if container in ("AIFF", "AU", "CAF") else "<i2").tobytes())
            cases = [(pieces, True) for pieces in self.without_length(container, data, begin)]
            for pieces, unfinished in cases + [(self.to_the_end(container, begin), False)]:
                for way, (samples, summary, done) in self.three_ways(patched(data, *pieces)):
                    with self.subTest(f"{container} {pieces} by {way}"):
                        self.assertIsNotNone(summary, done.stderr)
                        self.same(samples, wanted)
                        self.assertEqual((summary["unfinished"], summary["truncated"]), (unfinished, False))
            if container != "CAF":
                for _, (samples, summary, done) in self.three_ways(patched(data, *cases[0][0])[:begin]):
                    self.assertEqual((done.returncode, len(samples), summary["unfinished"]), (0, 0, False))
        data, _ = self.make("WAV")
        empty = data[:4] + struct.pack("<I", 36 + 12) + data[8:40] + bytes(4) + b"LIST" + struct.pack("<I", 4) + b"INFO"
        for _, (samples, summary, done) in self.three_ways(empty):
            self.assertEqual((done.returncode, len(samples), summary["unfinished"]), (0, 0, False))
        done = subprocess.run([CLIENT, "resample", "-r", "8k"], input=patched(data, (40, bytes(4))), capture_output=True)
        self.assertIn(b"header tells no length", done.stderr)

    def test_lying_lengths_of_codings_in_blocks(self):
        for coding in "GSM610", "IMA_ADPCM", "MS_ADPCM":
            data, wanted = self.make("WAV", coding)
            size = data.find(b"data") + 4
            for length, fault in ((0x70000000, "truncated"), (0, "unfinished")):
                for way, (samples, summary, done) in self.three_ways(patched(data, (size, struct.pack("<I", length)))):
                    with self.subTest(f"{coding} {length} by {way}"):
                        self.assertIsNotNone(summary, done.stderr)
                        self.same(samples, wanted)
                        self.assertTrue(summary[fault])

    def test_damage_is_no_truncation(self):
        dice = np.random.default_rng(2)
        data, wanted = self.make("FLAC", frames=60000)
        # Where the decoder learns of it, as it reads or as it goes back to look for the next block, hangs on the bytes.
        for width in 1, 4, 10, 100, 1000, 3000, 9000:
            junk = (dice.bytes(width), bytes(width), b"\xff" * width)[width % 3]
            for way, (samples, summary, _) in self.three_ways(patched(data, (len(data) // 2 - width, junk))):
                with self.subTest(f"FLAC, {width} bytes by {way}"):
                    self.assertEqual((summary["damaged"], summary["truncated"]), (True, False))
                    for end in slice(0, 16384), slice(-16384, None):  # what is before it and behind it
                        self.same(samples[end], wanted[end])
        for coding, rate in ("VORBIS", 8000), ("OPUS", 48000):
            data, _ = self.make("OGG", coding, 200000, rate)
            path = f"{self.folder.name}/damaged"
            pathlib.Path(path).write_bytes(patched(data, (len(data) // 2, dice.bytes(300))))
            _, summary, _ = resample(path, rate=rate)
            self.assertEqual((summary["damaged"], summary["truncated"]), (True, False))

    def test_rates_that_are_no_whole_numbers(self):
        mantissa, exponent = math.frexp(33333.33)
        aiff, caf = self.make("AIFF")[0], self.make("CAF")[0]
        for data in (patched(aiff, (aiff.find(b"COMM") + 16, struct.pack(">HQ", 16382 + exponent, int(mantissa * 2**64)))),
                     patched(caf, (20, struct.pack(">d", 33333.33)))):
            for _, (_, summary, done) in self.three_ways(data, 33333):
                self.assertEqual(summary["input_rate"], 33333)
                self.assertIn(b"33333.33 Hz is taken for 33333 Hz", done.stderr)
        for line, told in (("-r 33333", True), ("-r 33334", False), ("-r 33333 --audio-rate 16k", False)):
            done = subprocess.run([CLIENT, "receive", "-M", "am", "-t", "raw", *line.split(), "-o", f"{self.folder.name}/x.wav"],
                                  input=bytes(9000), capture_output=True)
            self.assertEqual((done.returncode, b"16666.5 Hz stands as 16667 Hz" in done.stderr), (0, told), done.stderr)

    def test_stops_at_once(self):
        """On files that would take minutes, and on pipes that say nothing."""
        cases = []
        for container, coding, pieces in (("AU", "G721_32", [(8, b"\xff" * 4)]), ("WAV", "GSM610", []), ("WAV", "PCM_16", [])):
            data, _ = self.make(container, coding)
            size = data.find(b"data") + 4
            path = f"{self.folder.name}/long.{coding}"
            pathlib.Path(path).write_bytes(patched(data, *(pieces or [(size, struct.pack("<I", 0x7ffff000))])))
            os.truncate(path, 3 << 30)
            cases += [(path, None), ("-", path)]
        for path, piped in cases:
            for number in signal.SIGTERM, signal.SIGINT:
                with self.subTest(f"{path} {piped} {number}"), subprocess.Popen(
                        [CLIENT, "resample", path, "-r", "11025", "-o", f"{self.folder.name}/out.wav"], stdin=subprocess.PIPE,
                        stderr=subprocess.PIPE) as client:
                    if piped:
                        with open(piped, "rb") as file:
                            client.stdin.write(file.read(8000))
                        client.stdin.flush()
                    time.sleep(0.2)
                    client.send_signal(number)
                    begin = time.monotonic()
                    text = client.stderr.read()
                    self.assertEqual(client.wait(20), 128 + number, text)
                    self.assertLess(time.monotonic() - begin, 1)

    def test_sigmf(self):
        """Either file of a pair gives what the samples give by -t, with the metadata's rate, centre and time; what isn't read is named."""
        path = f"{self.folder.name}/pair"
        noise, seen = np.random.default_rng(5).normal(0, 0.1, 20000), {}

        def spectrum(*line, status=0):
            done = subprocess.run([CLIENT, "spectrum", *line, "--json"], capture_output=True)
            self.assertEqual(done.returncode, status, done.stderr)
            return json.loads(done.stdout) if status == 0 else self.refuses(done) or done.stderr.decode()

        def described(captures=({"core:sample_start": 0, "core:frequency": 100.6e6, "core:datetime": "2026-04-01T12:30:15.25Z"},), **global_):
            metadata = {"global": {f"core:{key}": value for key, value in global_.items()}, "captures": captures, "annotations": [{"core:label": "x"}]}
            pathlib.Path(path + ".sigmf-meta").write_text(json.dumps(metadata))

        for name, form, scale, line in (("ci16_le", "<i2", 32768, "-t cs16"), ("ci8", "i1", 128, "-t cs8"), ("cu8", "u1", 128, "-t cu8"),
                                        ("cf32_le", "<f4", 1, "-t cf32"), ("ri16_le", "<i2", 32768, "-t raw"), ("rf32_le", "<f4", 1, "")):
            values = noise * scale + (127.5 if form == "u1" else 0)
            pathlib.Path(path + ".sigmf-data").write_bytes((values if scale == 1 else np.round(values)).astype(form).tobytes())
            described(datatype=name, sample_rate=24000)
            both = [spectrum(path + ending) for ending in (".sigmf-meta", ".sigmf-data")]
            seen[name] = both[0].pop("levels")
            self.assertEqual((seen[name], both[0]["time"]), (both[1]["levels"], "2026-04-01T12:30:15.250Z"))
            self.assertEqual((both[0]["rate"], both[0].get("center"), both[0]["first"]),
                             (24000, 100600000, 100588000) if name[0] == "c" else (24000, None, 0))
            if line:
                self.assertEqual(spectrum(path + ".sigmf-data", "-r", "24k", *line.split())["levels"], seen[name])
        self.assertLess(np.max(np.abs(np.subtract(seen["rf32_le"], seen["ri16_le"]))), 0.05)
        for captures, wanted in (([{"core:frequency": 7e6}, {"core:frequency": 8e6}], None), ([], None), ("x", None), ([{"core:frequency": 0}], 0)):
            described(captures, datatype="ci8", sample_rate=24000)
            self.assertEqual(spectrum(path + ".sigmf-meta").get("center"), wanted)
        for word, global_ in (("core:datatype 'ci32_be'", {"datatype": "ci32_be", "sample_rate": 24000}), ("core:datatype ''", {}), ("core:sample_rate", {"datatype": "ci8"}),
                              ("several channels", {"datatype": "ci8", "sample_rate": 24000, "num_channels": 2})):
            described(**global_)
            self.assertIn(word, spectrum(path + ".sigmf-meta", status=1))
        pathlib.Path(path + ".sigmf-meta").write_text("{")
        self.assertIn("isn't a JSON object", spectrum(path + ".sigmf-data", status=1))
        pathlib.Path(path + ".sigmf-meta").unlink()
        self.assertIn("No such file", spectrum(path + ".sigmf-data", status=1))

    def test_time_of_day(self):
        """Of the first sample: as the chunks of a WAV tell it, from a pipe as well; by the clock where none does."""
        auxi = struct.pack("<16HI28x", *(2026, 4, 5, 3, 12, 30, 15, 250) * 2, 7000000)

        def bext(text, since_midnight):
            return bytes(320) + text + struct.pack("<Q256x", since_midnight)

        def told(*chunks, rate=8000):
            format_, data = (b"fmt ", struct.pack("<HHIIHH", 1, 1, rate, 2 * rate, 2, 16)), (b"data", bytes(range(200)) * 40)
            body = b"".join(name + struct.pack("<I", len(text)) + text for name, text in (*chunks[:1], format_, *chunks[1:2], data, *chunks[2:]))
            path = pathlib.Path(self.folder.name, "timed.wav")
            path.write_bytes(b"RIFF" + struct.pack("<I", 4 + len(body)) + b"WAVE" + body)
            runs = [subprocess.run([CLIENT, "spectrum", name, "--json"], input=path.read_bytes(), check=True, capture_output=True) for name in (path, "-")]
            file, pipe = (json.loads(run.stdout).get("time") for run in runs)
            return file if file == pipe else (file, pipe)

        pad, noon = (b"LIST", b"INFO"), 43200 * 8000
        for text, count, wanted in ((b"2026-04-0112:00:00", 0, "12:00:00.000Z"), (b"2026_04_0112-00-00", noon + 4000, "12:00:00.500Z"),
                                    (b"2026-04-0112:00:00", 80000, "12:00:00.000Z"), (b"2026-04-0112:00:00", 1 << 60, "12:00:00.000Z")):
            for chunks in ([(b"bext", bext(text, count))], [pad, pad, (b"bext", bext(text, count))]):
                self.assertEqual(told(*chunks), "2026-04-01T" + wanted)
            for chunks in ([(b"bext", bext(text, count)), (b"auxi", auxi)], [(b"auxi", auxi), (b"bext", bext(text, count))]):
                self.assertEqual(told(*chunks), "2026-04-03T12:30:15.250Z")
        for text in bytes(18), b"2026-02-3012:00:00":
            file, pipe = told((b"bext", bext(text, noon)))
            self.assertIsNone(file)
            self.assertLess(abs((datetime.datetime.now(datetime.timezone.utc) - datetime.datetime.fromisoformat(pipe[:-1] + "+00:00")).total_seconds()), 30)

    def test_station_as_sigmf(self):
        """A tone beside the carrier, from 0.2 s on: where it is, as strong and when, in every mode; read again it stands there too."""
        folder = tempfile.mkdtemp(dir=self.folder.name)
        time_ = np.arange(24000) / 48000
        for mode, tone in (("am", 13000), ("sam", 11500), ("isb", 13000), ("usb", 13000), ("lsb", 11000), ("fm", 12500)):
            band = 0.5 * np.cos(2 * np.pi * tone * time_) * (time_ > 0.2)
            soundfile.write(f"{folder}/band.wav", band, 48000)
            done = subprocess.run([CLIENT, "receive", "band.wav", "-M", mode, "-o", "x.wav", "--record-iq", "iq.sigmf-meta", "--center", "7.05M"],
                                  cwd=folder, capture_output=True)
            self.assertEqual((done.returncode, sorted(os.listdir(folder))),
                             (0, ["band.wav", "iq.sigmf-data", "iq.sigmf-meta", "x.wav"]), done.stderr)
            told = json.loads(pathlib.Path(folder, "iq.sigmf-meta").read_text())
            rate, centre = told["global"]["core:sample_rate"], told["captures"][0]["core:frequency"]
            pairs = np.fromfile(f"{folder}/iq.sigmf-data", "<c8")
            turned = pairs * np.exp(-2j * np.pi * (tone + 7.038e6 - centre) * np.arange(len(pairs)) / rate)
            self.assertEqual((told["global"]["core:datatype"], len(pairs)), ("cf32_le", rate / 2))
            self.assertAlmostEqual(abs(np.mean(turned[int(0.25 * rate):int(0.45 * rate)])), 0.5, delta=0.02)
            self.assertAlmostEqual(np.argmax(abs(pairs) > 0.25) / rate, 0.2, delta=0.002)
            done = subprocess.run([CLIENT, "spectrum", f"{folder}/iq.sigmf-data", "--json"], capture_output=True)
            self.assertAlmostEqual(json.loads(done.stdout)["peaks"][0]["frequency"], tone + 7.038e6, delta=3)
        done = subprocess.run([CLIENT, "receive", f"{folder}/band.wav", "-M", "am", "-o", f"{folder}/y.wav", "--record-iq", "iq.wav"], capture_output=True)
        self.assertEqual((done.returncode, done.stderr.count(b"\n"), os.path.exists(f"{folder}/y.wav")), (2, 1, False))

    def test_words(self):
        """What may be I/Q, the rate that was given, and names that tell what isn't so."""
        path = f"{self.folder.name}/pair.wav"
        soundfile.write(path, speech(9000, 2), 24000)
        garbage = f"{self.folder.name}/noise.au"
        pathlib.Path(garbage).write_bytes(np.random.default_rng(4).bytes(9000))
        for line, data, word in ((f"receive -M am {path}", b"", "--iq"), (f"spectrum {path}", b"", "--iq"),
                                 ("receive -M am -t cu8 -r 300", bytes(999), "rate of 300 Hz"),
                                 ("receive -M am -t raw -r 300", bytes(999), "rate of 300 Hz"),
                                 (f"resample -r 8k {garbage}", b"", "not an audio file")):
            with self.subTest(line):
                done = subprocess.run([CLIENT, *line.split()], input=data, capture_output=True)
                self.assertIn(word, done.stderr.decode())


if __name__ == "__main__":
    unittest.main()
