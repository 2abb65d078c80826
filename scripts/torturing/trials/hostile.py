# SPDX-License-Identifier: BSD-3-Clause
"""Peers that keep to no rule."""

import mmap
import os
import signal
import socket
import struct
import time

from .. import vcd


def hostile_peer(turn):
    """somebody writes what he likes into the memory of a live channel"""
    random = turn.random
    store = random.choice(("events", "columns", "transitions"))
    sent = "transitions" if store == "transitions" else "events"
    turn.write("run.vcd", vcd.make_run(random, vcd.LIVE, random.choice((2000, 60000))))
    kernel = turn.start("replay", "run.vcd", "--live", "--store", sent, "--on-viewer-exit", "stop",
                        "--speed", "1e9")
    viewer = turn.start("follow", "live.wdb", "--store", store, "--wait", "20")
    until = time.monotonic() + 3 * turn.build.slowness
    regions = []
    while not regions and time.monotonic() < until and viewer.is_running():
        regions = _regions_of(viewer.pid)
        time.sleep(0.001)
    for region in regions:
        _scribble(random, region)
    time.sleep(0.2 * random.random())
    for region in regions:
        if random.random() < 0.5:
            _scribble(random, region)
    time.sleep(0.3)
    if random.random() < 0.5:
        kernel.signal(signal.SIGTERM)
    viewer.signal(signal.SIGTERM)
    turn.end(viewer, (0, 1), seconds=30)
    kernel.signal(signal.SIGTERM)
    turn.end(kernel, (0, 1, -signal.SIGTERM), seconds=30)
    if turn.exists("live.wdb"):
        # Values may be rubbish, the file may not.
        verified = turn.run("verify", "live.wdb", expect=(0, 1))
        turn.require("damage:" not in verified.out, "a rubbish ring made a damaged file",
                     verified.describe(), verified.command)
        turn.run("export", "live.wdb", "-", expect=(0, 1))


def _regions_of(pid):
    """The shared regions that one of our own processes has mapped."""
    try:
        with open(f"/proc/{pid}/maps", encoding="utf-8") as maps:
            paths = {line.split(maxsplit=5)[5].strip() for line in maps if " /dev/shm/" in line}
    except OSError:
        return []
    return sorted(path for path in paths if os.path.exists(path))


_NUMBERS = (0, 1, 7, 8, 20, 24, 28, 274, 300, 4095, 8191991, 8191992, 8191993, 2400000, 2400024, 1 << 31,
            (1 << 32) - 1)


def _scribble(random, path):
    try:
        with open(path, "r+b") as stream, mmap.mmap(stream.fileno(), 0) as memory:
            for _ in range(random.choice((1, 3, 30))):
                how = random.randrange(4)
                number = struct.pack("<I", random.choice(_NUMBERS))
                if how == 0:
                    at = random.choice((0, 4))
                elif how == 1:
                    at = 8 + random.randrange(4096)
                else:
                    # Near what is written or read just now.
                    at = 8 + struct.unpack("<I", memory[0:4])[0] % max(1, len(memory) - 400)
                    at += random.randrange(300)
                if how == 3:
                    number = bytes(random.getrandbits(8) for _ in range(random.randrange(1, 64)))
                if at + len(number) <= len(memory):
                    memory[at:at + len(number)] = number
    except (OSError, ValueError):
        pass  # It has gone meanwhile.


def hostile_requests(turn):
    """the server of view gets bytes that are no requests"""
    random = turn.random
    turn.write("run.vcd", vcd.make_run(random, vcd.EVERYTHING, 500))
    turn.run("import", "run.vcd", "run.wdb")
    server = turn.start("view", "run.wdb", "--no-open", "--end-after", "120")
    until = time.monotonic() + 10 * turn.build.slowness
    while "token=" not in server.output() and server.is_running() and time.monotonic() < until:
        time.sleep(0.02)
    address = server.output()
    if not turn.require("token=" in address, "view gives no address", address, server.command):
        return
    port = int(address.split("//", 1)[1].split(":", 1)[1].split("/", 1)[0])
    token = address.split("token=", 1)[1].split()[0]
    for _ in range(random.randint(5, 40)):
        try:
            with socket.create_connection(("127.0.0.1", port), timeout=5) as peer:
                peer.settimeout(0.2)
                for _ in range(random.randint(1, 3)):
                    peer.sendall(_request(random, port, token))
                    try:
                        peer.recv(1 << 16)
                    except TimeoutError:
                        pass
        except OSError:
            pass
        if not server.is_running():
            break
    server.signal(signal.SIGTERM)
    turn.end(server, (0, -signal.SIGTERM), seconds=20)


def _request(random, port, token):
    line = random.choice((
        b"GET / HTTP/1.1", b"GET /../../etc/passwd HTTP/1.1", b"POST / HTTP/1.1", b"GET " + b"a" * 9000,
        b"\0\xff", b"GET /?token=" + token.encode() + b" HTTP/1.1"))
    head = [line, f"Host: 127.0.0.1:{port}".encode()]
    if random.random() < 0.5:
        head += [b"Upgrade: websocket", b"Connection: Upgrade", b"Sec-WebSocket-Version: 13",
                 b"Sec-WebSocket-Key: AAAAAAAAAAAAAAAAAAAAAA==", f"Origin: http://127.0.0.1:{port}".encode()]
    if random.random() < 0.3:
        head.append(b"Content-Length: " + random.choice((b"-1", b"99999999999999999999", b"5")))
    request = b"\r\n".join(head) + b"\r\n\r\n"
    request += bytes(random.getrandbits(8) for _ in range(random.choice((0, 0, 10, 3000))))
    return request if random.random() < 0.8 else request[:random.randrange(len(request))]
