# SPDX-License-Identifier: BSD-3-Clause
"""Files that are not what their writer made of them."""

import glob
import gzip
import os
import shutil
import subprocess

from .. import vcd
from ..builds import ROOT
from ..damage import flip_within, spoil, zlib_streams
from .common import STORES, compare_with_truth, sound_recording

COMMANDS = (
    ("info", "bad.wdb"), ("info", "bad.wdb", "--json"), ("signals", "bad.wdb"), ("values", "bad.wdb", "*"),
    ("values", "bad.wdb", "*", "--from", "100", "--resolution", "20"), ("next", "bad.wdb", "100", "*"),
    ("previous", "bad.wdb", "900", "*"), ("draw", "bad.wdb", "-o", "bad.svg"), ("draw", "bad.wdb"),
    ("export", "bad.wdb", "-"), ("export", "bad.wdb", "bad.fst"), ("events", "bad.wdb"),
    ("find", "bad.wdb", "500", "top.s0"), ("verify", "bad.wdb"), ("verify", "bad.wdb", "--json"),
    ("diff", "bad.wdb", "run.vcd"), ("pack", "bad.wdb", "packed.wdb"),
    ("slice", "bad.wdb", "slice.wdb", "--from", "50"), ("merge", "merged.wdb", "a=bad.wdb", "b=run.vcd"),
    ("export", "--beyond", "bad.wdb", "-"))


def damaged_recording(turn):
    """bit flips, cuts and splices in a recording: no crash, no hang, no silent falsehood"""
    random = turn.random
    store = random.choice(STORES)
    text = sound_recording(turn, store, random.choice((10, 500, 5000)))
    sound_recording(turn, random.choice(STORES), 300, name="other.wdb", source="other.vcd",
                    kinds=vcd.TRANSITIONS)
    content, other = turn.read("run.wdb"), turn.read("other.wdb")
    for _ in range(6):
        turn.write("bad.wdb", spoil(random, content, other))
        for command in random.sample(COMMANDS, 5):
            turn.run(*command, expect=(0, 1, 2), seconds=30)
    # Where a checksum stands above the bytes, what is shown is true or the damage is told.
    places = []
    if store == "columns":
        begin = content.rfind(b"$enddefinitions")
        places = [(begin + 32, len(content) - begin - 32)]
    elif store != "transitions":
        places = zlib_streams(content)
    for _ in range(6 if places else 0):
        turn.write("bad.wdb", flip_within(random, content, places))
        outcome = turn.run("export", "bad.wdb", "-", expect=(0, 1))
        if outcome.code == 0:
            compare_with_truth(turn, text, "bad.wdb", "a flipped bit, and exit code 0", complete=True)
        else:
            compare_with_truth(turn, text, "bad.wdb", "a flipped bit")


def damaged_run(turn):
    """bit flips, cuts and splices in VCD, FST and GHW files, packed ones too"""
    random = turn.random
    content, name, other = _run_of_others(turn)
    for _ in range(8):
        turn.write(name, spoil(random, content, other))
        lenient = ["--lenient"] if random.random() < 0.5 else []
        command = random.choice((
            ("import", name, "bad.wdb", "--store", random.choice(STORES), *lenient),
            ("import", name, "bad.wdb", *lenient), ("info", name), ("signals", name),
            ("values", name, "*"), ("draw", name), ("export", name, "-"), ("export", name, "out.fst"),
            ("diff", name, "run.vcd", *lenient), ("slice", name, "part.wdb", "--from", "10")))
        outcome = turn.run(*command, expect=(0, 1, 2), seconds=30)
        if turn.exists("bad.wdb") and command[0] == "import" and not outcome.hung:
            verified = turn.run("verify", "bad.wdb", expect=(0, 1))
            turn.require("damage:" not in verified.out, "an import left a damaged recording",
                         verified.describe(), outcome.command)
            os.unlink(turn.path("bad.wdb"))


def _run_of_others(turn):
    """The bytes of a sound run, its file name, and those of another."""
    random = turn.random
    text = vcd.make_run(random, vcd.EVERYTHING, random.choice((10, 500, 5000)))
    turn.write("run.vcd", text)
    kind = random.choice(("vcd", "vcd", "gz", "fst", "fst", "vcd2fst", "ghw"))
    if kind == "ghw":
        seeds = sorted(glob.glob(os.path.join(ROOT, "tests", "data", "fuzz", "ghw", "*")))
        contents = [open(seed, "rb").read() for seed in random.choices(seeds, k=2)]
        return contents[0], "bad.ghw", contents[1]
    if kind in ("fst", "vcd2fst"):
        turn.write("plain.vcd", vcd.make_run(random, vcd.FST, random.choice((10, 500, 5000))))
        if kind == "vcd2fst" and shutil.which("vcd2fst"):
            packing = random.choice(([], ["-F"], ["-4"], ["-Z"], ["-p"]))
            subprocess.run(["vcd2fst", *packing, "plain.vcd", "plain.fst"], cwd=turn.directory, check=True,
                           timeout=120, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        else:
            turn.run("export", "plain.vcd", "plain.fst")
        return turn.read("plain.fst"), "bad.fst", turn.read("plain.vcd")
    content = text.encode()
    if kind == "gz":
        return gzip.compress(content), "bad.vcd.gz", content
    return content, "bad.vcd", vcd.make_run(random, vcd.EVERYTHING, 100).encode()
