#!/usr/bin/env python3
"""That check_trace.py refuses broken records: check_trace_test.py SCHEMA TRACE.

The trace is a good one; each kind of record that it has is broken in several ways, one at a time.
"""
import copy
import io
import json
import contextlib
import os
import sys
import tempfile

from jsonschema import Draft202012Validator

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import check_trace  # noqa: E402


def kind_of(record):
    kinds = ("run", "event", "truth", "wear", "callback", "return", "state", "log", "wait", "call")
    kind = next(each for each in kinds if each in record)
    return kind if kind != "call" else "call " + record["call"]


def first_of_each_kind(path):
    found = {}
    with open(path, encoding="utf-8") as trace:
        for line in trace:
            record = json.loads(line)
            found.setdefault(kind_of(record), record)
    return found


def broken(record):
    """Records that are wrong in one place each, with what is wrong."""
    yield "a member that there is not", {**record, "x": 1}
    yield "no time", {key: value for key, value in record.items() if key != "t_us"}
    yield "a time in words", {**record, "t_us": "now"}
    yield "a time before the start", {**record, "t_us": -1}
    yield "two kinds in one", {**record, "log": "line", "event": "what"}
    kind = kind_of(record)
    if kind in ("run", "truth", "wear", "state"):
        inside = copy.deepcopy(record)
        inside[kind]["x"] = 1
        yield "a member inside that there is not", inside
    if kind in ("run", "truth"):
        for member in record[kind]:
            if member in ("unit_seed", "scenario", "scenario_file"):
                continue
            inside = copy.deepcopy(record)
            del inside[kind][member]
            yield f"no {member}", inside
    if kind == "run":
        inside = copy.deepcopy(record)
        inside["run"]["format"] = 1
        yield "another format", inside
    if kind == "wait":
        yield "no duration", {key: value for key, value in record.items() if key != "took_us"}
        yield "a wait for what there is not", {**record, "wait": "the bus"}
        yield "an end that there is not", {**record, "end": "bored"}
    if kind.startswith("call "):
        yield "no result", {key: value for key, value in record.items() if key != "result"}
        yield "a call that there is not", {**record, "call": "dance"}
        yield "a failure without its name", {**{k: v for k, v in record.items() if k != "error"}, "result": -5}
        yield "bytes that are none", {**record, "given": "0"}
        yield "a fault without its words", {**record, "fault": {"number": 1}}


def complaints_about(lines, validator):
    with tempfile.NamedTemporaryFile("w", suffix=".trace", encoding="utf-8") as file:
        file.write("".join(lines))
        file.flush()
        with contextlib.redirect_stdout(io.StringIO()):
            return check_trace.check(validator, file.name, every=1)[1]


def main(schema_file, trace):
    with open(schema_file, encoding="utf-8") as file:
        validator = Draft202012Validator(json.load(file))
    good = first_of_each_kind(trace)
    failures = []
    tried = 0
    for kind in ("run", "truth", "wear", "state", "log", "callback", "return", "event", "wait", "call open",
                 "call read", "call write", "call ioctl", "call sleep", "call call", "call unlock", "call pthread_create"):
        if kind not in good:
            failures.append(f"the trace has no {kind}")
            continue
        if complaints_about([json.dumps(good[kind]) + "\n"], validator) != 0:
            failures.append(f"a good {kind} is refused")
        for what, record in broken(good[kind]):
            tried += 1
            if complaints_about([json.dumps(record) + "\n"], validator) != 1:
                failures.append(f"{kind} with {what} is taken")
    for line in ("\n", "{\n", "[]\n", '"event"\n', "{}\n"):
        tried += 1
        if complaints_about([line], validator) != 1:
            failures.append(f"{line!r} is taken")
    for failure in failures:
        print(failure)
    print(f"{len(good)} kinds of records, {tried} broken ones")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
