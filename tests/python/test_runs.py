# SPDX-License-Identifier: BSD-3-Clause
"""Reading and writing, held against the command line and against lists of what was written."""

import csv
import ctypes
import gc
import os
import random
import resource
import signal
import subprocess
import sys
import threading
import warnings

import numpy
import pytest

import tracewell


def make_random(path, rng, steps, store="columns"):
    """A run of all kinds of values, and the same as lists of (time, value) by name."""
    written = {}
    with tracewell.Recorder(path, timescale="1ns", store=store) as recorder:
        variables = {
            "top.bit": recorder.add("top.bit"),
            "top.dut.byte": recorder.add("top.dut.byte", width=8, kind="reg"),
            "top.dut.wide": recorder.add("top.dut.wide", width=100),
            "top.count": recorder.add("top.count", kind="integer"),
            "top.volt": recorder.add("top.volt", kind="real"),
            "top.tick": recorder.add("top.tick", kind="event"),
        }
        # Transitions keep no texts.
        if store != "transitions":
            variables["top.note"] = recorder.add("top.note", kind="string")
        make = {
            "top.bit": lambda: rng.choice("01xz"),
            "top.dut.byte": lambda: rng.choice([rng.getrandbits(8), "1x0z1x0z"]),
            "top.dut.wide": lambda: rng.getrandbits(100),
            "top.count": lambda: rng.randint(-2**31, 2**31 - 1),
            "top.volt": rng.random,
            "top.note": lambda: rng.choice(["idle", "läuft", "a, \"b\"\n", ""]),
            "top.tick": lambda: 1,
        }
        time = 0
        for _ in range(steps):
            time += rng.randint(1, 5)
            recorder.time(time)
            for name in rng.sample(sorted(variables), rng.randint(1, 4)):
                value = make[name]()
                variables[name].set(value)
                entries = written.setdefault(name, [])
                if name == "top.tick" or not entries or entries[-1][1] != value:
                    entries.append((time, value))
    return written


def as_number(row):
    return int(row) if row.ndim == 0 else int.from_bytes(row.tobytes(), "little")


@pytest.mark.parametrize("store", ["columns", "events", "transitions"])
def test_what_was_written_is_read(path, store):
    rng = random.Random(7)
    written = make_random(path("run.wdb"), rng, 500, store)
    run = tracewell.open(path("run.wdb"))
    for name, entries in written.items():
        history = run[name][:]
        assert history.times.tolist() == [time for time, _ in entries], name
        for (_, value), row, index in zip(entries, history.values, range(len(history))):
            if history.kind == "text":
                assert row == value
            elif history.kind == "event":
                assert row == 1
            elif isinstance(value, float):
                assert row == value
            elif isinstance(value, str):
                letters = value.replace("z", "x")
                assert history.texts()[index] == letters
            else:
                width = run[name].width
                assert as_number(row) == value % (1 << width)
        assert not history.times.flags.writeable and not history.values.flags.writeable
    assert (run["top.count"][:].signed == [v for _, v in written["top.count"]]).all()


def test_windows_agree_with_the_command_line(path, tool):
    rng = random.Random(11)
    make_random(path("run.wdb"), rng, 300)
    run = tracewell.open(path("run.wdb"))
    names = [name for name in run if "note" not in name and "tick" not in name]
    for _ in range(20):
        start = rng.randint(0, run.end)
        end = rng.randint(start, run.end)
        name = rng.choice(names)
        text = subprocess.run([tool, "values", path("run.wdb"), name, "--csv", "--radix", "bin",
                               "--from", str(start), "--to", str(end)],
                              capture_output=True, text=True, check=True).stdout
        rows = [row for row in csv.reader(text.splitlines()[1:]) if row[1] != ""]
        history = run[name][start:end + 1]
        assert history.times.tolist() == [max(int(row[0]), start) for row in rows], name
        if history.kind == "bits":
            assert list(history.texts()) == [row[1].replace("z", "x") for row in rows]
        else:
            assert history.values.tolist() == [float(row[1]) for row in rows]
        times = sorted(rng.randint(0, run.end) for _ in range(5))
        whole = run[name][:]
        at = run[name].at(times)
        for time, value in zip(times, at):
            before = [i for i, t in enumerate(whole.times) if t <= time]
            expected = whole.values[before[-1]] if before else 0
            assert (numpy.isnan(value) if whole.kind == "real" and not before
                    else (value == expected).all())


def test_edges_samples_and_searches_agree(path):
    rng = random.Random(3)
    with tracewell.Recorder(path("run.wdb")) as recorder:
        clk, data = recorder.add("top.clk"), recorder.add("top.data", width=4)
        state = recorder.add("top.state", width=2, names={0: "IDLE", 1: "RUN", "1x": "ODD"})
        recorder.rows(numpy.arange(0, 1000, 5), {
            clk: numpy.arange(200) % 2, data: [rng.getrandbits(4) for _ in range(200)],
            state: numpy.arange(200) // 50})
        recorder.time(1200)
    run = tracewell.open(path("run.wdb"))
    assert run.end == 1200 and run.timescale == "1 ns" and run.seconds == 1e-9
    assert run["top.clk"].rising().tolist() == list(range(5, 1000, 10))
    assert run["top.clk"].falling().tolist() == list(range(10, 1000, 10))
    times, sampled = run.sample("posedge top.clk", ["top.data", "top.state"])
    assert times.tolist() == list(range(5, 1000, 10))
    history = run["top.data"]
    assert sampled["top.data[3:0]"].tolist() == [history.at(int(t) - 1) for t in times]
    found = run.search("top.data > 7", on="posedge top.clk", show="top.state")
    assert found.times.tolist() == [t for t, v in zip(times, sampled["top.data[3:0]"]) if v > 7]
    assert found[0].values["top.state[1:0]"] in ("IDLE", "RUN")
    assert run["top.state"].text_at(300) == "RUN"
    assert run["top.state"][:].texts().tolist()[:2] == ["IDLE", "RUN"]
    assert run["top.data"]["0.1us":"110ns"].times.tolist()[0] == 100
    with pytest.raises(ValueError, match="character 5"):
        run.search("1 + )")
    with pytest.raises(KeyError, match="top.data"):
        run["top.date"]
    with pytest.raises(TypeError):
        run["top.clk"][5]
    with pytest.raises(ValueError):
        run["top.clk"][-5:]


def test_runs_are_compared_and_drawn(path):
    rng = random.Random(5)
    make_random(path("a.wdb"), rng, 50)
    rng = random.Random(5)
    make_random(path("b.wdb"), rng, 50, "events")
    with tracewell.Recorder(path("c.wdb")) as recorder:
        recorder.add("top.bit").set(1)
    a, b, c = (tracewell.open(path(name)) for name in ("a.wdb", "b.wdb", "c.wdb"))
    assert not a.diff(b)
    differences = a.diff(c, "top.bit")
    assert differences and differences[0].signal == "top.bit"
    picture = a.draw("top.bit", "top.dut.*", end="50ns")
    assert picture.svg.startswith("<svg") and picture._repr_svg_() == picture.svg
    picture.save(path("p.png"))
    with open(path("p.png"), "rb") as file:
        assert file.read(8) == b"\x89PNG\r\n\x1a\n"


def test_vcds_are_runs(path):
    with open(path("run.vcd"), "w", encoding="utf-8") as file:
        file.write("$timescale 10 ps $end $scope module t $end $var wire 1 ! a $end "
                   "$upscope $end $enddefinitions $end\n#0\n0!\n#5\n1!\n#9\n")
    with tracewell.open(path("run.vcd")) as run:
        history = run["t.a"][:]
    assert history.times.tolist() == [0, 5]
    assert run.search("t.a")[0].time == 5
    with pytest.raises(OSError, match="closed"):
        run["t.a"]


def test_what_is_wrong_is_an_exception(path):
    with pytest.raises(FileNotFoundError):
        tracewell.open(path("none.wdb"))
    with pytest.raises(IsADirectoryError):
        tracewell.open(os.path.dirname(path("x")))
    with open(path("bad.wdb"), "wb") as file:
        file.write(b"no recording at all")
    with pytest.raises(OSError, match="bad.wdb"):
        tracewell.open(path("bad.wdb"))
    with tracewell.Recorder(path("run.wdb")) as recorder:
        with pytest.raises(OSError, match="already"):
            tracewell.Recorder(path("other.wdb"))
        bit = recorder.add("top.bit")
        byte = recorder.add("top.byte", width=8)
        recorder.time(10)
        for value in ("2", "01", 2, -2):
            with pytest.raises(ValueError, match="top.bit"):
                bit.set(value)
        with pytest.raises(TypeError):
            bit.set(0.5)
        with pytest.raises(ValueError, match="8 bits"):
            byte.set(256)
        with pytest.raises(OSError, match="never back"):
            recorder.time(9)
        with pytest.raises(OSError, match="before the first"):
            recorder.add("top.late")
    with pytest.raises(OSError):
        bit.set(1)
    with pytest.raises(OSError, match="timescale"):
        tracewell.Recorder(path("run.wdb"), timescale="fast")


def test_a_full_disk_is_an_exception(path):
    code = ("import resource, tracewell\n"
            "resource.setrlimit(resource.RLIMIT_FSIZE, (100000, 100000))\n"
            "r = tracewell.Recorder(%r, sync=0)\nv = r.add('top.v', width=64)\n"
            "try:\n  for t in range(300000):\n    r.time(t); v.set(t * 0x9e3779b97f4a7c15 %% 2**64)\n"
            "  r.close()\nexcept OSError as e:\n  print('told', e)\n" % path("run.wdb"))
    done = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, timeout=120,
                          check=False)
    assert done.returncode == 0 and "told" in done.stdout, done


def test_killed_writers_leave_what_was_synced(path):
    code = ("import os, tracewell\nr = tracewell.Recorder(%r, sync=0)\nv = r.add('v', width=8)\n"
            "for t in range(100):\n  r.time(t); v.set(t)\nr.sync()\nos.kill(os.getpid(), 9)\n"
            % path("run.wdb"))
    done = subprocess.run([sys.executable, "-c", code], timeout=60, check=False)
    assert done.returncode == -signal.SIGKILL
    run = tracewell.open(path("run.wdb"))
    with warnings.catch_warnings():
        warnings.simplefilter("ignore", tracewell.DamageWarning)
        values = run["v"][:].values.tolist()
    assert values == list(range(len(values))) and len(values) >= 99


def test_threads_share_a_run(path):
    rng = random.Random(9)
    make_random(path("run.wdb"), rng, 2000)
    run = tracewell.open(path("run.wdb"))
    names = list(run)
    expected = {name: run[name][:].times.tolist() for name in names}
    failures = []

    def work(seed):
        mine = random.Random(seed)
        try:
            for _ in range(30):
                name = mine.choice(names)
                assert run[name][:].times.tolist() == expected[name]
                run.search("top.bit", most=3)
        except Exception as error:  # pylint: disable=broad-except
            failures.append(error)
    threads = [threading.Thread(target=work, args=(seed,)) for seed in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert not failures


def test_opening_again_and_again_keeps_no_memory(path):
    rng = random.Random(13)
    make_random(path("run.wdb"), rng, 3000)

    def use():
        for _ in range(60):
            run = tracewell.open(path("run.wdb"))
            history = run["top.dut.byte"][:]
            assert len(history.values) > 0
            history.__arrow_c_stream__()
            run.search("top.bit")
    use()
    gc.collect()
    before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
    descriptors = len(os.listdir("/proc/self/fd"))
    use()
    use()
    assert resource.getrusage(resource.RUSAGE_SELF).ru_maxrss - before < 20000
    assert len(os.listdir("/proc/self/fd")) == descriptors


class _Schema(ctypes.Structure):
    pass


_Schema._fields_ = [("format", ctypes.c_char_p), ("name", ctypes.c_char_p),
                    ("metadata", ctypes.c_char_p), ("flags", ctypes.c_int64),
                    ("n_children", ctypes.c_int64),
                    ("children", ctypes.POINTER(ctypes.POINTER(_Schema))),
                    ("dictionary", ctypes.c_void_p),
                    ("release", ctypes.CFUNCTYPE(None, ctypes.c_void_p)),
                    ("private_data", ctypes.c_void_p)]


class _Array(ctypes.Structure):
    pass


_Array._fields_ = [("length", ctypes.c_int64), ("null_count", ctypes.c_int64),
                   ("offset", ctypes.c_int64), ("n_buffers", ctypes.c_int64),
                   ("n_children", ctypes.c_int64),
                   ("buffers", ctypes.POINTER(ctypes.c_void_p)),
                   ("children", ctypes.POINTER(ctypes.POINTER(_Array))),
                   ("dictionary", ctypes.c_void_p),
                   ("release", ctypes.CFUNCTYPE(None, ctypes.c_void_p)),
                   ("private_data", ctypes.c_void_p)]


class _Stream(ctypes.Structure):
    _fields_ = [("get_schema", ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p, ctypes.c_void_p)),
                ("get_next", ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p, ctypes.c_void_p)),
                ("get_last_error", ctypes.c_void_p), ("release", ctypes.c_void_p),
                ("private_data", ctypes.c_void_p)]


def test_arrow_consumers_get_columns(path):
    rng = random.Random(17)
    make_random(path("run.wdb"), rng, 100)
    run = tracewell.open(path("run.wdb"))
    get = ctypes.pythonapi.PyCapsule_GetPointer
    get.restype, get.argtypes = ctypes.c_void_p, [ctypes.py_object, ctypes.c_char_p]
    for name, formats in (("top.dut.byte", [b"l", b"L", b"L"]), ("top.volt", [b"l", b"g"]),
                          ("top.note", [b"l", b"U"]), ("top.dut.wide", [b"l", b"w:16", b"w:16"])):
        history = run[name][:]
        capsule = history.__arrow_c_stream__()
        address = get(capsule, b"arrow_array_stream")
        stream = ctypes.cast(address, ctypes.POINTER(_Stream)).contents
        schema, array = _Schema(), _Array()
        assert stream.get_schema(address, ctypes.addressof(schema)) == 0
        assert schema.format == b"+s"
        assert [schema.children[i].contents.format for i in range(schema.n_children)] == formats
        assert stream.get_next(address, ctypes.addressof(array)) == 0
        times, expected = history.times.tolist(), len(history)
        del history, capsule
        gc.collect()
        assert array.length == expected and array.n_children == len(formats)
        buffer = array.children[0].contents.buffers[1]
        assert list((ctypes.c_int64 * expected).from_address(buffer)) == times
        array.release(ctypes.addressof(array))
        schema.release(ctypes.addressof(schema))


def test_a_simulation_that_runs_is_followed(path, tool):
    with open(path("slow.vcd"), "w", encoding="utf-8") as file:
        file.write("$timescale 1 ns $end $scope module t $end $var wire 8 ! a [7:0] $end "
                   "$upscope $end $enddefinitions $end\n")
        for time in range(2000):
            file.write("#%d\nb%s !\n" % (time, format(time % 256, "b")))
    directory = os.path.dirname(path("x"))
    kernel = subprocess.Popen([tool, "replay", path("slow.vcd"), "--live", "--channel", "77"],
                              cwd=directory)
    last = None
    for moment in tracewell.follow(77, directory=directory, interval=0.02, timeout=30):
        last = moment
    assert kernel.wait(timeout=30) == 0
    assert not last.running and last.time == 1999 and last["t.a"] == format(1999 % 256, "02x")
    with pytest.raises(OSError, match="already"):
        next(tracewell.follow(78, directory=directory, timeout=0.05))
    last.run.close()
    with pytest.raises(TimeoutError):
        next(tracewell.follow(78, directory=directory, timeout=0.05))
