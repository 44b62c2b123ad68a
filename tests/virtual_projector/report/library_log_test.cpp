#include "virtual_projector/report/library_log.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "virtual_projector/storykit/scratch_folder.h"

namespace {

std::string words_of(const std::string& line) { return vp::LogFormatter().format(line); }

std::vector<std::string> words_of_all(const std::vector<std::string>& lines) {
    vp::LogFormatter formatter;
    std::vector<std::string> words;
    for (const std::string& line : lines) words.push_back(formatter.format(line));
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
    EXPECT_EQ(words_of("[ovra_focus]  \033[36;1mavgDist = 1504\033[0m"), "their mean in range is 1504 mm");
    EXPECT_EQ(words_of("[ovra_focus]  \033[36;1mavgDist = -1\033[0m"), "");
    EXPECT_EQ(words_of("avgDist = 1504"), "their mean in range is 1504 mm");
}

TEST(ALogLine, SaysInWordsWhatTheSensorsMeasured) {
    EXPECT_EQ(words_of("[ovra_focus]  tof angle = 12 degree"), "the ToF sensor says a tilt of 12 degrees");
    EXPECT_EQ(words_of("[ovra_focus]  tof distance ret=0, tr:1571, br:1436, tl:1574, bl:1435"),
              "the ToF zones say 1571, 1436, 1574 and 1435 mm (right top, bottom; left top, bottom)");
    EXPECT_EQ(words_of("[ovra_focus]  r_led_temp_read=45"), "the LED has 45 degrees Celsius");
    EXPECT_EQ(words_of("[ovra_focus]  machine is sudden shake"), "the projector is being moved");
    EXPECT_EQ(words_of("[ovra_focus]  \033[31;1mauto fucos error: move far away\033[0m"),
              "no ToF zone is in range: move the projector");
}

TEST(ALogLine, SaysInWordsWhatWasChosen) {
    EXPECT_EQ(words_of("[ovra_focus]  varnel_thread_setDLPKeystone: keystone upWidth = 1148, downWidth = 1280"),
              "chosen to square the picture: edges of 1148 pixels at the top, 1280 at the bottom");
    EXPECT_EQ(words_of("[ovra_focus]  \033[46;1mtargetTMR after temp adjust half = 10\033[0m"),
              "chosen: targets 10 TMR units lower, for a warm LED");
    EXPECT_EQ(words_of("[ovra_focus]  targetTMR after temp adjust elepn half = 4"),
              "chosen: the light engine's own focus curve, shifted by 4 TMR units");
    EXPECT_EQ(words_of("[ovra_focus]  \033[36;1muse gsensor vAngle\033[0m"),
              "that was for the gravity sensor's tilt");
}

TEST(AChosenPlace, IsGivenWithItsDistanceAndTheWayThere) {
    EXPECT_EQ(words_of("[ovra_focus]  curTMRIndex = 24, targetTMRIndex = 2, steps = -11"),
              "chosen: lens place 2, for 1500 mm, nearest; it stands at place 24, for 240 mm: 11 coarse steps "
              "to the left");
    EXPECT_EQ(words_of("[ovra_focus]  curTMRIndex = 0, targetTMRIndex = 3, steps = 1"),
              "chosen: lens place 3, for 1250 mm, nearest; it stands at place 0, for 3000 mm: 1 coarse step to "
              "the right");
    EXPECT_EQ(words_of("[ovra_focus]  curTMRIndex = 3, targetTMRIndex = 2, steps = 0"),
              "chosen: lens place 2, for 1500 mm, nearest; it stands at place 3, for 1250 mm: no coarse step");
    EXPECT_EQ(words_of("[ovra_focus]  curTMRIndex = 2, targetTMRIndex = 2, steps = 0"),
              "chosen: lens place 2, the one for 1500 mm, nearest; it stands there");
}

TEST(AChosenPlace, IsForACalibratedDistanceOrTheMiddleOfTwo) {
    EXPECT_EQ(vp::focus_place_mm(0), 3000);
    EXPECT_EQ(vp::focus_place_mm(1), 2250);
    EXPECT_EQ(vp::focus_place_mm(23), 247);
    EXPECT_EQ(vp::focus_place_mm(24), 240);
    EXPECT_EQ(vp::focus_place_mm(25), 0);
    EXPECT_EQ(vp::focus_place_mm(-1), 0);
}

TEST(ARotation, IsGivenWithTheOneBeforeIt) {
    EXPECT_EQ(words_of("[ovra_focus]  from startup phase -> HSYNC_0, device rotation success"),
              "chosen: rotation HSYNC_0");
    EXPECT_EQ(words_of("[ovra_focus]  from HSYNC_0 -> HSYNC_180, device rotation success"),
              "chosen: rotation HSYNC_180 in place of HSYNC_0");
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
        (Words{"the lens is to go to TMR 50",
               "the target is TMR 50, the lens stands at 40: the rest by feedback",
               "final check: TMR 40 for the target 50, close enough"}));
}

TEST(ALogFile, KeepsItsOrderDropsRepetitionsAndCountsItsToasts) {
    const storykit::ScratchFolder folder;
    const std::string path = folder.file("log");
    std::ofstream(path) << "[ovra_focus]  avgDist = 10\n\n[ovra_focus]  avgDist = 10\nnothing\n"
                           "[ovra_focus]  show_korbet_toast_akaf.call back toast\n\n"
                           "[ovra_focus]  show_korbet_toast_akaf.call back toast\n\n"
                           "[ovra_focus]  lv_refresh_callback.call back refresh ui\n";
    const vp::LibraryLog log = vp::read_library_log(path);
    EXPECT_EQ(log.words, (Words{"their mean in range is 10 mm", "a toast goes to the host",
                                "the host is asked to refresh its menu"}));
    EXPECT_EQ(log.toasts, 2);
}

TEST(ALogFile, ThatIsNotThereHasNoWords) {
    const vp::LibraryLog log = vp::read_library_log("/nowhere/log");
    EXPECT_TRUE(log.words.empty());
    EXPECT_EQ(log.toasts, 0);
}

}  // namespace
