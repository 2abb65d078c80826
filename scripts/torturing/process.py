# SPDX-License-Identifier: BSD-3-Clause
"""Programs in processes of their own, with a limit of time and what they took."""

import ctypes
import os
import resource
import shlex
import signal
import subprocess
import time
from dataclasses import dataclass

# No answer that is looked at here is longer.
READ_BYTES = 64 << 20

_LIBC = ctypes.CDLL(None)
_PR_SET_PDEATHSIG = 1


@dataclass
class Outcome:
    command: str
    code: int  # negative for a signal
    out: str
    err: str
    peak_kib: int
    seconds: float
    hung: bool

    def describe(self):
        ending = f"signal {-self.code}" if self.code < 0 else f"exit code {self.code}"
        return f"{ending} after {self.seconds:.1f} s\nstdout: {self.out[:1500]}\nstderr: {self.err[:3000]}"


class Running:
    """A program that was started. Its streams go to files, so that it never waits for us."""

    def __init__(self, command, directory, stdin=None, environment=None, closed=(), file_bytes=None):
        self.command = shlex.join(command)
        self._began = time.monotonic()
        self._out = open(os.path.join(directory, f".out-{time.monotonic_ns()}"), "w+b")
        self._err = open(os.path.join(directory, f".err-{time.monotonic_ns()}"), "w+b")

        def prepare():
            # A shell's background job ignores it, and so would what we interrupt.
            signal.signal(signal.SIGINT, signal.SIG_DFL)
            # Nothing outlives us, however we end.
            _LIBC.prctl(_PR_SET_PDEATHSIG, signal.SIGKILL)
            for stream in closed:
                os.close(stream)
            if file_bytes is not None:
                resource.setrlimit(resource.RLIMIT_FSIZE, (file_bytes, file_bytes))

        self._process = subprocess.Popen(
            command, cwd=directory, stdin=stdin if stdin is not None else subprocess.DEVNULL,
            stdout=self._out, stderr=self._err, env=environment, preexec_fn=prepare,
            start_new_session=True)
        self.pid = self._process.pid
        self._usage = None

    @property
    def stdin(self):
        return self._process.stdin

    def is_running(self):
        if self._process.returncode is None:
            pid, status, usage = os.wait4(self.pid, os.WNOHANG)
            if pid:
                self._process.returncode = os.waitstatus_to_exitcode(status)
                self._usage = usage
                self._seconds = time.monotonic() - self._began
        return self._process.returncode is None

    def signal(self, number):
        if self.is_running():
            os.kill(self.pid, number)

    def kill(self):
        self.signal(signal.SIGKILL)

    def errors(self):
        """What it has said so far."""
        with open(self._err.name, "rb") as stream:
            return stream.read(READ_BYTES).decode("utf-8", "replace")

    def output(self):
        with open(self._out.name, "rb") as stream:
            return stream.read(READ_BYTES).decode("utf-8", "replace")

    def _waited(self):
        """Seconds in which its threads, and those of its children, were ready and had no processor."""
        waited = 0
        for process in filter(str.isdigit, os.listdir("/proc")):
            try:
                if os.getsid(int(process)) != self.pid:
                    continue
                for task in os.listdir(f"/proc/{process}/task"):
                    with open(f"/proc/{process}/task/{task}/schedstat", encoding="ascii") as stream:
                        waited += int(stream.read().split()[1])
            except (OSError, IndexError):
                continue
        return waited / 1e9

    def wait(self, seconds):
        """Its end; after so many seconds it is killed and counts as hung. Seconds in which other
        work had the processors do not count, up to twenty times as many."""
        hung = False
        began = time.monotonic()
        waited = self._waited()
        until = began + seconds
        pause = 0.001
        while self.is_running():
            if time.monotonic() > until and not hung:
                until = min(began + seconds + self._waited() - waited, began + 20 * seconds)
                hung = time.monotonic() > until
                if hung:
                    self.kill()
            time.sleep(pause)
            pause = min(2 * pause, 0.05)
        outcome = Outcome(self.command, self._process.returncode, self.output(), self.errors(),
                          self._usage.ru_maxrss, self._seconds, hung)
        for stream in (self._out, self._err):
            stream.close()
            os.unlink(stream.name)
        if self._process.stdin:
            try:
                self._process.stdin.close()
            except BrokenPipeError:
                pass
        return outcome
