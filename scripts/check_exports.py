#!/usr/bin/env python3
"""Holds together what src/libvor.map exports, what the public headers declare, and what a built
library really exports. Of each public header tests/abi/every_header.c uses something.

usage: check_exports.py LIBRARY
"""

import re
import subprocess
import sys
from collections import Counter
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
SRC = ROOT / "src"
VERSION = "VOR_6.0"


def without_comments(text):
    return re.sub(r"/\*.*?\*/|//[^\n]*", " ", text, flags=re.S)


def public_headers():
    """The headers that the umbrella header includes, in its order."""
    return re.findall(r'^#include "(.+)"', (SRC / "libvor.h").read_text(), flags=re.M)


def declared(header):
    """The names that a header marks with VOR_API."""
    text = without_comments((SRC / header).read_text())
    text = re.sub(r"\bVOR_PRINTF\([^)]*\)", " ", text)
    text = re.sub(r"^\s*#.*$", "", text, flags=re.M)
    return re.findall(r"\bVOR_API\b[^;(\[]*?(\w+)\s*[;(\[]", text)


def mapped():
    """The names of the map, each with the folder that it stands under."""
    lines = (SRC / "libvor.map").read_text().splitlines()
    if lines[0] != VERSION + " {":
        raise SystemExit(f"libvor.map: the first line is not '{VERSION} {{'")
    names, folder = [], None
    for line in map(str.strip, lines[1:]):
        if heading := re.fullmatch(r"/\* (\w+) \*/", line):
            folder = heading[1]
        elif name := re.fullmatch(r"(\w+);", line):
            names.append((name[1], folder))
        elif line not in ("global:", "local: *;", "};", ""):
            raise SystemExit(f"libvor.map: cannot read the line '{line}'")
    return names


def exported(library):
    """The dynamic symbols that a library defines, each with its version."""
    output = subprocess.run(
        ["nm", "--dynamic", "--defined-only", "--with-symbol-versions", library],
        check=True, capture_output=True, text=True).stdout
    symbols = {}
    for line in output.splitlines():
        _, kind, symbol = line.split()
        name, _, version = symbol.partition("@@")
        if kind != "A":  # the version itself is an absolute symbol
            symbols[name] = version
    return symbols


def main():
    if len(sys.argv) != 2:
        raise SystemExit(__doc__)
    faults = []

    def compare(left, left_name, right, right_name):
        for name in sorted(set(left) - set(right)):
            faults.append(f"{name}: in {left_name}, but not in {right_name}")

    headers = public_headers()
    for path in sorted(SRC.rglob("*.h")):
        name = str(path.relative_to(SRC))
        if name not in headers and declared(name) and name != "vor_api.h":
            faults.append(f"{name}: declares exports, but libvor.h does not include it")

    used = set(re.findall(r"\w+", (ROOT / "tests/abi/every_header.c").read_text()))
    for header in headers:
        if not used & set(declared(header)):
            faults.append(f"{header}: tests/abi/every_header.c uses nothing of it")

    home = {name: header.split("/")[0] for header in headers for name in declared(header)}
    names = mapped()
    symbols = exported(sys.argv[1])
    for name, count in Counter(name for name, _ in names).items():
        if count > 1:
            faults.append(f"{name}: {count} times in libvor.map")
    for name, folder in names:
        if home.get(name, folder) != folder:
            faults.append(f"{name}: under {folder} in libvor.map, declared in {home[name]}")
    for name, version in symbols.items():
        if version != VERSION:
            faults.append(f"{name}: exported with the version '{version}'")
    in_map = [name for name, _ in names]
    compare(home, "the headers", in_map, "libvor.map")
    compare(in_map, "libvor.map", home, "the headers")
    compare(in_map, "libvor.map", symbols, "the library")
    compare(symbols, "the library", in_map, "libvor.map")

    for fault in faults:
        print(fault)
    if not names or not symbols:
        faults.append("nothing to compare")
    print(f"{len(symbols)} exported names, {len(faults)} faults")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
