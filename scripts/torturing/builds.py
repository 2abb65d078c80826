# SPDX-License-Identifier: BSD-3-Clause
"""What there is to try."""

import os
from dataclasses import dataclass, field

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.realpath(__file__))))


@dataclass
class Build:
    """One build directory with a command line in it."""

    directory: str
    # "", "address" or "thread"
    sanitizer: str = ""

    def program(self, path):
        """The program below the build directory, or None."""
        full = os.path.join(self.directory, path)
        return full if os.access(full, os.X_OK) else None

    @property
    def tracewell(self):
        return self.program("tools/tracewell/tracewell")

    @property
    def slowness(self):
        """How much longer a command may take than in a release build."""
        return 6 if self.sanitizer else 1

    @property
    def peak_kib(self):
        """What a command may take of memory for the small runs that are tried here."""
        return (2 << 20) if self.sanitizer else (256 << 10)


@dataclass
class Builds:
    programs: list = field(default_factory=list)
    # Directory with harnesses that are fuzzers, or None.
    fuzzers: str = None


def _sanitizer_of(directory):
    try:
        with open(os.path.join(directory, "CMakeCache.txt"), encoding="utf-8") as cache:
            for line in cache:
                if line.startswith("TRACEWELL_SANITIZE:"):
                    value = line.split("=", 1)[1]
                    return "thread" if "thread" in value else "address" if "address" in value else ""
    except OSError:
        pass
    return ""


def find(directories):
    """Of the named directories, or of those that the presets have."""
    named = directories or [os.path.join(ROOT, "build", name) for name in ("release", "asan", "tsan")]
    found = Builds()
    for directory in named:
        build = Build(os.path.realpath(directory), _sanitizer_of(directory))
        if build.tracewell:
            found.programs.append(build)
    fuzzers = os.path.join(ROOT, "build", "fuzz", "fuzz")
    if os.path.isdir(fuzzers) and any(name.startswith("fuzz_") for name in os.listdir(fuzzers)):
        found.fuzzers = fuzzers
    return found
