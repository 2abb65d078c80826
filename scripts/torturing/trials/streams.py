# SPDX-License-Identifier: BSD-3-Clause
"""Disks that are full, and streams that are closed."""

import os
import shutil
import subprocess

from .common import STORES, import_options, is_one_message, require_same, sound_recording


def _writing_commands(random, store, output):
    recording = random.choice(STORES)
    return random.choice((
        ("import", "run.vcd", f"{output}.wdb", *import_options(random, store)),
        ("pack", "run.wdb", f"{output}.wdb", "--store", recording),
        ("slice", "run.wdb", f"{output}.wdb", "--store", recording),
        ("merge", f"{output}.wdb", "a=run.wdb", "b=run.vcd", "--store", recording),
        ("export", "run.wdb", f"{output}.vcd"),
        ("export", "run.wdb", f"{output}.fst"),
        ("draw", "run.wdb", "-o", f"{output}.svg"),
    ))


def full_disk(turn):
    """commands write to a disk that is full before their end, or against a limit of file sizes"""
    random = turn.random
    store = random.choice(STORES)
    # What any store can hold, so that the disk alone can be in the way.
    sound_recording(turn, "transitions", random.choice((2000, 40000)))
    size = random.randint(1, 400) << 10
    disk = turn.path("disk")
    os.mkdir(disk)
    mounted = False
    if os.geteuid() == 0 and random.random() < 0.7:
        mounted = subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={size}", "torture", disk],
                                 stderr=subprocess.DEVNULL, check=False).returncode == 0
    try:
        _write_to(turn, store, size, mounted)
    finally:
        if mounted:
            subprocess.run(["umount", "-l", disk], check=False)


def _write_to(turn, store, size, mounted):
    random = turn.random
    command = _writing_commands(random, store, "disk/out")
    output = next(word for word in command if str(word).startswith("disk/out"))
    older = b"older"
    has_older = random.random() < 0.5
    if has_older:
        turn.write(output, older)
    before = sorted(os.listdir(turn.path("disk")))
    outcome = turn.run(*command, expect=(0, 1), file_bytes=None if mounted else size)
    if outcome.code == 0:
        if output.endswith((".wdb", ".vcd", ".fst")) and command[0] != "merge":
            _require_whole(turn, output)
        return
    turn.require(is_one_message(outcome.err), "no clear message", outcome.describe(), outcome.command)
    turn.require(sorted(os.listdir(turn.path("disk"))) == before, "a failed command leaves files",
                 str(os.listdir(turn.path("disk"))) + " " + outcome.describe(), outcome.command)
    if has_older:
        turn.require(turn.read(output) == older, "an older file was touched", "", outcome.command)


def _require_whole(turn, output):
    # An FST has no value where x is all that is known, so its own recording is not held against it.
    if output.endswith(".fst"):
        turn.run("info", output)
    else:
        require_same(turn, "run.vcd", output)


def closed_streams(turn):
    """commands run with standard streams closed, or on a full device"""
    random = turn.random
    store = random.choice(STORES)
    sound_recording(turn, "transitions", random.choice((50, 5000)))
    closed = [stream for stream in (0, 1, 2) if random.random() < 0.5] or [random.randrange(3)]
    before = turn.read("run.wdb")
    if random.random() < 0.6:
        command = _writing_commands(random, store, "out")
        outcome = turn.run(*command, expect=(0, 1), closed=closed)
        output = next(word for word in command if str(word).startswith("out"))
        if outcome.code == 0 and command[0] != "merge" and output.endswith((".wdb", ".vcd", ".fst")):
            _require_whole(turn, output)
        turn.require(outcome.code == 0, "a closed stream that is not needed is in the way",
                     outcome.describe(), outcome.command)
    else:
        command = random.choice((
            ("info", "run.wdb"), ("signals", "run.wdb"), ("values", "run.wdb", "*"), ("draw", "run.wdb"),
            ("export", "run.wdb", "-"), ("verify", "run.wdb"), ("diff", "run.wdb", "run.vcd"),
            ("next", "run.wdb", "0", "*"), ("--help",), ("info", "/dev/stdin")))
        turn.run(*command, expect=(0, 1, 2), closed=closed)
    turn.require(turn.read("run.wdb") == before, "an input was changed", "", str(command))
    shutil.rmtree(turn.path("zsim.dir"), ignore_errors=True)
