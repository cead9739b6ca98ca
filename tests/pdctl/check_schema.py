#!/usr/bin/python3
"""pdctl's JSON against its schema: every golden output of `pdctl --json`
(tests/data/pdctl/<command>[-...].json, and what each `pdctl --json COMMAND`
of a transcript tests/data/pdctl/*.txt printed when it succeeded; the pdctl
tests compare both byte for byte with what pdctl prints) must match the
definition of its command,
every command must have one, and the schema must refuse an output whose
numbers or flags were left as the gateway's text."""
import json
import pathlib
import shlex
import sys

import jsonschema

schema_file, golden_dir = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
schema = json.loads(schema_file.read_text())
jsonschema.Draft202012Validator.check_schema(schema)
commands = set(schema["$defs"]) - {"text", "number", "flag", "time", "iso_time", "sentence", "link"}


def validator(command):
    return jsonschema.Draft202012Validator({"$ref": "#/$defs/" + command, "$defs": schema["$defs"]})


def untyped(document):
    """Copies of `document` with one typed value turned back into text."""
    if isinstance(document, dict):
        items = list(document.items())
    elif isinstance(document, list):
        items = list(enumerate(document))
    else:
        return
    for key, value in items:
        if isinstance(value, bool) or isinstance(value, int):
            copy = json.loads(json.dumps(document))
            copy[key] = json.dumps(value)
            yield copy
            return
        for inner in untyped(value):
            copy = json.loads(json.dumps(document))
            copy[key] = inner
            yield copy
            return


def golden_outputs():
    """(where, command, JSON text) of every golden output."""
    for path in sorted(golden_dir.glob("*.json")):
        yield path.name, path.stem.split("-")[0], path.read_text()
    for path in sorted(golden_dir.glob("*.txt")):
        text = path.read_bytes().decode("utf-8", "surrogateescape")
        for block in text.split("\n$ ")[1:] if text.startswith("$ ") else []:
            line, status, *said = (block + "\n").split("\n")
            words = [word for word in shlex.split(line) if "=" not in word or word.startswith("-")][1:]
            while words and words[0].startswith("-"):
                words = words[2:] if words[0] in ("--timeout", "--plugin") else words[1:]
            # Times a test sent itself are masked; the same commands' other
            # outputs show them.
            if "--json" in line.split() and status == "exit 0" and words and "<now>" not in block:
                yield f"{path.name}: {line}", words[0], "\n".join(said)


failures, seen = [], set()
for where, command, text in golden_outputs():
    if command not in commands:
        failures.append(f"{where}: no definition for {command!r}")
        continue
    seen.add(command)
    document = json.loads(text)
    for error in validator(command).iter_errors(document):
        failures.append(f"{where}: {error.json_path}: {error.message}")
    for bad in untyped(document):
        if validator(command).is_valid(bad):
            failures.append(f"{where}: the schema accepts a number or flag as text")
for command in sorted(commands - seen):
    failures.append(f"no golden output checks {command!r}")
print("\n".join(failures) or f"{len(seen)} commands match the schema")
sys.exit(1 if failures else 0)
