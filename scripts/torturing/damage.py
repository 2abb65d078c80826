# SPDX-License-Identifier: BSD-3-Clause
"""Bytes that are not what was written."""

import struct
import zlib

_STUMBLING_BLOCKS = (
    b"\0", b"\1", b"\x7f", b"\x80", b"\xff", b"\xff\xff\xff\xff", b"\xff\xff\xff\x7f",
    struct.pack("<q", -1), struct.pack("<q", 1 << 62), struct.pack(">q", 1 << 40), b"\0" * 8,
    b"$end", b"#99999999999999999999", b"b\n")


def spoil(random, content, other=b""):
    """A few bit flips, cuts, repeats and splices with another file."""
    data = bytearray(content)
    for _ in range(random.choice((1, 1, 1, 2, 4))):
        if not data:
            break
        at = random.randrange(len(data)) if random.random() < 0.7 else random.randrange(min(len(data), 512))
        length = min(1 + int(random.expovariate(0.05)), len(data) - at)
        how = random.randrange(8)
        if how < 2:
            data[at] ^= 1 << random.randrange(8)
        elif how == 2:
            block = random.choice(_STUMBLING_BLOCKS)
            data[at:at + len(block)] = block
        elif how == 3:
            del data[at:at + length]
        elif how == 4:
            data[at:at] = data[at:at + length]
        elif how == 5:
            del data[at:]
        elif how == 6 and other:
            begin = random.randrange(len(other))
            data[at:] = other[begin:begin + random.randrange(1, 4096)] + bytes(data[at + length:])
        else:
            data[at:at + length] = bytes(random.getrandbits(8) for _ in range(length))
    return bytes(data)


def zlib_streams(content):
    """Where streams of zlib lie, as offset and length."""
    streams = []
    at = content.find(b"\x78\x01")
    while at >= 0:
        unpacking = zlib.decompressobj()
        try:
            unpacking.decompress(content[at:at + (1 << 20)], 1 << 20)
        except zlib.error:
            at = content.find(b"\x78\x01", at + 1)
            continue
        if unpacking.eof:
            length = min(len(content) - at, 1 << 20) - len(unpacking.unused_data)
            streams.append((at, length))
            at = content.find(b"\x78\x01", at + length)
        else:
            at = content.find(b"\x78\x01", at + 1)
    return streams


def flip_within(random, content, places):
    """One bit of one of the places, which are offsets and lengths."""
    data = bytearray(content)
    at, length = random.choice(places)
    data[at + random.randrange(length)] ^= 1 << random.randrange(8)
    return bytes(data)
