#include "tests/stories/odd_program/odd_program.h"

const char* const testkit::odd_program = ODD_PROGRAM;
