#!/usr/bin/python3
"""The client on recordings made by others: every mode, with its defaults, against the audio that was sent.

The recordings lie in the folder shared/data beside the checkout, or where ZOVEK_DATA says. Without them the test is
skipped, but never where CI runs."""
import json
import math
import subprocess
import unittest

from support.built import CLIENT, DATA, InFolder, decode, needs_data
import sdr
import text_errors

# Recording, mode, frequency in Hz, and the SDR in dB that other receivers get from it, to a tenth, channel by channel.
STATIONS = [
    ("a01_am_48000", "am", 12000, {"left": 28.8}),
    ("a02_am_fading_48000", "sam", 12000, {"left": 6.1}),
    ("a03_isb_48000", "isb", 12000, {"left": 26.5, "right": 25.2}),
    ("a04_usb_48000", "usb", 12000, {"left": 15.7}),
    ("a05_lsb_interf_48000", "lsb", 12000, {"left": 25.6}),
    ("a06_fm_5k_48000", "fm", 12000, {"left": 20.1}),
    ("a07_am_44100", "am", 11025, {"left": 23.7}),
]

# Recording off the air, mode of zovek decode, and all that comes out.
MESSAGES = [
    ("same_npt_22050", "same", ["ZCZC-PEP-NPT-000000+0030-2771820-TEST    -"] * 3),
    ("navtex_example_11025", "navtex", ["NOW IS THE TIME FOR ALL GOOD MEN TO COME TO THE AID OF THEIR COUNTRY."]),
    ("pocsag_2400", "pocsag", ["1022869 1: +++TIME=0008300324+++TIME=0008300324"]),
]
# Recordings without any of these.
OTHERS = ["afsk/s07_noise_only_22050", "tones/d01_dtmf_50ms_8000", "text/t01_rtty45_170_8000",
          "offair/rtty_balloon_100bd_7n1_44100"]

# Recording, mode and what the signal is, and the most character errors in percent.
TEXTS = [
    ("text/t01_rtty45_170_8000", "rtty", 2.0),
    ("text/t02_bell103_8000", "ascii --tones bell103", 6.0),
    ("text/t03_bell202_22050", "ascii --tones bell202", 4.5),
    ("text/t04_rtty50_450_fading_12000", "rtty --mark 1225 --space 775 --baud 50", 3.0),
    ("offair/rtty_balloon_100bd_7n1_44100", "ascii --bits 7 --baud 100 --mark 1093 --space 667", 0.0),
    ("afsk/s07_noise_only_22050", "rtty,ascii", 0.0),
    ("afsk/s07_noise_only_22050", "ascii --tones bell202", 0.0),
]


def heard(path, *mode):
    """What the modes of zovek decode make of a recording."""
    return "".join(line + "\n" for line in decode(DATA / f"{path}.flac", "--mode", *mode)[0])


@needs_data
class Recordings(InFolder):
    def test_every_mode_is_as_good_as_other_receivers(self):
        for name, mode, frequency, wanted in STATIONS:
            with self.subTest(name=name, mode=mode):
                output = self.folder / "out.wav"
                subprocess.run([CLIENT, "receive", DATA / f"if/{name}.flac", "-M", mode, "-f", str(frequency),
                                "-o", output], check=True, capture_output=True)
                figures = sdr.measure_files(output, DATA / f"if/{name}.ref.flac")
                for channel, floor in wanted.items():
                    print(f"{name} {mode} {channel}: {figures[channel].db:.2f} dB, others {floor} dB")
                    self.assertGreaterEqual(round(figures[channel].db, 1), floor, f"{name} {channel}")

    def test_the_spectrum_shows_every_signal(self):
        """Each listed signal, 50 Hz wide, stands above the median of the 300 Hz on either side."""
        for listing in sorted((DATA / "spectrum").glob("*.txt")):
            done = subprocess.run([CLIENT, "spectrum", listing.with_suffix(".flac"), "--json"], check=True,
                                  capture_output=True)
            spectrum = json.loads(done.stdout)
            power = [10 ** (level / 10) for level in spectrum["levels"]]

            def part(low, high):
                first = (low - spectrum["first"]) / spectrum["bin_width"]
                return power[max(math.ceil(first), 0):math.ceil(first + (high - low) / spectrum["bin_width"])]

            for line in listing.read_text().splitlines():
                snr, lowest = float(line.split()[1]), float(line.split()[3])
                around = sorted(part(lowest - 300, lowest - 20) + part(lowest + 70, lowest + 350))
                signal = part(lowest, lowest + 50)
                above = 10 * math.log10(sum(signal) / len(signal) / around[len(around) // 2])
                print(f"{listing.stem} {lowest:.0f} Hz: {above:.1f} dB above the floor, reported {snr:+.0f} dB in 2.5 kHz")
                self.assertGreater(above, 3)

    def test_tones_are_found_and_none_that_was_not_sent(self):
        sent, got = (DATA / "tones/d01_dtmf_50ms_8000.txt").read_text().split(), heard("tones/d01_dtmf_50ms_8000", "dtmf").split()
        self.assertEqual(len(got), len(sent), "lines, none of them in speech")
        wrong = sum(map(text_errors.distance, sent, got))
        print(f"d01: {wrong} errors in {len(''.join(sent))} digits, multimon-ng 15")
        self.assertLessEqual(wrong, 10)
        self.assertEqual(heard("tones/d02_zvei1_22050", "zvei").split(), (DATA / "tones/d02_zvei1_22050.txt").read_text().split())
        for mode in ("dtmf", "zvei", "selcal", "ctcss"):
            self.assertEqual(heard("afsk/s07_noise_only_22050", mode), "", mode)
        changes = [line.split() for line in heard("tones/d03_ctcss_8000", "ctcss").splitlines()]
        for over in (DATA / "tones/d03_ctcss_8000.txt").read_text().splitlines():
            start, tone = over.split()
            self.assertEqual([state for time, state in changes if float(time) < float(start) + 2][-1], tone, over)
        for path in sorted((DATA / "selcal").glob("*.flac")):
            code = path.stem[:4].upper()
            self.assertEqual(heard(path.with_suffix(""), "selcal"), f"{code[:2]}-{code[2:]}\n")

    def test_messages_off_the_air(self):
        for name, mode, wanted in MESSAGES:
            self.assertEqual(heard(f"offair/{name}", mode).splitlines(), wanted, name)
        for name in OTHERS:
            self.assertEqual(heard(name, "same,navtex,pocsag"), "", name)

    def test_texts_have_few_errors(self):
        for name, mode, most in TEXTS:
            with self.subTest(name=name, mode=mode):
                got, sent = heard(name, *mode.split()), (DATA / f"{name}.txt").read_text()
                if not sent.strip():
                    self.assertEqual(got, "")
                    continue
                errors = 100 * text_errors.error_rate(got, sent)
                print(f"{name}: {errors:.2f} % of the characters wrong, at most {most} %")
                self.assertLessEqual(errors, most)


if __name__ == "__main__":
    unittest.main()
