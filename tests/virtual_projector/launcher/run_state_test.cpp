#include "virtual_projector/launcher/run_state.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

using vp::RunFile;
using vp::RunState;

struct TheRunsState : ::testing::Test {
    const std::unique_ptr<RunState> launchers = RunState::create();
    const std::unique_ptr<RunState> programs = RunState::open(launchers->path());
};

TEST_F(TheRunsState, KnowsTheFirstProcessForGood) {
    EXPECT_TRUE(programs->is_first(7));
    EXPECT_FALSE(programs->is_first(8));
    EXPECT_TRUE(programs->is_first(7));
}

TEST_F(TheRunsState, GivesTheBoardToOneProcess) {
    EXPECT_EQ(launchers->owner(), 0);
    EXPECT_TRUE(programs->claim(7, "host"));
    EXPECT_FALSE(programs->claim(8, "other"));
    EXPECT_TRUE(programs->claim(7, "host"));
    EXPECT_EQ(launchers->owner(), 7);
    EXPECT_EQ(launchers->owner_name(), "host");
}

TEST_F(TheRunsState, CutsALongName) {
    EXPECT_TRUE(programs->claim(7, std::string(200, 'x')));
    EXPECT_EQ(launchers->owner_name(), std::string(63, 'x'));
}

TEST_F(TheRunsState, TellsTheLauncherWhichFilesAreComplete) {
    EXPECT_TRUE(launchers->all_complete());
    programs->set_complete(RunFile::flash, false);
    programs->set_complete(RunFile::trace, true);
    EXPECT_FALSE(launchers->all_complete());
    EXPECT_FALSE(launchers->is_complete(RunFile::flash));
    EXPECT_TRUE(launchers->is_complete(RunFile::trace));
    programs->set_complete(RunFile::flash, true);
    EXPECT_TRUE(launchers->all_complete());
}

TEST_F(TheRunsState, TellsTheLauncherThatAMachineHasBegun) {
    EXPECT_FALSE(launchers->has_begun());
    programs->set_begun();
    EXPECT_TRUE(launchers->has_begun());
}

TEST(ARunsStateThatIsGone, IsNamed) {
    try {
        (void)RunState::open("/nowhere/state");
        FAIL();
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "the run's state, /nowhere/state: No such file or directory");
    }
}

}  // namespace
