# SPDX-License-Identifier: BSD-3-Clause
"""replay beside follow, with deaths on either side."""

import random as module_random
import re
import signal
import time

from .. import vcd
from .common import compare_with_truth, require_same

# What --speed takes at most.
_FASTEST = 1e9


def follow(turn):
    """a live run is followed; one side may be killed or interrupted, or the viewer comes twice"""
    random = turn.random
    store = random.choice(("events", "columns", "transitions"))
    text = vcd.make_run(random, vcd.LIVE, random.choice((200, 5000, 60000)))
    turn.write("run.vcd", text)
    sent = "transitions" if store == "transitions" else "events"
    fate = random.choice(("none", "none", "kill replay", "kill follow", "interrupt follow", "second viewer"))
    policy = random.choice(("wait", "drop", "stop"))
    pace = random.choice(([], _pace(text, 0.5 + 2 * random.random())))
    replay = ["replay", "run.vcd", "--live", "--store", sent, "--on-viewer-exit", policy, *pace]
    watch = ["follow", "live.wdb", "--store", store, "--wait", "20"]
    first, second = (replay, watch) if random.random() < 0.5 else (watch, replay)
    one = turn.start(*first)
    time.sleep(random.choice((0, 0.02, 0.2)))
    other = turn.start(*second)
    kernel, viewer = (one, other) if first is replay else (other, one)
    _meet(turn, fate, kernel, viewer, text, module_random.Random(random.random()))


def _pace(text, seconds):
    """So that a run takes about so many seconds."""
    history = vcd.read(text)
    number, unit = re.fullmatch(r"(\d+)([a-z]+)", history.timescale).groups()
    length = history.last_time * int(number) * {"s": 1, "us": 1e-6, "ns": 1e-9, "ps": 1e-12, "fs": 1e-15}[unit]
    speed = length / seconds
    return ["--speed", f"{speed:.6g}"] if speed < _FASTEST else []


def _meet(turn, fate, kernel, viewer, text, random):
    time.sleep(random.choice((0.05, 0.2, 0.6)) * random.random() * turn.build.slowness)
    if fate == "none":
        turn.end(kernel, (0,), seconds=90)
        turn.end(viewer, (0,), seconds=90)
        turn.run("verify", "live.wdb")
        require_same(turn, "run.vcd", "live.wdb")
        compare_with_truth(turn, text, "live.wdb", viewer.command, expect=(0,), complete=True)
        return
    if fate == "kill replay":
        kernel.kill()
        turn.end(kernel, (0, -9))
        turn.end(viewer, (0, 1), seconds=60)
        _judge_part(turn, text, viewer, closed=True)
        return
    if fate == "second viewer":
        late = turn.start("follow", "second.wdb", "--wait", "1")
        turn.end(late, (0, 1), seconds=60)
    viewer.signal(signal.SIGKILL if fate == "kill follow" else signal.SIGINT)
    ended = turn.end(viewer, (0, 1, -signal.SIGKILL, -signal.SIGINT), seconds=60)
    # Before it has made anything, an interrupt just ends it.
    turn.require(ended.code != -signal.SIGINT or not turn.exists("live.wdb"), "an interrupt was not heard",
                 ended.describe(), ended.command)
    # One that waits for another viewer for ever is sent home; one with a slow pace too.
    kernel.signal(signal.SIGTERM)
    turn.end(kernel, (0, 1, -signal.SIGTERM), seconds=60)
    _judge_part(turn, text, ended, closed=fate != "kill follow")


def _judge_part(turn, text, viewer, closed):
    if not turn.exists("live.wdb"):
        return
    verified = turn.run("verify", "live.wdb", expect=(0, 1))
    if verified.code == 1:
        turn.require("damage:" not in verified.out and not closed, "a followed file is damaged",
                     verified.describe(), verified.command)
    outcome = turn.run("export", "live.wdb", "-", expect=(0, 1))
    if not outcome.out:
        return
    shown, truth = vcd.read(outcome.out), vcd.read(text)
    # Of the time at which a side died, a part may have come.
    last = shown.last_time - 1
    wrong = vcd.difference(truth, shown, last)
    turn.require(wrong is None, "false value", f"after {viewer.command}: {wrong}", outcome.command)
