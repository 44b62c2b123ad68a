// The host's commands that no story of its own is about, as the board and the viewer meet them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "virtual_projector/storykit/story_run.h"

namespace {

using storykit::Story;
using storykit::StoryResult;

StoryResult host(const std::vector<std::string>& commands) {
    return Story("manual-focus").commands(commands).run();
}

TEST(Offset, NarrowsTheTopOrWidensItAgain) {
    const StoryResult result = host({"init", "offset 0 20", "offset 0 20"});
    EXPECT_EQ(result.at_the_end().top_width, 1240);
    EXPECT_EQ(result.at_the_end().bottom_width, 1280);
    EXPECT_EQ(host({"init", "offset 0 20", "offset 1 20"}).at_the_end().top_width, 1280);
}

TEST(Offset, KnowsTwoDirections) {
    const StoryResult result = host({"init", "offset 2 20"});
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_TRUE(result.printed("usage: offset DIRECTION STEP\n"));
}

TEST(Keys, TellWhetherOneHasBeenPressed) {
    const storykit::ScratchFolder folder;
    const std::string scenario = folder.file("scenario.json");
    storykit::write_file(scenario, R"({"events": [{"at_s": 2, "key": 28, "what": "a key is pressed"}]})");
    const StoryResult result = Story("manual-focus")
                                   .scenario(scenario)
                                   .commands({"init", "keys", "wait 1s", "keys", "wait 2s", "keys"})
                                   .run();
    EXPECT_TRUE(result.printed("listening to the keys\nno key has been pressed\n"));
    EXPECT_TRUE(result.printed("a key has been pressed\n"));
}

TEST(Clean, ErasesTheWholeRecord) {
    const storykit::ScratchFolder folder;
    const StoryResult result =
        Story("manual-focus").with({"--flash", folder.file("flash")}).commands({"clean"}).run();
    EXPECT_EQ(result.words, "erasing the record: done\n");
    EXPECT_EQ(storykit::contents_of(folder.file("flash")), std::string(227, '\xff'));
}

TEST(Dump, ShowsFlashAndMemoryInTheLibrarysLog) {
    const StoryResult result = host({"record", "dump"});
    EXPECT_TRUE(result.printed("the record stands in the library's log\ndumping the record: done\n"));
    EXPECT_EQ(result.times_logged("dump_permanent_data_for_debug, end"), 1);
}

TEST(Dump, FailsBeforeAnythingHasReadTheRecord) { EXPECT_EQ(host({"dump"}).exit_code, 1); }

TEST(Distance, IsRefusedWithoutAToFSensor) {
    const StoryResult result = Story("no-tof").commands({"init", "distance"}).run();
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_TRUE(result.printed("the distance cannot be measured\n"));
}

TEST(Fan, SetsTheSpeedOrSaysThatItDidNot) {
    const StoryResult result = Story("manual-focus").detail("calls").commands({"fan 3"}).run();
    const std::string written =
        R"("path":"/sys/devices/platform/pwm-fan/target_speed","count":2,"result":2,"data":"3\n"})";
    EXPECT_NE(result.trace_text.find(written), std::string::npos) << result.trace_text;
    EXPECT_EQ(host({"fan -1"}).words, "the fan did not take its speed\n");
    EXPECT_EQ(host({"fan -1"}).exit_code, 1);
}

}  // namespace
