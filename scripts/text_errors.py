"""Character errors of decoded text."""
import re

import numpy as np


def plain(text):
    """Capitals, with one blank for each run of white space, and without the zeros that senders fill time with."""
    return re.sub(r"\s+", " ", text.replace("\0", "")).strip().upper()


def distance(one, other):
    """Levenshtein distance: characters to insert, to leave out and to change."""
    other = np.array([ord(char) for char in other])
    place = np.arange(len(other) + 1)
    row = place
    for count, char in enumerate(one, 1):
        row = np.concatenate([[count], np.minimum(row[1:] + 1, row[:-1] + (other != ord(char)))])
        row = np.minimum.accumulate(row - place) + place
    return int(row[-1])


def error_rate(got, sent):
    return distance(plain(got), plain(sent)) / len(plain(sent))
