#!/usr/bin/python3
"""zovek decode: alert headers, bulletins and pages made here, each with something wrong that a receiver must stand."""
import json
import subprocess
import unittest

import numpy as np

from support.built import CLIENT, InFolder, decode
import bulletins
import modem

RATE = 12000


class Case(InFolder):
    def hear(self, mode, audio, *options, rate=RATE):
        return decode(self.written(0.2 * np.clip(audio, -4, 4), rate), "--mode", mode, *options)[0]

    def hear_json(self, *arguments, **keywords):
        return [json.loads(line) for line in self.hear(*arguments, "--json", **keywords)]


def noisy(audio, snr, rate=RATE, power=0.5):
    return audio + modem.noise(len(audio), 8, rate, 10 ** (-snr / 10), power)


def coupled(audio, hertz, rate):
    """Through a capacitor."""
    out, charge, part = np.empty_like(audio), 0.0, 1 - np.exp(-2 * np.pi * hertz / rate)
    for k, value in enumerate(audio):
        charge += part * (value - charge)
        out[k] = value - charge
    return out


class Everywhere(Case):
    def test_noise_is_told(self):
        for mode, audio, power, steps in (("same", bulletins.same(Same.ONE, RATE), 0.5, (15, 5)),
                                          ("pocsag", bulletins.pocsag(Pocsag.PAGES, 512, RATE), 1, (15, 8, 0)),
                                          ("pocsag", bulletins.pocsag(Pocsag.PAGES, 1200, RATE), 1, (15, 8, 3)),
                                          ("pocsag", bulletins.pocsag(Pocsag.PAGES, 2400, RATE), 1, (15, 8)),
                                          ("navtex", bulletins.sitor(Navtex.TEXT * 2, RATE), 0.5, (5, 0))):
            for snr in steps:
                got = self.hear_json(mode, noisy(modem.overs([audio], RATE), snr, power=power))
                with self.subTest(mode=mode, snr=snr):
                    self.assertAlmostEqual(np.mean([line["snr"] for line in got if len(line["text"]) > 8]), snr, delta=1)

    def test_noise_and_the_others_signals_give_nothing(self):
        same = bulletins.same("ZCZC-EAS-RWT-012345+0015-0010000-QAAAA/FM-", RATE)
        pages = bulletins.pocsag([(77, 3, "text")], 1200, RATE)
        bulletin = bulletins.sitor("ZCZC QB00\nNNNN\n", RATE)
        tones = [np.sin(2 * np.pi * hertz / RATE * np.arange(5 * RATE)) for hertz in (915, 1085, 2083)]
        position = "$$QBALLOON,42,06:15:30,52.1234,13.5678,18250,{}*5A\n"
        texts = [modem.keyed("".join(map(position.format, range(4))).encode(), 8, 100, low, low + shift, RATE, 2)
                 for low, shift in ((915, 170), (667, 425), (850, 350))]
        texts.append(modem.keyed(modem.ita2("SOME TEXT OF A TELEPRINTER 0123456789 " * 6), 5, 1000 / 22, 1085, 915, RATE, 1.5))
        for mode, *others in (("same", bulletin, pages), ("navtex", same, pages, *texts), ("pocsag", bulletin, same)):
            audio = np.concatenate([modem.noise(60 * RATE, 5, RATE, 0.1), *others, *tones, np.zeros(RATE)])
            self.assertEqual(self.hear(mode, audio), [], mode)


class Same(Case):
    ONE = "ZCZC-WXR-TOR-031055-019155-231001+0130-0601203-QAA1/NWS-"
    TWO = "ZCZC-CIV-EVI-000000+9930-3662359-QB-"

    def test_fields_and_places(self):
        got = self.hear_json("same", bulletins.same(self.ONE, RATE))
        self.assertEqual([line["text"] for line in got], [self.ONE] * 3 + ["NNNN"] * 3)
        wanted = {"originator": "WXR", "event": "TOR", "locations": ["031055", "019155", "231001"], "valid_minutes": 90,
                  "day": 60, "issued": "12:03", "station": "QAA1/NWS", "agreeing": 1, "mended": 0, "burst": 1}
        self.assertEqual({name: got[0][name] for name in wanted}, wanted)
        length = (16 + len(self.ONE)) * 8 / bulletins.SAME_BAUD
        for number, line in enumerate(got[:3]):
            self.assertAlmostEqual(line["time"], 1 + number * (length + 1), delta=0.003)
            self.assertAlmostEqual(line["level"], -14, delta=0.5)
        self.assertEqual(self.hear("same", bulletins.same(self.ONE, RATE), "--once"), [self.ONE, "NNNN"])

    def test_signals_off_the_rules(self):
        for rate, options, snr in ((44100, {"baud": bulletins.SAME_BAUD * 1.02}, 9), (16000, {"shift": 25, "preamble": 8}, 12),
                                   (8000, {}, 5)):
            texts = [self.ONE, self.ONE.replace("019155", "019159"), self.ONE.replace("NWS", "NW5")]
            audio = noisy(np.concatenate([bulletins.same(text, rate, **options) for text in (texts, self.TWO)]), snr, rate)
            with self.subTest(rate=rate, options=options, snr=snr):
                lines = self.hear("same", audio, rate=rate)
                self.assertEqual([line for line in lines if line != "NNNN"], [self.ONE] * 3 + [self.TWO] * 3)


class Navtex(Case):
    TEXT = "ZCZC QA09\nICE REPORT (14/0600): \"NIL\"\n57-12N 011-38E = 2/10, + DRIFT?\nNNNN\n".replace('"', "'")
    LINES = TEXT.splitlines()

    def test_a_message_with_its_marks(self):
        bulletin = bulletins.sitor(self.TEXT + "AFTERWARDS\n", RATE, centre=1110)
        got = self.hear_json("navtex", modem.overs([bulletin], RATE, 1))
        self.assertEqual([line["text"] for line in got], self.LINES + ["AFTERWARDS"])
        self.assertEqual([line.get("message") for line in got], ["QA09"] * 4 + [None])
        self.assertEqual([line["line"] for line in got], [1, 2, 3, 4, 1])
        self.assertEqual({(line["unreadable"], line["inverted"]) for line in got}, {(0, False)})
        self.assertAlmostEqual(got[0]["centre"], 1110, delta=15)
        self.assertAlmostEqual(got[0]["time"], 1 + 36 * 0.14, delta=0.012)  # behind 35 phasing pairs and a shift
        self.assertAlmostEqual(got[0]["level"], -14, delta=0.5)

    def test_signals_off_the_rules(self):
        for made, snr, options in (({"centre": 815, "baud": 100.5}, 10, []), ({"centre": 1190, "inverted": True, "baud": 99.5}, 10, []),
                                   ({"centre": 1700}, -6, ["--centre", 1750])):
            audio = noisy(modem.overs([bulletins.sitor(self.TEXT, RATE, **made)] * 2, RATE, 1.5), snr)
            audio[17 * RATE:17 * RATE + RATE // 20] = 0  # a click: the other copies tell
            with self.subTest(made=made):
                self.assertEqual(self.hear("navtex", audio, *options), self.LINES * 2)

    def test_what_is_lost_is_marked(self):
        audio = bulletins.sitor(self.TEXT, RATE)
        audio[10 * RATE:11 * RATE] = modem.noise(RATE, 4, RATE, 0.3)
        got = self.hear_json("navtex", audio)
        self.assertGreater(sum(line["unreadable"] for line in got), 0)
        self.assertEqual([line["unreadable"] for line in got], [line["text"].count("*") for line in got])


class Pocsag(Case):
    PAGES = [(1234567, 3, "Hello {world}\n73!"), (2000008, 0, "0123456789-U[*] 7", True), (9, 2), (7, 1, "x")]
    LINES = ["1234567 3: Hello {world}<0x0a>73!", "2000008 0: 0123456789-U[*] 7", "0000009 2", "0000007 1: x"]

    def test_rates_polarities_and_receivers(self):
        for baud, rate, audio, change in (
                (512, 8000, {}, lambda x: x), (1200, 8000, {}, lambda x: x), (2400, 11025, {}, lambda x: x),
                (2400, 48000, {"inverted": True}, lambda x: x), (512, 22050, {}, lambda x: x - 3 * np.mean(x) + 2),
                (1200, 22050, {"inverted": True}, lambda x: noisy(x, 3, 22050, 1)),
                (512, 22050, {}, lambda x: x - np.convolve(x, np.full(1200, 1 / 1200), "same")),  # no DC
                (1200, 8000, {}, lambda x: coupled(x, 200, 8000))):
            heard = change(modem.overs([bulletins.pocsag(self.PAGES, baud, rate, **audio)], rate, 0.5))
            got = self.hear_json("pocsag", heard, rate=rate)
            with self.subTest(baud=baud, rate=rate, audio=audio):
                self.assertEqual([page["text"] for page in got], self.LINES)
                self.assertEqual([page["kind"] for page in got], ["alpha", "numeric", "tone", "alpha"])
                self.assertEqual({(page["baud"], page["inverted"]) for page in got}, {(baud, "inverted" in audio)})
                self.assertAlmostEqual(got[0]["time"], 0.5 + 32 * (18 + 1 + 14) / baud, delta=2 / baud)
        for off in (0.98, 1.02):
            words = bulletins.pocsag_words(self.PAGES)
            self.assertEqual(self.hear("pocsag", bulletins.pocsag_audio(words, 1200 * off, RATE)), self.LINES, off)

    def test_errors_are_mended_or_told(self):
        words = bulletins.pocsag_words(self.PAGES[:1])
        words[18 + 16] ^= 0b11 << 9  # the first one
        words[18 + 17 + 1] ^= 0b10101 << 12  # the second codeword of the message, in the next batch
        page, = self.hear_json("pocsag", bulletins.pocsag_audio(words, 1200, RATE))
        self.assertEqual((page["message"], page["lost"], page["corrected"]), ("He\ufffd\ufffd\ufffd\ufffd{world}<0x0a>73!", 1, 2))

    def test_kinds_by_wish_and_rates_by_wish(self):
        audio = bulletins.pocsag([(16, 3, "0123", True), (24, 0, "Words")], 1200, RATE)
        self.assertEqual(self.hear("pocsag", audio), ["0000016 3: 0123", "0000024 0: Words"])
        self.assertEqual(self.hear("pocsag", audio, "--as", "numeric")[0], "0000016 3: 0123")
        self.assertEqual(self.hear("pocsag", audio, "--as", "alpha")[1], "0000024 0: Words")
        self.assertEqual(len(self.hear("pocsag", audio, "--pager-baud", 1200)), 2)
        self.assertEqual(self.hear("pocsag", audio, "--pager-baud", 512), [])


class Streams(Case):
    def test_pieces_of_any_size_give_the_same_at_once(self):
        text = modem.keyed(modem.ita2("FIRST LINE\r\nSECOND"), 5, 1000 / 22, 2125, 2295, RATE, 1.5)
        audio = modem.overs([text, np.zeros(6 * RATE), modem.packet("QA1AA>QTEST:packet", RATE),
                             bulletins.pocsag(Pocsag.PAGES, 1200, RATE), bulletins.same(Same.ONE, RATE),
                             bulletins.sitor(Navtex.TEXT, RATE, centre=990), np.zeros(6 * RATE)], RATE, 0.5)
        audio += modem.noise(len(audio), 1, RATE, 1e-2)
        modes = "rtty,packet,same,navtex,pocsag"
        whole = self.hear(modes, audio)
        self.assertEqual([sum(line.startswith(f"{mode}: ") for line in whole) for mode in modes.split(",")], [2, 1, 6, 4, 4])
        samples = np.round(np.clip(0.2 * audio, -1, 1) * 32768).astype("<i2").tobytes()
        with subprocess.Popen([CLIENT, "decode", "-t", "raw", "-r", str(RATE), "--mode", modes], text=True,
                              stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL) as client:
            for at in range(0, len(samples), 7777):
                client.stdin.buffer.write(samples[at:at + 7777])
                client.stdin.flush()
            self.assertEqual([client.stdout.readline().rstrip() for _ in whole], whole)  # while more might come
            client.stdin.close()
            self.assertEqual(client.stdout.read(), "")


if __name__ == "__main__":
    unittest.main()
