#!/usr/bin/env python3
"""Makes packaging/macos/Varnel.icns from the application's SVG, which librsvg draws once for each size.

  make-icns.py           writes it
  make-icns.py --check   ends with 1 where what is there holds other pictures than the SVG gives now, or lacks one

The result is committed, so that a Mac needs nothing but its own tools.
"""

import os
import struct
import subprocess
import sys
import zlib

TOP = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")
SOURCE = os.path.join(TOP, "packaging", "linux", "icons", "com.quorin.Varnel.svg")
ICON = os.path.join(TOP, "packaging", "macos", "Varnel.icns")
# What macOS calls a picture of that many pixels; those of odd number are for dense screens.
SIZES = {b"ic11": 32, b"ic12": 64, b"ic07": 128, b"ic13": 256, b"ic08": 256, b"ic14": 512, b"ic09": 512, b"ic10": 1024}
TOLERANCE = 2  # of 255 on the average: another release of librsvg may draw an edge a little otherwise


def drawn(size):
    return subprocess.run(["rsvg-convert", "--width", str(size), "--height", str(size), SOURCE], check=True,
                          stdout=subprocess.PIPE).stdout


def packed(pictures):
    body = b"".join(kind + struct.pack(">I", 8 + len(data)) + data for kind, data in pictures)
    return b"icns" + struct.pack(">I", 8 + len(body)) + body


def unpacked(icon):
    """The pictures by their kind."""
    if icon[:4] != b"icns" or struct.unpack(">I", icon[4:8])[0] != len(icon):
        raise ValueError("is no icon, or cut off")
    found, at = {}, 8
    while at < len(icon):
        kind, length = struct.unpack_from(">4sI", icon, at)
        if length < 8 or at + length > len(icon):
            raise ValueError("a picture reaches beyond the end")
        found[kind] = icon[at + 8:at + length]
        at += length
    return found


def pixels(png):
    """Width, height, and the bytes of a picture with eight bits for each of red, green, blue and opacity."""
    if png[:8] != b"\x89PNG\r\n\x1a\n":
        raise ValueError("is no PNG")
    at, packed_rows = 8, b""
    while at < len(png):
        length, kind = struct.unpack_from(">I4s", png, at)
        data = png[at + 8:at + 8 + length]
        if kind == b"IHDR":
            width, height, depth, colours, _, _, interlaced = struct.unpack(">IIBBBBB", data)
            if (depth, colours, interlaced) != (8, 6, 0):
                raise ValueError("is a PNG of another form")
        elif kind == b"IDAT":
            packed_rows += data
        at += 12 + length
    rows, stride = zlib.decompress(packed_rows), 4 * width
    above, result = bytearray(stride), bytearray()
    for start in range(0, len(rows), stride + 1):
        row = bytearray(rows[start + 1:start + 1 + stride])
        unfilter(rows[start], row, above)
        result += row
        above = row
    return width, height, result


def unfilter(method, row, above):
    for i in range(len(row) if method else 0):
        left, up, corner = row[i - 4] if i > 3 else 0, above[i], above[i - 4] if i > 3 else 0
        if method == 4:
            guess = left + up - corner
            near = min((abs(guess - left), 0, left), (abs(guess - up), 1, up), (abs(guess - corner), 2, corner))[2]
        else:
            near = (0, left, up, (left + up) // 2)[method]
        row[i] = (row[i] + near) & 255


def problems():
    with open(ICON, "rb") as file:
        found = unpacked(file.read())
    for kind in sorted(set(SIZES) ^ set(found)):
        yield "%s is %s" % (kind.decode(), "missing" if kind in SIZES else "no picture that is asked for")
    for kind, size in SIZES.items():
        if kind not in found:
            continue
        width, height, have = pixels(found[kind])
        if (width, height) != (size, size):
            yield "%s is %d × %d" % (kind.decode(), width, height)
        elif size <= 128:  # the larger ones are drawn alike, and take long to compare
            want = pixels(drawn(size))[2]
            off = sum(abs(a - b) for a, b in zip(have, want)) / len(want)
            if off > TOLERANCE:
                yield "%s differs from the SVG by %.1f" % (kind.decode(), off)


def main():
    if sys.argv[1:] == ["--check"]:
        found = list(problems())
        for problem in found:
            print("Varnel.icns: " + problem)
        print("Varnel.icns: %d problems" % len(found))
        return 1 if found else 0
    icon = packed([(kind, drawn(size)) for kind, size in SIZES.items()])
    with open(ICON, "wb") as file:
        file.write(icon)
    return 0


if __name__ == "__main__":
    sys.exit(main())
