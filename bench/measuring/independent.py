# SPDX-License-Identifier: BSD-3-Clause
"""What a reader of VCDs sees that shares nothing with what is measured."""

import os
import sys

from .programs import ROOT
from .words import counted

sys.path.insert(0, os.path.join(ROOT, "scripts"))
from torturing import vcd  # noqa: E402


class Unreadable(Exception):
    """The reader cannot read it, so nothing is judged by it."""


def read(path):
    """The history that a file tells."""
    with open(path, encoding="utf-8", errors="surrogateescape") as stream:
        text = stream.read()
    try:
        return vcd.read(text)
    except vcd.Malformed as error:
        raise Unreadable(f"cannot be read by the independent reader: {error}") from error


def bits(width, letters):
    """A value in full, as a history has it; as it is where it is none."""
    try:
        return vcd.bits(width, letters)
    except vcd.Malformed:
        return letters


def changes_of(history):
    """All changes; those of variables with one code once."""
    return sum(len(changes) for changes in {id(c): c for c in history.variables.values()}.values())


def extent(history):
    return f"{counted(changes_of(history), 'change')} of {counted(len(history.variables), 'variable')}"


def known(changes):
    """Without an unknown value before all others: FST has x where nothing is known yet."""
    if changes and isinstance(changes[0][1], str) and set(changes[0][1]) == {"x"}:
        return changes[1:]
    return changes


def difference(truth, shown):
    """The first difference in words, or None."""
    if truth.timescale and truth.timescale != shown.timescale:
        return f"the timescale is {shown.timescale or 'not told'}, {truth.timescale} is true"
    both = [vcd.History(variables={name: known(changes) for name, changes in history.variables.items()})
            for history in (truth, shown)]
    return vcd.difference(*both, max(truth.last_time, shown.last_time, 0))
