// The host's commands that no story of its own is about, as the board and the viewer meet them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/stories/storykit/story_run.h"

namespace {

using storykit::Story;
using storykit::Told;

Told host(const std::vector<std::string>& commands) { return Story("manual-focus").commands(commands).run(); }

TEST(Offset, NarrowsTheTopOrWidensItAgain) {
    const Told told = host({"init", "offset 0 20", "offset 0 20"});
    EXPECT_EQ(told.at_the_end().top_width, 1240);
    EXPECT_EQ(told.at_the_end().bottom_width, 1280);
    EXPECT_EQ(host({"init", "offset 0 20", "offset 1 20"}).at_the_end().top_width, 1280);
}

TEST(Offset, KnowsTwoDirections) {
    const Told told = host({"init", "offset 2 20"});
    EXPECT_EQ(told.exit_code, 2);
    EXPECT_TRUE(told.said("usage: offset DIRECTION STEP\n"));
}

TEST(Keys, TellWhetherOneHasBeenPressed) {
    const storykit::ScratchFolder folder;
    const std::string scenario = folder.file("scenario.json");
    storykit::write_file(scenario, R"({"events": [{"at_s": 2, "key": 28, "what": "a key is pressed"}]})");
    const Told told = Story("manual-focus")
                          .scenario(scenario)
                          .commands({"init", "keys", "wait 1s", "keys", "wait 2s", "keys"})
                          .run();
    EXPECT_TRUE(told.said("listening to the keys\nno key has been pressed\n"));
    EXPECT_TRUE(told.said("a key has been pressed\n"));
}

TEST(Clean, ErasesTheWholeRecord) {
    const storykit::ScratchFolder folder;
    const Told told = Story("manual-focus").with({"--flash", folder.file("flash")}).commands({"clean"}).run();
    EXPECT_EQ(told.words, "erasing the record: done\n");
    EXPECT_EQ(storykit::contents_of(folder.file("flash")), std::string(227, '\xff'));
}

TEST(Dump, ShowsFlashAndMemoryInTheLibrarysLog) {
    const Told told = host({"record", "dump"});
    EXPECT_TRUE(told.said("the record stands in the library's log\ndumping the record: done\n"));
    EXPECT_EQ(told.times_logged("dump_permanent_data_for_debug, end"), 1);
}

TEST(Dump, FailsBeforeAnythingHasReadTheRecord) { EXPECT_EQ(host({"dump"}).exit_code, 1); }

TEST(Distance, IsRefusedWithoutAToFSensor) {
    const Told told = Story("no-tof").commands({"init", "distance"}).run();
    EXPECT_EQ(told.exit_code, 1);
    EXPECT_TRUE(told.said("the distance cannot be measured\n"));
}

TEST(Fan, SetsTheSpeedOrSaysThatItDidNot) {
    const Told told = Story("manual-focus").detail("calls").commands({"fan 3"}).run();
    const std::string written =
        R"("path":"/sys/devices/platform/pwm-fan/target_speed","count":2,"result":2,"data":"3\n"})";
    EXPECT_NE(told.trace_text.find(written), std::string::npos) << told.trace_text;
    EXPECT_EQ(host({"fan -1"}).words, "the fan did not take its speed\n");
    EXPECT_EQ(host({"fan -1"}).exit_code, 1);
}

}  // namespace
