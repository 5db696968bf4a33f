#!/usr/bin/python3
"""The quality measure against signals of known quality, and the sample recording against its list."""
import json
import math
import sys
import unittest
from pathlib import Path

import numpy as np
import soundfile
from scipy import signal

ROOT = Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "scripts"))
import sdr  # noqa: E402


def in_band_noise(seed, seconds=6, rate=8000):
    taps = signal.firwin(401, (400, 2500), pass_zero=False, fs=rate)
    return signal.fftconvolve(np.random.default_rng(seed).normal(0, 0.1, seconds * rate), taps, "same")


class KnownQuality(unittest.TestCase):
    def test_receivers(self):
        sent, noise = in_band_noise(1), in_band_noise(2)
        tilt = [1, 0.5, -0.2, 0.1]  # a short response, which the fitted FIR must take out
        for wanted, delay, gain, rate, response in [(20, 0, 1, 8000, [1]), (10, 1600, -1, 8000, [1]),
                                                    (40, 37, 0.01, 48000, tilt), (3, 900, -3, 44100, tilt),
                                                    (25, -37, 1, 12000, [1]), (15, 800, 1, 11025, tilt)]:
            with self.subTest(wanted=wanted, delay=delay, rate=rate):
                heard = np.convolve(sent, response)[:len(sent)]
                heard = heard + noise * math.sqrt(np.mean(heard**2) / np.mean(noise**2) / 10 ** (wanted / 10))
                heard = np.concatenate([np.zeros(max(delay, 0)), heard[max(-delay, 0):]])
                common = math.gcd(rate, 8000)
                received = gain * signal.resample_poly(heard, rate // common, 8000 // common)
                figure = sdr.measure(received, rate, sent, 8000)
                self.assertAlmostEqual(figure.db, wanted, delta=0.3)
                self.assertAlmostEqual(figure.delay, delay / 8000, delta=1.5 / 8000)

    def test_what_was_not_sent_is_no_signal(self):
        self.assertLess(sdr.measure(in_band_noise(3), 8000, in_band_noise(4), 8000).db, -15)
        self.assertEqual(sdr.measure(np.zeros(48000), 8000, in_band_noise(4), 8000).db, -math.inf)

    def test_too_short(self):
        with self.assertRaises(ValueError):
            sdr.measure(in_band_noise(1, 1), 8000, in_band_noise(1), 8000)


class Samples(unittest.TestCase):
    """The recording holds each station at its told place and level, and noise alone between them."""

    def test_levels(self):
        listing = json.loads((ROOT / "samples/stations.json").read_text())
        band, rate = soundfile.read(ROOT / "samples" / listing["recording"])
        self.assertEqual((rate, len(band)), (listing["sampling_rate"], rate * listing["seconds"]))
        self.assertLess(np.max(np.abs(band)), 32000 / 32768)
        spectrum = 4 * np.abs(np.fft.rfft(band) / len(band)) ** 2  # a full-scale sine has 1
        def dbfs(low, high):
            first, last = (round(f * listing["seconds"]) for f in (low, high))
            return 10 * np.log10(np.sum(spectrum[first:last]))
        reach = {"usb": (150, 2850), "lsb": (-2850, -150), "fm": (-7500, 7500)}
        for station in listing["stations"]:
            low, high = (station["frequency"] + edge for edge in reach.get(station["mode"], (-2850, 2850)))
            with self.subTest(station=station["name"]):
                self.assertAlmostEqual(dbfs(low, high), station["level_dbfs"], delta=0.2)
                for channel in soundfile.read(ROOT / "samples" / station["reference"], always_2d=True)[0].T:
                    self.assertGreater(np.std(channel), 0.05)
        self.assertAlmostEqual(dbfs(28500, 31500), listing["noise_dbfs_in_3khz"], delta=0.3)


if __name__ == "__main__":
    unittest.main()
