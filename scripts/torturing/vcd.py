# SPDX-License-Identifier: BSD-3-Clause
"""Random runs, and a reader of VCDs that shares nothing with what is tried: the truth."""

import re
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


@dataclass(frozen=True)
class Declared:
    """What a variable is."""

    kind: str
    width: int
    code: str


@dataclass
class History:
    """Of each variable by its full name, with its range: the last value at each time, without repeats; of an
    event the number of firings. The second of one name is name#2."""

    timescale: str = ""
    variables: dict = field(default_factory=dict)
    declared: dict = field(default_factory=dict)
    last_time: int = -1

    def cut(self, last):
        """Up to and with a time."""
        return {name: [change for change in changes if change[0] <= last]
                for name, changes in self.variables.items()}


class Malformed(Exception):
    """A text that is no VCD, or can be read in several ways: nothing is to be judged by it."""


class _Words:
    """What white space parts, over all lines; and the line of the last one."""

    # Python's own split knows more kinds of white space than a VCD.
    _WORD = re.compile(r"[^ \t\r\v\f]+")
    _ODD = re.compile("[\x1c-\x1f]")

    def __init__(self, text):
        self._lines = text.split("\n")
        self._split = str.split if text.isascii() and not self._ODD.search(text) else self._WORD.findall
        self.number = 0
        self.line = ""
        self.on_line = []
        # How many of the line's words are taken.
        self.taken = 0

    def __iter__(self):
        for self.number, self.line in enumerate(self._lines, 1):
            self.on_line = self._split(self.line)
            for self.taken, word in enumerate(self.on_line, 1):
                yield word


_STATES = frozenset("01xzuwlh-XZUWLH")
_KEYWORDS_OF_VALUES = frozenset(("$dumpvars", "$dumpall", "$dumpon", "$dumpoff", "$end"))


def read(text):
    """The history that a VCD tells, however it lies on lines."""
    if "\0" in text:
        raise Malformed("a NUL byte")
    words = _Words(text)
    source = iter(words)
    history = History()
    try:
        codes = _declarations(source, history)
        _changes(source, words, history, codes)
    except StopIteration:
        raise Malformed("it ends in the midst of something") from None
    except ValueError as error:
        raise Malformed(f"line {words.number}: {error}") from None
    except Malformed as error:
        raise Malformed(f"line {words.number}: {error}") from None
    return history


def _to_end(source):
    words = []
    while (word := next(source)) != "$end":
        words.append(word)
    return words


def _declarations(source, history):
    """From a code to the width and the changes of its variables."""
    codes = {}
    scopes = []
    while True:
        keyword = next(source)
        if keyword[0] != "$":
            raise Malformed(f"no declaration: {keyword[:40]}")
        words = _to_end(source)
        if keyword == "$timescale":
            history.timescale = "".join(words).lower()
        elif keyword == "$scope":
            if len(words) < 2:
                raise Malformed("a scope without a name")
            scopes.append(words[1])
        elif keyword == "$upscope":
            if not scopes:
                raise Malformed("more scopes end than began")
            scopes.pop()
        elif keyword == "$var":
            if len(words) < 4:
                raise Malformed("a variable without a name")
            _declare(history, codes, ".".join([*scopes, "".join(words[3:])]),
                     Declared(words[0], int(words[1]), words[2]))
        elif keyword == "$enddefinitions":
            return codes


def _declare(history, codes, name, declared):
    shared = codes.setdefault(declared.code, (declared.kind == "event", declared.width, []))
    if shared[:2] != (declared.kind == "event", declared.width):
        raise Malformed(f"{name}: another variable of the same code is of another width or kind")
    free, same = name, 1
    while free in history.variables:
        same += 1
        free = f"{name}#{same}"
    history.variables[free] = shared[2]
    history.declared[free] = declared


def _changes(source, words, history, codes):
    time = 0
    for word in source:
        first = word[0]
        if first in _STATES:
            letters, code = first, word[1:]
        elif first == "#":
            if not word[1:].isdecimal():
                raise Malformed(f"no time: {word[:40]}")
            time = int(word[1:])
            if time < history.last_time:
                raise Malformed(f"the time goes back to {time}")
            history.last_time = time
            continue
        elif first in "bBrR":
            letters, code = word[1:], next(source)
        elif first in "sS":
            letters, code = _string(source, words, codes)
        elif first == "$":
            if word not in _KEYWORDS_OF_VALUES:
                _to_end(source)
            continue
        else:
            raise Malformed(f"no change: {word[:40]}")
        if code not in codes:
            raise Malformed(f"no variable has the code {code[:40]}")
        is_event, width, changes = codes[code]
        if is_event:
            _count(changes, time)
        elif first in "sS":
            _set(changes, time, letters)
        else:
            _set(changes, time, _real(letters) if first in "rR" else bits(width, letters))


def _string(source, words, codes):
    """The text and the code of a change that has begun. Some writers leave spaces in the text, and the code is
    the last word of the line then."""
    rest = words.on_line[words.taken:]
    text = words.on_line[words.taken - 1][1:]
    if len(rest) > 1 and rest[-1] in codes:
        if words.taken != 1 or rest[0] in codes:
            raise Malformed("a text that can be read in two ways")
        text = words.line.rstrip()[1:-len(rest[-1]) - 1]
        for _ in rest[1:]:
            next(source)
    return text, next(source)


def _real(letters):
    value = float(letters)
    # One that is no number is not even what it is itself.
    return value if value == value else "nan"


def bits(width, letters):
    letters = letters.lower()
    if len(letters) < width:
        letters = ("0" if letters[:1] in ("1", "h", "l", "") else letters[0]) * (width - len(letters)) + letters
    if len(letters) > width or not _STATES.issuperset(letters):
        raise Malformed(f"no value of {width} bits: {letters[:40]}")
    return letters


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
