#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-3-Clause
"""Runs the commands of a page and compares what they print with what the page shows.

  tutorial.py PAGE CLONE TRACEWELL

In the page's fenced blocks a line behind "$ " is a command, and what follows up to the next one is what it
prints, on either stream; "..." in it stands for anything. All run in one shell, in an empty directory with
the clone beside, as the page says. `tracewell view` ends by itself here, its page is fetched meanwhile.
Exit code 77 where a program is missing that the page takes.
"""

import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import urllib.request

# Commands that end with 1 on purpose: runs that differ, and a search that finds nothing.
ENDS_WITH_1 = re.compile(r"tracewell (diff|search) ")


def commands_of(page):
    """Pairs of a command and what it is to print."""
    commands = []
    inside = False
    with open(page, encoding="utf-8") as lines:
        for line in lines:
            if line.startswith("```"):
                inside = not inside
                current = None
            elif inside and line.startswith("$ "):
                current = [line[2:].strip(), ""]
                commands.append(current)
            elif inside and current:
                current[1] += line
    return commands


def matches(expected, printed):
    pattern = ".*".join(re.escape(part) for part in expected.split("..."))
    return re.fullmatch(pattern, printed) is not None


class Shell:
    """One shell for all commands, so that directories and variables stay."""

    END = "--- end of a command:"

    def __init__(self, directory, environment):
        self._bash = subprocess.Popen(["bash"], cwd=directory, env=environment, text=True, stdin=subprocess.PIPE,
                                      stdout=subprocess.PIPE, stderr=subprocess.STDOUT)

    def begin(self, command):
        self._bash.stdin.write(f"{command}\necho '{self.END}' $?\n")
        self._bash.stdin.flush()

    def line(self):
        return self._bash.stdout.readline()

    def finish(self, printed=""):
        """What was printed, and the exit code."""
        for line in self._bash.stdout:
            # The end stands behind what did not end its line.
            if self.END in line:
                before, _, code = line.partition(self.END)
                return printed + before, int(code)
            printed += line
        return printed, -1

    def close(self):
        self._bash.stdin.close()
        self._bash.wait()


def view(shell, command):
    """What it prints, after a look at the page that it serves; ended as by Ctrl+C."""
    shell.begin(f"(echo $BASHPID; exec {command} --no-open)")
    process = int(shell.line())
    first = shell.line()
    try:
        address = first.split("#")[0].strip()
        with urllib.request.urlopen(address, timeout=30) as answer:
            if b"<html" not in answer.read().lower():
                sys.exit(f"FAILED: {command}: what is served at {address} is no page")
    finally:
        os.kill(process, signal.SIGINT)
    return shell.finish(first)


def main():
    page, clone, tracewell = sys.argv[1:]
    if not shutil.which("iverilog"):
        print("iverilog is missing")
        return 77
    commands = commands_of(page)
    if len(commands) < 10:
        sys.exit(f"FAILED: {page}: has {len(commands)} commands; is it still a tutorial?")
    with tempfile.TemporaryDirectory() as directory:
        os.symlink(clone, os.path.join(directory, "tracewell"))
        environment = dict(os.environ, LC_ALL="C.UTF-8", TZ="UTC", COLUMNS="80")
        environment["PATH"] = os.path.dirname(tracewell) + ":" + environment["PATH"]
        shell = Shell(directory, environment)
        for command, expected in commands:
            if command.startswith("tracewell view "):
                printed, code = view(shell, command)
            else:
                shell.begin(command)
                printed, code = shell.finish()
            allowed = (0, 1) if ENDS_WITH_1.match(command) else (0,)
            if code not in allowed or not matches(expected, printed):
                sys.exit(f"FAILED: $ {command}\nexit code {code}\n--- the page says\n{expected}--- printed was\n{printed}")
            print(f"$ {command}")
        shell.close()
    print(f"{len(commands)} commands print what the page shows")
    return 0


if __name__ == "__main__":
    sys.exit(main())
