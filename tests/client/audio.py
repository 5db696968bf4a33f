#!/usr/bin/python3
"""Runs the client's commands from audio to audio: rates, lengths, tones that come and go, order, ends in the middle.

    audio.py CLIENT    the program to test
"""
import cmath
import json
import math
import os
import random
import struct
import subprocess
import time
import unittest
import wave

from golden import CLIENT, RATE, InFolder, pack, run, stop, tone_of, tones, wav


def process(samples, line, rate=RATE, channels=1):
    """Samples out, summary."""
    done = run(*line.split(), "--output-type", "raw", "--json", data=wav(pack("h", samples), channels=channels, rate=rate))
    assert done.returncode == 0, done.stderr
    return struct.unpack(f"<{len(done.stdout) // 2}h", done.stdout), json.loads(done.stderr)


def db(ratio):
    return 20 * math.log10(max(abs(ratio), 1e-9))


TONES = tones((1000, 8000), (2600, 4000))
PLAIN = wav(pack("h", TONES))
COMMANDS = ("resample -r 11025", "resample -r 24001 --quality 16", "clean --denoise", "clean --autonotch",
            "clean --notch 1k:80 --shift -300", "clean --shift 0")


class Audio(InFolder):
    def test_wrong_usage(self):
        for line in ("resample", "resample -r 0", "resample -r 8.5", "resample -r x", "resample -r 8k --quality 7",
                     "resample -r 8k --quality 1025", "resample -r 8k --tolerance -1", "resample -r 8k --tolerance 1",
                     "resample -r 8k -t raw", "resample -r 8k --input-rate 8k", "resample -r 8k --channel 1", "clean",
                     "clean --notch", "clean --notch 0", "clean --notch 1k:", "clean --notch 1k:0.5", "clean --notch :50",
                     "clean --notch 1k:5:5", "clean --shift", "clean --shift 1.5", "clean --shift x",
                     "clean --denoise a.wav b.wav", "clean --denoise -t raw"):
            with self.subTest(line):
                self.one_line(run(*line.split(), data=PLAIN), 2, "--help")

    def test_what_cannot_be_done(self):
        for data, line, why in ((PLAIN, "resample -r 999999937", "too large a table; --tolerance 1e-"),
                                (wav(b"", rate=1999993), "resample -r 1999979 --tolerance 1e-12", "--tolerance 1e-06"),
                                (wav(b"", rate=200000000), "resample -r 1", "too far apart"),
                                (PLAIN, "clean --notch 12k", "12000"), (PLAIN, "clean --notch 5k:3001", "3000"),
                                (PLAIN, "clean --denoise --shift -12k", "12000"),
                                (b"no sound", "clean --denoise", "not an audio file"), (PLAIN, "resample none.wav -r 8k", "No such"),
                                (PLAIN, "resample -r 8k -o none/x.wav", "No such"), (PLAIN, "clean --denoise -o /dev/full", "space")):
            with self.subTest(line):
                before = time.monotonic()
                self.one_line(run(*line.split(), *([] if "-o" in line else ["-o", "x.wav"]), data=data), 1, why)
                self.assertLess(time.monotonic() - before, 10)
        self.assertEqual(os.listdir(), [])

    def test_however_it_comes(self):
        """Files, pipes and raw samples give the same, one channel or two, and each channel goes its own way."""
        dice = random.Random(3)
        other = [round(dice.gauss(0, 3000)) for _ in TONES]
        both = pack("h", [v for pair in zip(TONES, other) for v in pair])
        with open("in.wav", "wb") as file:
            file.write(PLAIN)
        self.assertEqual(list(process(TONES, "resample -r 24k")[0]), TONES) # the rate that they have
        for line in COMMANDS:
            with self.subTest(line):
                left, _ = process(TONES, line)
                right, _ = process(other, line)
                first = run(*line.split(), "in.wav", "-o", "out.wav", "--json")
                self.assertEqual((first.returncode, first.stdout), (0, b""))
                with wave.open("out.wav") as file:
                    rate = json.loads(first.stderr)["output_rate"]
                    self.assertEqual(file.getparams()[:4], (1, 2, rate, len(left)))
                    self.assertTrue(file.readframes(len(left)) == pack("h", left))
                raw = run(*line.split(), "-t", "raw", "--input-rate" if "resample" in line else "-r", "24k", "--channels", "2",
                          data=both)
                self.assertEqual((raw.returncode, raw.stderr.count(b"\n")), (0, 1))
                self.assertTrue(raw.stdout[44:] == pack("h", [v for pair in zip(left, right) for v in pair]))

    def test_lengths(self):
        for frames in (0, 1, 2, 1199, 1200, 5001):
            for rate in (24000, 8000, 48000, 11025, 7, 24001):
                with self.subTest(f"{frames} to {rate}"):
                    out, summary = process(TONES[:frames], f"resample -r {rate} --quality 8")
                    self.assertEqual((len(out), summary["samples"]), (-(-frames * rate // RATE), frames))
            for line in ("--denoise", "--shift 100", "--shift -5 --notch 500 --shift 9 --autonotch"):
                self.assertEqual(len(process(TONES[:frames], "clean " + line)[0]), frames)

    def test_resampled_tones(self):
        """Tones keep level and place; what the new rate can't carry is gone."""
        for line, over, under, taps in (("-r 48k", 2, 1, 64), ("-r 8k -q 32", 1, 3, 96), ("-r 11025 -q 128", 147, 320, 279),
                                        ("-r 24k", 1, 1, 1), ("-r 24001", 24001, 24000, 64),
                                        ("-r 24001 --tolerance 1e-4", 1, 1, 1), ("-r 44.1k --tolerance 1e-3", 57, 31, 64)):
            with self.subTest(line):
                out, summary = process(tones((1000, 8000), (9000, 4000), noise=0), "resample " + line)
                self.assertEqual([summary[key] for key in ("over", "under", "taps_per_output")], [over, under, taps])
                true_rate = RATE * over / under
                self.assertAlmostEqual(summary["rate_error"], true_rate / summary["output_rate"] - 1, places=9)
                lag = (over * taps // 2) / over / RATE
                self.assertAlmostEqual(summary["delay"], lag, delta=1 / RATE)
                low, _ = tone_of(out, round(true_rate), 1000)
                if abs(true_rate % 100) < 1: # else the tone isn't whole in the measure's window
                    self.assertLess(abs(db(low / 8000)), 0.01)
                    self.assertLess(abs(cmath.phase(low)), 0.001)
                if true_rate < 12000: # 9 kHz would alias to 1 kHz or 2025 Hz
                    self.assertLess(db(tone_of([v - (low * cmath.exp(2j * math.pi * 1000 * k / true_rate)).real
                                                for k, v in enumerate(out)], round(true_rate),
                                               abs(9000 - true_rate))[0] / 4000), -70)

    def test_cleaned_tones(self):
        """Amplitudes in dB of the tones at 1000 and 2600 Hz, or of where they are moved to."""
        for line, wanted in (("--notch 1000", {1000: (-200, -60), 2600: (-0.2, 0.2)}),
                             ("--notch 2.6k:200 --notch 1000:10", {1000: (-200, -60), 2600: (-200, -60)}),
                             ("--shift 300", {1300: (-0.1, 0.1), 2900: (-0.1, 0.1), 1000: (-200, -60), 700: (-200, -50)}),
                             ("--shift -300", {700: (-0.1, 0.1), 2300: (-0.1, 0.1), 1300: (-200, -50)}),
                             ("--shift 300 --shift -300", {1000: (-0.1, 0.1), 2600: (-0.1, 0.1)}),
                             ("--shift=0", {1000: (-0.01, 0.01), 2600: (-0.01, 0.01)}),
                             ("--notch 1000 --shift 300", {1300: (-200, -60)}),
                             ("--shift 300 --notch 1000", {1300: (-0.3, 0.3)}),
                             ("--denoise", {1000: (-3, 0.5), 2600: (-6, 0.5)})):
            with self.subTest(line):
                out, summary = process(tones((1000, 8000), (2600, 4000), seconds=4), "clean " + line)
                for hz, (least, most) in wanted.items():
                    sent = 4000 if hz >= 2000 else 8000
                    level = db(tone_of(out[2 * RATE:], RATE, hz)[0] / sent)
                    self.assertTrue(least <= level <= most, f"{hz} Hz: {level:.1f} dB")
                self.assertAlmostEqual(summary["delay"], line.count("shift") * 300 / RATE * ("=0" not in line), places=6)

    def test_shifted_tones_stay_in_time(self):
        burst = [v if 12000 <= k < 13200 else 0 for k, v in enumerate(tones((3000, 8000)))]
        out, _ = process(burst, "clean --shift 500")
        centre = sum(k * v * v for k, v in enumerate(out)) / sum(v * v for v in out)
        self.assertAlmostEqual(centre, 12600, delta=2)

    def test_noise_against_tone(self):
        """--denoise lowers noise more than a tone in it, --autonotch the other way round."""
        heard = tones((1000, 3000), seconds=3, noise=2000)
        (tone, rest), *results = [tone_of(out[RATE:], RATE, 1000) for out in
                                  (heard, process(heard, "clean --denoise")[0], process(heard, "clean --autonotch")[0])]
        gains = [db(abs(after) / left) - db(abs(tone) / rest) for after, left in results]
        self.assertGreater(gains[0], 4)
        self.assertLess(gains[1], -15)
        self.assertLess(abs(db(results[1][1] / rest)), 1)

    def test_too_loud_is_clipped_not_wrapped(self):
        square = [32767 if k // 40 % 2 else -32768 for k in range(12000)]
        for line in ("--notch 300:500", "--shift 700", "--notch 900 --shift -120"):
            with self.subTest(line):
                loud, _ = process(square, "clean " + line)
                soft, _ = process([v // 4 for v in square], "clean " + line)
                self.assertTrue(any(abs(v) > 8200 for v in soft)) # else nothing would wrap
                for k, (a, b) in enumerate(zip(loud, soft)):
                    self.assertLess(abs(a - min(max(4 * b, -32768), 32767)), 120, k)

    def test_quiet_after_loud(self):
        """The predictor's energy is right again when something loud is over."""
        dice = random.Random(4)
        loud = [round(32767 * dice.uniform(-1, 1)) for _ in range(20 * RATE)]
        quiet = tones((1000, 100), seconds=2)
        for line in ("--denoise", "--autonotch"):
            after, _ = process(loud + [0] * RATE + quiet, "clean " + line)
            alone, _ = process(quiet, "clean " + line)
            self.assertLessEqual(max(map(abs, after[20 * RATE + 1000:21 * RATE])), 1)
            self.assertLess(abs(db(tone_of(after[22 * RATE:], RATE, 1000)[0] / tone_of(alone[RATE:], RATE, 1000)[0])), 2)

    def test_ends_in_the_middle(self):
        for line in ("resample -r 8k", "clean --shift 5"):
            done = run(*line.split(), "-o", "x.wav", data=PLAIN[:-1001])
            self.assertIn(b"truncated", done.stderr)
            with subprocess.Popen([CLIENT, *line.split(), "-t", "raw", "--input-rate" if "resample" in line else "-r", "24k",
                                   "-o", "y.wav"], stdin=subprocess.PIPE, stderr=subprocess.PIPE) as client:
                client.stdin.write(pack("h", TONES))
                client.stdin.flush()
                while not any(name.startswith("y.wav.") and os.path.getsize(name) > 9000 for name in os.listdir()):
                    time.sleep(0.01)
                stop(client)
                text = client.stderr.read()
                self.assertEqual((client.wait(20), b"stopped" in text), (130, True))
            with wave.open("y.wav") as file:
                self.assertGreater(2 * file.getnframes() + 44, 9000)
            self.assertEqual(sorted(os.listdir()), ["x.wav", "y.wav"])
            os.remove("y.wav")


if __name__ == "__main__":
    unittest.main(verbosity=1)
