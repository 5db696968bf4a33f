#!/usr/bin/python3
"""zovek decode --mode rtty and ascii: text keyed here and by another program, in noise, off tune, off speed, fading."""
import json
import shutil
import subprocess
import unittest

import numpy as np
import soundfile
from scipy.signal import resample_poly

from support.built import InFolder, decode
import modem
import text_errors

TEXT = "\r\n".join(["THE QUICK BROWN FOX JUMPS OVER 13 LAZY DOGS", "QA1AA DE QB2BB: UR RST 599, 5-9-9 (LOC JO62/63) 73?",
                    "ZCZC AB12 0630 UTC NORTH WIND 7 SEA 4.", ""])
BYTES = TEXT.replace("QUICK", "quick{~}").encode()


def in_noise(signal, snr, rate=8000, seed=1, level=0.2):
    """With half a second around, at so many dB in 3 kHz."""
    sent = modem.overs([signal], rate, 0.5)
    return level * (sent + modem.noise(len(sent), seed, rate, 10 ** (-snr / 10)))


class Teletype(InFolder):
    def hear(self, audio, mode, *options, rate=8000):
        return decode(self.written(np.clip(audio, -1, 1), rate), "--mode", mode, *options)[0]

    def check(self, got, most=0.0, sent=TEXT):
        self.assertLessEqual(text_errors.error_rate("\n".join(got), sent), most, got)

    def test_every_kind_of_line(self):
        """Bits, parity, stop, tones and speeds; the options that tell of them; dB in 3 kHz."""
        rtty, ascii7, ascii8 = modem.ita2(TEXT), modem.with_parity(BYTES, 7), BYTES
        odd = modem.with_parity(BYTES, 7, odd=True)
        for codes, bits, baud, mark, space, stop, snr, mode, options in (
                (rtty, 5, 1000 / 22, 2295, 2125, 1.5, -3, "rtty", "--reverse"),
                (rtty, 5, 1000 / 22, 2125, 2295, 1, -3, "rtty", "--stop 1"),
                (rtty, 5, 50, 775, 1225, 1.5, -2, "rtty", "--mark 775 --shift 450 --baud 50"),
                (rtty, 5, 75, 1925, 1075, 1.5, 0, "rtty", "--centre 1.5k --shift -850 --baud 75 --stop 1.5"),
                (modem.ita2(TEXT, unshift=False), 5, 100, 915, 1085, 1, 0, "rtty",
                 "--mark 915 --space 1085 --baud 100 --stop 1 --no-unshift"),
                (ascii8, 8, 300, 1270, 1070, 1, 2, "ascii", ""),
                (ascii8, 8, 300, 2225, 2025, 2, 2, "ascii", "--tones bell103-answer --stop 2"),
                (ascii7, 8, 300, 980, 1180, 1, 2, "ascii", "--tones v21 --bits 7 --parity even"),
                (odd, 8, 300, 1650, 1850, 1, 2, "ascii", "--tones v21-answer --bits 7 --parity odd"),
                (ascii8, 7, 110, 1270, 1070, 2, 0, "ascii", "--bits 7 --baud 110 --stop 2"),
                (ascii8, 8, 1200, 1300, 2100, 1, 9, "ascii", "--tones v23"),
                (ascii8, 8, 1200, 1200, 2200, 1, 9, "ascii", "--tones bell202"),
                (ascii8, 8, 75, 390, 450, 1, 0, "ascii", "--tones v23-back")):
            with self.subTest(mode=mode, options=options, stop=stop):
                signal = modem.keyed(codes, bits, baud, mark, space, 8000, stop)
                sent = TEXT if mode == "rtty" else BYTES.decode()
                self.check(self.hear(in_noise(signal, snr), mode, *options.split()), 0, sent)

    def test_off_tune_off_speed_loud_and_quiet(self):
        for mode, baud, offset, level, rate in (("rtty", 45, 20, 3, 11025), ("rtty", 45.9, -20, 3e-4, 44100), ("ascii", 291, 20, 0.2, 8000)):
            with self.subTest(mode=mode, baud=baud):
                codes, bits, tones = (modem.ita2(TEXT), 5, (2125, 2295)) if mode == "rtty" else (BYTES, 8, (1270, 1070))
                signal = modem.keyed(codes, bits, baud, *(tone + offset for tone in tones), rate, 1.5)
                self.check(self.hear(in_noise(signal, 6, rate, level=level), mode, rate=rate), 0, TEXT if mode == "rtty" else BYTES.decode())

    def test_what_is_no_text_gives_none(self):
        rate = 11025
        at = np.arange(15 * rate) / rate
        noise = modem.noise(len(at), 9, rate, 0.03)
        buzz = np.sign(np.sin(2 * np.pi * 170 * at)) * 0.1 + noise / 10
        packets = modem.overs([0.3 * modem.packet("QA1AA>QTEST:" + "no teletype " * 9, rate)] * 9, rate)
        carrier = 0.3 * np.sin(2 * np.pi * 1270 * at) + noise / 10
        audio = np.concatenate([noise, buzz, np.abs(np.sin(2 * np.pi * 1.7 * at)) * buzz, 0 * at, carrier])
        for options in ("rtty", "ascii", "ascii --tones v21-answer --bits 7", "ascii --tones bell202"):
            # Packets have the tones and the speed of bell202: here and there they look like characters.
            more = [] if "bell202" in options else packets
            with self.subTest(options=options):
                self.assertEqual(self.hear(np.concatenate([audio, more]), *options.split(), rate=rate), [])

    def test_json_tells_level_and_noise(self):
        for codes, bits, baud, tones, stop, mode, snr in ((modem.ita2(TEXT), 5, 1000 / 22, (2125, 2295), 1.5, "rtty", 2),
                                                          (BYTES, 8, 300, (1270, 1070), 1, "ascii", 10)):
            signal = modem.keyed(codes, bits, baud, *tones, 8000, stop)
            line = json.loads(self.hear(in_noise(signal, snr, level=0.1), mode, "--json")[0])
            self.assertAlmostEqual(line["snr"], snr, delta=1.5)
            self.assertAlmostEqual(line["level"], -20, delta=0.5)
            begin = 0.5 + (10 + (1 + bits + stop) * (mode == "rtty")) / baud
            self.assertAlmostEqual(line["time"], begin, delta=0.2 / baud)

    @unittest.skipUnless(shutil.which("minimodem") or os.environ.get("CI"), "minimodem is not installed")
    def test_as_another_program_keys_it(self):
        for sender, mode, options, snr in (("-M 2125 -S 2295 rtty", "rtty", "", -4), ("300", "ascii", "", 3),
                                           ("-7 --stopbits 2 1200", "ascii", "--tones bell202 --bits 7 --stop 2", 8),
                                           ("-5 --stopbits 1.5 -M 1225 -S 775 50", "rtty", "--mark 1225 --space 775 --baud 50", 0)):
            with self.subTest(sender=sender):
                path = self.folder / "sent.wav"
                subprocess.run(["minimodem", "--tx", "-R", "48000", "-f", path, *sender.split()], input=TEXT.encode(), check=True)
                sent = resample_poly(soundfile.read(path)[0], 1, 6)
                self.check(self.hear(in_noise(sent / np.max(sent), snr), mode, *options.split()), 0.02)


if __name__ == "__main__":
    unittest.main()
