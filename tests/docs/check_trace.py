#!/usr/bin/env python3
"""Compares traces with their schema: check_trace.py [--thin] SCHEMA TRACE...

Names the first records that do not fit, each with its line and what is wrong. "-" is standard input. With --thin not
all of those records are looked at that have the same members on the same path and thread as many before them.
"""
import json
import sys
from collections import Counter

from jsonschema import Draft202012Validator, ValidationError
from jsonschema.exceptions import best_match

MOST_COMPLAINTS = 5
THIN = 25  # of so many records that are alike one is looked at
ALL_AT_FIRST = 50


def records_of(path):
    with sys.stdin if path == "-" else open(path, encoding="utf-8") as trace:
        yield from enumerate(trace, 1)


def parsed(line):
    """A line's record, and what is wrong with the line; None: nothing."""
    try:
        return json.loads(line), None
    except json.JSONDecodeError as error:
        return None, f"no JSON: {error}"


def shape_of(record):
    """What records that are alike have in common."""
    if not isinstance(record, dict):
        return None
    return (*record, record.get("call"), record.get("path"), record.get("name"))


def problem_of(validator, record):
    """What is wrong with a record; None: nothing."""
    if validator.is_valid(record):
        return None
    error: ValidationError = best_match(validator.iter_errors(record))
    place = "/".join(str(part) for part in error.absolute_path) or "the record"
    return f"{place}: {error.message}"


def check(validator, path, every):
    """The number of records, and of those that do not fit. Of many that are alike only each of so many is tried."""
    count = 0
    wrong = 0
    seen = Counter()
    for number, line in records_of(path):
        count += 1
        record, problem = parsed(line)
        if problem is None:
            shape = shape_of(record)
            seen[shape] += 1
            if seen[shape] > ALL_AT_FIRST and seen[shape] % every != 0:
                continue
            problem = problem_of(validator, record)
        if problem is None:
            continue
        wrong += 1
        if wrong <= MOST_COMPLAINTS:
            print(f"{path}:{number}: {problem}\n  {line.rstrip()[:300]}")
    return count, wrong


def main(*arguments):
    every = THIN if arguments[:1] == ("--thin",) else 1
    schema_file, *traces = arguments[1:] if every != 1 else arguments
    with open(schema_file, encoding="utf-8") as file:
        schema = json.load(file)
    Draft202012Validator.check_schema(schema)
    validator = Draft202012Validator(schema)
    failed = not traces
    for path in traces:
        count, wrong = check(validator, path, every)
        print(f"{path}: {count} records, {wrong} do not fit")
        failed = failed or wrong > 0 or count == 0
    return 1 if failed else 0


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit(f"{sys.argv[0]}: expected [--thin] SCHEMA TRACE..., found: {' '.join(sys.argv[1:]) or 'nothing'}")
    sys.exit(main(*sys.argv[1:]))
