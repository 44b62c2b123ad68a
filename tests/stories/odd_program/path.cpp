#include "tests/stories/odd_program/odd_program.h"

const char* const testkit::odd_program = ODD_PROGRAM;
const char* const testkit::odd_static = ODD_STATIC;
const char* const testkit::odd_static_pie = ODD_STATIC_PIE;
const char* const testkit::library = ODD_LIBRARY;
