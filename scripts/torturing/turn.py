# SPDX-License-Identifier: BSD-3-Clause
"""One turn: a trial with a seed of its own, in a directory of its own."""

import os
import random
import re
import shutil
import tempfile
import time
import traceback

from . import trials
from .process import Running

SANITIZER_WORDS = re.compile(r"\w+Sanitizer|runtime error:|WARNING: ThreadSanitizer")


class Turn:
    """What a trial has in its hands."""

    def __init__(self, seed, number, builds, report, chosen):
        self.seed = seed
        self.number = number
        self.random = random.Random(f"{seed}/{number}")
        self._report = report
        names = [name for name in trials.ALL if not chosen or name in chosen]
        # Chosen before anything else, so that a turn played again is the same trial.
        self.name = names[self.random.randrange(len(names))]
        self.build = self.random.choice(builds.programs)
        self.builds = builds
        self.directory = None
        self._running = []
        self._commands = 0

    def play(self):
        began = time.monotonic()
        self.directory = tempfile.mkdtemp(prefix="torture-")
        try:
            trials.ALL[self.name](self)
        except Exception:  # A trial that fails itself must not go by unseen.
            self.finding("the trial broke", traceback.format_exc())
        finally:
            for program in self._running:
                if program.is_running():
                    program.kill()
                    program.wait(10)
            shutil.rmtree(self.directory, ignore_errors=True)
            self._report.count(self.name, time.monotonic() - began, self._commands)

    # Files

    def path(self, name):
        return os.path.join(self.directory, name)

    def write(self, name, content):
        with open(self.path(name), "wb") as stream:
            stream.write(content.encode() if isinstance(content, str) else content)
        return name

    def read(self, name):
        with open(self.path(name), "rb") as stream:
            return stream.read()

    def exists(self, name):
        return os.path.exists(self.path(name))

    # Programs

    def start(self, *arguments, program=None, **options):
        """The command line with these arguments, or another program."""
        environment = dict(os.environ, TMPDIR=self.directory)
        log = self.path("sanitizer-report")
        # A stream may be closed, so reports go to a file as well.
        environment["ASAN_OPTIONS"] = f"log_path={log}"
        environment["UBSAN_OPTIONS"] = f"log_path={log}:print_stacktrace=1"
        environment["TSAN_OPTIONS"] = f"log_path={log}"
        command = [program or self.build.tracewell, *[str(argument) for argument in arguments]]
        running = Running(command, self.directory, environment=environment, **options)
        self._running.append(running)
        self._commands += 1
        return running

    def end(self, running, expect=(0, 1), seconds=60, peak_kib=None):
        """Waits for the end, and judges it. `expect` are the exit codes that are no finding; a
        signal that was sent on purpose stands there as a negative number."""
        outcome = running.wait(seconds * self.build.slowness)
        reports = [name for name in os.listdir(self.directory) if name.startswith("sanitizer-report")]
        if outcome.hung:
            self.finding("hang", outcome.describe(), outcome.command)
        elif reports or SANITIZER_WORDS.search(outcome.err):
            self.finding("sanitizer report", outcome.describe(), outcome.command)
            for name in reports:
                os.unlink(self.path(name))
        elif outcome.code < 0 and outcome.code not in expect:
            self.finding(f"crash by signal {-outcome.code}", outcome.describe(), outcome.command)
        elif outcome.code not in expect:
            self.finding(f"exit code {outcome.code}", outcome.describe(), outcome.command)
        if outcome.peak_kib > (peak_kib or self.build.peak_kib):
            self.finding("memory", f"{outcome.peak_kib >> 10} MiB", outcome.command)
        return outcome

    def run(self, *arguments, expect=(0,), seconds=60, peak_kib=None, **options):
        return self.end(self.start(*arguments, **options), expect, seconds, peak_kib)

    # Judgements

    def finding(self, what, detail, command=""):
        self._report.add(self, what, detail, command)

    def require(self, holds, what, detail="", command=""):
        if not holds:
            self.finding(what, detail, command)
        return holds
