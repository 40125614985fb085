#!/usr/bin/env python3
"""Compares two TIFF pictures of one sample, pixel by pixel: compare_pixels.py ONE.tif OTHER.tif

Shares no code with the project: libtiff's own tiffcp unpacks both files, and the plain strips are
read here. 0 is dark in the comparison whatever sense the files have. Prints the first difference.
Exit status 0 equal, 1 different, 2 a file cannot be read.
"""

import struct
import subprocess
import sys
import tempfile

WIDTH, LENGTH, BITS, COMPRESSION, PHOTOMETRIC, OFFSETS, SAMPLES, COUNTS = (
    256, 257, 258, 259, 262, 273, 277, 279)
MIN_IS_WHITE, MIN_IS_BLACK = 0, 1
KINDS = {1: "B", 3: "H", 4: "I"}  # bytes, 16-bit and 32-bit numbers


def tags_of(data):
    """The integer tags of the first picture of a classic TIFF file."""
    order = {b"II*\0": "<", b"MM\0*": ">"}[data[:4]]
    at = struct.unpack_from(order + "I", data, 4)[0]
    count = struct.unpack_from(order + "H", data, at)[0]
    tags = {}
    for entry in range(at + 2, at + 2 + 12 * count, 12):
        tag, kind, number = struct.unpack_from(order + "HHI", data, entry)
        if kind not in KINDS:
            continue
        form = f"{order}{number}{KINDS[kind]}"
        place = entry + 8
        if struct.calcsize(form) > 4:
            place = struct.unpack_from(order + "I", data, place)[0]
        tags[tag] = struct.unpack_from(form, data, place)
    return tags


def pixels_of(name):
    """Width, height, bits and the rows in one block, with 0 for dark and padding bits cleared."""
    with tempfile.TemporaryDirectory() as directory:
        plain = directory + "/plain.tif"
        subprocess.run(["tiffcp", "-c", "none", name, plain], check=True)
        with open(plain, "rb") as file:
            data = file.read()
    tags = tags_of(data)
    width, height = tags[WIDTH][0], tags[LENGTH][0]
    bits = tags.get(BITS, (1,))[0]
    if tags.get(SAMPLES, (1,))[0] != 1 or bits not in (1, 8) or tags[COMPRESSION][0] != 1:
        raise ValueError("not a picture of one sample of 1 or 8 bits")
    block = b"".join(data[at:at + size] for at, size in zip(tags[OFFSETS], tags[COUNTS]))
    stride = (width * bits + 7) // 8
    if len(block) != stride * height:
        raise ValueError("rows are missing")
    if tags[PHOTOMETRIC][0] == MIN_IS_WHITE:
        block = block.translate(bytes(range(255, -1, -1)))
    elif tags[PHOTOMETRIC][0] != MIN_IS_BLACK:
        raise ValueError("neither black and white nor gray")
    if bits == 1 and width % 8:
        rows = bytearray(block)
        last = slice(stride - 1, None, stride)
        keep = 0xFF00 >> (width % 8) & 0xFF
        rows[last] = rows[last].translate(bytes(value & keep for value in range(256)))
        block = bytes(rows)
    return width, height, bits, block


def difference(one, other):
    """What differs first, as a text, or nothing."""
    if one[:3] != other[:3]:
        return "sizes differ: %d x %d of %d bits, %d x %d of %d bits" % (one[:3] + other[:3])
    if one[3] == other[3]:
        return None
    at = next(i for i, pair in enumerate(zip(one[3], other[3])) if pair[0] != pair[1])
    stride = (one[0] * one[2] + 7) // 8
    return f"rows {at // stride} differ at byte {at % stride}"


def main():
    try:
        text = difference(pixels_of(sys.argv[1]), pixels_of(sys.argv[2]))
    except (KeyError, IndexError, ValueError, OSError, struct.error,
            subprocess.CalledProcessError) as problem:
        print(f"compare_pixels.py: {problem!r}", file=sys.stderr)
        return 2
    if text:
        print(f"{sys.argv[1]} and {sys.argv[2]}: {text}")
    return 1 if text else 0


if __name__ == "__main__":
    sys.exit(main())
