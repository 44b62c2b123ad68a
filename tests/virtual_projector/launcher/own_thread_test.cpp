// The virtual projector's own thread within the program leaves no trace in what the program does.
#include <gtest/gtest.h>

#include "virtual_projector/storykit/launched_program.h"

namespace {

// Given a program that uses a locale for the first time, when it runs, then that is no call of its own: it
// would be one or not by whether that other thread, which real time wakes, had used one before.
TEST(TheFirstLocale, TakesNoSimulatedTime) {
    const storykit::Finished finished = storykit::launch_projector({}, {FIRST_LOCALE_PROGRAM});
    EXPECT_EQ(finished.exit_code, 0) << finished.complaints;
    EXPECT_EQ(finished.words, "a look at the clock takes 5000 ns, the first locale 0 ns more\n");
}

}  // namespace
