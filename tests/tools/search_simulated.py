#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-3-Clause
"""Holds `tracewell search` against what a simulator makes of the same expressions.

usage: search_simulated.py TRACEWELL SEED COUNT

A design replays a random run, evaluates random expressions at each of its times and writes down
where they are true; iverilog compiles it.
"""

import os
import random
import subprocess
import sys
import tempfile

import search_oracle as oracle

# What iverilog does not take, or not as the standard has it.
LEFT_OUT = ("inside", "->", "$countones", "$onehot", "$isunknown", "$past", "==?", "!=?", "**")


def write_design(path, run, end, nodes):
    with open(path, "w", encoding="ascii") as out:
        out.write("`timescale 1ns/1ns\nmodule top;\n")
        for name, width, signed, left, right in oracle.SIGNALS:
            kind = "reg signed" if signed else "reg"
            span = "[%d:%d]" % (left, right) if width > 1 else ""
            out.write("  %s %s %s;\n" % (kind, span, name[4:]))
        out.write("  task look(input integer now);\n    begin\n")
        for index, node in enumerate(nodes):
            out.write('      if (%s) $display("%%0d %d", now);\n' % (node.text, index))
        out.write("    end\n  endtask\n  initial begin\n")
        before = 0
        for time, _, changed in run:
            out.write("    #%d;\n" % (time - before))
            before = time
            for name, value in changed.items():
                out.write("    top.%s = %d'b%s;\n" % (name[4:], len(value), value))
            out.write("    look(%d);\n" % time)
        out.write("    #%d $finish;\n  end\nendmodule\n" % (end - before))


def main():
    tool, seed, count = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
    rng = random.Random(seed)
    run, end = oracle.make_run(rng, 30)
    maker = oracle.Maker(rng, oracle.SIGNALS, False, sizes=True)
    nodes = []
    while len(nodes) < count:
        node = maker.make(rng.randint(1, 4))
        if "top." in node.text and node.width < 1000 and len(node.text) < 1000 and not any(
                word in node.text for word in LEFT_OUT):
            nodes.append(node)
    failures = 0
    with tempfile.TemporaryDirectory() as directory:
        design, program = os.path.join(directory, "top.v"), os.path.join(directory, "top")
        path = os.path.join(directory, "run.vcd")
        write_design(design, run, end, nodes)
        oracle.write_vcd(path, run, end)
        subprocess.run(["iverilog", "-g2012", "-o", program, design], check=True, timeout=120)
        output = subprocess.run(["vvp", "-n", program], check=True, capture_output=True, text=True,
                                timeout=120).stdout
        true_at = [set() for _ in nodes]
        for line in output.splitlines():
            words = line.split()
            if len(words) == 2 and words[0].isdigit():
                true_at[int(words[1])].add(int(words[0]))
        for node, times in zip(nodes, true_at):
            expected, begin = [], None
            for time, *_ in run:
                if time in times and begin is None:
                    begin = time
                elif time not in times and begin is not None:
                    expected.append((begin, time))
                    begin = None
            if begin is not None:
                expected.append((begin, None))
            found = oracle.search(tool, path, node.text)
            if found != expected:
                failures += 1
                if failures < 5:
                    print("differs: %s\n  expected %s\n  found    %s" % (node.text, expected, found))
    print("%d expressions, seed %d: %d differ" % (count, seed, failures))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
