#!/usr/bin/python3
"""Validates JSON documents against a JSON schema.

Usage: validate-json.py SCHEMA FILE...

The schema's own "$schema" chooses the draft (draft-04 to 2020-12, as the
installed jsonschema module knows them). Exit status 0 when every file is
valid; 1 with each error printed (file, path in the document, message)
otherwise; 2 for a usage error or a file that is not JSON; 77 when the
jsonschema module is not installed (the tests report themselves skipped).
"""

import json
import sys

try:
    import jsonschema
    import jsonschema.validators
except ImportError:
    print("validate-json.py: the Python module jsonschema is not installed", file=sys.stderr)
    sys.exit(77)


def load(path):
    with open(path, encoding="utf-8") as stream:
        return json.load(stream)


def main(argv):
    if len(argv) < 3:
        print("usage: validate-json.py SCHEMA FILE...", file=sys.stderr)
        return 2
    try:
        schema = load(argv[1])
        documents = [(path, load(path)) for path in argv[2:]]
    except (OSError, ValueError) as error:
        print("validate-json.py: %s" % error, file=sys.stderr)
        return 2
    validator_class = jsonschema.validators.validator_for(schema)
    validator_class.check_schema(schema)
    validator = validator_class(schema)
    status = 0
    for path, document in documents:
        errors = sorted(validator.iter_errors(document), key=lambda error: list(error.absolute_path))
        for error in errors:
            where = "/" + "/".join(str(part) for part in error.absolute_path)
            print("%s: %s: %s" % (path, where, error.message))
            status = 1
    return status


if __name__ == "__main__":
    sys.exit(main(sys.argv))
