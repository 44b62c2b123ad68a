// Hosts in plain C, and what their symbols and their process do to the library.
#include <gtest/gtest.h>

#include <string>

#include "virtual_projector/report/trace_reader.h"
#include "virtual_projector/storykit/launched_program.h"

namespace {

using storykit::Finished;
using storykit::launch;
using storykit::ScratchFolder;

struct Outcome {
    Finished finished;
    std::string trace_text;
    vp::TraceContents trace;
};

Outcome outcome_of(const char* host) {
    const ScratchFolder folder;
    Outcome run;
    run.finished = storykit::launch_projector(
        {"--scenario", storykit::project_file("scenarios/first-light.json"), "--trace", folder.file("trace")},
        {host});
    run.trace_text = storykit::contents_of(folder.file("trace"));
    run.trace = vp::read_trace(folder.file("trace"));
    return run;
}

bool printed(const Outcome& run, const std::string& line) {
    return run.finished.words.find(line + "\n") != std::string::npos;
}

TEST(AHostInC, RegistersItsCallbacksStartsUpAndHasThePictureSquaredAndFocused) {
    const Outcome result = outcome_of(C_HOST);
    EXPECT_EQ(result.finished.exit_code, 0) << result.finished.words << result.finished.complaints;
    EXPECT_TRUE(printed(result, "the run has ended"));
    ASSERT_FALSE(result.trace.truths.empty());
    EXPECT_LT(result.trace.truths.front().sharpness, 0.1);
    EXPECT_GT(result.trace.truths.back().sharpness, 0.98);
    EXPECT_LT(result.trace.truths.back().worst_side_deg(), 0.3);
}

TEST(AHostWhoseFunctionsAreNamedLikeTheLibrarys, KeepsThemToItself) {
    const Outcome result = outcome_of(CLASHING_HOST);
    EXPECT_EQ(result.finished.exit_code, 0) << result.finished.words << result.finished.complaints;
    EXPECT_TRUE(printed(result, "own functions: the host's own")) << result.finished.words;
}

TEST(AHostWhoseFunctionsAreNamedLikeTheLibrarys, ChangesNothingThatTheLibraryDoes) {
    const Outcome plain = outcome_of(C_HOST);
    ASSERT_FALSE(plain.trace_text.empty());
    EXPECT_EQ(outcome_of(CLASHING_HOST).trace_text, plain.trace_text);
}

TEST(AProcessWithoutTheBoardsLibraries, IsToldWhichFunctionIsMissing) {
    for (const char* mode : {"now", "lazy"}) {
        const Finished finished = launch({LONE_LOADER, LIBRARY, mode});
        EXPECT_EQ(finished.exit_code, 3) << mode;
        EXPECT_NE(finished.words.find("libovrafocus.so: undefined symbol: "), std::string::npos)
            << finished.words;
        EXPECT_EQ(finished.complaints, "") << mode;
    }
}

TEST(AProcessWithTheBoardsLibraries, LoadsTheLibraryAndLetsItGo) {
    const Finished finished = storykit::launch_projector({}, {LONE_LOADER, LIBRARY});
    EXPECT_EQ(finished.words, "loaded\n");
    EXPECT_EQ(finished.exit_code, 0) << finished.complaints;
}

// It reaches the library's functions past everybody, and fills its table when the library has it already.
TEST(AHostThatLoadsTheLibraryByHand, HasItsToastsLogAndStateInTheTrace) {
    const storykit::ScratchFolder folder;
    const std::string told = "1 toasts, the first 11\n";
    EXPECT_EQ(storykit::launch_projector({}, {LATE_HOST, LIBRARY}).complaints, told);
    const Finished traced = storykit::launch_projector({"--trace", folder.file("trace")}, {LATE_HOST, LIBRARY});
    EXPECT_EQ(traced.complaints, told);
    EXPECT_EQ(traced.exit_code, 0);
    const std::string trace = storykit::contents_of(folder.file("trace"));
    EXPECT_NE(trace.find(R"("callback":"toast","slot":5,"arguments":[11],)"), std::string::npos);
    EXPECT_NE(trace.find(R"("log":"ovra: app_callback_init.")"), std::string::npos);
    EXPECT_NE(trace.find(R"("state":{"g_osd_keystone":0})"), std::string::npos);
}

TEST(AProgramWith64BitsOfTime, LivesInVirtualTimeLikeAnyOther) {
    const Finished finished = storykit::launch_projector({}, {WIDE_TIME});
    EXPECT_EQ(finished.words,
              "nanosleep took 1000000005 us\n"
              "clock_nanosleep took 1000000005 us\n"
              "select took 3000000007 us\n"
              "pthread_cond_timedwait took 4000000000 us\n"
              "the clocks agree\n");
    EXPECT_EQ(finished.exit_code, 0) << finished.complaints;
}

// A run takes its start twice at first; the times at the end of the keystone and of the run are for runs that
// tell how long they took.
TEST(ARunThatEndsWithItsKeystone, ReadsTheClockTwiceOnly) {
    const Finished finished =
        storykit::launch_projector({"--set", "pose.roll_deg=90", "--set", "board.has_tof=0"}, {CLOCK_READER});
    EXPECT_EQ(finished.complaints, "result -101, the clock was read 2 times, with auto-focus 4 times\n");
    EXPECT_EQ(finished.exit_code, 0);
}

}  // namespace
