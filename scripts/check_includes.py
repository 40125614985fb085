#!/usr/bin/env python3
"""Checks which file includes which:

- a folder below src/ includes from itself and from the folders under it in LAYERS alone; those that
  share a line make one group and know each other;
- no file includes itself, directly or in a circle;
- a public header (one that libvor.h includes) includes public headers and the C library's alone;
- the modules and the command use the public headers and their own;
- headers of the operating system, and tests of what system it is, stay in src/platform/;
- no two files of the project have the same name.
"""

import re
import sys
from collections import defaultdict
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
SRC = ROOT / "src"

# The lowest first.
LAYERS = [
    {"platform"},
    {"util"},
    {"runtime"},
    {"config"},
    {"trackfile", "formats", "codecs", "vor"},
    {"colour"},
]
# The search for raster files hands out the geometry of what it found.
EXCEPTIONS = {
    ("runtime/path_search.h", "trackfile/lf.h"),
    ("runtime/raster_search.cpp", "trackfile/lf.h"),
}
ANYWHERE = {"vor_api.h"}

C_HEADERS = {"stdarg.h", "stddef.h", "stdint.h", "stdio.h", "string.h"}
SYSTEM_HEADERS = re.compile(
    r"(sys|linux|arpa|netinet)/.*|(unistd|fcntl|dirent|dlfcn|pthread|poll|pwd|sched|spawn|termios"
    r"|syslog|strings|windows|io|direct|process)\.h")
SYSTEM_TESTS = re.compile(
    r"#\s*(?:if|elif|ifdef|ifndef)\b.*\b(_WIN32|__linux__|__unix__|__APPLE__|_POSIX\w*|__x86_64__)\b")
# Names that tools look for and that stand in many folders.
COMMON_NAMES = {"CMakeLists.txt", "README.md", ".clang-tidy"}
# A case of the command's tests is a folder, an input of a corpus a file, of any name.
CASES = ("tests/command", "fuzz/corpus")

INCLUDE = re.compile(r'^\s*#\s*include\s+([<"])([^>"]+)[>"]', flags=re.M)


def includes(path):
    """The included names of a file: those in quotes, those in angle brackets."""
    found = INCLUDE.findall(path.read_text())
    return [n for q, n in found if q == '"'], [n for q, n in found if q == "<"]


def sources(folder):
    return sorted(p for p in folder.rglob("*") if p.suffix in (".h", ".c", ".cpp"))


def rank(folder):
    return next((i for i, group in enumerate(LAYERS) if folder in group), None)


def check_arrows(graph, faults):
    for name, (own, _) in graph.items():
        if name == "libvor.h":
            continue
        here = rank(name.split("/")[0])
        if here is None and name not in ANYWHERE:
            faults.append(f"src/{name}: its folder stands in no layer of scripts/check_includes.py")
            continue
        for target in own:
            if target in ANYWHERE or (name, target) in EXCEPTIONS:
                continue
            there = rank(target.split("/")[0])
            if there is None or not (SRC / target).is_file():
                faults.append(f'src/{name}: "{target}" is not named from src/ or not there')
            elif there > here:
                faults.append(f"src/{name}: includes {target}, of a layer above")


def check_circles(graph, faults):
    done, path = set(), []

    def visit(name):
        if name in path:
            faults.append("circle: " + " -> ".join(path[path.index(name):] + [name]))
        elif name not in done and name in graph:
            path.append(name)
            for target in graph[name][0]:
                visit(target)
            path.pop()
            done.add(name)

    for name in graph:
        visit(name)


def check_public(graph, faults):
    public = set(graph["libvor.h"][0]) | ANYWHERE
    for name in sorted(public):
        own, system = graph[name]
        for target in own:
            if target not in public:
                faults.append(f"src/{name}: a public header includes the internal {target}")
        for target in set(system) - C_HEADERS:
            faults.append(f"src/{name}: a public header includes <{target}>")
    for path in [p for folder in ("modules", "tools", "docs") for p in sources(ROOT / folder)]:
        for target in includes(path)[0]:
            if (SRC / target).is_file() and target not in public | {"libvor.h"}:
                faults.append(f"{path.relative_to(ROOT)}: includes the internal {target}")


def check_systems(graph, faults):
    for name, (_, system) in graph.items():
        if name.startswith("platform/") or name in ANYWHERE:
            continue
        for target in filter(SYSTEM_HEADERS.fullmatch, system):
            faults.append(f"src/{name}: includes <{target}> outside src/platform/")
        for test in SYSTEM_TESTS.findall((SRC / name).read_text()):
            faults.append(f"src/{name}: tests {test} outside src/platform/")


def check_names(faults):
    places = defaultdict(list)
    folders = ("src", "modules", "tools", "tests", "fuzz", "bench", "scripts", "cmake", "docs")
    for folder in folders:
        for path in (ROOT / folder).rglob("*"):
            if path.is_file() and not any(path.is_relative_to(ROOT / f) for f in CASES):
                places[path.name].append(str(path.relative_to(ROOT)))
    for name, paths in sorted(places.items()):
        if len(paths) > 1 and name not in COMMON_NAMES:
            faults.append("the same name twice: " + ", ".join(sorted(paths)))


def main():
    graph = {str(p.relative_to(SRC)): includes(p) for p in sources(SRC)}
    faults = []
    check_arrows(graph, faults)
    check_circles(graph, faults)
    check_public(graph, faults)
    check_systems(graph, faults)
    check_names(faults)
    for fault in faults:
        print(fault)
    print(f"{len(graph)} source files, {len(faults)} faults")
    return 1 if faults or not graph else 0


if __name__ == "__main__":
    sys.exit(main())
