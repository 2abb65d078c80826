#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-3-Clause
"""completion.py TRACEWELL SHARE

Types command lines into bash, zsh and fish, as far as they are there, with a TAB in them and Enter behind it,
and looks at what arguments a program then gets. Names and files have every sign in them that a shell takes
for something else.
"""

import os
import pty
import select
import shutil
import subprocess
import sys
import tempfile
import time

SHARE = os.path.abspath(sys.argv[2])
TOOL = os.path.abspath(sys.argv[1])

# In the scope "top", each with another first letter: `typed` completes to it in every shell.
ODD_NAMES = ["a$HOME", "y${IFS}x", "g`touch${IFS}pwned`", "d$(touch${IFS}pwned)", "e;touch", "f'g", 'h"', "i!j",
             "k&l", "m~", "n\\o", "p#", "q*", "r|s>t", "u{v,w}", "x=y:z", "A B\\", "C?", "D^", "ü€"]
FILES = {"run.vcd": "run.vcd", "my run.vcd": "my\\ run.vcd", "do$l.vcd": "do\\$l.vcd", "br[1].vcd": "br\\[1\\].vcd",
         "back\\sl.vcd": "back\\\\sl.vcd", "c:d.vcd": "c:d.vcd", "a=b.vcd": "a=b.vcd", "it's.vcd": "it\\'s.vcd",
         "dir with/r.vcd": "dir\\ with/r.vcd"}

# What is typed, what behind the TAB, and the arguments; the shells, unless it is all.
LINES = [
    ("sear", "", ["search"]),
    ("--ver", "", ["--version"]),
    ("help inf", "", ["help", "info"]),
    ("values ru", "", ["values", "run.vcd"]),
    ("values my", "", ["values", "my run.vcd"]),
    ('values "my', "", ["values", "my run.vcd"]),
    ("values do", "", ["values", "do$l.vcd"]),
    ("values ba", "", ["values", "back\\sl.vcd"]),
    ("pack run.v", "", ["pack", "run.vcd"]),
    ("merge o.wdb x=my", "", ["merge", "o.wdb", "x=my run.vcd"]),
    ("view run.vcd --with=od", "", ["view", "run.vcd", "--with=odd.vcd"]),
    ("search run.vcd --sample=b", "", ["search", "run.vcd", "--sample=before"]),
    ("search run.vcd --show=top.bu", "", ["search", "run.vcd", "--show=top.bus[7:0]"]),
    ("search run.vcd --scope top.bl", "", ["search", "run.vcd", "--scope", "top.blk[1]"]),
    ("search run.vcd '!top.clk && top.bu", "", ["search", "run.vcd", "!top.clk && top.bus"]),
    ("values run.vcd --radix asc", "", ["values", "run.vcd", "--radix", "ascii"]),
    ("values run.vcd --radix top.bu", "hex", ["values", "run.vcd", "--radix", "top.bus[7:0]=hex"]),
    ("values run.vcd --radix=top.clk=asc", "", ["values", "run.vcd", "--radix=top.clk=ascii"]),
    ("pack run.vcd o.wdb --store i", "", ["pack", "run.vcd", "o.wdb", "--store", "indexed"]),
    ("draw -o odd.vcd run.vcd top.bu", "", ["draw", "-o", "odd.vcd", "run.vcd", "top.bus[7:0]"]),
    ("diff run.vcd odd.vcd alone.o", "", ["diff", "run.vcd", "odd.vcd", "alone.one"]),
    ("find run.vcd top.cl", "", ["find", "run.vcd", "top.cl"]),
    ("find run.vcd 5 top.cl", "", ["find", "run.vcd", "5", "top.clk"]),
    ("values run.vcd top.blk\\[1", "", ["values", "run.vcd", "top.blk[1].deep"]),
    ("values run.vcd top.blk[1", "", ["values", "run.vcd", "top.blk[1].deep"], "bash fish"),
    ("values run.vcd top.bus[7:", "", ["values", "run.vcd", "top.bus[7:0]"], "bash fish"),
    ("values run.vcd -- -ne", "", ["values", "run.vcd", "--", "-neg"]),
    ("values run.vcd od", "", ["values", "run.vcd", "od"]),
    ("values run.vcd -ne", "", ["values", "run.vcd", "-ne"]),
    ("values ~/r.vcd top.bu", "", ["values", "~/r.vcd", "top.bus[7:0]"]),
    ("values run.vcd >out top.bu", "", ["values", "run.vcd", "top.bus[7:0]"], "bash zsh"),
]
for name in ODD_NAMES:
    for quote in ("", "'", '"'):
        LINES.append((f"values run.vcd {quote}top.{name[0]}", "", ["values", "run.vcd", f"top.{name}"]))
for name, typed in FILES.items():
    LINES.append((f"values {typed} top.bu", "", ["values", name, "top.bus[7:0]"]))
    if '"' not in name and "$" not in name and "\\" not in name:
        LINES.append((f'values "{name}" top.bu', "", ["values", name, "top.bus[7:0]"]))

SHELLS = {
    "bash": (["bash", "--norc", "--noprofile", "-i"], f"source '{SHARE}/bash-completion/completions/tracewell'"),
    "zsh": (["zsh", "-f", "-i"], f"fpath=('{SHARE}/zsh/vendor-completions' $fpath); autoload -Uz compinit; "
            "compinit -u -D; zstyle ':completion:*' insert-tab false"),
    "fish": (["fish", "--no-config", "-i"], f"source '{SHARE}/fish/vendor_completions.d/tracewell.fish'"),
}
PACKAGE = "/usr/share/bash-completion/bash_completion"
if os.path.exists(PACKAGE):
    SHELLS["bash with its package"] = (["bash", "--norc", "--noprofile", "-i"], f"source {PACKAGE}")

MOST_FAILURES = 5
failures = []


def fail(text):
    print(text, flush=True)
    failures.append(text)
    if len(failures) == MOST_FAILURES:
        sys.exit(1)


def declare(names, scope="top"):
    text = f"$timescale 1 ns $end $scope module {scope} $end\n"
    for place, name in enumerate(names):
        text += f"$var wire {8 if '[7' in name else 1} {chr(ord('A') + place)} {name} $end\n"
    return text + "$upscope $end\n"


def make_files(place):
    inner = "$scope module blk[1] $end $var wire 1 ! deep $end $upscope $end\n"
    run = declare(["clk", "bus [7:0]"] + ODD_NAMES).replace("$upscope", inner + "$upscope", 1)
    run += "$var wire 1 # -neg $end $enddefinitions $end\n#0\n0!\n"
    for name in FILES:
        os.makedirs(os.path.dirname(os.path.join(place, name)), exist_ok=True)
        with open(os.path.join(place, name), "w", encoding="utf-8") as file:
            file.write(run)
    os.mkdir(place + "/home")
    shutil.copy(place + "/run.vcd", place + "/home/r.vcd")
    with open(place + "/odd.vcd", "w", encoding="utf-8") as file:
        file.write(declare(["one"], "alone") + "$enddefinitions $end\n#0\n0A\n")
    os.mkdir(place + "/bin")
    with open(place + "/bin/tracewell", "w", encoding="utf-8") as file:
        file.write(f"#!/bin/sh\n[ \"$1\" != --complete ] || exec '{TOOL}' \"$@\"\n"
                   f"printf '%s\\0' \"$@\" >'{place}/new' && mv '{place}/new' '{place}/arguments'\n")
    os.chmod(place + "/bin/tracewell", 0o755)


class Terminal:
    def __init__(self, place, argv, setup):
        self.place = place
        self.child, self.terminal = pty.fork()
        if self.child == 0:
            environment = {"PATH": f"{place}/bin:{os.environ['PATH']}", "HOME": place + "/home", "TERM": "xterm",
                           "LC_ALL": "C.UTF-8", "XDG_DATA_DIRS": SHARE, "XDG_CONFIG_HOME": place + "/home"}
            os.chdir(place)
            os.execvpe(argv[0], argv, environment)
        self.arguments_of("", setup + "; tracewell ready\r", ["ready"])

    def arguments_of(self, what, keys, want):
        """What the program is called with once the keys are typed."""
        os.write(self.terminal, keys.encode())
        shown, path = b"", self.place + "/arguments"
        end = time.monotonic() + 20
        while not os.path.exists(path):
            if time.monotonic() > end:
                fail(f"{what}: no command is run; the terminal has {shown!r}")
                os.write(self.terminal, b"\x03")
                return
            if select.select([self.terminal], [], [], 0.02)[0]:
                shown += os.read(self.terminal, 65536)
        with open(path, encoding="utf-8") as file:
            got = file.read().split("\0")[:-1]
        os.unlink(path)
        if got != want:
            fail(f"{what} gives {got}, not {want}; the terminal has {shown!r}")

    def close(self):
        os.close(self.terminal)
        os.waitpid(self.child, 0)


def try_shell(place, shell):
    argv, setup = SHELLS[shell]
    if shutil.which(argv[0]) is None:
        print(f"{argv[0]} is not there")
        return
    terminal = Terminal(place, argv, setup)
    try:
        for typed, behind, want, *shells in LINES:
            if shells and argv[0] not in shells[0]:
                continue
            want = [word.replace("~", place + "/home", 1) if word[0] == "~" else word for word in want]
            terminal.arguments_of(f"{shell}: {typed}", f"tracewell {typed}\t{behind}\r", want)
    finally:
        terminal.close()


def answers(*words):
    lines = subprocess.run([TOOL, "--complete", *words], stdout=subprocess.PIPE, check=True).stdout.decode()
    return [line.split("\t")[1] for line in lines.splitlines()]


def hold_options_against_help():
    commands = [word for word in answers("") if word not in ("help", "version")]
    assert len(commands) > 15
    for command in commands:
        listed = subprocess.run([TOOL, "help", command], stdout=subprocess.PIPE, check=True).stdout.decode()
        options = [word for line in listed.split("\nOptions:\n")[1].split("\n\n")[0].splitlines()
                   if line.startswith("  -") for word in line.split()[0].split(",")]
        if sorted(answers(command, "-")) != sorted(options):
            fail(f"{command} completes {answers(command, '-')}, not {options}")


def hold_bounds(place):
    """A pipe is not read, and many names come by their scopes."""
    os.mkfifo(place + "/pipe")
    if answers("values", place + "/pipe", ""):
        fail("a pipe has signals")
    many = "".join(f"$scope module s{i} $end $var wire 1 ! a $end $var wire 1 ! b $end $upscope $end\n"
                   for i in range(300))
    with open(place + "/many.vcd", "w", encoding="utf-8") as file:
        file.write(f"$timescale 1 ns $end {many} $enddefinitions $end\n#0\n0!\n")
    if sorted(answers("values", place + "/many.vcd", "s")) != sorted(f"s{i}." for i in range(300)):
        fail("600 names do not come by their scopes")


def main():
    with tempfile.TemporaryDirectory() as place:
        make_files(place)
        hold_options_against_help()
        hold_bounds(place)
        for shell in SHELLS:
            try_shell(place, shell)
        if os.path.exists(place + "/pwned"):
            fail("a name was executed")
    return 1 if failures else 0


sys.exit(main())
