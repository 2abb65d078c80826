#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-3-Clause
"""Holds `tracewell search` against a slow evaluator of its own.

usage: search_oracle.py TRACEWELL SEED COUNT

Makes random runs and random expressions, and works out when each is true from the letters alone.
"""

import json
import os
import random
import re
import subprocess
import sys
import tempfile


# Four-state vectors are texts of 0 1 x z, the leftmost bit first.

def known(v):
    return "x" not in v and "z" not in v


def number(v, signed):
    n = int(v, 2)
    return n - (1 << len(v)) if signed and v[0] == "1" else n


def vector(n, width):
    return format(n % (1 << width), "0%db" % width)


def truth(v):
    return "1" if "1" in v else "0" if known(v) else "x"


def inv(bit):
    return {"0": "1", "1": "0"}.get(bit, "x")


def conj(a, b):
    return "0" if "0" in (a, b) else "1" if a == b == "1" else "x"


def disj(a, b):
    return inv(conj(inv(a), inv(b)))


def xor(a, b):
    return "x" if a in "xz" or b in "xz" else str(int(a != b))


def extend(v, width, signed):
    return (v[0] if signed else "0") * (width - len(v)) + v


def equals(a, b):
    result = "1"
    for p, q in zip(a, b):
        if p in "01" and q in "01":
            if p != q:
                return "0"
        else:
            result = "x"
    return result


def fits(a, b):
    result = "1"
    for p, q in zip(a, b):
        if q in "xz":
            continue
        if p in "xz":
            result = "x"
        elif p != q:
            return "0"
    return result


class Node:
    """A part of an expression: its text, its own width and sign, and how to evaluate it."""

    def __init__(self, text, width, signed, value, size=1):
        self.text, self.width, self.signed, self.size = text, width, signed, size
        # value(env, width, signed) gives a vector of the width that the context asks for.
        self.value = value

    def own(self, env):
        return self.value(env, self.width, self.signed)


def leaf(text, width, signed, get):
    return Node(text, width, signed, lambda e, w, s: extend(get(e), w, s))


class Maker:
    def __init__(self, rng, signals, looks_back, sizes=False):
        self.rng, self.signals, self.looks_back, self.sizes = rng, signals, looks_back, sizes

    def literal(self):
        rng = self.rng
        kind = rng.randrange(5)
        if kind == 0:
            n = rng.choice([0, 1, 2, 3, 5, 7, 100, 255])
            return leaf("32'sd%d" % n if self.sizes else str(n), 32, True, lambda e: vector(n, 32))
        width = rng.choice([1, 2, 4, 8, 9, 33])
        letters = "".join(rng.choice("01" if rng.random() < 0.8 else "01xz") for _ in range(width))
        signed = rng.random() < 0.3
        text = "%d'%sb%s" % (width, "s" if signed else "", letters)
        return leaf(text, width, signed, lambda e: letters)

    def name(self):
        name, width, signed, left, right = self.rng.choice(self.signals)
        rng = self.rng
        if width == 1 or rng.random() < 0.6:
            return leaf(name, width, signed, lambda e: e[name])
        down = left >= right

        def at(e, n):
            i = left - n if down else n - left
            return e[name][i] if 0 <= i < width else "x"
        low, high = min(left, right), max(left, right)
        kind = rng.randrange(4)
        if kind == 0:
            n = rng.randint(low - 1, high + 1)
            text = "%s[%d]" % (name, n) if n >= 0 else "%s[(%d)]" % (name, n)
            return leaf(text, 1, False, lambda e: at(e, n))
        if kind == 1:
            p, q = sorted(rng.choices(range(low, high + 1), k=2))
            numbers = list(range(q, p - 1, -1)) if down else list(range(p, q + 1))
            text = "%s[%d:%d]" % (name, numbers[0], numbers[-1])
            return leaf(text, len(numbers), False,
                        lambda e: "".join(at(e, n) for n in numbers))
        index = self.make(1)
        count = 1 if kind == 2 else rng.randint(1, 4)
        up = rng.random() < 0.5
        text = "%s[%s%s]" % (name, index.text,
                             "" if kind == 2 else (" +: %d" if up else " -: %d") % count)

        def pick(e):
            v = index.own(e)
            if not known(v):
                return "x" * count
            n = number(v, index.signed)
            if kind == 2:
                return at(e, n)
            numbers = range(n, n + count) if up else range(n - count + 1, n + 1)
            return "".join(at(e, k) for k in (reversed(numbers) if down else numbers))
        return leaf(text, count, False, pick)

    def make(self, depth):
        rng = self.rng
        if depth <= 0:
            return self.name() if rng.random() < 0.75 else self.literal()
        kinds = ["arith", "arith", "bit", "bit", "compare", "compare", "logic", "reduce", "not",
                 "neg", "shift", "cond", "concat", "repeat", "inside", "count", "sign", "power"]
        if self.looks_back:
            kinds += ["past", "edge"]
        return getattr(self, rng.choice(kinds))(depth)

    def pair(self, depth):
        return self.make(depth - 1), self.make(depth - 1)

    def arith(self, depth):
        a, b = self.pair(depth)
        op = self.rng.choice("+-*/%")
        width, signed = max(a.width, b.width), a.signed and b.signed

        def value(e, w, s):
            p, q = a.value(e, w, s), b.value(e, w, s)
            if not known(p) or not known(q):
                return "x" * w
            m, n = number(p, s), number(q, s)
            if op in "/%":
                if n == 0:
                    return "x" * w
                quotient = abs(m) // abs(n) * (1 if (m < 0) == (n < 0) else -1)
                return vector(quotient if op == "/" else m - n * quotient, w)
            return vector({"+": m + n, "-": m - n, "*": m * n}[op], w)
        return Node("(%s %s %s)" % (a.text, op, b.text), width, signed, value)

    def bit(self, depth):
        a, b = self.pair(depth)
        op = self.rng.choice(["&", "|", "^", "~^"])
        rule = {"&": conj, "|": disj, "^": xor, "~^": lambda p, q: inv(xor(p, q))}[op]
        return Node("(%s %s %s)" % (a.text, op, b.text), max(a.width, b.width),
                    a.signed and b.signed,
                    lambda e, w, s: "".join(map(rule, a.value(e, w, s), b.value(e, w, s))))

    def compared(self, op, a, b):
        width, signed = max(a.width, b.width), a.signed and b.signed

        def get(e):
            p, q = a.value(e, width, signed), b.value(e, width, signed)
            if op in ("===", "!=="):
                return str(int((p == q) == (op == "===")))
            if op in ("==", "!="):
                return equals(p, q) if op == "==" else inv(equals(p, q))
            if op in ("==?", "!=?"):
                return fits(p, q) if op == "==?" else inv(fits(p, q))
            if not known(p) or not known(q):
                return "x"
            m, n = number(p, signed), number(q, signed)
            return str(int({"<": m < n, "<=": m <= n, ">": m > n, ">=": m >= n}[op]))
        return get

    def compare(self, depth):
        a, b = self.pair(depth)
        op = self.rng.choice(["==", "!=", "===", "!==", "==?", "!=?", "<", "<=", ">", ">="])
        return leaf("(%s %s %s)" % (a.text, op, b.text), 1, False, self.compared(op, a, b))

    def logic(self, depth):
        a, b = self.pair(depth)
        op = self.rng.choice(["&&", "||", "->", "<->"])

        def get(e):
            p, q = truth(a.own(e)), truth(b.own(e))
            return {"&&": conj(p, q), "||": disj(p, q), "->": disj(inv(p), q),
                    "<->": inv(xor(p, q))}[op]
        return leaf("(%s %s %s)" % (a.text, op, b.text), 1, False, get)

    def reduce(self, depth):
        a = self.make(depth - 1)
        op = self.rng.choice(["&", "|", "^", "~&", "~|", "~^"])
        rule = {"&": conj, "|": disj, "^": xor}[op[-1]]

        def get(e):
            v = a.own(e)
            result = "x" if v[0] == "z" else v[0]
            for bit in v[1:]:
                result = rule(result, bit)
            return inv(result) if len(op) > 1 else result
        return leaf("(%s(%s))" % (op, a.text), 1, False, get)

    def __getattr__(self, name):
        if name == "not":
            return self.negated
        raise AttributeError(name)

    def negated(self, depth):
        a = self.make(depth - 1)
        if self.rng.random() < 0.5:
            return leaf("(!%s)" % a.text, 1, False, lambda e: inv(truth(a.own(e))))
        return Node("(~%s)" % a.text, a.width, a.signed,
                    lambda e, w, s: "".join(map(inv, a.value(e, w, s))))

    def neg(self, depth):
        a = self.make(depth - 1)

        def value(e, w, s):
            v = a.value(e, w, s)
            return vector(-int(v, 2), w) if known(v) else "x" * w
        return Node("(-%s)" % a.text, a.width, a.signed, value)

    def shift(self, depth):
        a, b = self.pair(depth)
        op = self.rng.choice(["<<", ">>", "<<<", ">>>"])

        def value(e, w, s):
            v, n = a.value(e, w, s), b.own(e)
            if not known(n):
                return "x" * w
            n = min(int(n, 2), w)
            if op[0] == "<":
                return v[n:] + "0" * n
            return (v[0] if op == ">>>" and s else "0") * n + v[:w - n]
        return Node("(%s %s %s)" % (a.text, op, b.text), a.width, a.signed, value)

    def power(self, depth):
        a, b = self.name(), self.rng.choice([0, 1, 2, 3, 5])
        return Node("(%s ** %d)" % (a.text, b), a.width, a.signed,
                    lambda e, w, s: vector(number(a.value(e, w, s), s) ** b, w)
                    if known(a.value(e, w, s)) else "x" * w)

    def cond(self, depth):
        c = self.make(depth - 1)
        a, b = self.pair(depth)

        def value(e, w, s):
            t = truth(c.own(e))
            p, q = a.value(e, w, s), b.value(e, w, s)
            if t != "x":
                return p if t == "1" else q
            return "".join(m if m == n and m in "01" else "x" for m, n in zip(p, q))
        return Node("(%s ? %s : %s)" % (c.text, a.text, b.text), max(a.width, b.width),
                    a.signed and b.signed, value)

    def concat(self, depth):
        parts = [self.sized(depth - 1) for _ in range(self.rng.randint(1, 3))]
        return leaf("{%s}" % ", ".join(p.text for p in parts), sum(p.width for p in parts), False,
                    lambda e: "".join(p.own(e) for p in parts))

    def sized(self, depth):
        while True:
            node = self.make(depth)
            if node.width < 200 and not node.text.isdigit():
                return node

    def repeat(self, depth):
        a, times = self.sized(depth - 1), self.rng.randint(1, 3)
        return leaf("{%d{%s}}" % (times, a.text), a.width * times, False,
                    lambda e: a.own(e) * times)

    def inside(self, depth):
        a = self.make(depth - 1)
        entries = []
        for _ in range(self.rng.randint(1, 3)):
            b, c = self.pair(1)
            if self.rng.random() < 0.5:
                entries.append((b.text, self.compared("==?", a, b)))
            else:
                low, high = self.compared(">=", a, b), self.compared("<=", a, c)
                entries.append(("[%s:%s]" % (b.text, c.text),
                                lambda e, low=low, high=high: conj(low(e), high(e))))

        def get(e):
            result = "0"
            for _, entry in entries:
                result = disj(result, entry(e))
            return result
        return leaf("(%s inside {%s})" % (a.text, ", ".join(t for t, _ in entries)), 1, False, get)

    def count(self, depth):
        a = self.make(depth - 1)
        name = self.rng.choice(["$countones", "$onehot", "$onehot0", "$isunknown"])

        def get(e):
            v = a.own(e)
            ones = v.count("1")
            if name == "$countones":
                return vector(ones, 32)
            return str(int({"$onehot": ones == 1, "$onehot0": ones <= 1,
                            "$isunknown": not known(v)}[name]))
        wide = name == "$countones"
        return leaf("%s(%s)" % (name, a.text), 32 if wide else 1, wide, get)

    def sign(self, depth):
        a = self.make(depth - 1)
        signed = self.rng.random() < 0.6
        return leaf("%s(%s)" % ("$signed" if signed else "$unsigned", a.text), a.width, signed,
                    a.own)

    # What looks back: the environment holds those of the moments before, the latest first.

    def past(self, depth):
        a, n = self.make(depth - 1), self.rng.randint(1, 3)

        def get(e):
            for _ in range(n):
                if e["before"] is None:
                    return "x" * a.width
                e = e["before"]
            return a.own(e)
        text = "$past(%s)" % a.text if n == 1 else "$past(%s, %d)" % (a.text, n)
        return leaf(text, a.width, a.signed, get)

    def edge(self, depth):
        a = self.make(depth - 1)
        name = self.rng.choice(["$rose", "$fell", "$stable", "$changed"])

        def get(e):
            now = a.own(e)
            before = "x" * a.width if e["before"] is None else a.own(e["before"])
            if name in ("$stable", "$changed"):
                return str(int((now == before) == (name == "$stable")))
            level = "1" if name == "$rose" else "0"
            return str(int(now[-1] == level and before[-1] != level))
        return leaf("%s(%s)" % (name, a.text), 1, False, get)


SIGNALS = [("top.clk", 1, False, 0, 0), ("top.c", 1, False, 0, 0), ("top.a", 4, False, 3, 0),
           ("top.b", 8, False, 0, 7), ("top.i", 32, True, 31, 0), ("top.w", 70, False, 69, 0),
           ("top.p", 6, False, 15, 10)]


def make_run(rng, steps):
    """The times at which something changes, each with all values from then on."""
    def value(width):
        style = rng.random()
        if style < 0.15:
            return "".join(rng.choice("01xz") for _ in range(width))
        if style < 0.6:
            return vector(rng.choice([0, 1, 2, 3, 5, (1 << width) - 1]), width)
        return "".join(rng.choice("01") for _ in range(width))
    values = {name: "x" * width for name, width, *_ in SIGNALS}
    time, run, clock = 0, [], "0"
    for step in range(steps):
        changed = {}
        for name, width, *_ in SIGNALS:
            if step == 0 or rng.random() < 0.35:
                changed[name] = value(width)
        if rng.random() < 0.6 or step == 0:
            clock = inv(clock) if rng.random() < 0.95 else rng.choice("xz")
            changed["top.clk"] = clock
        else:
            changed.pop("top.clk", None)
        values = dict(values, **changed)
        run.append((time, values, changed))
        time += rng.randint(1, 9)
    return run, time


def write_vcd(path, run, end):
    with open(path, "w", encoding="ascii") as out:
        out.write("$timescale 1 ns $end\n$scope module top $end\n")
        for index, (name, width, signed, left, right) in enumerate(SIGNALS):
            kind = "integer" if signed else "wire"
            span = "[%d:%d] " % (left, right) if width > 1 else ""
            out.write("$var %s %d %s %s %s$end\n"
                      % (kind, width, chr(33 + index), name[4:], span))
        out.write("$upscope $end\n$enddefinitions $end\n")
        for time, _, changed in run:
            out.write("#%d\n" % time)
            for index, (name, width, *_) in enumerate(SIGNALS):
                if name in changed:
                    form = "b%s %s\n" if width > 1 else "%s%s\n"
                    out.write(form % (changed[name], chr(33 + index)))
        out.write("#%d\n" % end)


def moments(run, node):
    """The moments at which a condition can change: a signal that it names does."""
    named = set(re.findall(r"top\.\w+", node.text))
    names = [name for name, *_ in SIGNALS if name in named]
    found, before = [], None
    for index, (time, values, _) in enumerate(run):
        last = run[index - 1][1] if index else None
        if index == 0 or any(values[name] != last[name] for name in names):
            before = dict(values, before=before)
            found.append((time, before))
    return found


def stretches(run, node):
    result, begin = [], None
    for time, env in moments(run, node):
        is_true = truth(node.own(env)) == "1"
        if is_true and begin is None:
            begin = time
        elif not is_true and begin is not None:
            result.append((begin, time))
            begin = None
    return result + ([(begin, None)] if begin is not None else [])


def sampled(run, node, sample_at):
    result, before = [], None
    for index in range(1, len(run)):
        old, new = run[index - 1][1]["top.clk"], run[index][1]["top.clk"]
        if old == new or not (old == "0" or (old in "xz" and new == "1")):
            continue
        before = dict(run[index if sample_at else index - 1][1], before=before)
        if truth(node.own(before)) == "1":
            result.append((run[index][0], run[index][0]))
    return result


def looking_back(run, node):
    return [(time, time) for time, env in moments(run, node) if truth(node.own(env)) == "1"]


def search(tool, path, text, *options):
    done = subprocess.run([tool, "search", path, text, "--json", *options], capture_output=True,
                          text=True, timeout=60)
    if done.returncode not in (0, 1) or done.stderr:
        return "exit code %d: %s" % (done.returncode, done.stderr)
    lines = [json.loads(line) for line in done.stdout.splitlines()]
    return [(line["time"], line["end"]) for line in lines[:-1]]


def main():
    tool, seed, count = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
    rng = random.Random(seed)
    failures = 0
    with tempfile.TemporaryDirectory() as directory:
        path = os.path.join(directory, "run.vcd")
        for number_of in range(count):
            if number_of % 20 == 0:
                run, end = make_run(rng, 40)
                write_vcd(path, run, end)
            mode = rng.choice(["level", "level", "before", "at", "back"])
            maker = Maker(rng, SIGNALS, mode in ("before", "at", "back"))
            while True:
                node = maker.make(rng.randint(1, 4))
                if "top." not in node.text or node.width > 4000 or len(node.text) > 3000:
                    continue
                looks = "$past" in node.text or any(
                    word in node.text for word in ("$rose", "$fell", "$stable", "$changed"))
                if mode != "back" or looks:
                    break
            if mode == "level":
                expected, options = stretches(run, node), ()
            elif mode == "back":
                expected, options = looking_back(run, node), ()
            else:
                expected = sampled(run, node, mode == "at")
                options = ("--on", "posedge top.clk", "--sample", mode)
            found = search(tool, path, node.text, *options)
            if found != expected:
                failures += 1
                print("differs (%s): %s\n  expected %s\n  found    %s"
                      % (mode, node.text, expected, found))
                if failures > 4:
                    break
    print("%d expressions, seed %d: %d differ" % (number_of + 1, seed, failures))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
