"""A small PNG reader and writer for the tests, apart from Qt's, so that the
module's pictures are checked against files read another way: 8-bit grey,
RGB and RGBA, not interlaced."""

import struct
import zlib

import numpy

_SIGNATURE = b"\x89PNG\r\n\x1a\n"
_CHANNELS = {0: 1, 2: 3, 4: 2, 6: 4}


def _chunks(data):
    position = len(_SIGNATURE)
    while position < len(data):
        length, kind = struct.unpack(">I4s", data[position:position + 8])
        yield kind, data[position + 8:position + 8 + length]
        position += 12 + length


def _paeth(a, b, c):
    p = a + b - c
    pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
    return numpy.where((pa <= pb) & (pa <= pc), a, numpy.where(pb <= pc, b, c))


def _unfilter(raw, height, row_bytes, channels):
    rows = numpy.frombuffer(raw, dtype=numpy.uint8).reshape(height, row_bytes + 1)
    out = numpy.zeros((height, row_bytes), dtype=numpy.int32)
    previous = numpy.zeros(row_bytes, dtype=numpy.int32)
    for y in range(height):
        kind = rows[y, 0]
        line = rows[y, 1:].astype(numpy.int32)
        if kind == 0:
            current = line
        elif kind == 2:
            current = (line + previous) & 255
        else:
            current = numpy.zeros(row_bytes, dtype=numpy.int32)
            for x in range(row_bytes):
                left = current[x - channels] if x >= channels else 0
                up = previous[x]
                corner = previous[x - channels] if x >= channels else 0
                if kind == 1:
                    guess = left
                elif kind == 3:
                    guess = (left + up) // 2
                else:
                    guess = int(_paeth(numpy.int32(left), numpy.int32(up), numpy.int32(corner)))
                current[x] = (line[x] + guess) & 255
        out[y] = current
        previous = current
    return out.astype(numpy.uint8)


def read_png(path):
    """The pixels of an 8-bit PNG: H x W, H x W x 2, x 3 or x 4."""
    with open(path, "rb") as file:
        data = file.read()
    assert data.startswith(_SIGNATURE), path
    compressed = b""
    for kind, body in _chunks(data):
        if kind == b"IHDR":
            width, height, depth, colour, _, _, interlace = struct.unpack(">IIBBBBB", body)
            assert depth == 8 and interlace == 0 and colour in _CHANNELS, (depth, colour)
        elif kind == b"IDAT":
            compressed += body
    channels = _CHANNELS[colour]
    pixels = _unfilter(zlib.decompress(compressed), height, width * channels, channels)
    return pixels.reshape(height, width) if channels == 1 else pixels.reshape(height, width,
                                                                               channels)


def write_png(path, pixels):
    """Writes a uint8 array H x W, H x W x 3 or x 4 as a PNG, unfiltered."""
    pixels = numpy.ascontiguousarray(pixels, dtype=numpy.uint8)
    height, width = pixels.shape[:2]
    channels = 1 if pixels.ndim == 2 else pixels.shape[2]
    colour = {1: 0, 3: 2, 4: 6}[channels]
    rows = pixels.reshape(height, width * channels)
    raw = b"".join(b"\x00" + row.tobytes() for row in rows)

    def chunk(kind, body):
        return (struct.pack(">I", len(body)) + kind + body
                + struct.pack(">I", zlib.crc32(kind + body) & 0xFFFFFFFF))

    header = struct.pack(">IIBBBBB", width, height, 8, colour, 0, 0, 0)
    with open(path, "wb") as file:
        file.write(_SIGNATURE + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(raw))
                   + chunk(b"IEND", b""))
