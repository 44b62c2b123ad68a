#include "platform/board_display.h"
#include "platform/board_network.h"
#include "tests/virtual_projector/boardlibs/libraries_fixture.h"

namespace vp {
namespace {

struct DisplayLibrary : LibrariesTest {};

TEST_F(DisplayLibrary, RemembersTheViewport) {
    fbdev_viewport viewport{90, 0, 1100, 720, {0, 1, 1, 0}};
    EXPECT_EQ(fbdev_set_viewport(&viewport), 0);
    EXPECT_EQ(world.display().viewport_x, 90);
    EXPECT_EQ(world.display().viewport_y, 0);
    EXPECT_EQ(world.display().viewport_width, 1100);
    EXPECT_EQ(world.display().viewport_height, 720);
}

TEST_F(DisplayLibrary, RefusesAViewportBeyondThePanel) {
    for (const fbdev_viewport& wrong : {fbdev_viewport{-1, 0, 10, 10, {}}, fbdev_viewport{0, 1, 1280, 720, {}},
                                        fbdev_viewport{0, 0, 0, 720, {}}}) {
        fbdev_viewport viewport = wrong;
        EXPECT_LT(fbdev_set_viewport(&viewport), 0);
    }
    EXPECT_LT(fbdev_set_viewport(nullptr), 0);
    EXPECT_EQ(world.display().viewport_width, 1280);
}

TEST_F(DisplayLibrary, TurnsMenuAndInputAsTheViewerSees) {
    set("pose.mounting", 2);
    EXPECT_STREQ(turn_in_words(world.truth().hdmi_turn_deg), "upside down");
    EXPECT_EQ(am_set_rotation(0), 0);
    EXPECT_EQ(hdmirx_set_rotate(0), 0);
    EXPECT_STREQ(turn_in_words(world.truth().hdmi_turn_deg), "upright");
    set("pose.mounting", 1);
    EXPECT_EQ(am_set_rotation(1), 0);
    EXPECT_EQ(world.truth().menu_turn_deg, 0);
    EXPECT_EQ(world.display().rotations_made, 3);
}

TEST_F(DisplayLibrary, RefusesTurnsThatThereAreNot) {
    EXPECT_LT(am_set_rotation(4), 0);
    EXPECT_LT(am_set_rotation(-1), 0);
    EXPECT_LT(hdmirx_set_rotate(4), 0);
    EXPECT_EQ(world.display().rotations_made, 0);
}

TEST_F(DisplayLibrary, TheInputCanBeBroken) {
    set("board.hdmi_works", 0);
    EXPECT_LT(hdmirx_set_rotate(0), 0);
    EXPECT_EQ(world.display().hdmi_rotation, 2);
}

TEST_F(DisplayLibrary, CountsNetworkConfigurations) {
    EXPECT_EQ(usb_eth_config(), 0);
    EXPECT_EQ(usb_eth_config(), 0);
    EXPECT_EQ(boardlibs::usb_eth_configurations(), 2);
    boardlibs::uninstall();
    EXPECT_EQ(usb_eth_config(), -ENODEV);
    EXPECT_EQ(boardlibs::usb_eth_configurations(), 0);
}

}  // namespace
}  // namespace vp
