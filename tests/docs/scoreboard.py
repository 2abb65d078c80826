#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-3-Clause
"""bench/scoreboard and bench/independent judge nothing that they could not read, and measure what they can."""

import os
import subprocess
import sys
import tempfile

BENCH, BUILD = sys.argv[1:]
HEAD = "$timescale 1ns $end $scope module t $end $scope begin blk[3] $end "
TAIL = "$upscope $end $upscope $end $enddefinitions $end\n"
CHANGES = 100_001
# Writes what it should, something else, or nothing, by the name of what run.vcd leads to.
PEER = """#!/bin/sh
case $(readlink run.vcd) in
*/right.vcd) exec {tracewell} export run.vcd "$2" ;;
*/wrong.vcd) exec {tracewell} export {other} "$2" ;;
esac
exit 1
"""


def require(condition, what):
    if not condition:
        sys.exit(f"scoreboard.py: {what}")


def run(program, *arguments, **options):
    done = subprocess.run([sys.executable, os.path.join(BENCH, program), *arguments], capture_output=True, text=True,
                          check=False, **options)
    require("Traceback" not in done.stderr, done.stderr)
    return done.returncode, done.stdout.strip(), done.stderr


def write(path, text):
    with open(path, "w", encoding="utf-8") as stream:
        stream.write(text)
    return path


def independent_reader(place):
    a, b = os.path.join(place, "a.vcd"), os.path.join(place, "b.vcd")
    bits = HEAD + "$var reg 1 ! x [3] $end $var reg 1 \" x [2] $end " + TAIL
    write(a, bits.strip() + " #0 0! 1\" #5 1! $comment two\n1\"\nlines $end #7 0!")
    for lines, code, said in (("#0\n0!\n1\"\n#5\n1!\n#7\n0!\n", 0, "the same"),
                              ("#0\n0!\n1\"\n#5\n1!\n", 1, "(7, '0') is true"),
                              ("#0\n0!\n0\"\n#5\n1!\n#7\n0!\n", 1, "x[2]"),
                              ("#0\n0!\n1\"\n#5\n1!\0\n#7\n0!\n", 2, ""),
                              ("#0\n0!\n1\"\n#5\n1!\n#7\n0!\n#6\n", 2, ""),
                              ("#0\n0!\n1\"\n#5\nb11 !\n", 2, ""),
                              ("#0\n0!\n1\"\n$comment 1!", 2, "")):
        write(b, bits + lines)
        told = run("independent", a, b)
        require(told[0] == code and said in told[1], f"{lines!r}: {told}")
        require(code < 2 or "cannot be read by the independent reader" in told[2], f"{lines!r}: {told}")
    require(run("independent", a)[1] == "4 changes of 2 variables", run("independent", a))


def refusals(place):
    kept = write(os.path.join(place, "page.html"), "before")
    os.mkdir(os.path.join(place, "page.md"))
    for options in (("--runs", "0"), ("--runs", "-1"), ("-o", os.path.join(place, "none", "x")),
                    ("-o", os.path.join(place, "page"))):
        code, _, err = run("scoreboard", os.path.join(place, "waves"), "--build", BUILD, *options)
        require(code == 2 and len(err.splitlines()) == 1, f"{options}: {code} {err}")
    with open(kept, encoding="utf-8") as stream:
        require(stream.read() == "before", "a page was lost to a refusal")


def page(place):
    waves, tools = os.path.join(place, "waves"), os.path.join(place, "tools")
    changes = "$comment\nof two\n$end\n" + "".join(f"#{i}\nb{i & 15:b} !\n" for i in range(CHANGES))
    for name in ("right", "wrong", "fails"):
        write(os.path.join(waves, f"{name}.vcd"), HEAD + "$var reg 4 ! lo [3:0] $end " + TAIL + changes)
    other = write(os.path.join(place, "other.vcd"), HEAD + "$var reg 4 ! lo [3:0] $end " + TAIL + "#0\nb1 !\n#9\n")
    write(os.path.join(waves, "empty.vcd"), "")
    os.mkdir(os.path.join(waves, "directory.vcd"))
    os.symlink("/nowhere", os.path.join(waves, "dangling.vcd"))
    peer = write(os.path.join(tools, "vcd2fst"),
                 PEER.format(tracewell=os.path.join(BUILD, "tools/tracewell/tracewell"), other=other))
    os.chmod(peer, 0o755)
    output = os.path.join(place, "out")
    code, _, err = run("scoreboard", waves, "--build", BUILD, "--runs", "1", "--no-simulators", "-o", output,
                       env={**os.environ, "PATH": f"{tools}:{os.environ['PATH']}"})
    require(code == 1 and err.count(": not measured: ") == 3, err)
    with open(output + ".md", encoding="utf-8") as stream:
        text = stream.read()
    require(text.count("\nNot measured: ") == 3 and f"{CHANGES:,} changes of 1 variable." in text, text)
    has_library = os.access(os.path.join(BUILD, "bench", "fst_question"), os.X_OK)
    cards = [line for line in text.splitlines() if "no ratio: " in line]
    require(len(cards) == 4, cards)
    for card in cards[:4 if has_library else 2]:
        require("; of one wave: right.vcd: " in card and all(f"no ratio: {name}.vcd" in card for name in
                                                            ("wrong", "fails", "empty")), card)


with tempfile.TemporaryDirectory() as scratch:
    for folder in ("waves", "tools"):
        os.mkdir(os.path.join(scratch, folder))
    write(os.path.join(scratch, "waves", "right.vcd"), HEAD + TAIL)
    independent_reader(scratch)
    refusals(scratch)
    page(scratch)
