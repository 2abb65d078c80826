# SPDX-License-Identifier: BSD-3-Clause
"""What several trials need."""

import re

from .. import vcd

STORES = ("events", "indexed", "columns", "transitions")
# Those in which a killed writer leaves something to read.
SURVIVING_STORES = ("events", "indexed", "columns")


def kinds_of(store):
    return vcd.TRANSITIONS if store == "transitions" else vcd.EVERYTHING


def import_options(random, store):
    """Random options of an import into a store."""
    options = ["--store", store]
    if store == "events" and random.random() < 0.5:
        options += ["--division", random.choice((8, 16, 100, 2048))]
    return options


def sound_recording(turn, store, changes, name="run.wdb", kinds=None, source="run.vcd"):
    """A random run in a VCD and in a recording; its text."""
    text = vcd.make_run(turn.random, kinds or kinds_of(store), changes)
    turn.write(source, text)
    turn.run("import", source, name, *import_options(turn.random, store))
    return text


def compare_with_truth(turn, text, recording, command_line, expect=(0, 1), complete=False):
    """Holds what export shows of a recording against the run; the time up to which it does, or None
    when it shows nothing."""
    outcome = turn.run("export", recording, "-", expect=expect)
    if outcome.hung or outcome.code < 0:
        return None
    turn.require(outcome.code == 0 or is_one_message(outcome.err), "no clear message", outcome.describe(),
                 outcome.command)
    if not outcome.out:
        return None
    truth = vcd.read(text)
    try:
        shown = vcd.read(outcome.out)
    except vcd.Malformed as error:
        turn.finding("export is no VCD", str(error), outcome.command)
        return None
    last = truth.last_time if complete else shown.last_time
    wrong = vcd.difference(truth, shown, last)
    turn.require(wrong is None, "false value", f"after {command_line}: {wrong}", outcome.command)
    turn.require(shown.last_time <= truth.last_time, "a time that never was",
                 f"{shown.last_time} behind {truth.last_time}", outcome.command)
    return last


def require_same(turn, a, b, *options):
    """diff, which judges with the product's own eyes, finds nothing."""
    outcome = turn.run("diff", a, b, *options, expect=(0, 1, 2))
    turn.require(outcome.code == 0, "runs differ", outcome.describe(), outcome.command)


def is_one_message(text):
    """One line that begins with the program's name; a line on a damaged input beside it is fine."""
    lines = [line for line in text.splitlines() if line]
    return bool(lines) and all(re.match(r"tracewell: |WDB FATAL ERROR: ", line) for line in lines)
