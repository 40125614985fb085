#!/usr/bin/env python3
"""Holds manual pages against the help of the command, and against roff.

    check_manual.py DIRECTORY

There must be a page for the command and each sub-command, and no other; each must have its
sections, the options and places that the help has, and no fault in the eyes of groff and mandoc.
`vor` is found by PATH.
"""
import re
import subprocess
import sys
from pathlib import Path

SECTIONS = ["NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "EXIT STATUS", "SEE ALSO"]
SUBCOMMAND = re.compile(r"^  ([a-z]+) {2,}\S", re.MULTILINE)
ENTRY = re.compile(r"^  (-\S+|[A-Z_]{2,})", re.MULTILINE)
# pages of the same sources are the same, whenever they are made
NO_DATE = 'WARNING: missing date, using "": TH'

faults = []


def fault(place, text):
    faults.append(f"{place}: {text}")


def run(*words):
    return subprocess.run(words, capture_output=True, text=True, check=False)


def help_of(*words):
    return run("vor", *words, "--help").stdout.partition("Example:")[0]


def entries_of(words):
    """Options and places that the help of a command has, and those of the commands below it."""
    text = help_of(*words)
    entries = {name for entry in ENTRY.findall(text) for name in entry.split(",")}
    inner = SUBCOMMAND.findall(text) if words else []
    for name in inner:
        entries |= {f"vor {' '.join(words)} {name}"} | entries_of([*words, name])
    return entries


def check_source(page):
    groff = run("groff", "-man", "-ww", "-Tutf8", page)
    if groff.returncode != 0 or groff.stderr:
        fault(page.name, f"groff: {groff.stderr}")
    for line in run("mandoc", "-Tlint", "-Wwarning", page).stdout.splitlines():
        if not line.endswith(NO_DATE):
            fault(page.name, line)


def check_text(page, words):
    # wide, so that no word is divided; -P-cbou leaves out bold and underlined
    text = run("groff", "-man", "-Tascii", "-P-cbou", "-rLL=900n", page).stdout
    lines = text.splitlines()
    for section in SECTIONS:
        if section not in lines:
            fault(page.name, f"no section {section}")
    for entry in sorted(entries_of(words)):
        if not re.search(rf"^ +(-\S+( \S+)?, )*{re.escape(entry)}(?![\w-])", text, re.MULTILINE):
            fault(page.name, f"nothing about {entry}")
    if page.stem + " - " not in text:
        fault(page.name, "does not begin with its name")


def main():
    directory = Path(sys.argv[1])
    wanted = {"vor.1": []}
    for name in SUBCOMMAND.findall(help_of()):
        wanted[f"vor-{name}.1"] = [name]
    found = {file.name for file in directory.iterdir()}
    for name in sorted(found - wanted.keys()):
        fault(name, "belongs to no command")
    for name, words in wanted.items():
        if name not in found:
            fault(name, "there is no such page")
            continue
        check_source(directory / name)
        check_text(directory / name, words)
    for line in faults:
        print(line)
    print(f"{len(wanted)} pages, {len(faults)} faults")
    return 1 if faults or len(wanted) < 2 else 0


sys.exit(main())
