// The line about a long run's progress: on a terminal only, and gone at the end.
#include "virtual_projector/launcher/run_progress.h"

#include <gtest/gtest.h>
#include <pty.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <string>

#include "virtual_projector/world/microseconds.h"

namespace {

constexpr std::chrono::milliseconds at_once{0};
constexpr vp::Microseconds quarter = 900 * vp::microseconds_per_second;

class ProgressOnATerminal : public ::testing::Test {
protected:
    ProgressOnATerminal() {
        int own = -1;
        EXPECT_EQ(::openpty(&screen, &own, nullptr, nullptr, nullptr), 0);
        stream = ::fdopen(own, "w");
    }
    ~ProgressOnATerminal() override {
        (void)std::fclose(stream);
        (void)::close(screen);
    }
    std::string shown() {
        std::fprintf(stream, "#");  // the end of what was shown
        std::fflush(stream);
        std::string text;
        for (char byte = 0; ::read(screen, &byte, 1) == 1 && byte != '#';) text += byte;
        return text;
    }

    int screen = -1;
    std::FILE* stream = nullptr;
};

TEST_F(ProgressOnATerminal, ShowsTheSimulatedHourAndIsErasedAtTheEnd) {
    vp::RunProgress progress(stream, at_once);
    progress.time_is(5 * quarter);
    EXPECT_EQ(shown(), "\r\033[Kvirtual-projector: 1:15 h simulated");
    progress.finish();
    EXPECT_EQ(shown(), "\r\033[K");
}

TEST_F(ProgressOnATerminal, IsNotShownBeforeTheFirstQuarterOfAnHourNorInTheQuietStart) {
    vp::RunProgress progress(stream, at_once);
    progress.time_is(quarter - 1);
    progress.finish();
    vp::RunProgress slow(stream, std::chrono::hours(1));
    slow.time_is(5 * quarter);
    slow.finish();
    EXPECT_EQ(shown(), "");
}

TEST(ProgressInAFile, IsNotShown) {
    std::FILE* const file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    vp::RunProgress progress(file, at_once);
    progress.time_is(5 * quarter);
    progress.finish();
    EXPECT_EQ(std::ftell(file), 0);
    (void)std::fclose(file);
}

}  // namespace
