# SPDX-License-Identifier: BSD-3-Clause
"""Recordings of simulations as numpy arrays.

    import tracewell

    run = tracewell.open("run.wdb")            # also .vcd, .fst and .ghw, packed or not
    count = run["top.dut.count"]["10us":"20us"]
    count.times, count.values, count.unknown   # numpy arrays
    run.search("top.valid && !top.ready", on="posedge top.clk")

    with tracewell.Recorder("out.wdb", timescale="1ns") as recorder:
        clk = recorder.add("top.clk")
        for time in range(10):
            recorder.time(5 * time)
            clk.set(time % 2)

Times are whole numbers of the recording's timescale wherever they come out. Where they go in they may
also be texts with a unit: "12.5us". Objects may be used by several threads; long work lets others run.
"""

import os
import warnings

from . import _tracewell

__all__ = ["open", "follow", "Run", "Signal", "History", "Matches", "Match", "Differences",
           "Difference", "Picture", "Recorder", "Variable", "LiveMoment", "DamageWarning"]
__version__ = _tracewell.version

_LATEST = 2**63 - 1


class DamageWarning(UserWarning):
    """An answer lacks something: a recording that is damaged, or that nobody closed."""


def _warn(run):
    for line in run.shortfalls():
        warnings.warn("%s: %s" % (run.path, line), DamageWarning, stacklevel=4)


def open(path, *, beyond=False):  # pylint: disable=redefined-builtin
    """Opens a recording, or a run as a VCD, an FST or a GHW file, packed by gzip, zstd or xz.

    What the file is, its first bytes say. A run in a format of others is read as a whole first, into
    a temporary file. `beyond` shows what lies behind the end up to which a recording that was never
    closed is whole.

    Raises FileNotFoundError and other OSErrors for what cannot be read.
    """
    path = os.fspath(path)
    os.stat(path)
    if os.path.isdir(path):
        raise IsADirectoryError(21, os.strerror(21), path)
    return Run(_tracewell.OpenRun(path, beyond))


class Run:
    """A recording: its signals by name. `for name in run` gives all names; `len(run)` counts them."""

    def __init__(self, run, live=None):
        self._run, self._live = run, live

    @property
    def path(self):
        """Where it came from."""
        return self._run.path

    @property
    def timescale(self):
        """The unit of times as a text: "1 ns"; empty where none is known."""
        return self._run.timescale_text()

    @property
    def seconds(self):
        """The unit of times in seconds: 1e-09."""
        factor, exponent = self._run.timescale()
        return float("%de%d" % (factor, exponent))

    @property
    def end(self):
        """The last time of the recording."""
        return self._run.end()

    @property
    def names(self):
        """The full names of all signals, in the order of declaration."""
        return self._run.names()

    def __iter__(self):
        return iter(self._run.names())

    def __len__(self):
        return self._run.size()

    def __contains__(self, name):
        try:
            self._run.signal(name)
        except KeyError:
            return False
        return True

    def __getitem__(self, name):
        """The signal of a full name, with or without its range, or bits of it: "top.bus[7:4]".

        Raises KeyError, with the nearest names, where there is none or more than one.
        """
        return Signal(self._run, self._run.signal(name))

    def find(self, *patterns):
        """All signals that fit: names, scopes, or patterns with * and ?."""
        return [Signal(self._run, found) for found in self._run.select(list(patterns))]

    def time(self, value):
        """A time as a number of the timescale: from "12.5us", or the number itself."""
        return _time(self._run, value)

    def format(self, time):
        """A time as a text, in the unit that reads best: "12.5 us"."""
        return self._run.format_time(_time(self._run, time))

    def histories(self, names, start=None, end=None):
        """The histories of several signals, as a dictionary by their names.

        Of a recording in a store by address this is one pass for all of them.
        """
        found = self._run.select([names] if isinstance(names, str) else list(names))
        first, last = _window(self._run, slice(start, end))
        arrays = self._run.histories(found, first, last)
        _warn(self._run)
        return {signal.name: History(self._run, signal, each)
                for signal, each in zip(found, arrays)}

    def sample(self, on, names, *, at=False, start=None, end=None):
        """What signals are at events: (times, {name: values}).

        `on` is an event as `tracewell search --on` takes it: "posedge top.clk iff top.enable".
        Values are those just before the event, or with `at` those from it on. Of numbers with
        unknown bits they have 0 there; values that are not there yet are 0, nan or an empty text.
        """
        request = _tracewell.SearchRequest()
        request.expression, request.on, request.at = "1", on, at
        request.start, request.end = _bounds(self._run, start, end)
        times = self._run.search(request)[0]
        found = self._run.select([names] if isinstance(names, str) else list(names))
        arrays = self._run.histories(found, 0, _LATEST)
        _warn(self._run)
        sampled = {}
        for signal, each in zip(found, arrays):
            sampled[signal.name] = History(self._run, signal, each).at(times, before=not at)
        return times, sampled

    def search(self, expression, *, on="", at=False, then="", within=0, at_least=0, scope="",
               show=(), start=None, end=None, most=0):
        """When a condition is true, as `tracewell search` finds it: Matches.

        `on` looks at events alone, `at` after them and not just before; `at_least` is how long it
        holds; `then` and `within` look for a second condition behind it; `most` ends the search.

        Raises ValueError for an expression that makes no sense, with the place in it.
        """
        request = _tracewell.SearchRequest()
        request.expression, request.on, request.at = expression, on, at
        request.then, request.within = then, _time(self._run, within)
        request.at_least, request.scope = _time(self._run, at_least), scope
        request.show = [show] if isinstance(show, str) else list(show)
        request.start, request.end = _bounds(self._run, start, end)
        request.most = most
        return Matches(*self._run.search(request))

    def diff(self, other, *names, ignore=()):
        """Where another run differs first, signal by signal: Differences, false when they do not."""
        return Differences(*self._run.diff(other._run, list(names),
                                           [ignore] if isinstance(ignore, str) else list(ignore)))

    def draw(self, *names, start=None, end=None, width=1200):
        """A picture of signals, all if none is named. A notebook shows it."""
        first, last = _window(self._run, slice(start, None))
        last = self.end if end is None else _time(self._run, end)
        return Picture(self._run.draw(list(names), first, last, width))

    def close(self):
        """Closes the file. Histories stay."""
        if self._live is not None:
            self._live.close()
        self._run.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def __repr__(self):
        return "<tracewell.Run %s: %d signals, %s>" % (
            self.path, len(self), self._run.format_time(self.end))


def _time(run, value):
    if isinstance(value, str):
        return run.parse_time(value)
    return value.__index__()


def _bounds(run, start, end):
    return (0 if start is None else _time(run, start), None if end is None else _time(run, end))


def _window(run, part):
    """The first and the last time of a slice, whose end does not belong to it."""
    if part.step is not None:
        raise ValueError("times have no step; sample() looks at events")
    first = 0 if part.start is None else _time(run, part.start)
    last = _LATEST if part.stop is None else _time(run, part.stop) - 1
    if first < 0 or (part.stop is not None and last < -1):
        raise ValueError("times are counted from 0 on, and not from the end")
    return first, last


class Signal:
    """A signal of a run. `signal["10us":"20us"]` is its history there; the end does not belong to it."""

    def __init__(self, run, declared):
        self._run, self._declared = run, declared

    @property
    def name(self):
        """The full name."""
        return self._declared.name

    @property
    def kind(self):
        """The keyword of its declaration: wire, reg, integer, real, string, event, ..."""
        return self._declared.kind

    @property
    def width(self):
        """Its bits."""
        return self._declared.width

    @property
    def type(self):
        """The name of its type in the source, where that is known."""
        return self._declared.type

    @property
    def direction(self):
        """Of a port: in, out, inout, buffer, linkage."""
        return self._declared.direction

    @property
    def signed(self):
        """Whether its leftmost bit is a sign."""
        return self._declared.signed

    @property
    def value_names(self):
        """The names of its values, by their letters."""
        return self._run.value_names(self._declared)

    def history(self, start=None, end=None):
        """All that it was from `start` on, up to `end` if it is given, which does not belong to it."""
        return self[start:end]

    def __getitem__(self, part):
        if not isinstance(part, slice):
            raise TypeError("a history is asked for by a slice of time, as in signal[10:20]; what "
                            "holds at a time, by at()")
        first, last = _window(self._run, part)
        arrays = self._run.histories([self._declared], first, last)[0]
        _warn(self._run)
        return History(self._run, self._declared, arrays)

    def at(self, times):
        """What it is at times: an array, or one value for one time. None, 0 or nan without any."""
        if isinstance(times, (int, str)):
            time = _time(self._run, times)
            one = self[time:time + 1]
            return one.values[-1] if len(one) else None
        import numpy
        times = numpy.array([_time(self._run, time) for time in times], dtype=numpy.int64)
        last = int(times.max()) + 1 if len(times) else 0
        return self[:last].at(times)

    def text_at(self, time):
        """What it is at a time as a person reads it, names of values too; None without a value."""
        return self._run.text_at(self._declared, _time(self._run, time))

    def rising(self):
        """The times at which its lowest bit becomes 1."""
        return self[:].rising()

    def falling(self):
        """The times at which its lowest bit becomes 0."""
        return self[:].falling()

    def next(self, time):
        """The time of the first change behind a time, or None."""
        return self._run.next_change(self._declared, _time(self._run, time))

    def previous(self, time):
        """The time of the last change before a time, or None."""
        return self._run.previous_change(self._declared, _time(self._run, time))

    def __repr__(self):
        return "<tracewell.Signal %s: %s, %d bit%s>" % (
            self.name, self.kind, self.width, "" if self.width == 1 else "s")


class History:
    """What a signal was in a stretch of time: an entry for each change. Its arrays cannot be written
    to, are not copied, and stay when run and history have gone."""

    def __init__(self, run, declared, arrays):
        self._run, self._declared, self._arrays = run, declared, arrays

    @property
    def name(self):
        """The full name of its signal."""
        return self._declared.name

    @property
    def kind(self):
        """What values are: bits, real, text, event (how often it fired) or bytes."""
        return self._arrays.kind

    @property
    def times(self):
        """int64: when each value came up. The first is the start of the stretch, where anything holds
        there."""
        return self._arrays.times

    @property
    def values(self):
        """uint64; for more than 64 bits a row of words, the lowest first; float64; or texts.

        Bits that are neither 0 nor 1 are 0 here, and 1 in `unknown`.
        """
        return self._arrays.values

    @property
    def unknown(self):
        """In the shape of values: the bits that are x or z. None where there are no bits."""
        return self._arrays.unknown

    @property
    def known(self):
        """For each entry, whether all of it is a number."""
        import numpy
        if self.unknown is None:
            return numpy.ones(len(self), dtype=bool)
        unknown = self.unknown if self.unknown.ndim == 1 else self.unknown.any(axis=1)
        return unknown == 0

    @property
    def signed(self):
        """The values as numbers with a sign: int64."""
        import numpy
        if self.kind != "bits" or self._declared.width > 64:
            raise TypeError("%s: numbers with a sign have at most 64 bits" % self.name)
        shift = numpy.uint64(64 - self._declared.width)
        return (self.values << shift).view(numpy.int64) >> shift.astype(numpy.int64)

    def texts(self):
        """The values as texts: the names of an enumeration, or binary letters with x for what is
        unknown."""
        import numpy
        if self.kind == "text":
            return self.values
        if self.kind != "bits":
            return numpy.array([str(value) for value in self.values], dtype=object)
        width, names = self._declared.width, self._run.value_names(self._declared)

        def integer(row):
            return int(row) if self.values.ndim == 1 else int.from_bytes(row.tobytes(), "little")

        def letters(value, unknown):
            text = format(integer(value), "0%db" % width)
            mask = integer(unknown)
            if mask:
                text = "".join("x" if mask >> (width - 1 - i) & 1 else c
                               for i, c in enumerate(text))
            return names.get(text, text)
        return numpy.array([letters(value, unknown)
                            for value, unknown in zip(self.values, self.unknown)], dtype=object)

    def __len__(self):
        return len(self._arrays)

    def at(self, times, *, before=False):
        """The values at times, or just before them. 0, nan or an empty text where there is none."""
        import numpy
        times = numpy.asarray(times, dtype=numpy.int64)
        places = numpy.searchsorted(self.times, times, side="left" if before else "right") - 1
        if len(self) == 0:
            shape = (len(times),) + self.values.shape[1:]
            empty = numpy.zeros(shape, dtype=self.values.dtype)
            return _without_value(empty, numpy.ones(len(times), dtype=bool))
        return _without_value(self.values[numpy.maximum(places, 0)], places < 0)

    def rising(self):
        """The times at which the lowest bit becomes 1; of an event those at which it fires."""
        return self._edges(1)

    def falling(self):
        """The times at which the lowest bit becomes 0."""
        return self._edges(0)

    def _edges(self, level):
        import numpy
        if self.kind == "event":
            return self.times if level else self.times[:0]
        if self.kind != "bits":
            raise TypeError("%s: only bits rise and fall" % self.name)
        one = numpy.uint64(1)
        values, unknown = self.values, self.unknown
        if values.ndim > 1:
            values, unknown = values[:, 0], unknown[:, 0]
        known = (unknown & one) == 0
        here = known & ((values & one) == level)
        return self.times[1:][here[1:] & ~here[:-1]]

    def to_pandas(self):
        """A pandas Series of the values by their times. Takes pandas."""
        import pandas
        values = self.values if self.values.ndim == 1 else list(self.values)
        return pandas.Series(values, index=pandas.Index(self.times, name="time"), name=self.name)

    def __arrow_c_stream__(self, requested_schema=None):
        """The columns time, value and, of bits, unknown, for whatever speaks Arrow: pyarrow, Polars,
        DuckDB."""
        return self._arrays.arrow()

    def __repr__(self):
        return "<tracewell.History %s: %d entries>" % (self.name, len(self))


def _without_value(values, missing):
    if missing.any():
        values = values.copy()
        values[missing] = {"f": float("nan"), "O": ""}.get(values.dtype.kind, 0)
    return values


class Match:
    """A stretch or a moment at which a condition is true."""

    __slots__ = ("time", "end", "values")

    def __init__(self, time, end, values):
        self.time, self.end, self.values = time, end, values

    def __repr__(self):
        return "Match(time=%d, end=%s, values=%r)" % (self.time, self.end, self.values)


class Matches:
    """What a search found. A list of Match; `times` and `ends` are the same as arrays, with -1 for no
    end."""

    def __init__(self, times, ends, names, values):
        self.times, self.ends, self._names, self._values = times, ends, names, values

    def __len__(self):
        return len(self.times)

    def __getitem__(self, index):
        if isinstance(index, slice):
            return [self[i] for i in range(*index.indices(len(self)))]
        end = int(self.ends[index])
        values = self._values[index] if self._values else ()
        return Match(int(self.times[index]), None if end < 0 else end,
                     dict(zip(self._names, values)))

    def __repr__(self):
        return "<tracewell.Matches: %d>" % len(self)


class Difference:
    """Where a signal is not the same in two runs for the first time; None stands for no value."""

    __slots__ = ("signal", "time", "a", "b")

    def __init__(self, signal, time, a, b):
        self.signal, self.time, self.a, self.b = signal, time, a, b

    def __repr__(self):
        return "Difference(%s at %d: %s, %s)" % (self.signal, self.time, self.a, self.b)


class Differences(list):
    """A Difference for each signal that has one, by time. `only_in_a` and `only_in_b` name what one
    run alone has. False when the runs are the same in all that both have and neither has more."""

    def __init__(self, differences, only_in_a, only_in_b):
        super().__init__(Difference(*each) for each in differences)
        self.only_in_a, self.only_in_b = only_in_a, only_in_b

    def __bool__(self):
        return len(self) > 0 or bool(self.only_in_a) or bool(self.only_in_b)


class Picture:
    """A picture of signals. Notebooks show it; `save` writes it."""

    def __init__(self, svg):
        self.svg = svg

    def _repr_svg_(self):
        return self.svg

    def save(self, path):
        """Writes it as SVG, PNG or PDF, by the suffix."""
        suffix = os.path.splitext(os.fspath(path))[1].lower()
        if suffix not in (".svg", ".png", ".pdf"):
            raise ValueError("%s: a picture is a .svg, a .png or a .pdf" % path)
        data = (self.svg.encode() if suffix == ".svg"
                else _tracewell.render(self.svg, suffix[1:], os.fspath(path)))
        with _open_file(path, "wb") as file:
            file.write(data)


_open_file = __builtins__["open"] if isinstance(__builtins__, dict) else __builtins__.open


class LiveMoment:
    """A look at a simulation that runs."""

    def __init__(self, run, running):
        self.run, self.running = run, running

    @property
    def time(self):
        """Up to when the simulation has come."""
        return self.run.end

    def __getitem__(self, name):
        """What a signal is now, as a person reads it; None without a value."""
        return self.run[name].text_at(self.time)

    def __repr__(self):
        return "<tracewell.LiveMoment: %s>" % self.run.format(self.time)


def follow(channel=0, *, snapshot="live", directory=".", output=None, interval=0.1, timeout=None):
    """Follows a simulation that runs: gives a LiveMoment every `interval` seconds, and a last one when
    it has gone.

    Waits for a simulation on the channel, at most `timeout` seconds (TimeoutError). `moment.run` is
    a Run that can be asked for histories meanwhile; that of the last moment stays until it is closed
    or dropped. With `output` the recording is kept there, whole when that run is closed.
    """
    import time
    ended = False
    live = _tracewell.LiveRun(channel, snapshot, os.fspath(directory),
                              "" if output is None else os.fspath(output))
    try:
        begin = time.monotonic()
        while not live.connect():
            if timeout is not None and time.monotonic() - begin > timeout:
                raise TimeoutError("no simulation came on channel %d" % channel)
            time.sleep(min(interval, 0.02))
        run = Run(live.run(), live)
        while live.poll():
            yield LiveMoment(run, True)
            time.sleep(interval)
        ended = True
        yield LiveMoment(run, False)
    finally:
        if not ended:
            live.close()


class Variable:
    """A variable of a Recorder."""

    __slots__ = ("_recording", "_number", "name")

    def __init__(self, recording, number, name):
        self._recording, self._number, self.name = recording, number, name

    def set(self, value=1):
        """Its value from the recorder's time on: a number, a text of the letters 0 1 x z u w l h -,
        of a real a float, of a string its text. An event fires, whatever the value.

        Raises ValueError for what it cannot hold.
        """
        self._recording.set(self._number, value)

    def __repr__(self):
        return "<tracewell.Variable %s>" % self.name


class Recorder:
    """Makes a recording. First all variables, then times, which go on and never back, and values.

    One at a time in a process. Values are in the file, and survive the death of the process, after
    `sync` seconds, or when sync() is called; the file is whole when it is closed, as `with` does.
    With store="transitions" it is there only then.
    """

    def __init__(self, path, timescale="1ns", *, store="columns", sync=1.0):
        self._recording = _tracewell.Recording(os.fspath(path), timescale, store, sync)
        self._timescale = timescale

    def add(self, name, *, kind=None, width=1, range=None, direction="", type="", signed=False,
            names=None):  # pylint: disable=redefined-builtin
        """Declares a variable: "top.dut.count", or a list of scopes and name where these hold dots.

        `kind` is the keyword of a declaration: wire (the default), reg, integer, real, string,
        event, ...; `range` the numbers of the leftmost and the rightmost bit; `names` what its
        values are called: {0: "IDLE", "1x": "ODD"}.
        """
        path = name.split(".") if isinstance(name, str) else list(name)
        if not path:
            raise ValueError("a variable has a name")
        if kind is None:
            kind = "wire"
        if range is not None and width == 1:
            width = abs(range[0] - range[1]) + 1
        if kind == "integer" and width == 1:
            width = 32
        if kind in ("real", "realtime") and width == 1:
            width = 64
        named = [(value if isinstance(value, str) else format(value, "b"), str(text))
                 for value, text in (names or {}).items()]
        number = self._recording.add(path, kind, width, range, direction, type, signed, named)
        return Variable(self._recording, number, ".".join(path))

    def time(self, time=None):
        """What is set from now on is at this time, a whole number of the timescale. Answers it."""
        if time is not None:
            self._recording.set_time(time.__index__())
        return self._recording.time()

    def rows(self, times, values):
        """Many moments at once: an array of times, and an array of values for each variable."""
        self._recording.rows(times, [(variable._number, _array(array))
                                     for variable, array in values.items()])

    def sync(self):
        """What lies before time() is in the file, and can be read by others; not of transitions."""
        self._recording.sync()

    def close(self):
        """Closes the file, so that it is whole. The recording ends at the last time()."""
        self._recording.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()


def _array(values):
    import numpy
    return numpy.asarray(values)
