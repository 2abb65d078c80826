# SPDX-License-Identifier: BSD-3-Clause
"""Random runs, and a reader of VCDs that shares nothing with what is tried: the truth."""

from dataclasses import dataclass, field

WIDTHS = (1, 1, 2, 4, 8, 31, 32, 33, 64, 65, 200)
TIMESCALES = ("1 ns", "10 ps", "1 fs", "100 us", "1 s")


@dataclass(frozen=True)
class Kinds:
    """What a road can carry."""

    strings: bool = True
    nine_states: bool = True
    events: bool = True
    # More than one firing at a time.
    repeated_events: bool = True
    aliases: bool = True
    # Every variable begins with a value that is not unknown.
    initialised: bool = False


EVERYTHING = Kinds()
TRANSITIONS = Kinds(strings=False)
LIVE = Kinds(strings=False, nine_states=False)
FST = Kinds(strings=False, nine_states=False, events=False, initialised=True)


@dataclass
class _Signal:
    code: str
    kind: str
    width: int
    letters: str


def make_run(random, kinds, changes, scope="top"):
    """The text of a VCD with so many changes."""
    signals = []
    lines = [f"$timescale {random.choice(TIMESCALES)} $end", f"$scope module {scope} $end"]
    depth = 0
    for i in range(random.randint(1, 40)):
        if random.random() < 0.15:
            lines.append(f"$scope module m{i} $end")
            depth += 1
        elif depth and random.random() < 0.2:
            lines.append("$upscope $end")
            depth -= 1
        if kinds.aliases and signals and random.random() < 0.1:
            signal = random.choice(signals)
        else:
            kind = random.choice(("wire", "wire", "reg", "reg", "integer", "real", "event", "string"))
            if (kind == "event" and not kinds.events) or (kind == "string" and not kinds.strings):
                kind = "reg"
            width = {"integer": 32, "real": 64, "event": 1, "string": 1}.get(kind) or random.choice(WIDTHS)
            states = "01xzuwlh-" if kinds.nine_states and random.random() < 0.25 else "01xz"
            signal = _Signal(f"{i}{random.choice(('', '!', '#long'))}", kind, width,
                             random.choice((states, "01")))
            signals.append(signal)
        span = f" [{signal.width - 1}:0]" if signal.kind in ("wire", "reg") and signal.width > 1 else ""
        lines.append(f"$var {signal.kind} {signal.width} {signal.code} s{i}{span} $end")
    lines += ["$upscope $end"] * (depth + 1)
    lines.append("$enddefinitions $end")

    time = 0
    lines.append("#0")
    if kinds.initialised:
        lines += [_zero(signal) for signal in signals]
    busy = random.sample(signals, max(1, len(signals) // 4))
    done = 0
    fired = set()
    while done < changes:
        for _ in range(random.randint(1, 6)):
            signal = random.choice(busy if random.random() < 0.8 else signals)
            if signal.kind == "event" and not kinds.repeated_events:
                if signal.code in fired:
                    continue
                fired.add(signal.code)
            lines.append(_change(random, signal, kinds))
            done += 1
        fired.clear()
        time += random.randint(1, 9) if random.random() < 0.97 else random.randint(1, 1 << 33)
        lines.append(f"#{time}")
    return "\n".join(lines) + "\n"


def _zero(signal):
    if signal.kind == "real":
        return f"r0 {signal.code}"
    if signal.width == 1:
        return f"0{signal.code}"
    return f"b{'0' * signal.width} {signal.code}"


def _change(random, signal, kinds):
    if signal.kind == "real":
        return f"r{random.randint(-10**6, 10**6) / random.choice((1, 8, 1000))!r} {signal.code}"
    if signal.kind == "string":
        return f"s{'t' * random.randint(0, 30)}{random.randint(0, 999)} {signal.code}"
    if signal.kind == "event":
        return f"1{signal.code}"
    if signal.width == 1:
        return f"{random.choice(signal.letters)}{signal.code}"
    letters = signal.letters if random.random() < 0.3 else "01"
    return f"b{''.join(random.choices(letters, k=signal.width))} {signal.code}"


@dataclass
class History:
    """Of each variable by its full name: the last value at each time, without repeats; of an event
    the number of firings."""

    timescale: str = ""
    variables: dict = field(default_factory=dict)
    last_time: int = -1

    def cut(self, last):
        """Up to and with a time."""
        return {name: [change for change in changes if change[0] <= last]
                for name, changes in self.variables.items()}


class Malformed(Exception):
    """A text that is no VCD."""


def _value(kind, width, letters):
    if kind == "real":
        return float(letters)
    letters = letters.lower()
    if len(letters) < width:
        letters = ("0" if letters[:1] in ("1", "h", "l", "") else letters[0]) * (width - len(letters)) + letters
    return letters


def read(text):
    """The history that a VCD tells."""
    history = History()
    codes = {}
    scopes = []
    lines = iter(text.split("\n"))
    for line in lines:
        words = line.split()
        if not words:
            continue
        if words[0] == "$timescale":
            history.timescale = "".join(words[1:-1])
        elif words[0] == "$scope":
            scopes.append(words[2])
        elif words[0] == "$upscope":
            scopes.pop()
        elif words[0] == "$var":
            name = ".".join([*scopes, words[4].split("[")[0]])
            shared = codes.setdefault(words[3], (words[1], int(words[2]), []))
            history.variables[name] = shared[2]
        elif words[0] == "$enddefinitions":
            break
    time = 0
    for line in lines:
        if not line or line[0] == "$":
            continue
        first = line[0]
        if first == "#":
            time = int(line[1:])
            history.last_time = time
            continue
        if first in "bBrRsS":
            letters, _, code = line[1:].rpartition(" ")
        else:
            letters, code = first, line[1:]
        if code not in codes:
            raise Malformed(f"no variable has the code of: {line[:100]}")
        kind, width, changes = codes[code]
        if kind == "event":
            _count(changes, time)
        else:
            _set(changes, time, letters if kind == "string" else _value(kind, width, letters))
    return history


def _count(changes, time):
    if changes and changes[-1][0] == time:
        changes[-1] = (time, changes[-1][1] + 1)
    else:
        changes.append((time, 1))


def _set(changes, time, value):
    if changes and changes[-1][0] == time:
        changes.pop()
    if not changes or changes[-1][1] != value:
        changes.append((time, value))


def difference(truth, shown, last):
    """The first variable that is not shown as it was up to a time, in words, or None."""
    expected, told = truth.cut(last), shown.cut(last)
    if expected.keys() != told.keys():
        return f"variables differ: {sorted(expected.keys() ^ told.keys())[:5]}"
    for name, changes in expected.items():
        if changes != told[name]:
            for i, change in enumerate(changes):
                if i >= len(told[name]) or told[name][i] != change:
                    other = told[name][i] if i < len(told[name]) else "nothing"
                    return f"{name}: {other} is shown, {change} is true"
            return f"{name}: {told[name][len(changes)]} is shown and never was"
    return None
