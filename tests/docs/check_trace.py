#!/usr/bin/env python3
"""Compares traces with their schema: check_trace.py SCHEMA TRACE...

Names the first records that do not fit, each with its line and what is wrong. "-" is standard input.
"""
import json
import sys

from jsonschema import Draft202012Validator, ValidationError
from jsonschema.exceptions import best_match

MOST_COMPLAINTS = 5


def records_of(path):
    with sys.stdin if path == "-" else open(path, encoding="utf-8") as trace:
        yield from enumerate(trace, 1)


def problem_of(validator, line):
    """What is wrong with a line; None: nothing."""
    try:
        record = json.loads(line)
    except json.JSONDecodeError as error:
        return f"no JSON: {error}"
    if validator.is_valid(record):
        return None
    error: ValidationError = best_match(validator.iter_errors(record))
    place = "/".join(str(part) for part in error.absolute_path) or "the record"
    return f"{place}: {error.message}"


def check(validator, path):
    """The number of records, and of those that do not fit."""
    count = 0
    wrong = 0
    for number, line in records_of(path):
        count += 1
        problem = problem_of(validator, line)
        if problem is None:
            continue
        wrong += 1
        if wrong <= MOST_COMPLAINTS:
            print(f"{path}:{number}: {problem}\n  {line.rstrip()[:300]}")
    return count, wrong


def main(schema_file, *traces):
    with open(schema_file, encoding="utf-8") as file:
        schema = json.load(file)
    Draft202012Validator.check_schema(schema)
    validator = Draft202012Validator(schema)
    failed = not traces
    for path in traces:
        count, wrong = check(validator, path)
        print(f"{path}: {count} records, {wrong} do not fit")
        failed = failed or wrong > 0 or count == 0
    return 1 if failed else 0


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit(f"{sys.argv[0]}: expected SCHEMA TRACE..., found: {' '.join(sys.argv[1:]) or 'nothing'}")
    sys.exit(main(*sys.argv[1:]))
