#!/usr/bin/python3
"""Validates JSON documents against a JSON Schema.

Usage: validate-json.py SCHEMA FILE...

Exit status 0 when every FILE is valid, 1 when one is not (its errors are
printed, one per line, with the path of the offending value), 2 when the
schema or a file cannot be read. The schema's own "$schema" chooses the
draft (draft-07 and 2020-12 are both understood).
"""

import json
import sys

import jsonschema


def main(argv):
    if len(argv) < 3:
        print("usage: validate-json.py SCHEMA FILE...", file=sys.stderr)
        return 2
    try:
        with open(argv[1], encoding="utf-8") as schema_file:
            schema = json.load(schema_file)
        validator_class = jsonschema.validators.validator_for(schema)
        validator_class.check_schema(schema)
        validator = validator_class(schema)
    except (OSError, ValueError, jsonschema.exceptions.SchemaError) as error:
        print(f"{argv[1]}: {error}", file=sys.stderr)
        return 2

    status = 0
    for path in argv[2:]:
        try:
            with open(path, encoding="utf-8") as document_file:
                document = json.load(document_file)
        except (OSError, ValueError) as error:
            print(f"{path}: {error}", file=sys.stderr)
            return 2
        for error in sorted(validator.iter_errors(document), key=lambda e: list(e.absolute_path)):
            location = "/".join(str(part) for part in error.absolute_path)
            print(f"{path}: /{location}: {error.message}")
            status = 1
    return status


if __name__ == "__main__":
    sys.exit(main(sys.argv))
