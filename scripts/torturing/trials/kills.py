# SPDX-License-Identifier: BSD-3-Clause
"""SIGKILL at any moment: what is shown afterwards is what was."""

import os
import subprocess
import time

from .. import vcd
from .common import (SURVIVING_STORES, STORES, compare_with_truth, import_options, is_one_message, kinds_of,
                     require_same, sound_recording)

KILLED = (-9,)


def killed_import(turn):
    """an import is killed while its input still comes, with syncs and without"""
    random = turn.random
    store = random.choice(SURVIVING_STORES)
    text = vcd.make_run(random, kinds_of(store), random.choice((500, 20000, 60000)))
    turn.write("run.vcd", text)
    sync = ["--sync", random.choice(("0.001", "0.01", "0.1"))] if random.random() < 0.7 else []
    importing = turn.start("import", "-", "run.wdb", *import_options(random, store), *sync,
                           stdin=subprocess.PIPE)
    data = text.encode()
    end = random.randrange(len(data))
    try:
        sent = 0
        while sent < end:
            size = min(end - sent, random.choice((100, 5000, 200000)))
            importing.stdin.write(data[sent:sent + size])
            importing.stdin.flush()
            sent += size
            if random.random() < 0.2:
                time.sleep(random.random() * 0.02)
    except BrokenPipeError:
        pass
    time.sleep(random.choice((0, 0, 0.001, 0.05)))
    importing.kill()
    turn.end(importing, KILLED)
    _judge_killed(turn, text, importing.command)


def _judge_killed(turn, text, command_line, recording="run.wdb"):
    if not turn.exists(recording):
        return
    verified = turn.run("verify", recording, expect=(0, 1))
    # What died before its header was whole is refused as a whole.
    if verified.code == 1:
        turn.require("damage:" not in verified.out, "a killed file is damaged", verified.describe(),
                     verified.command)
    last = compare_with_truth(turn, text, recording, command_line)
    if last is not None:
        outcome = turn.run("diff", recording, "run.vcd", "--to", last, expect=(0, 2))
        turn.require(not outcome.out, "runs differ", outcome.describe(), outcome.command)
    turn.run("info", recording, expect=(0, 1))
    turn.run("draw", recording, expect=(0, 1))


def killed_rewrite(turn):
    """a command that writes over an older recording is killed"""
    random = turn.random
    store = random.choice(STORES)
    text = sound_recording(turn, store, random.choice((3000, 40000)))
    older = sound_recording(turn, "columns", 50, name="out.wdb", source="older.vcd")
    commands = {
        "import": ("import", "run.vcd", "out.wdb", *import_options(random, store)),
        "pack": ("pack", "run.wdb", "out.wdb", "--store", store),
        "slice": ("slice", "run.wdb", "out.wdb", "--store", store),
        "export": ("export", "run.wdb", "out.vcd"),
    }
    name = random.choice(list(commands))
    output = commands[name][2]
    if name == "export":
        turn.write(output, older)
    before = turn.read(output)
    began = time.monotonic()
    turn.run(*commands[name][:2], "trial" + output[3:], *commands[name][3:])
    length = time.monotonic() - began
    running = turn.start(*commands[name])
    time.sleep(random.random() * length * 1.1)
    running.kill()
    turn.end(running, (0, *KILLED))
    if turn.read(output) != before:
        # It has taken its place, so it is finished.
        require_same(turn, "run.vcd", output)


def killed_kernel(turn):
    """examples/kernel is killed; what it said to be saved is there, and nothing else is shown"""
    random = turn.random
    kernel = turn.build.program("examples/kernel")
    if not kernel:
        return
    running = turn.start("toy.wdb", 10**9, program=kernel)
    time.sleep(random.choice((0.01, 0.1, 1)) * (0.2 + random.random()) * turn.build.slowness)
    running.kill()
    outcome = turn.end(running, KILLED)
    saved = max((int(line.split()[1]) for line in outcome.out.splitlines(True)
                 if line.startswith("saved ") and line.endswith("\n")), default=-1)
    if not turn.exists("toy.wdb"):
        turn.require(saved < 0, "what was saved is gone", outcome.describe(), outcome.command)
        return
    turn.run("verify", "toy.wdb", expect=(0, 1))
    limit = 400000
    exported = turn.run("slice", "toy.wdb", "toy.vcd", "--to", limit, expect=(0, 1))
    if exported.code == 1:
        turn.require(is_one_message(exported.err), "no clear message", exported.describe(), exported.command)
    shown = turn.read("toy.vcd").decode() if turn.exists("toy.vcd") else ""
    if not shown:
        turn.require(saved < 0, "what was saved is not shown", outcome.describe(), exported.command)
        return
    history = vcd.read(shown)
    # It leaves no mark of its time, so the last moment is not taken to be whole.
    turn.require(history.last_time >= min(saved - 1, limit), "what was saved is not shown",
                 f"{history.last_time} of {saved}", exported.command)
    for time_, value in history.variables["toy.clk"]:
        if value != str((time_ // 5 + 1) % 2):
            turn.finding("false value", f"toy.clk is {value} at {time_}", exported.command)
            return
    for time_, value in history.variables["toy.count[31:0]"]:
        if int(value, 2) != time_ // 10:
            turn.finding("false value", f"toy.count is {value} at {time_}", exported.command)
            return


def killed_bench(turn):
    """the library's writers are killed; bucket by bucket what is shown is what a whole file shows"""
    random = turn.random
    road = turn.build.program("bench/road")
    if not road:
        return
    writer = random.choice(("own", "lists", "indexed", "columns"))
    workload = random.choice(("mixed", "clock", "sparse"))
    changes = random.choice((200000, 1000000))
    began = time.monotonic()
    turn.run("write", writer, workload, changes, "whole.wdb", program=road, peak_kib=1 << 21)
    length = time.monotonic() - began
    running = turn.start("write", writer, workload, changes, "run.wdb", program=road)
    time.sleep(random.random() * length)
    running.kill()
    turn.end(running, (0, *KILLED), peak_kib=1 << 21)
    if not turn.exists("run.wdb"):
        return
    turn.run("verify", "run.wdb", expect=(0, 1))
    places = ("@0:1",) if workload == "clock" else ("@0:8", "@4000:8") if workload == "mixed" else \
        ("@0:1", "@50000:1")
    for place in places:
        killed = turn.run("values", "run.wdb", place, "--csv", expect=(0, 1))
        whole = turn.run("values", "whole.wdb", place, "--csv")
        told, true = killed.out.splitlines()[1:], whole.out.splitlines()[1:]
        turn.require(told == true[:len(told)], "false value", f"{place}: {told[-3:]}", killed.command)
    os.unlink(turn.path("whole.wdb"))
