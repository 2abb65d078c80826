# SPDX-License-Identifier: BSD-3-Clause
"""One wave through all tools."""

import os
import re
import shlex
import shutil
import sys

from .programs import ROOT

sys.path.insert(0, os.path.join(ROOT, "scripts"))
from torturing import vcd  # noqa: E402  (a reader of VCDs that shares nothing with what is measured)

SUFFIXES = re.compile(r"\.(vcd|fst|ghw)(\.(gz|xz|zst))?$")
STORES = ("columns", "events", "indexed", "transitions")
PICTURE_SIGNALS = 20
# With fewer changes the start of the programs is all that a question takes.
LEAST_CHANGES = 100_000


def waves_in(directory):
    return sorted(os.path.join(directory, name) for name in os.listdir(directory) if SUFFIXES.search(name))


class Tools:
    """What is there, and what is not."""

    def __init__(self, build):
        self.tracewell = os.path.join(build, "tools", "tracewell", "tracewell")
        self.fst_question = os.path.join(build, "bench", "fst_question")
        self.missing = []
        for name, what in (("vcd2fst", "writes FST (Debian: gtkwave)"), ("fst2vcd", "reads FST (Debian: gtkwave)"),
                           ("gzip", "packs a VCD"), ("awk", "looks through a VCD"),
                           ("iverilog", "simulates (Debian: iverilog)"), ("verilator", "simulates (Debian: verilator)")):
            if not shutil.which(name):
                self.missing.append(f"{name}: {what}")
        if not os.access(self.fst_question, os.X_OK):
            self.missing.append(f"{self.fst_question}: asks an FST (-DTRACEWELL_BUILD_BENCH=ON, and Debian's verilator)")

    def has(self, name):
        return shutil.which(name) is not None


class Table:
    """Rows of a label and cells, and the command of each row."""

    def __init__(self, title, columns, note=""):
        self.title = title
        self.columns = columns
        self.note = note
        self.rows = []
        self.commands = []

    def add(self, label, cells, command):
        self.rows.append([label, *cells])
        self.commands.append(command)


class Wave:
    """A wave as a VCD, everything that is made of it, and the tables."""

    def __init__(self, path, tools, meter, runs, largest):
        self.path = path
        self.name = os.path.basename(path)
        self.tools = tools
        self.meter = meter
        self.directory = meter.directory
        self.runs = runs
        # Bytes of a VCD that the reader in Python takes.
        self.largest = largest
        # From a label to the file in the scratch directory.
        self.made = {}
        self.tables = []
        self.ratios = {}
        self.problem = ""

    def file(self, name):
        return os.path.join(self.directory, name)

    def size(self, name):
        return os.path.getsize(self.file(name))

    def measure(self):
        if not self._make_source():
            return
        self._survey()
        self._write()
        self._value()
        self._history()
        self._picture()
        self._judge()

    def _make_source(self):
        """run.vcd, which all tools begin with."""
        tools = self.tools
        if self.name.endswith(".vcd"):
            os.symlink(os.path.abspath(self.path), self.file("run.vcd"))
            self.origin = f"ln -s {shlex.quote(self.name)} run.vcd"
            return True
        if self.name.endswith(".fst") and tools.has("fst2vcd"):
            made = self.meter.run(["fst2vcd", "-f", os.path.abspath(self.path), "-o", "run.vcd"])
        else:
            made = self.meter.run([tools.tracewell, "export", os.path.abspath(self.path), "run.vcd"])
        self.origin = self._shown(made.command)
        if not made.is_done:
            self.problem = made.err.strip() or f"{self.origin} ends with {made.code}"
        return made.is_done

    def _survey(self):
        with open(self.file("run.vcd"), encoding="utf-8", errors="surrogateescape") as stream:
            self.truth = vcd.read(stream.read()) if self.size("run.vcd") <= self.largest else None
        listed = self.meter.run([self.tools.tracewell, "signals", "run.vcd", "--json"])
        self.signals = len(re.findall(r'"name"', listed.out))
        if self.truth:
            counts = {name: len(changes) for name, changes in self.truth.variables.items()
                      if changes and isinstance(changes[0][1], str) and re.fullmatch(r"[\w.$\[\]]+", name)}
            self.changes = sum(len(changes) for changes in
                               {id(c): c for c in self.truth.variables.values()}.values())
            # One that changes as often as the middle of those that change at all, and vectors first.
            ranked = sorted((name for name in counts if counts[name] > 1), key=lambda name: counts[name])
            vectors = [name for name in ranked if len(self.truth.variables[name][0][1]) > 1]
            self.names = vectors or ranked or list(counts)
            self.signal = self.names[len(self.names) // 2] if self.names else None
            self.time = self.truth.last_time // 2
            self.counts = self.changes >= LEAST_CHANGES
        else:
            self.counts = True
            self.changes, self.signal, self.names = None, None, []

    def _shown(self, command):
        return command.replace(self.tools.tracewell, "tracewell").replace(self.tools.fst_question, "fst_question")

    def _failure(self, result):
        words = result.err.strip().split("\n")[0]
        return re.sub(r"^tracewell: (\S+: )?", "", words)[:120] or f"exit code {result.code}"

    def _write(self):
        table = Table("Writing", ["s", "processor, s", "MiB", "size, bytes", "of the VCD", "of the FST"])
        source = self.size("run.vcd")
        fst_size = None
        reference = None
        ways = []
        if self.tools.has("vcd2fst"):
            ways.append(("FST, vcd2fst", "theirs.fst", ["vcd2fst", "run.vcd", "theirs.fst"]))
        if self.tools.has("gzip"):
            ways.append(("VCD, gzip", "run.vcd.gz", ["sh", "-c", "gzip -c run.vcd > run.vcd.gz"]))
        for store in STORES:
            ways.append((f"Tracewell, {store}", f"{store}.wdb",
                         [self.tools.tracewell, "import", "run.vcd", f"{store}.wdb", "--store", store]))
        ways.append(("FST, tracewell export", "ours.fst", [self.tools.tracewell, "export", "run.vcd", "ours.fst"]))
        table.add("VCD", ["", "", "", f"{source:,}", "1.00", ""], self.origin)
        for label, output, command in ways:
            result = self.meter.median(command, self.runs, before=lambda: self._remove(output))
            shown = self._shown(result.command)
            if not result.is_done:
                table.add(label, ["not made: " + self._failure(result), "", "", "", "", ""], shown)
                self._remove(output)
                continue
            self.made[label] = output
            size = self.size(output)
            if label == "FST, vcd2fst":
                fst_size, reference = size, result
            table.add(label, [f"{result.wall:.2f}", f"{result.processor:.2f}", f"{result.peak_mib:.0f}", f"{size:,}",
                              f"{size / source:.3f}", f"{size / fst_size:.2f}" if fst_size else ""], shown)
            if reference and label == "Tracewell, columns" and self.counts:
                self.ratios["writing"] = result.wall / reference.wall
                self.ratios["size"] = size / fst_size
        self.tables.append(table)

    def _remove(self, name):
        if os.path.lexists(self.file(name)):
            os.unlink(self.file(name))

    def _ask(self, title, note, ours, fst, text, ratio, answer_of):
        """The same question to all; the answers must agree."""
        table = Table(title, ["ms", "processor, ms", "MiB", "answer"], note)
        true = None
        reference = None
        ways = []
        if "FST, vcd2fst" in self.made and os.access(self.tools.fst_question, os.X_OK):
            ways.append(("FST, its own library", [self.tools.fst_question, "theirs.fst", *fst]))
        if self.tools.has("awk"):
            ways.append(("VCD, awk", ["awk", *text, "run.vcd"]))
        for store in STORES:
            if f"Tracewell, {store}" in self.made:
                ways.append((f"Tracewell, {store}", [self.tools.tracewell, ours[0], f"{store}.wdb", *ours[1:]]))
        for kind in ("theirs.fst", "run.vcd"):
            if kind == "run.vcd" or "FST, vcd2fst" in self.made:
                ways.append((f"Tracewell, of the {kind[-3:].upper()}", [self.tools.tracewell, ours[0], kind, *ours[1:]]))
        true = answer_of("truth", "")
        for label, command in ways:
            result = self.meter.median(command, self.runs)
            answer = answer_of(label, result.out) if result.is_done else self._failure(result)
            verdict = "as in the VCD" if answer == true else f"{answer[:40]}, not {true[:40]}"
            table.add(label, [f"{result.wall * 1e3:.1f}", f"{result.processor * 1e3:.1f}",
                              f"{result.peak_mib:.0f}", verdict], self._shown(result.command))
            if label.startswith("FST"):
                reference = result
            elif reference and label == "Tracewell, columns" and self.counts:
                self.ratios[ratio] = result.wall / reference.wall
        self.tables.append(table)

    def _code_pattern(self):
        """A program for awk that finds the changes of the signal."""
        with open(self.file("run.vcd"), encoding="utf-8", errors="surrogateescape") as stream:
            scopes = []
            for line in stream:
                words = line.split()
                if words[:1] == ["$scope"]:
                    scopes.append(words[2])
                elif words[:1] == ["$upscope"]:
                    scopes.pop()
                elif words[:1] == ["$var"] and ".".join([*scopes, words[4].split("[")[0]]) == self.signal:
                    return words[3], int(words[2])
        return None, 1

    def _value(self):
        if not self.signal:
            return
        code, width = self._code_pattern()
        if width > 1:
            program = "/^#/ { if (substr($0, 2) + 0 > at) exit } $2 == code && /^b/ { v = substr($1, 2) } END { print v }"
        else:
            program = ("/^#/ { if (substr($0, 2) + 0 > at) exit } substr($0, 2) == code && /^[01xzXZ]/ "
                       "{ v = substr($0, 1, 1) } END { print v }")
        at = str(self.time)
        expected = [value for time, value in self.truth.variables[self.signal] if time <= self.time]

        def answer(label, out):
            if label == "truth":
                return expected[-1] if expected else ""
            if label.startswith("Tracewell"):
                rows = out.strip().split("\n")
                out = rows[1].partition(",")[2] if len(rows) > 1 else ""
            letters = out.strip().lower()
            return vcd._value("wire", width, letters) if letters and letters != "none" else ""

        self._ask("Opening, and the first value",
                  f"The value of {self.signal} at {at}, from the start of the program on.",
                  ["values", self.signal, "--from", at, "--to", at, "--csv", "--radix", "bin"],
                  ["value", self.signal, at], ["-v", f"code={code}", "-v", f"at={at}", program], "first value", answer)

    def _history(self):
        if not self.signal:
            return
        code, width = self._code_pattern()
        wanted = "$2 == code && /^b/" if width > 1 else "substr($0, 2) == code && /^[01xzXZ]/"
        count = str(len(self.truth.variables[self.signal]))

        def answer(label, out):
            if label == "truth":
                return count
            if label.startswith("Tracewell"):
                values = [row.partition(",")[2] for row in out.strip().split("\n")[1:]]
                return str(len([v for i, v in enumerate(values) if v != (values[i - 1] if i else None)]))
            return out.strip()

        self._ask("One signal's history", f"All changes of {self.signal}, counted: the last value of each time.",
                  ["values", self.signal, "--csv", "--radix", "bin"], ["history", self.signal],
                  ["-v", f"code={code}", "/^#/ { if (w != v) { ++n; v = w } next } " + wanted +
                   " { w = $1 } END { print n + (w != v) }"],
                  "history", answer)

    def _picture(self):
        step = max(1, len(self.names) // PICTURE_SIGNALS)
        names = self.names[::step][:PICTURE_SIGNALS]
        if not names:
            return
        table = Table("The first picture", ["ms", "processor, ms", "MiB"],
                      f"{len(names)} signals over the whole run, as SVG. Of the others gtkwave draws, on a display "
                      "alone, so it is not measured.")
        for label in [f"{store}.wdb" for store in STORES] + ["theirs.fst", "run.vcd"]:
            if not os.path.exists(self.file(label)):
                continue
            result = self.meter.median([self.tools.tracewell, "draw", label, *names, "--all", "-o", "picture.svg"],
                                       self.runs)
            cells = [f"{result.wall * 1e3:.1f}", f"{result.processor * 1e3:.1f}", f"{result.peak_mib:.0f}"]
            table.add(f"tracewell draw, {label}", cells if result.is_done else [self._failure(result), "", ""],
                      self._shown(result.command).replace(shlex.join(names), f"{names[0]} ..."))
        self.tables.append(table)

    def _judge(self):
        """By tracewell diff, and by a reader that knows nothing of Tracewell."""
        table = Table("Correctness", ["tracewell diff", "independent comparison"],
                      "Independent: a reader of VCDs in Python compares all changes of all variables with those of "
                      "the source, of an FST as fst2vcd gives them, of a recording as export does.")
        for label, output in self.made.items():
            if output.endswith(".gz"):
                continue
            diff = self.meter.run([self.tools.tracewell, "diff", "run.vcd", output])
            ours = "the same" if diff.code == 0 else f"differs in {max(0, len(diff.out.splitlines()) - 1)} lines" \
                if diff.code == 1 else self._failure(diff)
            if output.endswith(".fst"):
                command = ["fst2vcd", "-f", output, "-o", "back.vcd"]
            else:
                command = [self.tools.tracewell, "export", output, "back.vcd"]
            theirs = "not tried: too large" if not self.truth else "not tried: fst2vcd is missing"
            if self.truth and self.tools.has(command[0]) or os.path.isabs(command[0]) and self.truth:
                self._remove("back.vcd")
                back = self.meter.run(command)
                theirs = self._compare() if back.is_done else self._failure(back)
            table.add(label, [ours, theirs], f"{self._shown(diff.command)}; {self._shown(shlex.join(command))}")
        self.tables.append(table)

    def _compare(self):
        with open(self.file("back.vcd"), encoding="utf-8", errors="surrogateescape") as stream:
            back = vcd.read(stream.read())
        # FST has x where nothing is known yet.
        both = [vcd.History(h.timescale, {name: _without_unknown_start(changes)
                                          for name, changes in h.variables.items()}, h.last_time)
                for h in (self.truth, back)]
        wrong = vcd.difference(both[0], both[1], max(self.truth.last_time, back.last_time))
        return "the same" if wrong is None else wrong[:100]


def _without_unknown_start(changes):
    if changes and isinstance(changes[0][1], str) and set(changes[0][1]) == {"x"}:
        return changes[1:]
    return changes
