// A program that does what a program under test should not do; see odd_program.cpp.
#ifndef TESTS_STORIES_ODD_PROGRAM_ODD_PROGRAM_H
#define TESTS_STORIES_ODD_PROGRAM_ODD_PROGRAM_H

#include <string>
#include <vector>

namespace testkit {

/// Where it stands in this build.
extern const char* const odd_program;
/// A statically linked one.
extern const char* const odd_static;
/// This one, and one at no fixed place where the C library can be linked so.
extern const std::vector<std::string> odd_static_programs;
/// libovrafocus.so of this build.
extern const char* const library;

}  // namespace testkit

#endif
