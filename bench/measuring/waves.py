# SPDX-License-Identifier: BSD-3-Clause
"""One wave through all tools."""

import os
import re
import shlex
import shutil
from dataclasses import dataclass

from . import independent
from .programs import ROOT
from .words import counted

SUFFIXES = re.compile(r"\.(vcd|fst|ghw)(\.(gz|xz|zst))?$")
STORES = ("columns", "events", "indexed", "transitions")
PICTURE_SIGNALS = 20
# With fewer changes the start of the programs is all that a question takes.
LEAST_CHANGES = 100_000
OURS = "Tracewell, columns"
WRITING, VALUE, HISTORY = "Writing", "Opening, and the first value", "One signal's history"


@dataclass(frozen=True)
class Comparison:
    """A row of ours beside one of theirs, for a card."""

    what: str
    # Of the table with both rows.
    title: str
    theirs: str
    # What is compared, and how it is written.
    figure: str
    form: str


COMPARISONS = (
    Comparison("time to write a recording, beside vcd2fst's", WRITING, "FST, vcd2fst", "wall", "{:.3f} s"),
    Comparison("size of a recording, beside the FST's", WRITING, "FST, vcd2fst", "size", "{:,} bytes"),
    Comparison("time to the first value, beside that of FST's own library", VALUE, "FST, its own library", "wall",
               "{:.4f} s"),
    Comparison("time for a signal's history, beside that of FST's own library", HISTORY, "FST, its own library",
               "wall", "{:.4f} s"),
)


def waves_in(directory):
    return sorted(os.path.join(directory, name) for name in os.listdir(directory) if SUFFIXES.search(name))


class Tools:
    """What is there, and what is not."""

    def __init__(self, build):
        self.tracewell = os.path.join(build, "tools", "tracewell", "tracewell")
        self.fst_question = os.path.join(build, "bench", "fst_question")
        self.independent = os.path.join(ROOT, "bench", "independent")
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


    def shown(self, command):
        """As it is to be typed with the directories of the programs in the PATH."""
        for program in (self.tracewell, self.fst_question, self.independent):
            command = command.replace(shlex.quote(program), os.path.basename(program))
        return command


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
        # Of the rows that did what they should, by title and label: "wall" and "size". Of the others, why not.
        self.figures = {}
        self.faults = {}
        self.problem = ""
        self.introduction = ""
        self.commands = []
        self.truth, self.changes, self.signal, self.names = None, None, None, []

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

    def ratio(self, comparison):
        """Ours by theirs and both in words, or None and the reason."""
        if self.problem:
            return None, "not measured"
        if self.changes is None and self.size_of_source <= self.largest:
            return None, "its changes could not be counted"
        if self.changes is not None and self.changes < LEAST_CHANGES:
            return None, f"fewer than {LEAST_CHANGES:,} changes"
        both = []
        for label in (OURS, comparison.theirs):
            figures = self.figures.get((comparison.title, label))
            if not figures:
                return None, f"{label}: {self.faults.get((comparison.title, label), 'not measured')}"
            both.append(figures[comparison.figure])
        return both[0] / both[1], " / ".join(comparison.form.format(figure) for figure in both)

    def _make_source(self):
        """run.vcd, which all tools begin with."""
        tools = self.tools
        path = os.path.abspath(self.path)
        if not os.path.isfile(path):
            self.problem = "a directory" if os.path.isdir(path) else "a link to nothing" \
                if not os.path.exists(path) else "no regular file"
            return False
        self.listed = self.meter.run([tools.tracewell, "signals", path, "--json"])
        if not self.listed.is_done:
            self.problem = self._failure(self.listed).replace(f"{path}: ", "")
            return False
        if self.name.endswith(".vcd"):
            os.symlink(path, self.file("run.vcd"))
            self.origin = shlex.join(["ln", "-s", path, "run.vcd"])
        else:
            is_theirs = self.name.endswith(".fst") and tools.has("fst2vcd")
            made = self.meter.run(["fst2vcd", "-f", path, "-o", "run.vcd"] if is_theirs else
                                  [tools.tracewell, "export", path, "run.vcd"])
            self.origin = tools.shown(made.command)
            if not made.is_done or not os.path.exists(self.file("run.vcd")):
                self.problem = f"{self.origin}: {self._failure(made)}"
                return False
        self.size_of_source = self.size("run.vcd")
        return True

    def _survey(self):
        variables = counted(len(re.findall(r'"name":', self.listed.out)), "variable")
        counting = self.tools.shown(self.listed.command) + " | grep -c '\"name\":'"
        if self.size_of_source > self.largest:
            self.unread = "too large"
        else:
            try:
                self.truth = independent.read(self.file("run.vcd"))
            except independent.Unreadable as error:
                self.unread = str(error)
        if not self.truth:
            self.introduction = f"{variables}. Nothing is asked or compared independently: {self.unread}."
            self.commands = [self.origin, counting]
            return
        self.introduction = f"{independent.extent(self.truth)}."
        self.commands = [self.origin, "independent run.vcd"]
        self.changes = independent.changes_of(self.truth)
        variables, declared = self.truth.variables, self.truth.declared
        # A name that every tool takes, of a variable whose values are bits.
        counts = {name: len(independent.known(changes)) for name, changes in variables.items()
                  if changes and all(isinstance(change[1], str) for change in (changes[0], changes[-1]))
                  and declared[name].kind not in ("string", "real", "event")
                  and re.fullmatch(r"[\w.$\[\]:]+", name)}
        # One that changes as often as the middle of those that change at all, and vectors first.
        ranked = sorted((name for name in counts if counts[name] > 1), key=lambda name: counts[name])
        vectors = [name for name in ranked if declared[name].width > 1]
        self.names = vectors or ranked or list(counts)
        self.signal = self.names[len(self.names) // 2] if self.names else None
        self.time = max(0, self.truth.last_time) // 2
        if not self.signal:
            self.introduction += " It has no signal that could be asked for."

    def _failure(self, result):
        words = result.err.strip().split("\n")[0]
        return re.sub(r"^tracewell: ([\w.]+: )?", "", words)[:200] or f"exit code {result.code}"

    def _keep(self, title, label, result, **figures):
        self.figures[title, label] = {"wall": result.wall, **figures}

    def _leave_out(self, title, label, reason):
        self.figures.pop((title, label), None)
        self.faults[title, label] = reason

    def _write(self):
        table = Table(WRITING, ["s", "processor, s", "MiB", "size, bytes", "of the VCD", "of the FST"])
        source = self.size_of_source
        fst_size = None
        ways = []
        if self.tools.has("vcd2fst"):
            ways.append(("FST, vcd2fst", "theirs.fst", ["vcd2fst", "run.vcd", "theirs.fst"]))
        if self.tools.has("gzip"):
            ways.append(("VCD, gzip", "run.vcd.gz", ["sh", "-c", "gzip -c run.vcd > run.vcd.gz"]))
        for store in STORES:
            ways.append((f"Tracewell, {store}", f"{store}.wdb",
                         [self.tools.tracewell, "import", "run.vcd", f"{store}.wdb", "--store", store]))
        ways.append(("FST, tracewell export", "ours.fst", [self.tools.tracewell, "export", "run.vcd", "ours.fst"]))
        table.add("VCD", ["", "", "", f"{source:,}", "1.00", ""], "wc -c run.vcd")
        for label, output, command in ways:
            result = self.meter.median(command, self.runs, before=lambda: self._remove(output))
            shown = self.tools.shown(result.command)
            # A tool may end with 0 and have made nothing.
            if not result.is_done or not os.path.isfile(self.file(output)):
                reason = "not made: " + self._failure(result)
                self._leave_out(WRITING, label, reason)
                table.add(label, [reason, "", "", "", "", ""], shown)
                self._remove(output)
                continue
            self.made[label] = output
            size = self.size(output)
            if label == "FST, vcd2fst":
                fst_size = size
            self._keep(WRITING, label, result, size=size)
            table.add(label, [f"{result.wall:.2f}", f"{result.processor:.2f}", f"{result.peak_mib:.0f}", f"{size:,}",
                              f"{size / source:.3f}", f"{size / fst_size:.2f}" if fst_size else ""], shown)
        self.tables.append(table)

    def _remove(self, name):
        if os.path.lexists(self.file(name)):
            os.unlink(self.file(name))

    def _ask(self, title, note, ours, fst, text, answer_of):
        """The same question to all; the answers must agree."""
        table = Table(title, ["ms", "processor, ms", "MiB", "answer"], note)
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
            is_right = result.is_done and answer == true
            verdict = "as in the VCD" if is_right else f"{answer[:80] or 'none'}; true is {true[:40] or 'none'}" \
                if result.is_done else f"failed: {answer}"
            if is_right:
                self._keep(title, label, result)
            else:
                self._leave_out(title, label, verdict)
            table.add(label, [f"{result.wall * 1e3:.1f}", f"{result.processor * 1e3:.1f}",
                              f"{result.peak_mib:.0f}", verdict], self.tools.shown(result.command))
        self.tables.append(table)

    def _code_for_awk(self):
        # It takes a backslash for the begin of something.
        return self.truth.declared[self.signal].code.replace("\\", "\\\\")

    def _value(self):
        if not self.signal:
            return
        code, width = self._code_for_awk(), self.truth.declared[self.signal].width
        if width > 1:
            program = "/^#/ { if (substr($0, 2) + 0 > at) exit } $2 == code && /^b/ { v = substr($1, 2) } END { print v }"
        else:
            program = ("/^#/ { if (substr($0, 2) + 0 > at) exit } substr($0, 2) == code && /^[01xzXZ]/ "
                       "{ v = substr($0, 1, 1) } END { print v }")
        at = str(self.time)
        expected = [value for time, value in self.truth.variables[self.signal] if time <= self.time]

        def answer(label, out):
            if label == "truth":
                out = expected[-1] if expected else ""
            elif label.startswith("Tracewell"):
                rows = out.strip().split("\n")
                out = rows[1].partition(",")[2] if len(rows) > 1 else ""
            letters = out.strip().lower()
            # An unknown value is what some have where there is none yet.
            return "" if letters == "none" or set(letters) <= {"x"} else independent.bits(width, letters)

        self._ask(VALUE,
                  f"The value of {self.signal} at {at}, from the start of the program on.",
                  ["values", self.signal, "--from", at, "--to", at, "--csv", "--radix", "bin"],
                  ["value", self.signal, at], ["-v", f"code={code}", "-v", f"at={at}", program], answer)

    def _history(self):
        if not self.signal:
            return
        code, width = self._code_for_awk(), self.truth.declared[self.signal].width
        wanted = "$2 == code && /^b/ { w = $1 }" if width > 1 else \
            "substr($0, 2) == code && /^[01xzXZ]/ { w = substr($0, 1, 1) }"
        count = str(len(independent.known(self.truth.variables[self.signal])))

        def answer(label, out):
            if label == "truth":
                return count
            if label.startswith("Tracewell"):
                values = ["x"] + [row.partition(",")[2].lower() for row in out.strip().split("\n")[1:]]
                values = ["x" if set(value) == {"x"} else value for value in values]
                return str(sum(value != before for before, value in zip(values, values[1:])))
            return out.strip()

        self._ask(HISTORY, f"All changes of {self.signal}, counted: the last value of each time, without unknown ones "
                           "before all others.",
                  ["values", self.signal, "--csv", "--radix", "bin"], ["history", self.signal],
                  ["-v", f"code={code}", "function settle() { if (w != v && (n || w !~ /^b?[xX]+$/)) ++n; v = w } "
                   "/^#/ { settle(); next } " + wanted + " END { settle(); print n + 0 }"], answer)

    def _picture(self):
        step = max(1, len(self.names) // PICTURE_SIGNALS)
        names = self.names[::step][:PICTURE_SIGNALS]
        if not names:
            return
        table = Table("The first picture", ["ms", "processor, ms", "MiB"],
                      f"{counted(len(names), 'signal')} over the whole run, as SVG. Of the others gtkwave draws, on a display "
                      "alone, so it is not measured.")
        for label in [f"{store}.wdb" for store in STORES] + ["theirs.fst", "run.vcd"]:
            if not os.path.exists(self.file(label)):
                continue
            result = self.meter.median([self.tools.tracewell, "draw", label, *names, "--all", "-o", "picture.svg"],
                                       self.runs)
            cells = [f"{result.wall * 1e3:.1f}", f"{result.processor * 1e3:.1f}", f"{result.peak_mib:.0f}"]
            table.add(f"tracewell draw, {label}", cells if result.is_done else [self._failure(result), "", ""],
                      self.tools.shown(result.command))
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
            lines = max(0, len(diff.out.splitlines()) - 1)
            ours = "the same" if diff.code == 0 else f"differs in {counted(lines, 'line')}" if diff.code == 1 else \
                self._failure(diff)
            theirs, commands = self._judge_independently(output)
            # Theirs decides where there is one.
            decisive = ours if theirs.startswith(("not tried", "cannot be read")) else theirs
            if decisive != "the same":
                self._leave_out(WRITING, label, f"what was written is not what was read: {decisive}")
            table.add(label, [ours, theirs], "; ".join([self.tools.shown(diff.command), *commands]))
        self.tables.append(table)

    def _judge_independently(self, output):
        """The verdict in words, and the commands that give it."""
        if not self.truth:
            return ("not tried: " if self.unread == "too large" else "") + self.unread, []
        if output.endswith(".fst") and not self.tools.has("fst2vcd"):
            return "not tried: fst2vcd is missing", []
        self._remove("back.vcd")
        back = self.meter.run(["fst2vcd", "-f", output, "-o", "back.vcd"] if output.endswith(".fst") else
                              [self.tools.tracewell, "export", output, "back.vcd"])
        commands = ["rm -f back.vcd", self.tools.shown(back.command), "independent run.vcd back.vcd"]
        if not back.is_done or not os.path.exists(self.file("back.vcd")):
            return self._failure(back), commands
        try:
            return independent.difference(self.truth, independent.read(self.file("back.vcd"))) or "the same", commands
        except independent.Unreadable as error:
            return str(error), commands
