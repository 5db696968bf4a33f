#!/usr/bin/python3
"""zovek receive on I/Q recordings and at any audio rate, measured: what comes out, where, and what shouldn't."""
import json
import os
import pathlib
import subprocess
import tempfile
import unittest

import numpy as np
import soundfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = pathlib.Path(os.environ.get("ZOVEK_BUILD", ROOT / "build/release"))
RATE = 90000  # Hz, of the I/Q recordings: what leaks through a receiver at the image comes out elsewhere
AUDIO = 12000  # Hz

# What a receiver's file holds, from complex numbers of full scale 1.
TYPES = {"cs16": (lambda v: np.rint(v * 32767).astype("<i2"), 32767), "cs8": (lambda v: np.rint(v * 127).astype("i1"), 127),
         "cu8": (lambda v: np.rint(v * 127 + 127.5).astype("u1"), 127), "cf32": (lambda v: v.astype("<f4"), 1e6)}


def packed(band, kind="cs16"):
    pairs = np.column_stack((band.real, band.imag)).ravel()
    return TYPES[kind][0](pairs + np.random.default_rng(1).uniform(-0.5, 0.5, len(pairs)) / TYPES[kind][1]).tobytes()


def receive(data, *arguments):
    """Left channel, summary."""
    run = subprocess.run([BUILD / "zovek", "receive", *map(str, arguments), "--output-type", "raw", "--json"], input=data,
                         capture_output=True)
    assert run.returncode == 0, run.stderr
    return np.frombuffer(run.stdout, "<i2")[::2].astype(float), json.loads(run.stderr)


def amplitude(audio, rate, hz):
    """Complex amplitude, of the middle of the audio."""
    place = np.arange(len(audio) // 8, len(audio) - len(audio) // 8)
    window = np.blackman(len(place))
    return 2 * np.sum(audio[place] * window * np.exp(-2j * np.pi * hz * place / rate)) / np.sum(window)


def db(ratio):
    return 20 * np.log10(max(abs(ratio), 1e-12))


def carrier(hz, seconds=1.0, level=0.9):
    return level * np.exp(2j * np.pi * hz * np.arange(int(seconds * RATE)) / RATE)


def usb(hz):
    return "-M", "usb", "-f", hz - 1000, "--gain", 2, "-t", "cs16", "-r", RATE  # hz becomes 1000 Hz


class IQ(unittest.TestCase):
    def test_each_frequency_has_its_place_and_no_image(self):
        places = (-35700, -31300, -12345, -2000, 300, 21500, 33100, 35900)
        levels = []
        for hz in places:
            data = packed(carrier(hz))
            here, summary = receive(data, *usb(hz))
            self.assertEqual([summary[key] for key in ("frequency", "samples", "input_rate")], [hz - 1000, RATE, RATE])
            levels.append(amplitude(here, AUDIO, 1000))
            swapped, _ = receive(data, *usb(-hz), "--swap-iq")
            self.assertLess(abs(db(amplitude(swapped, AUDIO, 1000) / levels[-1])), 0.01)
            image, _ = receive(data, *usb(-hz))
            self.assertLess(db(amplitude(image, AUDIO, 1000) / levels[-1]), -85, hz)
        for hz, level in zip(places, levels):
            self.assertLess(abs(db(level / levels[0])), 0.1, hz)
        # Beyond the usable band the station fades and the image stays below what it was; it is said.
        for hz, least in ((37800, -5), (39600, -30)):
            here, image = (receive(packed(carrier(hz)), *usb(side))[0] for side in (hz, -hz))
            self.assertGreater(db(amplitude(here, AUDIO, 1000) / levels[0]), least)
            self.assertLess(db(amplitude(image, AUDIO, 1000) / levels[0]), -85)
        talk = subprocess.run([BUILD / "zovek", "receive", *map(str, usb(39600)), "-o", "/dev/null"], input=packed(carrier(0)),
                              capture_output=True).stderr
        self.assertIn(b"fades", talk)

    def test_types_and_files_agree(self):
        band = carrier(-20000, level=0.4) * (1 + 0.5 * np.cos(2 * np.pi * 700 * np.arange(RATE) / RATE))
        with tempfile.TemporaryDirectory() as folder:
            wanted, _ = receive(packed(band), "-M", "am", "-f", "-20k", "-t", "cs16", "-r", "0.09M")
            tone = amplitude(wanted, AUDIO, 700)
            for kind in TYPES:
                audio, _ = receive(packed(band, kind), "-M", "am", "-f", -20000, "-t", kind, "-r", RATE)
                self.assertLess(abs(amplitude(audio, AUDIO, 700) / tone - 1), 0.005, kind)
                self.assertLess(db(np.std(audio - wanted) / abs(tone)), -35 if "8" in kind else -60, kind)
            raw = packed(band)
            for name, subtype in (("band.wav", "PCM_16"), ("band.flac", "PCM_16"), ("float.wav", "FLOAT")):
                path = pathlib.Path(folder, name)
                soundfile.write(path, np.frombuffer(raw, "<i2").reshape(-1, 2) / 32768, RATE, subtype)
                self.assertTrue(np.array_equal(receive(b"", path, "--iq", "-M", "am", "-f", "-20k")[0], wanted), name)
            self.assertTrue(np.array_equal(receive(raw, "--iq", "-t", "raw", "-r", RATE, "-M", "am", "-f", -20000)[0], wanted))

    def test_silence_ends_and_overload(self):
        quiet, _ = receive(b"\x7f\x80" * RATE, "-M", "usb", "-t", "cu8", "-r", RATE, "--gain", 1)
        self.assertLess(abs(amplitude(quiet, AUDIO, 1500)), 2)  # half a code off zero is no carrier worth naming
        for frames in (0, 1, 2, 47, 48, 49, 4096, 4097, 12345):
            audio, summary = receive(bytes(4 * frames) + b"x", "-M", "am", "-t", "cs16", "-r", RATE)
            self.assertEqual((summary["samples"], summary["truncated"]), (frames, True))
            self.assertAlmostEqual(len(audio), frames * AUDIO / RATE, delta=1)
        for level, overloads in ((0.9, False), (1.5, True)):
            data = TYPES["cf32"][0](np.column_stack((carrier(5000, level=level).real, carrier(5000, level=level).imag)).ravel())
            _, summary = receive(data.tobytes(), "-M", "am", "-f", "5k", "-t", "cf32", "-r", RATE)
            self.assertEqual(summary["overloads"] > 0, overloads)

    def test_audio_stands_where_it_stood(self):
        burst = np.exp(-0.5 * ((np.arange(RATE) - 0.6 * RATE) / 900) ** 2)
        band = carrier(-7000) * (0.5 + 0.4 * burst * np.cos(2 * np.pi * 1500 * np.arange(RATE) / RATE))
        for rate in (12000, 44100, 11025):
            audio, summary = receive(packed(band), "-M", "am", "-f", "-7k", "-t", "cs16", "-r", RATE, "--audio-rate", rate)
            self.assertEqual((summary["output_rate"], len(audio)), (rate, rate))
            power = audio[rate // 2:7 * rate // 10] ** 2
            centre = np.sum(power * np.arange(len(power))) / np.sum(power) + rate // 2
            self.assertAlmostEqual(centre / rate, 0.6, delta=0.5 / 12000)


class AudioRates(unittest.TestCase):
    RATE = 48000

    def test_any_rate_keeps_what_was_heard(self):
        """Tones keep their levels; nothing comes that wasn't there."""
        time = np.arange(2 * self.RATE) / self.RATE
        tones = (300, 1000, 2200, 3900)
        band = 8000 * np.cos(2 * np.pi * 12000 * time) * (1 + sum(0.2 * np.cos(2 * np.pi * hz * time) for hz in tones))
        data = np.rint(band + np.random.default_rng(3).uniform(-0.5, 0.5, len(band))).astype("<i2").tobytes()
        line = ("-M", "am", "-f", 12000, "-t", "raw", "-r", self.RATE, "--gain", 4)
        plain, _ = receive(data, *line, "--audio-rate", 12000)
        self.assertEqual(len(plain), 2 * 12000)
        for rate in (44100, 11025, 22050, 32001, 192000):
            audio, summary = receive(data, *line, "--audio-rate", rate)
            self.assertEqual(summary["output_rate"], rate)
            heard = np.zeros(len(audio))
            for hz in tones:
                if hz > 0.35 * rate: continue
                level = amplitude(audio, rate, hz)
                self.assertLess(abs(db(level / amplitude(plain, 12000, hz))), 0.05, (rate, hz))
                heard += (level * np.exp(2j * np.pi * hz * np.arange(len(audio)) / rate)).real
            middle = slice(len(audio) // 4, -len(audio) // 4)
            spectrum = abs(np.fft.rfft((audio - heard)[middle] * np.blackman(len(audio[middle])))) / len(audio[middle]) / 0.21
            hz = np.fft.rfftfreq(len(audio[middle]), 1 / rate)
            others = spectrum[(hz > 100) & (np.min(abs(hz[:, None] - tones), axis=1) > 50)]
            self.assertLess(db(others.max() / abs(amplitude(plain, 12000, 1000))), -60, rate)

    def test_low_rates_do_not_alias(self):
        time = np.arange(2 * self.RATE) / self.RATE
        band = 8000 * np.cos(2 * np.pi * 12000 * time) * (1 + 0.8 * np.cos(2 * np.pi * 4400 * time))
        for rate in (8000, 7999, 6000):
            audio, _ = receive(np.rint(band).astype("<i2").tobytes(), "-M", "am", "-f", 12000, "-t", "raw", "-r", self.RATE,
                               "--gain", 4, "--audio-rate", rate)
            self.assertLess(db(amplitude(audio, rate, rate - 4400) / (0.8 * 8000 * 4)), -60, rate)


if __name__ == "__main__":
    unittest.main()
