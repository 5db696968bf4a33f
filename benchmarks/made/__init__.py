"""Signals made anew from a seed, and what programs get out of them: one module a family of modes, each with a list
CASES for benchmarks/decoders or benchmarks/receivers.

Audio has full scale 1. A peer is a function that takes the path of a 16-bit mono WAV, or None where the program isn't
installed; it gives what `judge` takes.
"""
import os
import shutil
import subprocess
import sys
import wave
from collections import Counter
from dataclasses import dataclass, field
from pathlib import Path
from typing import Callable

import numpy as np

ROOT = Path(__file__).resolve().parents[2]
ZOVEK = Path(os.environ.get("ZOVEK", ROOT / "build/release/zovek"))
sys.path.insert(0, str(ROOT / "scripts"))


def run(*command, **options):
    """Standard output of a command; bytes that aren't UTF-8 are kept."""
    done = subprocess.run([str(part) for part in command], check=True, capture_output=True, **options)
    return done.stdout.decode("utf-8", "surrogateescape")


def has(*programs):
    return all(shutil.which(program) for program in programs)


def write(path, audio, rate):
    """A mono WAV with a plain header."""
    with wave.open(str(path), "wb") as file:
        file.setnchannels(1)
        file.setsampwidth(2)
        file.setframerate(rate)
        file.writeframes(np.round(np.clip(audio, -1, 1) * 32767).astype("<i2").tobytes())


def lines_right(lines, sent):
    """Lines that were sent, and lines that weren't."""
    right = sum((Counter(sent) & Counter(lines)).values())
    return right, len(lines) - right


@dataclass
class Case:
    """A row of a table. make(random) gives audio and the list of what was sent; judge(lines, sent) what is right and wrong."""
    name: str
    rate: int  # Hz
    make: Callable
    options: str  # of zovek decode
    judge: Callable = lines_right
    peers: dict = field(default_factory=dict)  # title: a function of the WAV's path, or None


def by_zovek(options, path):
    return run(ZOVEK, "decode", path, *options.split(), "--quiet").splitlines()


def figures(case, folder, seeds=range(1, 4)):
    """How many were sent, and by program those right and wrong, summed over seeds."""
    total, sums = 0, Counter()
    hearers = {"zovek": lambda path: by_zovek(case.options, path), **{title: peer for title, peer in case.peers.items() if peer}}
    path = Path(folder, "made.wav")
    for seed in seeds:
        audio, sent = case.make(np.random.default_rng(seed))
        write(path, audio, case.rate)
        total += len(sent)
        for title, hear in hearers.items():
            right, wrong = case.judge(hear(path), sent)
            sums[title, 0] += right
            sums[title, 1] += wrong
    return total, {title: (sums[title, 0], sums[title, 1]) for title in hearers}
