#!/usr/bin/python3
"""zovek decode: packets made here, bit by bit, and recordings of others with their known frames."""
import datetime
import json
import socket
import subprocess
import time
import unittest

import numpy as np

from support.built import CLIENT, DATA, ROOT, InFolder, decode, needs_data
import bulletins
import modem
import tones


class Samples(unittest.TestCase):
    def test_each_gives_its_text(self):
        for name, *options in (("packet",), ("packet_hf", "--hf"), ("dtmf",), ("zvei",), ("selcal",), ("ctcss",), ("same",),
                               ("navtex",), ("pocsag",), ("rtty",), ("ascii", "--bits", 7)):
            lines, _ = decode(ROOT / f"samples/{name}.flac", "--mode", name.split("_")[0], *options)
            self.assertEqual(lines, (ROOT / f"samples/{name}.txt").read_text().splitlines(), name)


    def test_all_modes_at_once_hear_that_alone(self):
        for mode in ("packet", "dtmf", "zvei", "selcal", "ctcss", "same", "navtex", "pocsag", "rtty"):
            lines, _ = decode(ROOT / f"samples/{mode}.flac", "--mode", "all")
            wanted = [f"{mode}: {line}" for line in (ROOT / f"samples/{mode}.txt").read_text().splitlines()]
            others = [line for line in lines if line not in wanted]
            self.assertEqual([line for line in lines if line in wanted], wanted)
            self.assertTrue(all(line.startswith("ctcss") and line.endswith(("none", "off")) for line in others), others)
        lines, _ = decode(ROOT / "samples/dtmf.flac", "--mode", "all", "--freq", "1k", "--every", 1)
        self.assertEqual(sum(line.startswith("tones") for line in lines), 3)


class WrongUsage(InFolder):
    def test_is_told_from_what_the_audio_cannot_hold(self):
        path = self.written(np.zeros(100), 8000)
        for status, wrong in (
                (2, ""), (2, "--mode nosuch"), (2, "--mode packet -M fm"), (2, "--mode packet --effort 0"), (2, "--mode packet --g3ruh --hf"), (2, "--mode packet --g3ruh --effort 5"), (2, "--mode packet --if x"),
                (2, "--mode packet -r 8000"), (2, "--mode tones"), (2, "--mode tones --freq -1"), (2, "--mode tones --freq 1k --every 0"),
                (2, "--mode zvei --set nosuch"), (2, "--mode dtmf --pause -1"), (2, "--mode ascii --tones x"), (2, "--mode ascii --bits 6"),
                (2, "--mode ascii --parity mark"), (2, "--mode ascii --baud 1200"), (2, "--mode rtty --stop 3"), (2, "--mode rtty --baud 0"),
                (2, "--mode rtty --mark 1000 --space 1000"), (2, "--mode rtty --centre 1000 --mark 900"),
                (1, "--mode tones --freq 30k"), (1, "--mode tones --freq 1k --width 20000"), (1, "--mode rtty --mark 3990"),
                (1, "--mode ascii --mark 10 --space 400")):
            with self.subTest(wrong=wrong):
                self.assertEqual(decode(path, *wrong.split(), status=status)[0], [])


class Packets(InFolder):
    TWO = "Q9Z>QTEST-3:second" + bytes(range(32, 127)).decode()

    def hear(self, audio, rate, *options):
        return decode(self.written(audio, rate), "--mode", "packet", *options)[0]

    def test_stations_off_the_rules(self):
        for rate, baud, tones_, level, *hf in ((24000, 1166, (1200, 2200), 1), (44100, 1218, (1290, 2290), 0.3),
                                               (22050, 1236, (1200, 2200), 0.3), (22050, 1164, (1300, 2100), 0.3),
                                               (8000, 1200, (1110, 2110), 0.001), (12000, 300, (1600, 1800), 0.3, "--hf"),
                                               (8000, 300, (1715, 1915), 0.3, "--hf")):
            audio = modem.overs([modem.fsk(modem.nrzi(modem.hdlc(modem.ax25(self.TWO))), baud, *tones_, rate)], rate)
            audio = level * np.clip(audio + modem.noise(len(audio), 1, rate, 0.01), -1, 1)
            with self.subTest(rate=rate, baud=baud):
                self.assertEqual(self.hear(audio, rate, *hf), [self.TWO])

    def scrambled(self, bits, rate, baud=9600):
        return modem.baseband(modem.scrambled(modem.nrzi(bits)), baud, rate)

    def test_9600_baud(self):
        for rate, baud, level, mean, high_pass in ((18000, 9600, 0.3, 0, 0), (44100, 9650, 0.3, 0.5, 0), (48000, 9555, 0.001, 0, 0),
                                                   (96000, 9600, 0.3, -0.3, 100), (250000, 9600, 0.3, 0, 0)):
            audio = modem.overs([self.scrambled(modem.hdlc(modem.ax25(self.TWO), (100, 4)), rate, baud) + mean] * 2, rate, 0.3)
            if high_pass:
                keep = np.exp(-2 * np.pi * high_pass / rate)
                audio -= np.convolve(audio, (1 - keep) * keep ** np.arange(rate // 20))[:len(audio)]
            audio = level * (audio + np.random.default_rng(rate).normal(0, np.sqrt(10 ** -1.4 / 9600 * rate / 2), len(audio)))
            with self.subTest(rate=rate, baud=baud):
                lines = [json.loads(line) for line in self.hear(audio, rate, "--g3ruh", "--json")]
                self.assertEqual([line["text"] for line in lines], [self.TWO] * 2)
                self.assertAlmostEqual(lines[0]["time"], 0.3 + 800 / baud, delta=0.002)

    def test_9600_baud_in_noise(self):
        sent = [f"QA1AA>BEACON:number {n} of a row of frames in noise" for n in range(20)]
        audio = modem.overs([self.scrambled(modem.hdlc(modem.ax25(text), (60, 4)), 48000) for text in sent], 48000, 0.02)
        audio = 0.2 * (audio + np.random.default_rng(5).normal(0, np.sqrt(10 ** -0.74 / 9600 * 24000), len(audio)))
        plain, repaired = self.hear(audio, 48000, "--g3ruh"), self.hear(audio, 48000, "--g3ruh", "--repair")
        self.assertLessEqual(set(plain), set(repaired))
        self.assertLessEqual(set(repaired), set(sent))
        self.assertGreater(len(plain), 4)
        self.assertGreater(len(repaired), len(plain) + 4)
        self.assertEqual(len(set(repaired)), len(repaired))

    def test_9600_baud_of_a_station(self):
        audio = modem.overs([self.scrambled(modem.hdlc(modem.ax25(self.TWO), (100, 4)), 96000)], 96000, 0.3)
        band = np.cos(2 * np.pi * np.cumsum(24000 + 3000 * audio) / 96000) + modem.noise(len(audio), 4, 96000, 0.01)
        self.assertEqual(self.hear(0.3 * band, 96000, "--g3ruh", "--if", "24k"), [self.TWO])

    def test_noise_gives_nothing_and_repair_gives_more(self):
        sent = [f"QA1AA>BEACON:number {n} of a row of frames in noise" for n in range(12)]
        audio = modem.overs([modem.packet(text, 12000) for text in sent], 12000)
        audio += modem.noise(len(audio), 2, 12000, 10 ** -0.3)
        plain, repaired = self.hear(audio, 12000), self.hear(audio, 12000, "--repair")
        self.assertLessEqual(set(plain), set(repaired))
        self.assertLessEqual(set(repaired), set(sent))
        self.assertGreater(len(set(repaired)), len(plain))
        self.assertEqual(len(set(repaired)), len(repaired))
        self.assertEqual(self.hear(modem.noise(15 * 12000, 3, 12000, 0.1), 12000, "--repair", "--effort", 17), [])

    def test_call_signs_of_any_characters(self):
        audio = modem.overs([modem.packet("Q SAT>q\x01B-2,QC 1*:hello", 12000)], 12000)
        self.assertEqual(self.hear(audio, 12000), ["Q SAT>q<0x01>B-2,QC 1*:hello"])
        self.assertEqual(json.loads(self.hear(audio, 12000, "--json")[0])["destination"], "q<0x01>B-2")

    def test_the_same_frame_later_is_another(self):
        audio = modem.overs([modem.packet(self.TWO, 12000)] * 2, 12000)
        self.assertEqual(self.hear(audio, 12000, "--effort", 17), [self.TWO] * 2)

    def test_a_station_of_a_band(self):
        audio = modem.overs([modem.packet(self.TWO, 48000)], 48000, 0.5)
        band = np.cos(2 * np.pi * np.cumsum(12000 + 3000 * audio) / 48000) + modem.noise(len(audio), 4, 48000, 0.01)
        line, = self.hear(0.3 * band, 48000, "--if", "12k", "-M", "fm", "--json")
        self.assertEqual(json.loads(line)["text"], self.TWO)
        self.assertAlmostEqual(json.loads(line)["time"], 0.5 + 40 * 8 / 1200, delta=0.01)

    def test_a_station_whose_filters_are_longer_than_a_block(self):
        audio = modem.overs([modem.packet(self.TWO, 1000000)], 1000000, 0.2)
        band = (1 + 0.5 * audio) * np.cos(2 * np.pi * 0.25 * np.arange(len(audio)))
        self.assertEqual(self.hear(0.3 * band, 1000000, "--if", "250k", "-M", "sam"), [self.TWO])

    def test_a_station_of_an_iq_recording(self):
        audio = modem.overs([modem.packet(self.TWO, 48000)], 48000, 0.5)
        band = 0.3 * np.exp(2j * np.pi * np.cumsum(-9000 + 3000 * audio) / 48000)
        path = self.written(np.column_stack((band.real, band.imag)), 48000)
        (line,), _ = decode(path, "--iq", "--if", "-9k", "--mode", "packet", "--json")
        self.assertEqual(json.loads(line)["text"], self.TWO)
        self.assertAlmostEqual(json.loads(line)["sample"], (0.5 + 40 * 8 / 1200) * 48000, delta=480)
        self.assertEqual(decode(path, "--swap-iq", "--if", "-9k", "--mode", "packet")[0], [])

    def test_json_tells_fields_and_the_raw_frame(self):
        frame = modem.ax25("QA1AA>QB2BB:caf\xe9 \x1c\t\r", control=0x13)
        audio = modem.overs([0.1 * modem.fsk(modem.nrzi(modem.hdlc(frame)), 1200, 1200, 2200, 12000)], 12000, 0.5)
        line, = self.hear(audio, 12000, "--json", "--repair")
        got = json.loads(line)
        self.assertAlmostEqual(got["time"], 0.5 + 40 * 8 / 1200, delta=0.005)
        self.assertAlmostEqual(got["sample"], got["seconds"] * 12000, delta=1)
        self.assertAlmostEqual(got["level"], -20, delta=0.5)
        wanted = {"mode": "packet", "text": "QA1AA>QB2BB:caf<0xe9> <0x1c><0x09>", "source": "QA1AA",
                  "destination": "QB2BB", "path": [], "kind": "UI", "control": 0x13, "pid": 0xF0,
                  "info": "caf<0xe9> <0x1c><0x09>", "frame": frame.hex(), "repaired": 0}
        self.assertEqual({name: got[name] for name in wanted}, wanted)

    def test_json_tells_the_time_of_day(self):
        """Beside the seconds: as --start tells it, for a pipe by the clock; unknown, time is the seconds as well."""
        path = ROOT / "samples/packet.flac"

        def told(*options, **pipe):
            run = subprocess.run([CLIENT, "decode", *options, "--mode", "packet", "--json"], capture_output=True, check=True, **pipe)
            got = json.loads(run.stdout.splitlines()[0])
            self.assertAlmostEqual(got["seconds"], 0.517, delta=0.001)
            return got["time"]

        self.assertAlmostEqual(told(path), 0.517, delta=0.001)
        self.assertEqual(told(path, "--start", "2026-04-01T12:00:00+02:00"), "2026-04-01T10:00:00.517Z")
        now = datetime.datetime.now(datetime.timezone.utc)
        then = datetime.datetime.fromisoformat(told("-", input=path.read_bytes())[:-1] + "+00:00")
        self.assertLess(abs((then - now).total_seconds()), 20)
        for words in [path, "--start", "2026-04-01T12:00:00"], [path, path, "--start", "2026-04-01T12:00:00Z"]:
            self.assertEqual(decode(*words, "--mode", "packet", status=2)[0], [])

    def test_a_codeword_mends_its_frame(self):
        for wrong in (0, 6):
            flags = [0, 1, 1, 1, 1, 1, 1, 0] * 40
            bits = flags + modem.fx25(modem.hdlc(modem.ax25("QA1AA>QB2BB:Reed and Solomon"), flags=(1, 1))) + flags[:16]
            for k in range(wrong):
                bits[len(flags) + 64 + 8 * (5 + 3 * k) + k] ^= 1
            line, = self.hear(0.3 * modem.overs([modem.fsk(modem.nrzi(bits), 1200, 1200, 2200, 12000)], 12000, 0.5), 12000, "--json")
            got = json.loads(line)
            self.assertEqual((got["text"], got.get("mended", 0)), ("QA1AA>QB2BB:Reed and Solomon", wrong))
            self.assertAlmostEqual(got["time"], 0.5 + (40 * 8 + 64 + 8) / 1200, delta=0.01)

    def test_kiss_clients_get_the_frames(self):
        frame = modem.ax25("QA1AA>QB2BB:\xc0 and \xdb\r")
        audio = modem.overs([0.3 * modem.fsk(modem.nrzi(modem.hdlc(frame)), 1200, 1200, 2200, 12000)], 12000, 0.5)
        with socket.create_server(("127.0.0.1", 0)) as taken:
            port = taken.getsockname()[1]
            self.assertIn(f"port {port}: Address already in use", decode("-", "--mode", "packet", "--kiss", port, status=1)[1])
        with subprocess.Popen([CLIENT, "decode", "-t", "raw", "-r", "12000", "--mode", "packet", "--kiss", str(port)], stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE) as client:
            client.stdin.write(bytes(24000))
            for _ in range(100):
                try:
                    listeners = [socket.create_connection(("127.0.0.1", port)) for _ in range(2)]
                    break
                except ConnectionRefusedError:
                    time.sleep(0.05)
            listeners[0].sendall(b"\xc0\x00to be sent\xc0")
            for _ in range(2):
                client.stdin.write(np.round(audio * 32767).astype("<i2").tobytes())
            client.stdin.close()
            wanted = b"\xc0\x00" + frame.replace(b"\xdb", b"\xdb\xdd").replace(b"\xc0", b"\xdb\xdc") + b"\xc0"
            for listener in listeners:
                with listener, listener.makefile("rb") as stream:
                    self.assertEqual(stream.read(), 2 * wanted)
            self.assertEqual((client.stdout.read().count(b"QA1AA>QB2BB"), client.stderr.read().count(b"dropped")), (2, 1))
        decode("-", "--mode", "dtmf", "--kiss", port, status=2)

    def test_a_damaged_frame_or_file_costs_itself_alone(self):
        levels = (modem.nrzi(modem.hdlc(modem.ax25(self.TWO), crc=crc)) for crc in (None, 0x1234))
        good, broken = (self.written(modem.overs([0.3 * modem.fsk(sent, 1200, 1200, 2200, 22050)], 22050), 22050, name)
                        for sent, name in zip(levels, ("good.wav", "broken.wav")))
        rubbish = self.folder / "rubbish.wav"
        rubbish.write_bytes(b"no audio at all")
        lines, talk = decode(rubbish, broken, good, "--mode", "packet", status=1)
        self.assertEqual(len(lines), 1)
        self.assertIn("rubbish.wav", talk)
        cut = self.folder / "cut.flac"
        cut.write_bytes((ROOT / "samples/packet.flac").read_bytes()[:30000])
        lines, talk = decode(cut, good, "--mode", "packet")
        first, *_ = (ROOT / "samples/packet.txt").read_text().splitlines()
        self.assertEqual([lines[0], lines[-1]], [f"{cut}: {first}", f"{good}: {self.TWO}"])
        self.assertEqual(talk.count("truncated"), 1)
        lines, talk = decode(ROOT / "samples/navtex.flac", "--mode", "all")
        self.assertEqual((len(lines), talk.count("rtty: a tone of 2125 Hz")), (4, 1))
        lines, talk = decode(ROOT / "samples/navtex.flac", "--mode", "navtex,rtty", status=1) # at 4 kHz
        self.assertEqual((len(lines), talk.count("rtty: a tone of 2125 Hz")), (4, 1))
        self.assertNotIn("truncated", talk)
        for rate, trouble in ((2**31 - 1, "damage"), (100, "not in audio of 100 Hz")):
            wrong_rate = self.folder / "rate.wav"
            header = bytearray(good.read_bytes())
            header[24:28] = rate.to_bytes(4, "little")
            wrong_rate.write_bytes(header)
            lines, talk = decode(wrong_rate, good, "--mode", "packet", status=1)
            self.assertEqual((len(lines), talk.count(trouble)), (1, 1), rate)
        with open("/dev/full", "w") as full:
            run = subprocess.run([CLIENT, "decode", good, good, "--mode", "packet"], stdout=full, stderr=subprocess.PIPE)
        self.assertEqual((run.returncode, run.stderr.count(b"No space left")), (1, 1))

    def test_rates_that_are_too_low_for_a_mode(self):
        for rate, fit, mode, tone in ((4000, 5000, "packet", "2200"), (3600, 4000, "packet --hf", "1800"), (17000, 17100, "packet --g3ruh", "9600 Bd"), (3300, 3700, "dtmf", "1633"),
                                      (5500, 6000, "zvei", "2800"), (5000, 5300, "zvei --set CCIR", "2400"), (3000, 3300, "selcal", "1479.1"),
                                      (500, 560, "ctcss", "254.1"), (4200, 4500, "same", "2083.33333"), (2100, 2400, "navtex", "1085"),
                                      (6600, 7200, "navtex --centre 3.2kHz", "3285"), (4400, 5000, "rtty", "2125"), (2000, 2600, "ascii --tones v21", "980"),
                                      (2000, 2600, "pocsag --pager-baud 2400", "2400 Bd"), (500, 2000, "pocsag", "512 Bd"),
                                      (1800, 2200, "tones --freq 1k", "1000")):
            with self.subTest(mode):
                what = f"{mode.split()[0]}: {tone if 'Bd' in tone else f'a tone of {tone} Hz'}"
                _, talk = decode(self.written(np.zeros(rate), rate), "--mode", *mode.split(), status=1)
                self.assertEqual((talk.count("\n"), what.replace("a tone of 1000", "1000") in talk), (1, True), talk)
                _, talk = decode(self.written(np.zeros(fit), fit), "--mode", *mode.split())
                self.assertIn("0 messages" if "tones --f" not in mode else "10 messages", talk)
        _, talk = decode(self.written(np.zeros(3000), 3000), "--mode", "packet,dtmf,navtex", status=1)
        self.assertEqual((talk.count("packet: "), talk.count("dtmf: "), talk.count("navtex: ")), (1, 1, 0))

    @needs_data
    def test_recordings_of_others(self):
        right = 0
        for name, *options in (("s01_awgn_22050",), ("s02_fm_disc_22050",), ("s03_fm_flat_de_44100",),
                               ("s04_mixed_22050",), ("s05_if_fm_48000", "--if", 12000, "-M", "fm"),
                               ("s06_hf300_8000", "--hf"), ("s07_noise_only_22050",)):
            lines, _ = decode(DATA / f"afsk/{name}.flac", "--mode", "packet", *options)
            sent = (DATA / f"afsk/{name}.txt").read_text().splitlines()
            self.assertLessEqual(set(lines), set(sent), f"{name}: a frame that nobody sent")
            right += len(set(lines))
            print(f"{name}: {len(set(lines))} of {len(set(sent) - {''})}")
        self.assertGreaterEqual(right, 255)
        for name in ("afsk_iss_44100", "afsk_lorem_11025"):
            lines, _ = decode(DATA / f"offair/{name}.flac", "--mode", "packet")
            self.assertEqual(len(lines), 1, name)


class Tones(InFolder):
    def hear(self, audio, rate, mode, *options, snr=None, level=0.03):
        """The lines of audio with silence around it and noise snr dB below it in 3 kHz."""
        audio = modem.overs([audio], rate, 0.7)
        if snr is not None:
            audio = audio + modem.noise(len(audio), rate, rate, 10 ** (-snr / 10))
        return decode(self.written(level * audio, rate), "--mode", mode, *options)[0]

    def test_keys_long_and_short_weak_and_off_tune(self):
        keys = tones.KEYS
        #        rate  SNR  tone  gap   twist   off     level
        rows = [(8000, 30, 0.050, 0.050, 0.0, 0.000, 0.30), (8000, 5, 0.040, 0.040, 4.0, 0.012, 0.03),
                (11025, 5, 0.050, 0.050, -5.0, -0.012, 0.03), (44100, 8, 0.100, 0.030, -8.0, 0.000, 0.001),
                (48000, 5, 0.070, 0.200, 5.0, 0.000, 0.03), (22050, None, 0.040, 0.030, 8.0, -0.015, 0.90),
                (16000, 10, 0.700, 0.100, 0.0, 0.005, 0.03)]
        for rate, snr, tone, gap, twist, off, level in rows:
            with self.subTest(rate=rate, snr=snr, tone=tone, twist=twist):
                audio = tones.dtmf(keys + "00", rate, tone, gap, twist, off)
                self.assertEqual(self.hear(audio, rate, "dtmf", snr=snr, level=level), [keys + "00"])
        halves = np.concatenate([tones.dtmf("12", 8000, gap=0.15), tones.silence(0.25, 8000), tones.dtmf("3", 8000)])
        self.assertEqual(self.hear(halves, 8000, "dtmf"), ["12", "3"])
        self.assertEqual(self.hear(halves, 8000, "dtmf", "--pause", 0.5), ["123"])
        self.assertEqual(self.hear(halves, 8000, "dtmf", "--pause", 0.1), list("123"))

    def test_keys_over_tones_that_stand_on_the_line(self):
        for standing in (350, 440), (440, 480), (480, 620), (425,):
            with self.subTest(standing=standing):
                audio = tones.dtmf(tones.KEYS, 8000, 0.05, 0.05, -3)
                audio = np.concatenate([tones.silence(0.3, 8000), audio])
                audio += 0.5 * sum(tones.sine(hertz, len(audio) / 8000, 8000) for hertz in standing)
                self.assertEqual(self.hear(audio, 8000, "dtmf", snr=15), [tones.KEYS])

    def test_what_is_no_key(self):
        rate, key = 8000, {"seconds": 0.1, "rate": 8000}
        for name, audio in (("one tone", tones.sine(770, **key)), ("low tones", tones.pair(697, 852, **key)),
                            ("4 % off", tones.dtmf("5", rate, 0.1, off=0.04)), ("15 ms", tones.dtmf("5", rate, 0.015)),
                            ("twist", tones.dtmf("5", rate, 0.1, twist=20)),
                            ("chord", tones.pair(770, 1336, **key) + 0.5 * tones.sine(1000, **key))):
            with self.subTest(name):
                self.assertEqual(self.hear(audio, rate, "dtmf", snr=30), [])

    def test_five_tones(self):
        rows = [("zvei1", "11123", 8000, tones.ZVEI1, 0.07, 0), ("zvei1", "90A55", 48000, tones.ZVEI1, 0.07, 3),
                ("zvei1", "1234567", 11025, tones.ZVEI1, 0.065, 5), ("ccir", "40081", 22050, tones.CCIR, 0.1, 3),
                ("eia", "77123", 22050, tones.EIA, 0.033, 6), ("zvei1", "1234", 8000, tones.ZVEI1, 0.07, 20),
                ("zvei1", "12345", 8000, tones.ZVEI1, 0.02, 20), ("zvei1", "12345", 8000, tones.ZVEI1, 0.2, 20)]
        for name, digits, rate, table, length, snr in rows:
            with self.subTest(set=name, digits=digits, rate=rate, length=length):
                lines = self.hear(tones.five_tone(digits, rate, table, length), rate, "zvei", "--set", name, snr=snr)
                self.assertEqual(lines, [digits] if len(digits) > 4 and abs(length / 0.07 - 1) < 0.6 else [])

    def test_what_is_no_call_of_five_tones(self):
        text = [modem.keyed(modem.ita2(word), 5, baud, 1400, 1800, 8000, 2, 4) for word in "RYRY LINE HELLO III".split() for baud in (45.45, 50)]
        self.assertEqual(self.hear(modem.overs(text, 8000), 8000, "zvei", snr=20), [])
        keys = tones.dtmf("159D26A", 8000, 0.1, 0.03, 5)
        self.assertEqual(self.hear(keys, 8000, "zvei", "--set", "ccir", snr=20), [])

    def test_calls_off_tune(self):
        for code, rate, shift, snr in (("AB-CD", 8000, 0, 20), ("AB-CD", 8000, -45, 0), ("BC-DE", 11025, 45, 0),
                                       ("AS-BR", 48000, 20, -3), ("RS-PQ", 22050, -45, -3), ("GH-AS", 8000, 33, 0)):
            with self.subTest(code=code, shift=shift):
                line, = self.hear(tones.selcal(code, rate, shift), rate, "selcal", "--json", snr=snr)
                got = json.loads(line)
                self.assertEqual(got["text"], code)
                self.assertAlmostEqual(got["shift"], shift, delta=2)
                self.assertAlmostEqual(got["time"], 0.7, delta=0.1)
        call = tones.selcal("CG-MP", 8000, 20)
        sides = sum(0.15 * tones.sine(tones.SELCAL["P"] + 20 + side, 1, 8000) for side in (-120, 120))
        weak = np.concatenate([tones.pair(404.6, 602.1, 1, 8000, -12), tones.silence(0.2, 8000),
                               tones.pair(997.2, 1103.9, 1, 8000, 12) + sides])
        for name, audio in (("sidebands near the weak tone", weak), ("a carrier", call + tones.sine(700, 2.2, 8000))):
            with self.subTest(name):
                self.assertEqual(self.hear(audio, 8000, "selcal", snr=10), ["CG-MP"])
        for name, audio in (("far off", tones.selcal("FG-HJ", 8000, 80)),
                            ("long", np.concatenate([tones.pair(524.8, 645.7, 2, 8000)] * 2)),
                            ("twice the same pair", tones.selcal("FH-FH", 8000)),
                            ("one pulse", tones.pair(524.8, 645.7, 1, 8000))):
            with self.subTest(name):
                self.assertEqual(self.hear(audio, 8000, "selcal", snr=20), [])

    def test_every_sub_audible_tone(self):
        table = [67.0, 69.3, 71.9, 74.4, 77.0, 79.7, 82.5, 85.4, 88.5, 91.5, 94.8, 97.4, 100.0, 103.5, 107.2, 110.9, 114.8,
                 118.8, 123.0, 127.3, 131.8, 136.5, 141.3, 146.2, 151.4, 156.7, 159.8, 162.2, 165.5, 167.9, 171.3, 173.8,
                 177.3, 179.9, 183.5, 186.2, 189.9, 192.8, 196.6, 199.5, 203.5, 206.5, 210.7, 218.1, 225.7, 229.1, 233.6,
                 241.8, 250.3, 254.1]
        for rate, below, sent in ((8000, 14, [*table[::2], None, *table[1::2]]), (22050, 20, [88.5, None, 250.3, 250.3])):
            over = 3 if below == 14 else 5
            audio = np.concatenate([tones.ctcss(sent, over, rate, below), tones.silence(6, rate)])
            lines = [line.split() for line in self.hear(audio, rate, "ctcss", snr=40)]
            wanted = [f"{tone:.1f}" if tone else "none" for tone in sent] + ["off"]
            self.assertEqual([state for _, state in lines], wanted)
            for k, (time, state) in enumerate(lines):
                self.assertAlmostEqual(float(time), 0.7 + over * k, delta=0.5, msg=state)

    def test_overs_with_pauses_between(self):
        parts = [part for tone in (88.5, None, 141.3) for part in (tones.ctcss([tone], 4, 8000), tones.silence(2, 8000))]
        lines = [line.split() for line in self.hear(np.concatenate(parts), 8000, "ctcss", snr=40)]
        self.assertEqual([state for _, state in lines], ["88.5", "off", "none", "141.3", "off"])
        for (time, state), wanted in zip(lines, (0.7, 4.7, 6.7, 12.7, 16.7)):
            self.assertAlmostEqual(float(time), wanted, delta=0.5, msg=state)

    def test_sub_audible_tones_under_a_low_voice_and_beside_hum(self):
        """A pitch that moves between 90 and 150 Hz, 12 dB over the tone; mains of 50 Hz as loud as that; and hum alone."""
        rate, seconds = 48000, 7
        at = np.arange(seconds * rate) / rate
        pitch = np.cumsum(120 + 20 * np.sin(2 * np.pi * 0.37 * at) + 10 * np.sin(2 * np.pi * 1.1 * at)) / rate
        voice = np.clip(np.sin(2 * np.pi * 2.3 * at), 0.02, 1) * sum(np.sin(2 * np.pi * k * pitch) for k in range(1, 20)) / 3
        hum = sum(tones.sine(50.02 * k, seconds, rate, k) for k in range(1, 7)) / 4
        for sent, mains, wanted in ((123.0, 0, "123.0"), (94.8, 0, "94.8"), (100.0, 0, "100.0"), (141.3, hum, "141.3"),
                                    (None, hum, "none")):
            audio = voice + mains + (0.25 * tones.sine(sent, seconds, rate) if sent else 0)
            lines = self.hear(np.concatenate([audio, tones.silence(4, rate)]), rate, "ctcss", snr=30)
            self.assertEqual([line.split()[1] for line in lines][-2:], [wanted, "off"], (sent, wanted))

    def test_what_other_modes_send_has_no_sub_audible_tones(self):
        for name, audio in (("calls to aircraft", np.concatenate([tones.selcal(code, 48000) for code in ("AB-CD", "BM-EH", "AC-BD")])),
                            ("keys", tones.dtmf(tones.KEYS * 2, 48000)), ("one tone", tones.sine(346.7, 5, 48000)),
                            ("text telephone", modem.keyed(modem.ita2("SEE YOU AT SEVEN"), 5, 45.45, 1400, 1800, 48000, 1.5)),
                            ("pages", bulletins.pocsag([(1234567, 3, "meet me at seven")], 512, 48000))):
            for snr in (20, 90):
                lines = self.hear(audio, 48000, "ctcss", snr=snr, level=0.3)
                self.assertTrue(all(line.endswith((" none", " off")) for line in lines), (name, snr, lines))

    def test_noise_and_speech_are_no_tones(self):
        noise = modem.noise(40 * 24000, 8, 24000, 0.3)
        self.assertEqual(self.hear(noise, 24000, "dtmf,zvei,selcal,ctcss", level=0.1), [])
        # A voice that keeps to the pitch of a sub-audible tone, syllable by syllable.
        syllables = np.clip(np.sin(2 * np.pi * 2.3 * np.arange(30 * 8000) / 8000), 0, 1)
        pitch = sum(tones.sine(141.3 * k, 30, 8000, k) / k for k in range(1, 20))
        lines = self.hear(syllables * pitch, 8000, "ctcss", snr=40)
        self.assertTrue(lines and all(line.endswith((" none", " off")) for line in lines), lines)
        for voice in ("fm_speech", "usb_speech", "isb_two_speakers"):
            lines, _ = decode(ROOT / f"samples/{voice}.ref.flac", "--mode", "dtmf,zvei,selcal,ctcss")
            self.assertTrue(all(line.endswith((" none", " off")) for line in lines), lines)

    def test_json_tells_each_key(self):
        line, = self.hear(tones.dtmf("7#", 8000, 0.08, 0.06, 3), 8000, "dtmf", "--json", level=0.1)
        got = json.loads(line)
        self.assertEqual((got["text"], [digit["digit"] for digit in got["digits"]]), ("7#", ["7", "#"]))
        self.assertAlmostEqual(got["level"], -20, delta=1.5)
        for k, digit in enumerate(got["digits"]):
            self.assertAlmostEqual(digit["time"], 0.7 + 0.14 * k, delta=0.006)
            self.assertAlmostEqual(digit["duration"], 0.08, delta=0.008)
            self.assertAlmostEqual(digit["twist"], 3, delta=0.3)
        call = json.loads(self.hear(tones.five_tone("11234", 8000), 8000, "zvei", "--json")[0])
        self.assertEqual((call["text"], call["tones"], call["set"]), ("11234", "1E234", "zvei1"))
        self.assertAlmostEqual(call["duration"], 0.35, delta=0.01)

    def test_levels(self):
        rate = 44100
        audio = np.concatenate([tones.silence(0.3, rate), 0.5 * tones.sine(1000, 1, rate) + 0.1 * tones.sine(1750, 1, rate)])
        tell = [self.written(audio, rate), "--mode", "tones", "--freq", "1k,1750,3000"]
        lines = [[float(value) for value in line.split(",")] for line in decode(*tell)[0]]
        self.assertEqual([row[0] for row in lines], [round(k / 10, 1) for k in range(13)])
        self.assertLess(max(max(row[1:]) for row in lines[:3]), -90)
        for row in lines[5:]:
            self.assertAlmostEqual(row[1], -6, delta=0.2)
            self.assertAlmostEqual(row[2], -20, delta=0.3)
            self.assertLess(row[3], -40)
        narrow, _ = decode(*tell, "--every", "0.5", "--width", "4", "--json")
        self.assertEqual([json.loads(line)["time"] for line in narrow], [0, 0.5])
        last = {row["frequency"]: row["level"] for row in json.loads(narrow[-1])["levels"]}
        self.assertAlmostEqual(last[1000], -6, delta=0.7)
        self.assertLess(last[3000], -45)


if __name__ == "__main__":
    unittest.main()
