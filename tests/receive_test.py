#!/usr/bin/python3
"""zovek receive on I/Q recordings, over gaps and at any audio rate, measured: what comes out, where, and what
shouldn't."""
import json
import math
import os
import pathlib
import resource
import signal as signals
import subprocess
import tempfile
import time
import unittest

import numpy as np
import soundfile
from scipy import signal

from support.built import CLIENT, ROOT, InFolder
import sdr

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
    run = subprocess.run([CLIENT, "receive", *map(str, arguments), "--output-type", "raw", "--json"], input=data,
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


def db_of(ratios):
    return 20 * np.log10(np.maximum(abs(ratios), 1e-12))


def carrier(hz, seconds=1.0, level=0.9):
    return level * np.exp(2j * np.pi * hz * np.arange(int(seconds * RATE)) / RATE)


def usb(hz):
    return "-M", "usb", "-f", hz - 1000, "--gain", 2, "-t", "cs16", "-r", RATE  # hz becomes 1000 Hz


class IQ(InFolder):
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
        talk = subprocess.run([CLIENT, "receive", *map(str, usb(39600)), "-o", "/dev/null"], input=packed(carrier(0)),
                              capture_output=True).stderr
        self.assertIn(b"fades", talk)

    def test_types_and_files_agree(self):
        band = carrier(-20000, level=0.4) * (1 + 0.5 * np.cos(2 * np.pi * 700 * np.arange(RATE) / RATE))
        wanted, _ = receive(packed(band), "-M", "am", "-f", "-20k", "-t", "cs16", "-r", "0.09M")
        tone = amplitude(wanted, AUDIO, 700)
        for kind in TYPES:
            audio, _ = receive(packed(band, kind), "-M", "am", "-f", -20000, "-t", kind, "-r", RATE)
            self.assertLess(abs(amplitude(audio, AUDIO, 700) / tone - 1), 0.005, kind)
            self.assertLess(db(np.std(audio - wanted) / abs(tone)), -35 if "8" in kind else -60, kind)
        raw = packed(band)
        path = self.written(np.frombuffer(raw, "<i2").reshape(-1, 2) / 32768, RATE)
        for given in ((b"", path, "--iq"), (raw, "--iq", "-t", "raw", "-r", RATE)):
            self.assertTrue(np.array_equal(receive(*given, "-M", "am", "-f", "-20k")[0], wanted), given[1])

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


def station(mode, seconds, rate=48000, hz=12000, phase=1.0):
    """A station of amplitude 1 that sends a tone of 700 Hz, complex."""
    time, tone = np.arange(round(seconds * rate)) / rate, 2 * np.pi * 700 * np.arange(round(seconds * rate)) / rate
    sent = {"am": lambda: 1 + 0.6 * np.cos(tone), "usb": lambda: np.exp(1j * tone), "lsb": lambda: np.exp(-1j * tone),
            "isb": lambda: np.exp(1j * tone) + 0.3 * np.exp(-1j * tone) + 0.2, "fm": lambda: np.exp(1j * 3000 / 700 * np.sin(tone))}["am" if mode == "sam" else mode]()
    return sent * np.exp(1j * (2 * np.pi * hz * time + phase))


class Listening(unittest.TestCase):
    def listen(self, band, *arguments):
        return receive(np.rint(np.real(band)).astype("<i2").tobytes(), *arguments, "-f", 12000, "-t", "raw", "-r", 48000)


class Gaps(Listening):
    """Digital silence is heard as silence, and what follows is at its level within 50 ms."""
    MODES = ("am", "sam", "isb", "usb", "lsb", "fm")
    LEVELS = ((), ("--agc",), ("--iq-agc",), ("--gain", 4))
    BEFORE, AFTER = 2.0123, 1.5  # s; the gap begins and ends within a block

    @classmethod
    def ways(cls):
        return [(mode, level) for mode in cls.MODES for level in cls.LEVELS
                if (mode, level) not in (("isb", ("--agc",)), ("fm", ("--iq-agc",)))]

    def judge(self, audio, begin, end, rate=AUDIO):
        part = lambda first, last: audio[round(first * rate):round(last * rate)]
        before, peak = np.std(part(begin - 0.5, begin - 0.05)), np.max(abs(part(begin - 0.5, begin - 0.05)))
        self.assertGreater(before, 100)
        self.assertLess(db(np.std(part(begin + 0.05, end - 0.02)) / before), -40)
        self.assertLess(db(np.max(abs(part(begin - 0.03, end + 0.05))) / peak), 3)  # neither click nor burst
        for late in (0.05, 0.07, 0.1, 0.2, 0.5, 1.2):
            self.assertLess(abs(db(np.std(part(end + late, end + late + 0.02)) / before)), 1, late)

    def test_every_mode_and_level(self):
        for mode, level in self.ways():
            for gap in (0.1, 1, 10):
                band = 3000 * station(mode, self.BEFORE + gap + self.AFTER)
                band[round(self.BEFORE * 48000):round((self.BEFORE + gap) * 48000)] = 0
                with self.subTest(mode=mode, level=level, gap=gap):
                    self.judge(self.listen(band, "-M", mode, *level)[0], self.BEFORE, self.BEFORE + gap)

    def test_synchronous_detector_keeps_its_lock(self):
        noise = np.random.default_rng(1).normal(0, 60, 64 * 48000)
        for off in (0, 3, -11, 20):
            for gap, phase in ((1, 0), (5.37, 2), (60, -1.5)):
                band = np.concatenate((2000 * station("sam", self.BEFORE, hz=12000 + off), np.zeros(round(gap * 48000)),
                                       2000 * station("sam", self.AFTER, hz=12000 + off, phase=phase)))
                band = np.real(band) + noise[:len(band)] * (band != 0)
                with self.subTest(off=off, gap=gap):
                    audio, summary = self.listen(band, "-M", "sam")
                    self.judge(audio, self.BEFORE, self.BEFORE + gap)
                    self.assertTrue(summary["locked"])
                    self.assertAlmostEqual(summary["carrier_offset"], off, delta=0.5)

    def test_silence_alone_and_before_the_station(self):
        for mode, level in self.ways():
            with self.subTest(mode=mode, level=level):
                self.assertEqual(np.max(abs(self.listen(np.zeros(2 * 48000 + 5), "-M", mode, *level)[0])), 0)
                band = 300 * station(mode, 3)
                late, _ = self.listen(np.concatenate((np.zeros(round(1.77 * 48000)), band)), "-M", mode, *level)
                self.assertLess(np.max(abs(late[:round(1.76 * AUDIO)])), 20)
                for at in (0.1, 2.5):
                    levels = [np.std(audio[round(at * AUDIO):round((at + 0.1) * AUDIO)])
                              for audio in (late[round(1.77 * AUDIO):], self.listen(band, "-M", mode, *level)[0])]
                    self.assertLess(abs(db(levels[0] / levels[1])), 2.5, at)

    def test_iq_gaps(self):
        """The zero of unsigned bytes lies between two codes; a fast recording is filtered in two stages."""
        for kind, rate in (("cu8", RATE), ("cs16", RATE), ("cu8", 960000)):
            for mode in ("am", "sam", "usb", "fm"):
                band = 0.4 * station(mode, self.BEFORE + 1 + self.AFTER, rate, hz=-20000)
                band[round(self.BEFORE * rate):round((self.BEFORE + 1) * rate)] = 0
                data = TYPES[kind][0](np.column_stack((band.real, band.imag)).ravel()).tobytes()
                with self.subTest(kind=kind, rate=rate, mode=mode):
                    audio, summary = receive(data, "-M", mode, "-f", "-20k", "-t", kind, "-r", rate)
                    self.judge(audio, self.BEFORE, self.BEFORE + 1, summary["output_rate"])

    def test_one_loudness_without_pumping(self):
        """--agc brings a fainter speaker up, leaves the pauses' noise where it was, and clips nothing."""
        said, rate = soundfile.read(ROOT / "samples/usb_speech.ref.flac")
        parts = [np.append(gain * said, np.zeros(4 * rate)) for gain in (1, 0.1, 1)]
        fast = signal.resample_poly(np.concatenate(parts) / np.max(abs(said)), 48000, rate)
        turn = np.exp(2j * np.pi * 12000 * np.arange(len(fast)) / 48000)
        over, whole = len(said) * AUDIO // rate, (len(said) + 4 * rate) * AUDIO // rate
        for mode, band, level in (("am", 1 + 0.8 * fast, 1000), ("usb", signal.hilbert(fast), 12000)):
            with self.subTest(mode=mode):
                noisy = level * band * turn + np.random.default_rng(1).normal(0, level / 300, len(fast))
                audio, flat = (self.listen(noisy, "-M", mode, *more)[0] for more in (("--agc",), ("--gain", 2)))
                levels = [db(np.std(audio[k * whole + over // 2:k * whole + over])) for k in range(3)]
                self.assertLess(max(levels) - min(levels), 5)  # 20 as sent
                pauses = [db(np.std(audio[at:at + AUDIO]) / np.std(flat[at:at + AUDIO])) for at in (over + 1200, over + 3 * AUDIO)]
                self.assertAlmostEqual(*pauses, delta=0.3)
                self.assertLessEqual(np.max(abs(audio)), 16384)
                last = audio[2 * whole + over // 2:2 * whole + over]
                self.assertGreater(sdr.measure(last, AUDIO, said[len(said) // 2:], rate).db, 20)

    def test_morse_at_its_pitch(self):
        time = np.arange(2 * 48000) / 48000
        for pitch, more in ((600, ()), (850, ("--pitch", 850, "-b", 300))):
            heard = {off: self.listen(2000 * np.exp(2j * np.pi * (12000 + off) * time), "-M", "cw", "--gain", 4, *more)[0]
                     for off in (0, 60, -400, 400)}
            level = amplitude(heard[0], AUDIO, pitch)
            self.assertLess(abs(db(amplitude(heard[60], AUDIO, pitch + 60) / level)), 0.2)
            for off in (-400, 400):
                self.assertLess(db(np.max(abs(heard[off][6000:18000])) / level), -45, (pitch, off))

    def test_deemphasis(self):
        for microseconds in (50, 75, 750):
            time = np.arange(2 * 48000) / 48000
            levels = []
            for hz in (400, 1000, 2500):
                band = 8000 * np.exp(2j * np.pi * 12000 * time + 1j * 2000 / hz * np.sin(2 * np.pi * hz * time))
                heard, flat = (self.listen(band, "-M", "fm", *more)[0] for more in (("--deemphasis", microseconds), ()))
                wanted = np.sqrt((1 + (2e-3 * np.pi * microseconds) ** 2) / (1 + (2e-6 * np.pi * hz * microseconds) ** 2))
                levels.append(db(amplitude(heard, AUDIO, hz) / amplitude(flat, AUDIO, hz) / wanted))
            self.assertLess(np.max(np.abs(levels)), 0.5, microseconds)


class Broadcasts(unittest.TestCase):
    """FM of 75 kHz deviation: a second that repeats, tones at whole Hz; its lines after two seconds are judged."""
    TONES = np.array([50, 400, 1000, 6000, 14900])

    def lines(self, rate, *arguments, microseconds=50, hz=0, neighbour=0.0, seconds=4):
        """Amplitudes by Hz, in parts of what was sent at 1 kHz, and the summary."""
        time = np.arange(rate) / rate
        spectrum = np.zeros(rate // 2 + 1, complex)
        spectrum[self.TONES] = rate / 2 * (1 + 2e-6j * np.pi * self.TONES * microseconds) * np.exp(1j * self.TONES**2)
        both = np.fft.irfft(spectrum, rate)
        pilot = 2 * np.pi * 19000 * time
        sent = 0.8 * both / np.max(abs(both)) + 0.1 * np.sin(pilot) + 0.1 * np.cos(2 * np.pi * 3000 * time) * np.sin(2 * pilot)
        band = np.exp(1j * (2 * np.pi * hz * time + 2 * np.pi * 75000 * np.cumsum(sent) / rate))
        band += neighbour * np.exp(1j * (2 * np.pi * (hz + 200000) * time + 20 * np.sin(2 * np.pi * 2000 * time)))
        data = packed(np.tile(0.9 * band / (1 + neighbour), seconds))
        audio, summary = receive(data[:-4], "-M", "wfm", "-t", "cs16", "-r", rate, *arguments)
        self.assertEqual(summary["samples"], seconds * rate - 1)
        out = summary["output_rate"]
        self.assertEqual(len(audio), seconds * out)
        return abs(np.fft.rfft(audio[2 * out:3 * out])) / out * 2 / 16384 / (0.8 / np.max(abs(both))), summary

    def test_audio_alone_and_flat(self):
        for rate, microseconds, hz, arguments in ((240000, 50, 0, ()), (250000, 75, 0, ("--deemphasis", 75)), (256000, 0, 10000, ("-f", 0)),
                                                  (1200000, 50, -310000, ("-f=-300k",)), (1024000, 50, 100000, ("-f", "98.1M", "--center", "98M")),
                                                  (480000, 0, 0, ("--audio-rate", 44100))):
            with self.subTest(rate=rate, arguments=arguments):
                none = () if microseconds else ("--deemphasis", "none")
                level, summary = self.lines(rate, *arguments, *none, microseconds=microseconds, hz=hz)
                self.assertEqual((summary["input_rate"], summary["bandwidth"]), (rate, 200000))
                self.assertLess(np.max(abs(db_of(level[self.TONES] / level[1000]))), 0.2)
                self.assertAlmostEqual(db(level[1000] / np.hypot(1, 2e-3 * np.pi * microseconds)), 0, delta=0.1)
                level[self.TONES] = 0
                self.assertLess(db(np.max(level[18000:])), -75)  # pilot and subcarrier
                self.assertLess(db(np.sqrt(np.sum(level[30:15001]**2))), -55)

    def test_beside_another(self):
        level, _ = self.lines(1200000, "-f", "-200k", hz=-200000, neighbour=10)
        wanted = np.sqrt(np.sum(level[self.TONES]**2))
        level[self.TONES] = 0
        self.assertLess(db(np.sqrt(np.sum(level[30:15001]**2)) / wanted), -50)

    def test_too_narrow(self):
        band = packed(np.ones(48000))
        self.assertEqual(receive(band, "-M", "wfm", "-t", "cs16", "-r", 192000)[1]["bandwidth"], 192000)
        for arguments, said in ((("-t", "cs16", "-r", 30000), "wfm takes 40000 Hz"), (("-t", "cs16", "-r", 240000, "--iq-agc"), "fm has no level"),
                                (("-t", "cs16", "-r", 240000, "-b", 20000), "wfm takes 40000 Hz")):
            run = subprocess.run([CLIENT, "receive", "-M", "wfm", *map(str, arguments), "-o", "/dev/null"], input=band, capture_output=True)
            self.assertNotEqual(run.returncode, 0)
            self.assertIn(said, run.stderr.decode())
            self.assertEqual(run.stderr.count(b"\n"), 1)


class WeakStations(unittest.TestCase):
    """A station of a few steps, or far below its neighbours, is heard as if it stood alone at full level."""
    MODES = ("am", "sam", "isb", "usb", "lsb", "fm")

    def listen(self, band, *arguments, rate=48000):
        data = np.rint(np.clip(band, -32768, 32767)).astype("<i2").tobytes()
        return receive(data, *arguments, "-f", rate // 4, "-t", "raw", "-r", rate)

    def rest(self, audio, hz=700, first=0.3, last=1.7):
        """What isn't the tone or its level, in dB of it."""
        part = audio[round(first * AUDIO):round(last * AUDIO)]
        turn = np.exp(2j * np.pi * hz * np.arange(len(part)) / AUDIO)
        tone = np.column_stack((turn.real, turn.imag, np.ones(len(part))))
        heard = tone[:, :2] @ np.linalg.lstsq(tone, part, rcond=None)[0][:2]
        return db(np.std(part - np.mean(part) - heard) / np.std(heard))

    def test_few_steps_are_as_good_as_many(self):
        noise = np.random.default_rng(1).normal(0, 0.7, 2 * 48000)
        for mode in self.MODES:
            few = np.rint(3 * np.real(station(mode, 2)) + noise)
            for level in ((), ("--gain", 1024), ("--iq-agc",), ("--agc",)):
                if level and mode not in ("am", "usb"):
                    continue
                heard, summary = self.listen(few, "-M", mode, *level)
                wanted, louder = self.listen(256 * few, "-M", mode, *(("--gain", 4) if "--gain" in level else level))
                middle = slice(AUDIO // 2, -AUDIO // 4)
                with self.subTest(mode=mode, level=level):
                    self.assertLess(db(np.std((heard - wanted)[middle])) - db(np.std(wanted)), -35)
                    self.assertEqual(summary["overloads"], 0)
                    self.assertAlmostEqual(summary.get("noise_level", 0), louder.get("noise_level", 0), delta=5)

    def test_a_crash_spoils_its_moment_alone(self):
        for mode in ("am", "usb", "fm"):
            quiet = np.rint(3 * np.real(station(mode, 3)) + np.random.default_rng(2).normal(0, 0.5, 3 * 48000))
            struck = quiet.copy()
            struck[72000:72010] = 32767
            (heard, none), (marred, some) = (self.listen(band, "-M", mode, "--gain", 4 if mode == "fm" else 500)
                                             for band in (quiet, struck))
            for part in (slice(0, 17700), slice(24000, None)):
                self.assertLess(db(np.std((marred - heard)[part])) - db(np.std(heard)), -40, mode)
            self.assertEqual((none["overloads"], some["overloads"]), (0, 1))

    def test_a_neighbour_60_db_up(self):
        for mode in self.MODES:
            for hz in (8000,) if mode != "fm" else (-17000,):
                with self.subTest(mode=mode, hz=hz):
                    band = 24 * station(mode, 2, 96000, 24000) + 24000 * np.exp(2j * np.pi * (24000 + hz) / 96000 * np.arange(2 * 96000))
                    dither = np.random.default_rng(3).uniform(-0.5, 0.5, len(band))
                    audio, _ = self.listen(np.real(band) + dither, "-M", mode, rate=96000)
                    self.assertLess(self.rest(audio), -24 if mode == "isb" else -30)
                    self.assertGreater(np.std(audio), 900)  # its own level, without the neighbour's click
                    self.assertLess(np.max(abs(audio)), 5 * np.std(audio))

    def test_the_width_goes_by_the_neighbours(self):
        turn = lambda hz: np.exp(2j * np.pi * hz * np.arange(96000) / 48000)
        wide_fm = 3000 * np.exp(1j * 5000 / 3000 * np.sin(2 * np.pi * 3000 * np.arange(96000) / 48000)) * turn(12000)
        music = 3000 * (1 + 0.2 * np.cos(2 * np.pi * 700 * np.arange(96000) / 48000) + 0.5 * np.cos(2 * np.pi * 4200 * np.arange(96000) / 48000)) * turn(12000)
        am, fm = 300 * station("am", 2), 100 * station("fm", 2)
        noise = np.random.default_rng(4).normal(0, 3000, 96000)
        for mode, band, width in (("am", am, 9000), ("am", music, 9000), ("am", am + noise, 9000), ("am", am + 900 * turn(16000), 7200),
                                  ("am", am + 9000 * station("am", 2, hz=15800), 5600), ("fm", fm, 16000), ("fm", wide_fm, 16000),
                                  ("fm", fm + noise, 16000), ("fm", fm + 5000 * station("fm", 2, hz=22000), 10000)):
            audio, summary = self.listen(np.real(band), "-M", mode)
            self.assertEqual(summary["bandwidth"], width)
            if width not in (9000, 16000):
                self.assertLess(self.rest(audio), -25, width)
                self.assertEqual(self.listen(np.real(band), "-M", mode, "-b", 16000)[1]["bandwidth"], 16000)

    def test_what_lies_below_16_bits(self):
        """A recording of 24 bits or of reals that is far too quiet: in 16 bits 18, 32 and 23 dB would be left."""
        for mode, least in (("am", 43), ("usb", 53), ("fm", 45)):
            band = 0.5e-4 * np.real(station(mode, 2)) + np.random.default_rng(7).normal(0, 2e-7, 96000)
            for form in ("PCM_24", "FLOAT"):
                with self.subTest(mode=mode, form=form), tempfile.NamedTemporaryFile(suffix=".wav") as file:
                    soundfile.write(file.name, band, 48000, form)
                    audio, _ = receive(b"", file.name, "-M", mode, "-f", 12000)
                    self.assertLess(self.rest(audio), -least)


class Carriers(unittest.TestCase):
    """Synchronous AM finds a carrier off the dial, follows it, and tells the truth of it."""
    RATE, SECONDS = 48000, 8

    def setUp(self):
        self.said, rate = soundfile.read(ROOT / "samples/usb_speech.ref.flac")
        self.said = self.said[:self.SECONDS * rate]
        self.time = np.arange(self.SECONDS * self.RATE) / self.RATE
        self.modulation = signal.resample_poly(self.said / np.max(abs(self.said)), self.RATE, rate)
        self.noise = np.random.default_rng(5).normal(0, 20, len(self.time))

    def turning(self, hertz):
        return np.exp(2j * np.pi * np.cumsum(12000 + hertz * np.ones(len(self.time))) / self.RATE)

    def am(self, hertz):
        return 3000 * (1 + 0.8 * self.modulation) * self.turning(hertz)

    def listen(self, band):
        return receive(np.rint(np.real(band) + self.noise).astype("<i2").tobytes(), "-M", "sam", "-f", 12000, "-t", "raw",
                       "-r", self.RATE)

    def test_found_and_followed(self):
        step = np.where(self.time < 3.3, 10, 60)
        for name, hertz, last in (("below", -100, -100), ("far", 310, 310), ("drift", 45 + 2 * self.time, 61),
                                  ("step", step, 60), ("echo, no drift", 20, 20)):
            band = self.am(hertz)
            if "echo" in name: band = band + np.roll(band, 20) * 0.85 * np.exp(2j * np.pi * self.time / 5)
            with self.subTest(name):
                audio, summary = self.listen(band)
                self.assertGreater(sdr.measure(audio, summary["output_rate"], self.said, 8000).db, 4 if "echo" in name else 24)
                self.assertTrue(summary["locked"])
                self.assertAlmostEqual(summary["carrier_offset"], last, delta=1)

    def test_a_whistle_is_no_carrier(self):
        for level in (0.7, 1.4):
            _, summary = self.listen(self.am(30) + level * 3000 * self.turning(-400))
            self.assertAlmostEqual(summary["carrier_offset"], 30, delta=0.5)

    def test_after_a_gap(self):
        band = np.real(self.am(100))
        self.noise[3 * self.RATE:5 * self.RATE] = band[3 * self.RATE:5 * self.RATE] = 0
        audio, summary = self.listen(band)
        self.assertGreater(sdr.measure(audio[5 * AUDIO:], AUDIO, self.said[5 * 8000:], 8000).db, 24)
        self.assertTrue(summary["locked"])

    def test_no_lock_without_a_carrier(self):
        sideband = 6000 * signal.hilbert(self.modulation) * self.turning(0)
        for name, band, locked in (("noise", 50 * self.noise, False), ("sideband", sideband, False),
                                   ("out of reach", self.am(1500), False),
                                   ("lost", np.where(self.time < 3, self.am(50), 0.1), False),
                                   ("late", np.where(self.time > 3, self.am(50), 0.1), True)):
            with self.subTest(name):
                self.assertEqual(self.listen(band)[1]["locked"], locked)


class Squelched(Listening):
    """Overs from 1.5 to 3.5 s and from 4.5 to 5.7 s."""
    def setUp(self):
        self.sends = np.repeat([0, 1, 0, 1, 0], (72000, 96000, 48000, 57600, 48000))

    def hear(self, mode, *arguments, noise=0.1):
        band = 2000 * self.sends * np.real(station(mode, len(self.sends) / 48000))
        band += np.random.default_rng(2).normal(0, 2000 * noise, len(band))
        return self.listen(band, "-M", mode, "--squelch", *arguments)

    def check(self, summary, *overs):
        self.assertEqual(len(summary["overs"]), len(overs))
        for got, (begin, end) in zip(summary["overs"], overs):
            self.assertTrue(begin - 0.05 < got["begin"] <= begin and end - 0.02 <= got["end"] < end + 0.03, got)

    def test_overs(self):
        for mode, opens, overs in (("fm", "noise", ((1.5, 3.5), (4.5, 5.7))), ("fm", -30, ((1.5, 3.5), (4.5, 5.7))),
                                   ("am", "-30dB", ((1.5, 3.5), (4.5, 5.7))), ("usb", -32, ((1.5, 5.7),))):
            with self.subTest(mode=mode, opens=opens):
                audio, summary = self.hear(mode, opens)
                self.check(summary, *overs)
                self.assertEqual(len(audio), len(self.sends) // 4)
                for begin, end in overs:
                    self.assertGreater(np.std(audio[round((begin + 0.01) * AUDIO):round((end - 0.01) * AUDIO)]), 1000)
                    audio[round((begin - 0.05) * AUDIO):round((end + 0.03) * AUDIO)] = 0
                self.assertEqual(np.max(abs(audio)), 0)
                alone, summary = self.hear(mode, opens, "--overs-only")
                length = sum(over["end"] - over["begin"] for over in summary["overs"])
                self.assertAlmostEqual(len(alone) / AUDIO, length, delta=0.02)
                self.assertAlmostEqual(summary["output_frames"], len(alone), delta=1)
        self.assertEqual(self.hear("fm", "noise", noise=100)[1]["overs"], [])
        self.check(self.hear("fm", -80)[1], (0.04, 6.7))


class Stations(InFolder):
    """Several in one pass: each has the bits that it has alone, and its own fate."""
    PLACES = {"am": -30000, "sam": -18000, "usb": -9000, "fm": 7000, "isb": 19000, "cw": 31000}
    HEARS = {"fm": ("--deemphasis", "50", "--bandwidth", "12k"), "cw": ("--pitch", "700")}  # what one mode alone heeds

    def setUp(self):
        super().setUp()
        band = np.random.default_rng(4).normal(0, 0.003, 2 * RATE) * (1 + 1j)
        for mode, hz in self.PLACES.items():
            band += 0.1 * station({"cw": "usb"}.get(mode, mode), 2, RATE, hz)
        self.pairs, self.real = packed(band), np.rint(32767 * np.real(band)).astype("<i2").tobytes()

    def run_with(self, data, *line, status=0, before=None, rate=RATE):
        done = subprocess.run([CLIENT, "receive", "-r", str(rate), "--start", "2026-04-01T12:00Z", *map(str, line)], input=data, capture_output=True,
                              cwd=self.folder, preexec_fn=before)
        self.assertEqual(done.returncode, status, done.stderr)
        return done.stderr.decode()

    def asked(self, places, ending):
        return [word for mode, hz in places.items()
                for word in ("--station", f"{hz}:{mode}{',bandwidth=12k' if mode == 'fm' else ''}:{mode}:{ending}")]

    def test_same_bits_as_one_by_one(self):
        below = {mode: abs(hz) for mode, hz in self.PLACES.items()}
        for data, kind, places, more in ((self.pairs, "cs16", self.PLACES, ()), (self.real, "raw", below, ("--squelch", "-50"))):
            told = json.loads(self.run_with(data, "-t", kind, *self.asked(places, "x.wav"), *self.HEARS["fm"][:2],
                                            *self.HEARS["cw"], *more, "--json"))
            self.assertEqual((told["seconds"], told["stopped"], len(told["stations"])), (2, False, len(places)))
            for (mode, hz), summary in zip(places.items(), told["stations"]):
                alone = json.loads(self.run_with(data, "-t", kind, "-M", mode, "-f", hz, "-o", "alone.wav",
                                                 *self.HEARS.get(mode, ()), *more, "--json"))
                same, own = [{key: value for key, value in row.items() if key not in ("file", "times_real_time")} for row in (summary, alone)]
                self.assertEqual((summary["file"], same), (f"{mode}:x.wav", own))
                self.assertEqual((self.folder / summary["file"]).read_bytes(), (self.folder / "alone.wav").read_bytes(), mode)

    def test_a_broadcast_beside_others(self):
        pairs = np.random.default_rng(5).integers(-3000, 3000, 2 * 300000).astype("<i2").tobytes()
        line, wanted = ("-t", "cs16", "--squelch", "-90"), (("150k", "wfm"), ("-70k", "fm"), ("-200k", "wfm"))
        self.run_with(pairs, *line, *[word for hz, mode in wanted for word in ("--station", f"{hz}:{mode}:{hz}.wav")], rate=600000)
        for hz, mode in wanted:
            self.run_with(pairs, *line, "-M", mode, "-f", hz, "-o", "alone.wav", rate=600000)
            self.assertEqual((self.folder / f"{hz}.wav").read_bytes(), (self.folder / "alone.wav").read_bytes(), hz)

    def test_one_fails_and_the_others_go_on(self):
        limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (60000, 60000))
        line = ("-t", "cs16", "--station", "-30k:am:full.wav", "--station", "-9k:usb:good.flac")
        self.assertIn("full.wav: File too large", self.run_with(self.pairs, *line, status=1, before=limit))
        self.run_with(self.pairs, "-t", "cs16", "-M", "usb", "-f", "-9k", "-o", "alone.flac")
        alone = (self.folder / "alone.flac").read_bytes()
        self.assertEqual((self.folder / "good.flac").read_bytes(), alone)
        self.assertGreater(soundfile.info(self.folder / "full.wav").frames, 13000)
        os.mkfifo(self.folder / "pipe")
        with subprocess.Popen(["head", "-c", "100", self.folder / "pipe"], stdout=subprocess.DEVNULL):
            told = self.run_with(self.pairs, *line[:3], "-30k:am:pipe", *line[4:], status=1)
        self.assertIn("pipe: Broken pipe", told)
        self.assertEqual((self.folder / "good.flac").read_bytes(), alone)
        self.assertEqual(sorted(os.listdir(self.folder)), ["alone.flac", "full.wav", "good.flac", "pipe"])

    def test_a_stop_completes_all(self):
        line = [CLIENT, "receive", "-t", "cs16", "-r", str(RATE), "--station", "-30k:am:a.wav", "--station", "7k:fm:b.wav"]
        with subprocess.Popen(line, cwd=self.folder, stdin=subprocess.PIPE, stderr=subprocess.PIPE) as client:
            client.stdin.write(self.pairs)
            client.stdin.flush()
            part = self.folder / "b.wav.part"
            for _ in range(200):  # until what came is heard
                if part.exists() and part.stat().st_size > 60000: break
                time.sleep(0.05)
            client.send_signal(signals.SIGINT)
            self.assertEqual(client.wait(20), 130, client.stderr.read())
        for name in ("a.wav", "b.wav"):
            self.assertGreater(soundfile.info(self.folder / name).frames, 12000)

    def test_what_does_not_go_together(self):
        for status, line, says in (
                (2, "4k:am:a.wav -f 4k", "--frequency is for one station"), (2, "4k:am:a.wav -o b", "--output is"),
                (2, "4k:am:a.wav --record-iq b.sigmf-meta", "--record-iq is"), (2, "4k:am:a.wav -M am", "--mode is"),
                (2, "4k:am:a.wav --station 5k:am:./a.wav", "two stations to one file"), (2, "4k:am:-", "standard output"),
                (2, "4k:xm:a.wav", "no mode"), (2, "4k:a.wav", "FREQUENCY:MODE:FILE"), (2, "x:am:a.wav", "frequency"),
                (2, "4k:am,width=3k:a.wav", "bandwidth=HZ"), (2, "4k:am:a.wav --pitch 700", "for cw"),
                (2, "4k:am:a.wav --station 5k:isb:b.wav --mono", "isb has two channels"),
                (1, "4k:am:a.wav --station 50k:usb:b.wav", "band"), (1, "4k:am:a.wav --station 5k:am:none/b.wav", "none/b.wav")):
            told = self.run_with(self.pairs, "-t", "cs16", "--station", *line.split(), status=status)
            self.assertEqual((told.count("\n"), says in told), (1, True), told)
            self.assertEqual(os.listdir(self.folder), [], line)
class Rotation(InFolder):
    """Pieces of a file, by the clock or by its seconds: nothing is lost or there twice."""

    def setUp(self):
        super().setUp()
        place = np.arange(int(3.4 * 48000)) / 48000
        over = (place < 0.7) | ((place > 1.3) & (place < 2.9))
        band = 0.4 * over * (1 + 0.5 * np.cos(2 * np.pi * 600 * place)) * np.cos(2 * np.pi * 12000 * place)
        self.band = self.written(band + np.random.default_rng(2).normal(0, 1e-3, len(band)), 48000, "band.wav")

    def hear(self, name, *options, status=0, **more):
        """What is in the files that were made, by their names, and the summary."""
        there = set(self.folder.iterdir())
        run = subprocess.run([CLIENT, "receive", *(() if "input" in more else (self.band,)), "-M", "am", "-f", "12k", "-o", self.folder / name, "--json",
                              *options], capture_output=True, **more)
        self.assertEqual(run.returncode, status, run.stderr)
        self.assertEqual(run.stderr.count(b"\n"), 1, run.stderr)
        made = sorted(path for path in self.folder.iterdir() if path not in there)
        got = {path.name: soundfile.read(path, dtype="int32")[0] if path.suffix != ".raw" else np.fromfile(path, "<i2") for path in made}
        for path in made: path.unlink()
        return got, json.loads(run.stderr) if status == 0 else run.stderr

    def test_pieces_are_the_whole(self):
        begin = "--start", "2026-11-23T18:59:59.25+01:00"
        times = "175959", "180000", "180001", "180002"
        for name, options in (("x.wav", ()), ("x.y.flac", ("--mono",)), ("x", ("--output-type", "wav24")), ("x.raw", ()),
                              ("x.wav", ("--squelch", "-40")), ("x.wav", ("--squelch", "-40", "--overs-only")), ("x.wav", ("--audio-rate", "11025"))):
            with self.subTest(f"{name} {options}"):
                (whole,), _ = [list(item.values()) if isinstance(item, dict) and name in item else item for item in self.hear(name, *options)]
                got, summary = self.hear(name, "--rotate", "1s", *begin, *options)
                stem, dot, ending = name.rpartition(".") if "." in name else (name, "", "")
                self.assertEqual(list(got), [f"{stem}_20261123T{time}Z{dot}{ending}" for time in times])
                self.assertEqual([pathlib.Path(file).name for file in summary["files"]], list(got))
                self.assertTrue(np.array_equal(np.concatenate(list(got.values())), whole))
                counted, summary = self.hear(name, "--rotate", "1s", *options)
                self.assertEqual(list(counted), [f"{stem}_{number:03d}{dot}{ending}" for number in range(1, len(counted) + 1)])
                self.assertTrue(np.array_equal(np.concatenate(list(counted.values())), whole))
                if "--overs-only" not in options:
                    rate, channels = summary["output_rate"], 2 if name == "x.raw" else 1
                    wanted = [[math.ceil(rate * cut) for cut in cuts] for cuts in ((0.75, 1.75, 2.75), (1, 2, 3))]
                    self.assertEqual([list(np.cumsum([len(piece) for piece in pieces.values()])[:3] // channels) for pieces in (got, counted)], wanted)

    def test_what_is_there_stays(self):
        for name in "x_001.wav", "x_003.wav.part", "x_20260401T120000Z.wav":
            (self.folder / name).write_text("mine")
        self.assertEqual(list(self.hear("x.wav", "--rotate", "2s")[0]), ["x_002.wav", "x_004.wav"])
        self.assertEqual(list(self.hear("x.wav", "--rotate", "2s", "--start", "2026-04-01T12:00Z")[0]), ["x_20260401T120000Z_2.wav", "x_20260401T120002Z.wav"])
        self.assertEqual((self.folder / "x_001.wav").read_text(), "mine")

    def test_a_live_pipe_goes_by_the_clock(self):
        got, summary = self.hear("x.wav", "--rotate", "1d", input=self.band.read_bytes())
        self.assertIn(list(got), ([f"x_{summary['time'][:19].translate({45: None, 58: None})}Z.wav"], [pathlib.Path(file).name for file in summary["files"]]))

    def test_a_limit_keeps_what_is_done(self):
        limit = resource.RLIMIT_FSIZE, (60000, 60000)
        got, talk = self.hear("x.raw", "--rotate", "1s", preexec_fn=lambda: resource.setrlimit(*limit))
        self.assertEqual([len(piece) for piece in got.values()], [24000, 24000, 24000, 9600])
        got, talk = self.hear("x.raw", "--rotate", "2s", preexec_fn=lambda: resource.setrlimit(*limit), status=153)
        self.assertEqual(list(got), ["x_001.raw"])
        self.assertAlmostEqual(len(got["x_001.raw"]), 28000, delta=2000)

    def test_what_cannot_be(self):
        for name, options, status in (("-", (), 2), ("/dev/null", (), 2), ("none/x.wav", (), 1), ("x.mp3", (), 2), ("x.wav", ("--rotate", "1"), 2)):
            run = subprocess.run([CLIENT, "receive", self.band, "-M", "am", "--rotate", "1h", *options, "-o", name], cwd=self.folder, capture_output=True)
            self.assertEqual((run.returncode, run.stdout, run.stderr.count(b"\n"), sorted(os.listdir(self.folder))), (status, b"", 1, ["band.wav"]), run.stderr)


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
