#!/usr/bin/python3
"""pdctl's JSON against its schema: every golden output of `pdctl --json`
(tests/data/pdctl/<command>[-...].json, which the pdctl tests compare byte
for byte with what pdctl prints) must match the definition of its command,
every command must have one, and the schema must refuse an output whose
numbers or flags were left as the gateway's text."""
import json
import pathlib
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


failures, seen = [], set()
for path in sorted(golden_dir.glob("*.json")):
    command = path.stem.split("-")[0]
    if command not in commands:
        failures.append(f"{path.name}: no definition for {command!r}")
        continue
    seen.add(command)
    document = json.loads(path.read_text())
    for error in validator(command).iter_errors(document):
        failures.append(f"{path.name}: {error.json_path}: {error.message}")
    for bad in untyped(document):
        if validator(command).is_valid(bad):
            failures.append(f"{path.name}: the schema accepts a number or flag as text")
for command in sorted(commands - seen):
    failures.append(f"no golden output checks {command!r}")
print("\n".join(failures) or f"{len(seen)} commands match the schema")
sys.exit(1 if failures else 0)
