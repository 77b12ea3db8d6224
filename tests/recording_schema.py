"""Checks recordings against the schema: usage: recording_schema.py SCHEMA BAD_LINES RECORDING..."""
import json
import sys

import jsonschema


def lines_of(path):
    with open(path, encoding="utf-8") as file:
        return [json.loads(line) for line in file]


def main(schema_path, bad_path, *recordings):
    with open(schema_path, encoding="utf-8") as file:
        schema = json.load(file)
    jsonschema.Draft7Validator.check_schema(schema)
    validator = jsonschema.Draft7Validator(schema)
    wrong = [f"{path}:{number}: not valid"
             for path in recordings
             for number, line in enumerate(lines_of(path), 1) if not validator.is_valid(line)]
    wrong += [f"{bad_path}:{number}: valid"
              for number, line in enumerate(lines_of(bad_path), 1) if validator.is_valid(line)]
    sys.exit("\n".join(wrong) or None)


main(*sys.argv[1:])
