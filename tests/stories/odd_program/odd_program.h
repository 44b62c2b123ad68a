// A program that does what a program under test should not do; see odd_program.cpp.
#ifndef TESTS_STORIES_ODD_PROGRAM_ODD_PROGRAM_H
#define TESTS_STORIES_ODD_PROGRAM_ODD_PROGRAM_H

namespace testkit {

/// Where it stands in this build.
extern const char* const odd_program;
/// Statically linked ones.
extern const char* const odd_static;
extern const char* const odd_static_pie;
/// libovrafocus.so of this build.
extern const char* const library;

}  // namespace testkit

#endif
