# SPDX-License-Identifier: BSD-3-Clause
"""Programs and what they take."""

import os
import shlex
import shutil
import subprocess
import tempfile
from dataclasses import dataclass

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.realpath(__file__))))

# Of what a program writes: the rest is not looked at.
READ_BYTES = 1 << 28


@dataclass
class Measured:
    """One run, or the middle one of several."""

    command: str
    wall: float  # seconds
    processor: float
    peak_mib: float
    code: int
    out: str
    err: str

    @property
    def is_done(self):
        return self.code == 0


class Meter:
    """Runs programs by `scale run`, which is small: a process begins with the peak of who made it."""

    def __init__(self, build, directory):
        self.launcher = os.path.join(build, "bench", "scale")
        self.directory = directory

    def run(self, command, seconds=3600, feeder=None):
        """One run of a command (a list); `feeder`, another one, writes its standard input."""
        text = shlex.join(command)
        report = os.path.join(self.directory, ".report")
        if os.path.exists(report):
            os.unlink(report)
        program = shutil.which(command[0]) or command[0]
        feeding = None
        if feeder:
            text = f"{shlex.join(feeder)} | {text}"
            feeding = subprocess.Popen(feeder, cwd=self.directory, stdout=subprocess.PIPE)
        with tempfile.TemporaryFile() as out, tempfile.TemporaryFile() as err:
            code = subprocess.run([self.launcher, "run", report, program, *command[1:]], cwd=self.directory,
                                  stdout=out, stderr=err, timeout=seconds, check=False,
                                  stdin=feeding.stdout if feeding else subprocess.DEVNULL).returncode
            if feeding:
                feeding.stdout.close()
                feeding.wait()
            with open(report, encoding="utf-8") as stream:
                told = values_of(stream.read())
            out.seek(0)
            err.seek(0)
            return Measured(text, told["wall"], told["processor"], told["peak"], code,
                            out.read(READ_BYTES).decode("utf-8", "replace"),
                            err.read(READ_BYTES).decode("utf-8", "replace"))

    def median(self, command, runs, before=None, **options):
        """The run with the middle wall time. `before` is called in front of each."""
        results = []
        for _ in range(runs):
            if before:
                before()
            results.append(self.run(command, **options))
            if not results[-1].is_done:
                return results[-1]
        return sorted(results, key=lambda result: result.wall)[len(results) // 2]


def values_of(text):
    """The numbers of "name=number" lines."""
    return {name: float(number) for name, _, number in
            (line.partition("=") for line in text.splitlines()) if number}
