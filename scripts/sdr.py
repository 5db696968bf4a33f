#!/usr/bin/python3
"""Signal-to-distortion ratio of received audio against the audio that was sent.

Both go to 8 kHz and to the band of 300 to 2600 Hz, are aligned by cross-correlation, and a 65-tap FIR from
the sent to the received audio is fitted by least squares. What the FIR explains is signal: level, sign, delay
and frequency response of the receiver do not count against it. The rest is noise and distortion:

    SDR = 10 log10(power explained / power of the rest), 0.4 s at either end left out
"""
import argparse
import math
import sys
from pathlib import Path
from typing import NamedTuple

import numpy as np
import soundfile

RATE = 8000            # Hz, where the two are compared
BAND = (300, 2600)     # Hz
EDGE = 100             # Hz, from what the band keeps to what it leaves out
TAPS = 65              # of the fitted FIR, at RATE
MARGIN = 0.4           # s left out at either end
LONGEST_DELAY = 0.5    # s, either way
SHORTEST = 1.0         # s of audio that must be left to compare
CHANNELS = ("left", "right")


class Sdr(NamedTuple):
    db: float     # -inf for silence
    delay: float  # s that the received audio comes late


def at_common_rate(audio, rate):
    """audio at rate, brought to RATE and to BAND with no delay."""
    step = int(rate) // math.gcd(int(rate), RATE)  # the least that is whole samples at either rate
    count = -(-len(audio) // step) * step
    spectrum, hz = np.fft.rfft(audio, count), np.fft.rfftfreq(count, 1 / rate)
    passed = np.clip([(hz - BAND[0]) / EDGE + 0.5, (BAND[1] - hz) / EDGE + 0.5], 0, 1).min(0)
    count = count * RATE // int(rate)
    return np.fft.irfft((spectrum * np.sin(np.pi / 2 * passed) ** 2)[:count // 2 + 1], count) * RATE / rate


def lateness(received, sent):
    """Samples by which received comes after sent: the largest correlation of either sign."""
    size = len(received) + len(sent)
    correlation = np.fft.irfft(np.fft.rfft(received, size) * np.fft.rfft(sent, size).conj(), size)
    reach = min(int(LONGEST_DELAY * RATE), size // 2 - 1)
    lags = np.arange(-reach, reach + 1)  # earlier ones stand at the end
    return int(lags[np.argmax(np.abs(correlation[lags]))])


def measure(received, received_rate, sent, sent_rate):
    """Sdr of one channel of audio against one channel of reference."""
    received, sent = at_common_rate(received, received_rate), at_common_rate(sent, sent_rate)
    late, half, margin = lateness(received, sent), TAPS // 2, int(MARGIN * RATE)
    # Time t of sent stands at t + late of received; the FIR reaches half its length to either side.
    first = max(margin, margin - late, half)
    last = min(len(sent) - margin, len(received) - margin - late, len(sent) - half)
    if last - first < SHORTEST * RATE:
        raise ValueError(f"too short: {max(last - first, 0) / RATE:.2f} s are left to compare")
    wanted = received[first + late:last + late]
    history = np.lib.stride_tricks.sliding_window_view(sent[first - half:last + half], TAPS)
    # The band leaves the normal equations near-singular: lstsq drops the directions that carry no power.
    taps = np.linalg.lstsq(history.T @ history, history.T @ wanted, rcond=1e-10)[0]
    explained = history @ taps
    signal_power, rest_power = np.sum(explained**2), np.sum((wanted - explained) ** 2)
    if signal_power == 0:
        return Sdr(-math.inf, late / RATE)
    return Sdr(10 * math.log10(signal_power / rest_power) if rest_power else math.inf, late / RATE)


def measure_files(output, reference, channel=None):
    """{channel: Sdr}. A stereo reference is compared channel by channel, or in one channel if that is named.

    A mono reference is compared with the left channel of the output, or the named one.
    """
    received, received_rate = soundfile.read(output, always_2d=True)
    sent, sent_rate = soundfile.read(reference, always_2d=True)
    stereo = sent.shape[1] > 1
    result = {}
    for name in [channel] if channel else CHANNELS if stereo else CHANNELS[:1]:
        index = CHANNELS.index(name)
        if index >= received.shape[1]:
            raise ValueError(f"{output} has no {name} channel")
        result[name] = measure(received[:, index], received_rate, sent[:, index if stereo else 0], sent_rate)
    return result


def main():
    parser = argparse.ArgumentParser(description="SDR in dB of received audio against the audio that was sent")
    parser.add_argument("output", type=Path, help="audio file from the receiver")
    parser.add_argument("reference", type=Path, help="audio file that was sent")
    parser.add_argument("--channel", choices=CHANNELS, help="all channels of the reference if left out")
    arguments = parser.parse_args()
    try:
        figures = measure_files(arguments.output, arguments.reference, arguments.channel)
    except (OSError, ValueError, soundfile.LibsndfileError) as error:
        sys.exit(f"sdr: {error}")
    for channel, sdr in figures.items():
        label = f"{channel:<6}" if len(figures) > 1 else ""
        print(f"{label}{sdr.db:.1f} dB, {sdr.delay * 1000:.1f} ms late")


if __name__ == "__main__":
    main()
