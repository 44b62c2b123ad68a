"""Compares what examples/python/ovrafocus.py declares with the headers, by the C compiler, and with the list of exports.

    check_declarations.py SOURCES CC
"""

import ctypes
import os
import re
import subprocess
import sys
import tempfile

sources, compiler = sys.argv[1:]
sys.path.insert(0, os.path.join(sources, "examples", "python"))
import ovrafocus  # noqa: E402

CODES = {name: value for name, value in vars(ovrafocus).items() if re.match("(OVRA|NDS01)_", name)}
RECORDS = {
    name: kind
    for name, kind in vars(ovrafocus).items()
    if isinstance(kind, type) and issubclass(kind, ctypes.Structure) and hasattr(kind, "_fields_")
}
# How C calls what ctypes has its own names for; the integers, by their sizes.
C_NAMES = {ctypes.c_float: "float", ctypes.c_double: "double", ctypes.c_char: "char", ctypes.c_char_p: "const char*"}
C_NAMES.update({ctypes.c_void_p: "void*", None: "void"})


def c_name(kind):
    if kind in C_NAMES:
        return C_NAMES[kind]
    if kind.__name__ in ("timeval", "ovra_screen_info"):
        return f"struct {kind.__name__}"
    if issubclass(kind, ctypes.Structure):
        return kind.__name__
    if hasattr(kind, "contents"):
        return c_name(kind._type_) + "*"
    if kind is ctypes.c_ssize_t:
        return "intptr_t"
    signed = kind(-1).value < 0
    return f"{'' if signed else 'u'}int{8 * ctypes.sizeof(kind)}_t"


def no_const(declaration):
    return re.sub(r"\bconst ", "", declaration)


def complain(what):
    print(what)
    complain.count += 1


complain.count = 0


def compare_names():
    """The list of exports against what is declared, both ways."""
    with open(os.path.join(sources, "tests", "abi", "exports.txt"), encoding="ascii") as exports:
        listed = [line.split() for line in exports if line.strip() and not line.startswith("#")]
    for kind, declared in (("f", ovrafocus.FUNCTIONS), ("o", ovrafocus.VARIABLES)):
        wanted = {line[3] for line in listed if line[1] == "c" and line[2] == kind}
        for name in sorted(wanted - declared.keys()):
            complain(f"{name}: not declared")
        for name in sorted(declared.keys() - wanted):
            complain(f"{name}: the library has no such {'function' if kind == 'f' else 'variable'}")


def compare_parsed():
    """What ctypes was told, written as C again, against the declarations' own text."""
    text = re.sub(r"/\*.*?\*/|\n *", " ", ovrafocus.DECLARATIONS)
    for name, (result, parameters) in ovrafocus.FUNCTIONS.items():
        found = re.search(rf"([\w *]+)\b{name}\(([^)]*)\);", text)
        words = [re.sub(r"(.*?)\s*\w+\[\d+\]$", r"\1*", word) for word in found[2].split(",")]
        words = [re.sub(r"\s*\w+$", "", word).strip() if "[" not in word and word != "void" else word for word in words]
        told = [c_name(result), *([c_name(each) for each in parameters] or ["void"])]
        wanted = [found[1].strip(), *words]
        for one, other in zip(told, wanted):
            if no_const(one).replace(" *", "*") != no_const(other).replace(" *", "*"):
                complain(f"{name}: ctypes has {told}, declared is {wanted}")
                break
        if len(told) != len(wanted):
            complain(f"{name}: ctypes has {told}, declared is {wanted}")


def proof():
    """A C source that compiles when declarations, records and codes are those of the headers."""
    yield "#include <ovrafocus/ovrafocus.h>\n#include <stddef.h>"
    yield ovrafocus.DECLARATIONS
    for name, value in CODES.items():
        yield f'_Static_assert({name} == {value}, "{name}");'
    for name, kind in RECORDS.items():
        yield f'_Static_assert(sizeof({c_name(kind)}) == {ctypes.sizeof(kind)}, "{name}");'
        for field, _ in kind._fields_:
            place = getattr(kind, field)
            yield f'_Static_assert(offsetof({c_name(kind)}, {field}) == {place.offset}, "{name}.{field}");'
            yield f'_Static_assert(sizeof((({c_name(kind)}*)0)->{field}) == {place.size}, "{name}.{field}");'
    for name, kind in ovrafocus.VARIABLES.items():
        if kind.__name__ != "pthread_mutex_t":
            yield f'_Static_assert(sizeof({name}) == {ctypes.sizeof(kind)}, "{name}");'
    # The slots' own types: functions of theirs fit into the table.
    yield "static void no_arguments(void) {}\nstatic void one(int32_t code) { (void)code; }"
    yield "static int32_t asked(void) { return 0; }\nstatic void two(int32_t a, int32_t b) { (void)(a + b); }"
    kinds = {(None, ()): "no_arguments", (None, (ctypes.c_int32,)): "one", (ctypes.c_int32, ()): "asked"}
    kinds[(None, (ctypes.c_int32, ctypes.c_int32))] = "two"
    yield "extern const app_callback_table table;\nconst app_callback_table table = {"
    for slot, kind in ovrafocus.app_callback_table._fields_:
        if kind is not ctypes.c_void_p:
            yield f"    .{slot} = {kinds[(kind._restype_, kind._argtypes_)]},"
    yield "};"


def compile_proof():
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "proof.c")
        with open(path, "w", encoding="ascii") as source:
            source.write("\n".join(proof()) + "\n")
        words = [compiler, "-std=c11", "-Wall", "-Wextra", "-Werror", "-fsyntax-only", f"-I{sources}/include", path]
        compiled = subprocess.run(words, capture_output=True, text=True, check=False)
        if compiled.returncode != 0:
            complain(compiled.stderr)


compare_names()
compare_parsed()
compile_proof()
print(f"{len(ovrafocus.FUNCTIONS)} functions, {len(ovrafocus.VARIABLES)} variables, {len(RECORDS)} records, "
      f"{len(CODES)} codes, as in the headers" if complain.count == 0 else f"{complain.count} differences")
sys.exit(complain.count != 0)
