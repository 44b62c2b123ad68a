#include "virtual_projector/report/library_log.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "virtual_projector/storykit/scratch_folder.h"

namespace {

using vp::LogKind;

std::string words_of(const std::string& line) { return vp::LogFormatter().format(line).words; }
vp::LogKind kind_of(const std::string& line) { return vp::LogFormatter().format(line).kind; }

std::vector<std::string> words_of_all(const std::vector<std::string>& lines) {
    vp::LogFormatter formatter;
    std::vector<std::string> words;
    for (const std::string& line : lines) words.push_back(formatter.format(line).words);
    return words;
}

using Words = std::vector<std::string>;

TEST(ALogLine, HasNoWordsWhenAStoryDoesNotNeedIt) {
    EXPECT_EQ(words_of(""), "");
    EXPECT_EQ(words_of("ovra: get_app_callback."), "");
    EXPECT_EQ(words_of("[ovra_focus]  MOTOR RUNNING"), "");
    EXPECT_EQ(words_of("[ovra_focus]  tof distance ret=0, tr:1571"), "");  // cut off
}

TEST(ALogLine, LosesItsTagAndColours) {
    EXPECT_EQ(words_of("[ovra_focus]  \033[36;1mavgDist = 1504\033[0m"),
              "the mean of what is in range is 1504 mm");
    EXPECT_EQ(words_of("[ovra_focus]  \033[36;1mavgDist = -1\033[0m"), "");
    EXPECT_EQ(words_of("avgDist = 1504"), "the mean of what is in range is 1504 mm");
}

TEST(ALogLine, SaysInWordsWhatTheSensorsMeasured) {
    EXPECT_EQ(words_of("[ovra_focus]  tof angle = 12 degree"), "the ToF sensor says a tilt of 12 degrees");
    EXPECT_EQ(words_of("[ovra_focus]  tof distance ret=0, tr:1571, br:1436, tl:1574, bl:1435"),
              "ToF, top and bottom: right 1571 mm, 1436 mm, left 1574 mm, 1435 mm");
    EXPECT_EQ(words_of("[ovra_focus]  r_led_temp_read=45"), "the LED has 45 degrees Celsius");
    EXPECT_EQ(words_of("[ovra_focus]  machine is sudden shake"), "the projector is being moved");
    EXPECT_EQ(words_of("[ovra_focus]  \033[31;1mauto fucos error: move far away\033[0m"),
              "no ToF zone is in range: move the projector");
}

TEST(ALogLine, SaysInWordsWhatWasChosen) {
    EXPECT_EQ(words_of("[ovra_focus]  varnel_thread_setDLPKeystone: keystone upWidth = 1148, downWidth = 1280"),
              "chosen to square it: top edge 1148 pixels, bottom edge 1280");
    EXPECT_EQ(words_of("[ovra_focus]  \033[46;1mtargetTMR after temp adjust half = 10\033[0m"),
              "chosen: targets 10 TMR units lower, for a warm LED");
    EXPECT_EQ(words_of("[ovra_focus]  targetTMR after temp adjust elepn half = 4"),
              "chosen: the light engine's own focus curve, 4 TMR units off");
    EXPECT_EQ(words_of("[ovra_focus]  \033[36;1muse gsensor vAngle\033[0m"),
              "it squares for the gravity sensor's tilt");
}

TEST(AChosenPlace, IsGivenWithItsDistanceAndTheWayThere) {
    EXPECT_EQ(words_of("[ovra_focus]  curTMRIndex = 24, targetTMRIndex = 2, steps = -11"),
              "chosen: focus for 1500 mm, from 240 mm: 11 coarse steps to the left");
    EXPECT_EQ(words_of("[ovra_focus]  curTMRIndex = 0, targetTMRIndex = 3, steps = 1"),
              "chosen: focus for 1250 mm, from 3000 mm: 1 coarse step to the right");
    EXPECT_EQ(words_of("[ovra_focus]  curTMRIndex = 3, targetTMRIndex = 2, steps = 0"),
              "chosen: focus for 1500 mm, from 1250 mm: no coarse step");
    EXPECT_EQ(words_of("[ovra_focus]  curTMRIndex = 2, targetTMRIndex = 2, steps = 0"),
              "chosen: focus for 1500 mm, where the lens stands");
}

TEST(AChosenPlace, IsForACalibratedDistanceOrTheMiddleOfTwo) {
    EXPECT_EQ(vp::focus_place_mm(0), 3000);
    EXPECT_EQ(vp::focus_place_mm(1), 2250);
    EXPECT_EQ(vp::focus_place_mm(23), 247);
    EXPECT_EQ(vp::focus_place_mm(24), 240);
    EXPECT_EQ(vp::focus_place_mm(25), 0);
    EXPECT_EQ(vp::focus_place_mm(-1), 0);
}

// The story tells it by what a viewer sees of it.
TEST(ARotation, HasNoWordsInTheLog) {
    EXPECT_EQ(words_of("[ovra_focus]  from startup phase -> HSYNC_0, device rotation success"), "");
    EXPECT_EQ(words_of("[ovra_focus]  from HSYNC_0 -> HSYNC_180, device rotation success"), "");
}

TEST(ALogLine, IsOfTheKindThatTheStoryCutsItBy) {
    EXPECT_EQ(kind_of("ovra: get_app_callback."), LogKind::nothing);
    EXPECT_EQ(kind_of("[ovra_focus]  avgDist = 1504"), LogKind::seen);
    EXPECT_EQ(kind_of("[ovra_focus]  varnel_keystone: keystone upWidth = 1148, downWidth = 1280"),
              LogKind::chosen);
    EXPECT_EQ(kind_of("[ovra_focus]  auto fucos error: move far away"), LogKind::refused);
    EXPECT_EQ(kind_of("[ovra_focus]  move left idle 3"), LogKind::detail);
}

TEST(ALogLine, TellsThatTheLensHasNotBeenCalibratedAndNotThatItHas) {
    EXPECT_EQ(words_of("[ovra_focus]  int: gsensor = 1, tof = 1, tmr = 0"), "the lens has not been calibrated");
    EXPECT_EQ(words_of("[ovra_focus]  int: gsensor = 1, tof = 1, tmr = 2"), "");
}

TEST(ALogLine, TellsOfAKeyWhetherItIsPressedOrLetGo) {
    EXPECT_EQ(words_of("[ovra_focus]  headset 0001 001c 00000001"), "the key of code 28 is pressed");
    EXPECT_EQ(words_of("[ovra_focus]  headset 0001 001c 00000000"), "the key of code 28 is let go");
}

TEST(TheTarget, IsGivenOnceAndCheckedAtTheEnd) {
    EXPECT_EQ(
        words_of_all({"[ovra_focus]  currentTMR = -30, targetTMR = -66",
                      "[ovra_focus]  currentTMR = -64, targetTMR = -66", "[ovra_focus]  auto focus completed"}),
        (Words{"the target is TMR -66, the lens stands at -30: the rest by feedback", "",
               "final check: TMR -64 for the target -66, close enough"}));
}

TEST(TheTarget, IsGivenAgainForTheNextRun) {
    EXPECT_EQ(
        words_of_all({"currentTMR = -30, targetTMR = -66", "auto focus completed",
                      "curTMRIndex = 2, targetTMRIndex = 2, steps = 0", "currentTMR = -60, targetTMR = -66"})
            .back(),
        "the target is TMR -66, the lens stands at -60: the rest by feedback");
}

TEST(TheTarget, OfManualFocusIsCheckedAtItsEndToo) {
    EXPECT_EQ(
        words_of_all({"[ovra_focus]  manu focus targetTMR = 50--------------------------",
                      "[ovra_focus]  currentTMR = 40, targetTMR = 50", "[ovra_focus]  manul focus completed"}),
        (Words{"",  // its request is told by that
               "the target is TMR 50, the lens stands at 40: the rest by feedback",
               "final check: TMR 40 for the target 50, close enough"}));
}

TEST(ALogFile, KeepsItsOrderAndDropsEmptyLines) {
    const storykit::ScratchFolder folder;
    const std::string path = folder.file("log");
    std::ofstream(path)
        << "[ovra_focus]  avgDist = 10\n\n[ovra_focus]  avgDist = 10\n[ovra_focus]  \nnothing\n";
    EXPECT_EQ(vp::read_library_log(path),
              (Words{"[ovra_focus]  avgDist = 10", "[ovra_focus]  avgDist = 10", "nothing"}));
}

TEST(ALogFile, ThatIsNotThereHasNoLines) { EXPECT_TRUE(vp::read_library_log("/nowhere/log").empty()); }

}  // namespace
