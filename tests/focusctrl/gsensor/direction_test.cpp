#include "ovrafocus/direction.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "ovrafocus/acceleration.h"
#include "ovrafocus/config.h"
#include "ovrafocus/host_interface.h"
#include "tests/support/log_lines.h"
#include "tests/support/scripted_board.h"
#include "tests/support/scripted_vendor.h"

namespace {

using testkit::ScriptedBoard;
using testkit::tagged;
using testkit::vendor;
using Entries = std::vector<std::string>;

ScriptedBoard* current_board = nullptr;

void note_rotation(int32_t code) { current_board->note("host " + std::to_string(code)); }

std::string rotated(const std::string& from, const std::string& to) {
    return tagged("from " + from + " -> " + to + ", device rotation success");
}

struct Direction : ::testing::Test {
    ScriptedBoard board;
    app_callback_table table{};

    void SetUp() override {
        current_board = &board;
        table.rotation_changed = note_rotation;
        gsensor_app_callback = &table;
        vendor().set_rotation = [this](int rotation) {
            board.note("display " + std::to_string(rotation));
            return 0;
        };
        vendor().hdmirx_set_rotate = [this](int mode) {
            board.note("hdmi " + std::to_string(mode));
            return hdmi_answer;
        };
    }

    void TearDown() override { gsensor_app_callback = nullptr; }

    /// The display, HDMI and host calls, with the lines printed among them.
    Entries story() {
        const Entries entries = board.journal({"display", "hdmi", "host", "print"});
        board.clear_journal();
        return entries;
    }

    /// The display, HDMI and host calls since the last look.
    Entries turns() {
        const Entries entries = board.journal({"display", "hdmi", "host"});
        board.clear_journal();
        return entries;
    }

    void begin_with(int index) {
        set_device_direction(index);
        board.log();
        board.clear_journal();
    }

    static void tilt(float x, float y, float z) {
        acc_degree.x = x;
        acc_degree.y = y;
        acc_degree.z = z;
        match_projection_direction();
    }

    int hdmi_answer = 0;
};

// --- Applying a direction ---------------------------------------------------------------------------------

using SetDeviceDirection = Direction;

TEST_F(SetDeviceDirection, TurnsDisplayAndHdmiThenNotifiesTheHostAndLogsIt) {
    EXPECT_EQ(set_device_direction(1), 0);
    EXPECT_EQ(story(),
              (Entries{"display 1", "hdmi 2", "host 3",
                       "print [ovra_focus]  from startup phase -> HSYNC_90, device rotation success"}));
}

TEST_F(SetDeviceDirection, LeavesDisplayAndHdmiUnturnedAtTheHalfTurn) {
    EXPECT_EQ(set_device_direction(2), 0);
    EXPECT_EQ(turns(), (Entries{"display 0", "hdmi 0", "host 2"}));
}

TEST_F(SetDeviceDirection, GivesTheHostItsOwnCodesAndPrintsExactlyEachRotation) {
    const Entries expected[] = {{"display 0", "hdmi 2", "host 0"},
                                {"display 1", "hdmi 2", "host 3"},
                                {"display 0", "hdmi 0", "host 2"},
                                {"display 3", "hdmi 2", "host 1"}};
    for (int index = 0; index < 4; ++index) {
        board.clear_journal();
        EXPECT_EQ(set_device_direction(index), 0);
        EXPECT_EQ(board.journal({"display", "hdmi", "host"}), expected[index]);
    }
    EXPECT_EQ(board.log(), rotated("startup phase", "HSYNC_0") + rotated("HSYNC_0", "HSYNC_90") +
                               rotated("HSYNC_90", "HSYNC_180") + rotated("HSYNC_180", "HSYNC_270"));
}

TEST_F(SetDeviceDirection, LogsTheRotationAndNotTheDirection) {
    set_device_direction(4);
    set_device_direction(5);
    EXPECT_EQ(board.log(), rotated("startup phase", "HSYNC_0") + rotated("HSYNC_0", "HSYNC_180"));
}

TEST_F(SetDeviceDirection, DoesNothingWhenThePictureHasTheRotation) {
    begin_with(0);
    EXPECT_EQ(set_device_direction(0), 0);
    EXPECT_EQ(set_device_direction(4), 0);
    EXPECT_EQ(story(), Entries{});
}

TEST_F(SetDeviceDirection, RefusesIndicesOutsideTheTableAndPrintsExactlyThat) {
    begin_with(3);
    for (const int index : {6, 7, INT_MAX, -1, INT_MIN}) {
        EXPECT_EQ(set_device_direction(index), -1);
        EXPECT_EQ(board.log(), tagged("The angle set exceeds the range.\n"));
    }
    EXPECT_EQ(board.journal({"display", "hdmi", "host"}), Entries{});
    EXPECT_EQ(get_device_direction(), 3);
}

TEST_F(SetDeviceDirection, GoesOnWithoutHdmi) {
    hdmi_answer = -1;
    EXPECT_EQ(set_device_direction(3), 0);
    EXPECT_EQ(board.log().find(tagged("HDMI stops working")), 0U);
    EXPECT_EQ(turns(), (Entries{"display 3", "hdmi 2", "host 1"}));
    // The picture is taken as turned.
    set_device_direction(3);
    EXPECT_EQ(turns(), Entries{});
}

TEST_F(SetDeviceDirection, NeedsNoHost) {
    table.rotation_changed = nullptr;
    EXPECT_EQ(set_device_direction(0), 0);
    gsensor_app_callback = nullptr;
    EXPECT_EQ(set_device_direction(1), 0);
    EXPECT_EQ(turns(), (Entries{"display 0", "hdmi 2", "display 1", "hdmi 2"}));
}

TEST_F(SetDeviceDirection, IsSilentBelowLevelFour) {
    ovra_log_level = 3;
    hdmi_answer = -1;
    set_device_direction(0);
    set_device_direction(6);
    EXPECT_EQ(board.log(), "");
}

TEST_F(SetDeviceDirection, IsWhatIsRequestedAlreadyWhileTheHostIsCalled) {
    table.rotation_changed = [](int32_t) {
        current_board->note("host finds " + std::to_string(get_device_direction()));
    };
    set_device_direction(3);
    EXPECT_EQ(board.journal({"host"}), (Entries{"host finds 3"}));
}

TEST_F(Direction, IsRequestedAsZeroAtFirst) { EXPECT_EQ(get_device_direction(), 0); }

TEST_F(Direction, IsRequestedAsTheRotationOfTheEntry) {
    const int rotations[] = {0, 1, 2, 3, 0, 2};
    for (int index = 0; index < 6; ++index) {
        set_device_direction(index);
        EXPECT_EQ(get_device_direction(), rotations[index]);
    }
}

// --- Matching ---------------------------------------------------------------------------------------------

using DirectionMatcher = Direction;

TEST_F(DirectionMatcher, TurnsThePictureAsTheAnglesShow) {
    tilt(0, 0, 90);
    tilt(-35, 35, -55);
    tilt(55, 0, 0);
    tilt(-90, 0, 0);
    EXPECT_EQ(board.journal({"host"}), (Entries{"host 0", "host 2", "host 1", "host 3"}));
}

TEST_F(DirectionMatcher, LogsWhatItFindsAtLevelSeven) {
    begin_with(0);
    ovra_log_level = 7;
    tilt(0, 0, 90);
    EXPECT_EQ(board.log(), tagged("match projection direction 0"));
    tilt(0, 89, 0);
    EXPECT_EQ(board.log(), tagged("match projection direction 5"));
    tilt(0, 0, 54.9F);
    EXPECT_EQ(board.log(), "");
    ovra_log_level = 6;
    tilt(0, 0, 90);
    EXPECT_EQ(board.log(), "");
}

TEST_F(DirectionMatcher, KeepsTheCeilingsRotationWithTheLensUp) {
    begin_with(2);
    tilt(0, -90, 0);
    EXPECT_EQ(story(), Entries{});
    EXPECT_EQ(get_device_direction(), 2);
}

TEST_F(DirectionMatcher, StartsWithTheLensUpOrDownInTheDirectionsOwnRotation) {
    tilt(0, -90, 0);
    EXPECT_EQ(turns(), (Entries{"display 0", "hdmi 2", "host 0"}));
}

TEST_F(DirectionMatcher, StartsWithTheLensDownInTheHalfTurn) {
    tilt(0, 90, 0);
    EXPECT_EQ(turns(), (Entries{"display 0", "hdmi 0", "host 2"}));
}

TEST_F(DirectionMatcher, KeepsTheTablesRotationWithTheLensDown) {
    begin_with(0);
    tilt(0, 90, 0);
    EXPECT_EQ(story(), Entries{});
    EXPECT_EQ(get_device_direction(), 0);
}

TEST_F(DirectionMatcher, LogsACorrectionInABand) {
    begin_with(2);
    tilt(0, -45, 45);
    EXPECT_EQ(story(),
              (Entries{"print [ovra_focus]  correct forward or reverse from invalid direction -> HSYNC_0",
                       "display 0", "hdmi 2", "host 0",
                       "print [ovra_focus]  from HSYNC_180 -> HSYNC_0, device rotation success"}));
    EXPECT_EQ(get_device_direction(), 0);
}

TEST_F(DirectionMatcher, CorrectsToTheCeilingInABandBelow) {
    begin_with(0);
    tilt(0, 45, -45);
    EXPECT_EQ(turns(), (Entries{"display 0", "hdmi 0", "host 2"}));
}

TEST_F(DirectionMatcher, CorrectsFromTheStartInABand) {
    tilt(0, -45, 45);
    EXPECT_EQ(turns(), (Entries{"display 0", "hdmi 2", "host 0"}));
}

TEST_F(DirectionMatcher, KeepsTheRotationOfTheSideThatItComesFrom) {
    begin_with(1);
    tilt(-45, 0, 45);
    EXPECT_EQ(story(), Entries{});
    tilt(45, 0, 45);
    EXPECT_EQ(turns(), (Entries{"display 0", "hdmi 2", "host 0"}));
}

TEST_F(DirectionMatcher, IsSilentBelowLevelFour) {
    begin_with(2);
    ovra_log_level = 3;
    tilt(0, -45, 45);
    EXPECT_EQ(board.log(), "");
    EXPECT_EQ(get_device_direction(), 0);
}

}  // namespace
