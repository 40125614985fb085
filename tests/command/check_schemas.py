#!/usr/bin/env python3
"""Holds what the command's cases print with --json against the schemas of docs/schemas.

    check_schemas.py CASES SCHEMAS

A schema is called SUBCOMMAND.schema.json. A case has its JSON from the lines of its script in which
a sub-command is given --json. What it prints besides is passed over, and so is what is no JSON any
more where the script cuts an output. `vor` in PATH is asked which sub-commands have --json.
"""
import json
import re
import subprocess
import sys
from pathlib import Path

import jsonschema

SUFFIX = ".schema.json"
CALL = re.compile(r"(?<![\w./-])vor\s+([a-z]+)\b([^|;&\n]*)")
CUT = re.compile(r"\|\s*(head|tail|grep|sed -n)\b")
SUBCOMMAND = re.compile(r"^  ([a-z]+) {2,}\S", re.MULTILINE)

faults = []


def fault(place, text):
    faults.append(f"{place}: {text}")


def parts_of(schema, path=""):
    """Each part of a schema that is one itself, with its place."""
    if isinstance(schema, dict):
        yield path or "/", schema
    items = schema.items() if isinstance(schema, dict) else enumerate(schema)
    for key, value in items:
        if isinstance(value, (dict, list)):
            yield from parts_of(value, f"{path}/{key}")


def load_schemas(directory):
    validators = {}
    for file in sorted(directory.glob("*.json")):
        schema = json.loads(file.read_text(encoding="utf-8"))
        try:
            jsonschema.Draft202012Validator.check_schema(schema)
        except jsonschema.SchemaError as error:
            fault(file.name, f"no schema: {error.message}")
            continue
        for path, part in parts_of(schema):
            if "object" in part.get("type", "") and part.get("additionalProperties") is not False:
                fault(file.name, f"{path} lets other properties pass")
        validators[file.name.removesuffix(SUFFIX)] = jsonschema.Draft202012Validator(schema)
    return validators


def callers(script):
    """The sub-commands that the script has print JSON."""
    text = re.sub(r"^\s*#.*", "", script.replace("\\\n", " "), flags=re.MULTILINE)
    return {match[1] for match in CALL.finditer(text) if "--json" in match[2]}


def documents(text):
    """The JSON in an output: what begins with a bracket at the beginning of a line. The last one is
    the error where there is none behind a bracket."""
    decoder = json.JSONDecoder()
    at = 0
    while begin := re.compile(r"^[\[{]", re.MULTILINE).search(text, at):
        try:
            value, at = decoder.raw_decode(text, begin.start())
            yield value
        except json.JSONDecodeError as error:
            yield error
            return


def fault_in(value, validators):
    """Why no validator takes a value, as the first one has it; None if one does."""
    reasons = []
    for validator in validators:
        error = jsonschema.exceptions.best_match(validator.iter_errors(value))
        if error is None:
            return None
        reasons.append(f"{error.json_path}: {error.message[:300]}")
    return reasons[0]


def check_case(case, validators):
    """Gives the sub-commands whose JSON is in the output."""
    script = (case / "cmd").read_text(encoding="utf-8")
    names = callers(script)
    output = case / "stdout"
    used = set()
    if not names or not output.exists():
        return used
    for value in documents(output.read_text(encoding="utf-8", errors="replace")):
        if isinstance(value, json.JSONDecodeError):
            if not CUT.search(script):
                fault(case.name, f"what it prints is no JSON: {value}")
            break
        known = sorted(names & validators.keys())
        if not known:
            fault(case.name, f"no schema for {', '.join(sorted(names))}")
            break
        reason = fault_in(value, [validators[name] for name in known])
        if reason:
            fault(case.name, reason)
        used.update(name for name in known if validators[name].is_valid(value))
    return used


def help_of(*words):
    answer = subprocess.run(["vor", *words, "--help"], capture_output=True, text=True, check=True)
    return answer.stdout


def has_json(*words):
    text = help_of(*words)
    return "--json" in text.partition("Example:")[0] or (
        " SUBCOMMAND" in text and any(has_json(*words, inner) for inner in SUBCOMMAND.findall(text))
    )


def main():
    cases, schemas = map(Path, sys.argv[1:])
    validators = load_schemas(schemas)
    used = set()
    for script in sorted(cases.glob("*/cmd")):
        used |= check_case(script.parent, validators)
    printing = {name for name in SUBCOMMAND.findall(help_of()) if has_json(name)}
    for name in sorted(printing - validators.keys()):
        fault(name, "has --json and no schema")
    for name in sorted(validators.keys() - printing):
        fault(name + SUFFIX, "no such sub-command has --json")
    for name in sorted(validators.keys() - used):
        fault(name + SUFFIX, "no case prints what it describes")
    for line in faults:
        print(line)
    print(f"{len(validators)} schemas, {len(faults)} faults")
    return 1 if faults else 0


sys.exit(main())
