"""PNG pictures as browsers write them: eight bits per colour, not interlaced."""

import collections
import struct
import zlib


class Picture:
    def __init__(self, width, channels, lines):
        self.width, self.channels, self.lines = width, channels, lines

    def pixel(self, x, y):
        return tuple(self.lines[y][x * self.channels:x * self.channels + 3])

    def colours(self):
        """Returns the number of pixels of each colour."""
        step = self.channels
        return collections.Counter(
            pixel for line in self.lines
            for pixel in zip(line[0::step], line[1::step], line[2::step]))


def read(path):
    with open(path, "rb") as file:
        data = file.read()
    assert data.startswith(b"\x89PNG\r\n\x1a\n"), path
    at, packed = 8, b""
    while at < len(data):
        length, kind = struct.unpack(">I4s", data[at:at + 8])
        body = data[at + 8:at + 8 + length]
        if kind == b"IHDR":
            width, height, depth, colour, _, _, interlaced = struct.unpack(">IIBBBBB", body)
        elif kind == b"IDAT":
            packed += body
        at += length + 12
    assert depth == 8 and colour in (2, 6) and not interlaced, (depth, colour, interlaced)
    channels = 3 if colour == 2 else 4
    return Picture(width, channels, _lines(zlib.decompress(packed), width * channels, height,
                                           channels))


def _lines(data, length, height, step):
    lines, above = [], bytearray(length)
    for row in range(height):
        start = row * (length + 1)
        line = bytearray(data[start + 1:start + 1 + length])
        _unfilter(data[start], line, above, step)
        lines.append(line)
        above = line
    return lines


def _unfilter(kind, line, above, step):
    if kind == 2:
        line[:] = bytes((a + b) & 255 for a, b in zip(line, above))
    elif kind:
        for i, value in enumerate(line):
            left = line[i - step] if i >= step else 0
            corner = above[i - step] if i >= step else 0
            line[i] = (value + _guess(kind, left, above[i], corner)) & 255


def _guess(kind, left, up, corner):
    if kind == 1:
        return left
    if kind == 3:
        return (left + up) // 2
    guess = left + up - corner  # the one of the three that is nearest to it
    return min((left, up, corner), key=lambda near: abs(guess - near))
