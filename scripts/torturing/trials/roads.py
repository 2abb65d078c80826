# SPDX-License-Identifier: BSD-3-Clause
"""Roads that must lose nothing."""

import os
import shutil
import subprocess

from .. import vcd
from .common import STORES, compare_with_truth, import_options, kinds_of, require_same


def stores(turn):
    """a random run through every store, pack, slice, merge and export"""
    random = turn.random
    plain = random.random() < 0.4
    used = STORES if plain else STORES[:3]
    text = vcd.make_run(random, vcd.TRANSITIONS if plain else vcd.EVERYTHING,
                        random.choice((3, 100, 3000, 30000)))
    turn.write("run.vcd", text)
    for store in used:
        turn.run("import", "run.vcd", f"{store}.wdb", *import_options(random, store))
        turn.run("verify", f"{store}.wdb")
        compare_with_truth(turn, text, f"{store}.wdb", "import", expect=(0,), complete=True)
    a, b = random.choice(used), random.choice(used)
    require_same(turn, f"{a}.wdb", random.choice((f"{b}.wdb", "run.vcd")))
    turn.run("pack", f"{a}.wdb", "packed.wdb", "--store", b)
    require_same(turn, "run.vcd", "packed.wdb")
    _slice(turn, text, f"{a}.wdb", b)
    _merge(turn, f"{a}.wdb", f"{b}.wdb")
    _questions(turn, f"{a}.wdb", f"{b}.wdb", text)


def _slice(turn, text, recording, store):
    random = turn.random
    truth = vcd.read(text)
    begin, end = sorted(random.randint(0, truth.last_time) for _ in range(2))
    output = random.choice(("part.wdb", "part.vcd"))
    options = ["--store", store] if output.endswith("wdb") else []
    turn.run("slice", recording, output, "--from", begin, "--to", end, *options)
    require_same(turn, "run.vcd", output, "--from", begin, "--to", end)
    # The two halves are the whole again. An event fires at one side of the cut alone.
    turn.run("slice", recording, "a.wdb", "--to", begin)
    turn.run("slice", recording, "b.wdb", "--from", begin)
    turn.run("merge", "whole.wdb", "--segments", *random.sample(["a.wdb", "b.wdb"], 2))
    events = [part for line in text.splitlines() if line.startswith("$var event")
              for part in ("--ignore", f"*.{line.split()[4]}")]
    require_same(turn, "run.vcd", "whole.wdb", *events)


def _merge(turn, a, b):
    turn.run("merge", "both.wdb", f"one={a}", f"two={b}")
    outcome = turn.run("export", "both.wdb", "-")
    merged = vcd.read(outcome.out)
    for name, changes in merged.variables.items():
        if name.startswith("one."):
            other = merged.variables.get("two." + name[4:])
            turn.require(changes == other, "merge differs", name, outcome.command)


def _questions(turn, a, b, text):
    """Any store answers alike, and as the run was."""
    random = turn.random
    truth = vcd.read(text)
    # An alias of another class is shown in its own radix.
    name = random.choice(list(truth.variables))
    time = random.randint(0, truth.last_time)
    for arguments in (("next", "*", time, name), ("previous", "*", time, name)):
        answers = [turn.run(arguments[0], recording, *arguments[2:]).out.strip() for recording in (a, b)]
        changes = [change[0] for change in truth.variables[name]]
        if arguments[0] == "next":
            true = next((t for t in changes if t > time), "none")
        else:
            true = next((t for t in reversed(changes) if t < time), "none")
        turn.require(answers[0] == answers[1] == str(true), f"wrong {arguments[0]}",
                     f"{name} at {time}: {answers}, true is {true}", f"{arguments[0]} {a} and {b}")
    end = time + random.randint(0, 1000)
    for options in ((), ("--resolution", random.randint(1, 100))):
        question = ("--csv", "--from", time, "--to", end, *options)
        answers = [turn.run("values", recording, name, *question) for recording in (a, b)]
        # With a resolution stores may differ in what changes back at one time.
        if not options:
            turn.require(answers[0].out == answers[1].out, "values differ between stores",
                         answers[0].out[:500] + "\n" + answers[1].out[:500],
                         answers[0].command + " and " + answers[1].command)
    turn.run("draw", a, "-o", "picture.svg", "--to", end)


def fst_road(turn):
    """FST out and in, by ourselves and by the tools of others"""
    random = turn.random
    text = vcd.make_run(random, vcd.FST, random.choice((3, 300, 20000)))
    turn.write("run.vcd", text)
    store = random.choice(STORES)
    turn.run("import", "run.vcd", "run.wdb", *import_options(random, store))
    turn.run("export", "run.wdb", "ours.fst")
    require_same(turn, "run.vcd", "ours.fst")
    if shutil.which("fst2vcd"):
        _other(turn, ["fst2vcd", "-f", "ours.fst", "-o", "theirs.vcd"])
        require_same(turn, "run.vcd", "theirs.vcd")
        wrong = vcd.difference(vcd.read(text), vcd.read(turn.read("theirs.vcd").decode()),
                               vcd.read(text).last_time)
        turn.require(wrong is None, "false value", str(wrong), "fst2vcd of tracewell export run.wdb ours.fst")
    if shutil.which("vcd2fst"):
        packing = random.choice(([], ["-F"], ["-4"], ["-Z"]))
        _other(turn, ["vcd2fst", *packing, "run.vcd", "theirs.fst"])
        require_same(turn, "run.vcd", "theirs.fst")
        turn.run("import", "theirs.fst", "again.wdb", *import_options(random, store))
        require_same(turn, "run.vcd", "again.wdb")


def _other(turn, command):
    subprocess.run(command, cwd=turn.directory, check=True, timeout=120, stdout=subprocess.DEVNULL,
                   stderr=subprocess.DEVNULL)


def bench_writers(turn):
    """the library's writers on streams of the benchmarks, held against each other"""
    random = turn.random
    road = turn.build.program("bench/road")
    if not road:
        return
    workload = random.choice(("mixed", "clock", "sparse", "scalars"))
    changes = random.choice((1000, 50000, 300000))
    writers = ["own", "lists", "indexed", "columns"]
    for writer in writers:
        division = [random.choice((8, 64, 2048))] if writer == "own" else []
        turn.run("write", writer, workload, changes, f"{writer}.wdb", *division, program=road,
                 peak_kib=1 << 21)
        turn.run("verify", f"{writer}.wdb")
    vectors = workload == "mixed"
    for _ in range(3):
        place = f"@{8 * random.randrange(1000)}:8" if vectors else "@0:1" if workload == "clock" else \
            f"@{random.randrange(2000)}:1"
        outcomes = [turn.run("values", f"{writer}.wdb", place, "--csv") for writer in writers]
        turn.require(len({outcome.out for outcome in outcomes}) == 1, "writers differ", place,
                     " and ".join(outcome.command for outcome in outcomes))
        turn.require(os.path.getsize(turn.path("own.wdb")) > 0, "empty file")
