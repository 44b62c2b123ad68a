#include "tests/stories/odd_program/odd_program.h"

const char* const testkit::odd_program = ODD_PROGRAM;
const char* const testkit::odd_static = ODD_STATIC;
#ifdef ODD_STATIC_PIE
const std::vector<std::string> testkit::odd_static_programs = {ODD_STATIC, ODD_STATIC_PIE};
#else
const std::vector<std::string> testkit::odd_static_programs = {ODD_STATIC};
#endif
const char* const testkit::library = ODD_LIBRARY;
