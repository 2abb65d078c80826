# SPDX-License-Identifier: BSD-3-Clause
"""What was done and what was found."""

import os
import shlex
import shutil
import time
from collections import Counter, defaultdict

from .builds import ROOT

# Of one kind of finding in one trial; the others are counted.
KEPT_OF_A_KIND = 5
KEPT_BYTES = 64 << 20


class Summary:
    def __init__(self, seed, builds, arguments):
        self.seed = seed
        self.findings = []
        self._builds = builds
        self._arguments = arguments
        self._began = time.monotonic()
        self._turns = Counter()
        self._seconds = defaultdict(float)
        self._commands = Counter()
        self._kinds = Counter()
        self._kept = os.path.join(arguments.keep or os.path.join(ROOT, "build", "torture"), str(seed))

    def again(self, turn=None):
        words = ["scripts/torture", "--seed", str(self.seed)]
        if turn is not None:
            words += ["--turn", str(turn)]
        for name in self._arguments.trial or []:
            words += ["--trial", name]
        for name in self._arguments.build or []:
            words += ["--build", name]
        return shlex.join(words)

    def head(self):
        names = ", ".join(os.path.basename(build.directory) +
                          (f" ({build.sanitizer})" if build.sanitizer else "")
                          for build in self._builds.programs)
        return (f"torture: seed {self.seed}, {self._arguments.hours:g} h; builds: {names}; fuzzers: "
                f"{self._builds.fuzzers or 'none, harnesses are replayed'}")

    def count(self, trial, seconds, commands):
        self._turns[trial] += 1
        self._seconds[trial] += seconds
        self._commands[trial] += commands

    def add(self, turn, what, detail, command):
        kind = (turn.name, what)
        self._kinds[kind] += 1
        if self._kinds[kind] > KEPT_OF_A_KIND:
            return
        kept = os.path.join(self._kept, f"{turn.number}-{turn.name}")
        os.makedirs(kept, exist_ok=True)
        for name in os.listdir(turn.directory):
            path = os.path.join(turn.directory, name)
            if os.path.isfile(path) and not os.path.islink(path) and os.path.getsize(path) < KEPT_BYTES:
                shutil.copy(path, kept)
        text = (f"FOUND in turn {turn.number}, {turn.name}: {what}\n  command: {command}\n"
                f"  in: {os.path.basename(turn.build.directory)}; again: {self.again(turn.number)}\n"
                f"  files: {kept}\n  " + detail.strip().replace("\n", "\n  "))
        with open(os.path.join(kept, "FINDING.txt"), "a", encoding="utf-8") as stream:
            stream.write(text + "\n")
        self.findings.append(text)
        print(text, flush=True)

    def text(self):
        lines = ["", f"{'trial':12} {'turns':>7} {'commands':>9} {'seconds':>8} {'findings':>9}"]
        for name in sorted(self._turns):
            found = sum(count for (trial, _), count in self._kinds.items() if trial == name)
            lines.append(f"{name:12} {self._turns[name]:7} {self._commands[name]:9} "
                         f"{self._seconds[name]:8.0f} {found:9}")
        total = sum(self._kinds.values())
        lines.append(f"{'all':12} {sum(self._turns.values()):7} {sum(self._commands.values()):9} "
                     f"{time.monotonic() - self._began:8.0f} {total:9}")
        for (trial, what), count in sorted(self._kinds.items()):
            lines.append(f"{count} x {trial}: {what}")
        lines.append(f"again: {self.again()}" + (f"; files: {self._kept}" if total else ""))
        return "\n".join(lines)
