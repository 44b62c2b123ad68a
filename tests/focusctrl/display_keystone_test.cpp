#include "ovrafocus/display_keystone.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "ovrafocus/host_interface.h"
#include "tests/support/scripted_board.h"
#include "tests/support/scripted_vendor.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Entries = std::vector<std::string>;

constexpr uint32_t screen_info = 0xC00C0E0C;
constexpr uint32_t keystone_widths = 0x801C0E10;
constexpr uint32_t rectangle_transform = 0xC0140E29;

std::string hex(const void* record, std::size_t length) {
    const auto* bytes = static_cast<const unsigned char*>(record);
    std::string text;
    for (std::size_t i = 0; i < length; ++i) {
        const char digits[] = "0123456789abcdef";
        if (i % 4 == 0 && i > 0) text += ' ';
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 15];
    }
    return text;
}

std::string little_endian(int32_t value) { return hex(&value, sizeof value); }

// The bytes of a request for widths: layer 1, the enable byte and its padding, bottom, top, twelve zeros.
std::string widths(const char* enable, int32_t top, int32_t bottom) {
    return "widths 01000000 " + std::string(enable) + "000000 " + little_endian(bottom) + " " +
           little_endian(top) + " 00000000 00000000 00000000";
}

constexpr const char* off = "00";
constexpr const char* on = "01";

// Layer 1, source 0, 0, 1280, 720, room for the result.
constexpr const char* transform_request = "transform 01000000 00000000 0005d002 00000000 00000000";

Entries operator+(Entries a, const Entries& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

testkit::ScriptedBoard* current_board = nullptr;

void note_updated() { current_board->note("keystone_updated"); }
void note_handover(int32_t top, int32_t bottom) {
    current_board->note("host_set_keystone " + std::to_string(top) + " " + std::to_string(bottom));
}

// The display's driver: keeps the bytes of every request and answers as the test says.
struct DisplayKeystone : ::testing::Test {
    testkit::ScriptedBoard board;
    app_callback_table table{};

    Entries requests;  // the bytes that came, in order
    uint16_t panel_width = 1280, panel_height = 720;
    long screen_answer = 0, widths_answer = 0, transform_answer = 0;
    uint16_t result[4] = {10, 20, 1200, 700};

    DisplayKeystone() {
        current_board = &board;
        board.text("/dev/fb0", "");
        board.text("/dev/dis", "");
        board.on_ioctl("/dev/dis", [this](uint32_t request, void* record) { return answer(request, record); });
        testkit::vendor().set_viewport = [this](fbdev_viewport* viewport) {
            requests.push_back("viewport " + hex(viewport, sizeof *viewport));
            return 0;
        };
    }

    long answer(uint32_t request, void* record) {
        auto* bytes = static_cast<unsigned char*>(record);
        if (request == screen_info) {
            requests.push_back("screen " + hex(record, 12));
            if (screen_answer == 0) {
                std::memcpy(bytes + 8, &panel_width, 2);
                std::memcpy(bytes + 10, &panel_height, 2);
            }
            return screen_answer;
        }
        if (request == keystone_widths) {
            requests.push_back("widths " + hex(record, 28));
            return widths_answer;
        }
        if (request == rectangle_transform) {
            requests.push_back("transform " + hex(record, 20));
            std::memcpy(bytes + 12, result, 8);
            return transform_answer;
        }
        ADD_FAILURE() << "unknown request " << request;
        return -EINVAL;
    }

    void register_host() { g_app_callback = &table; }

    void start() {
        keystone_api_init();
        forget();
    }

    void forget() {
        board.log();
        board.errors();
        board.clear_journal();
        requests.clear();
    }

    // Everything that happened but for what was printed.
    Entries events() {
        Entries entries = board.journal();
        const auto printed = [](const std::string& entry) { return entry.rfind("print", 0) == 0; };
        entries.erase(std::remove_if(entries.begin(), entries.end(), printed), entries.end());
        return entries;
    }

    // The events of an applied trapezoid.
    static const Entries viewport_events;
    static Entries widths_event() { return {"ioctl /dev/dis 0x801c0e10"}; }
    static Entries updated_event() { return {"keystone_updated"}; }
};

const Entries DisplayKeystone::viewport_events = {
    "open /dev/fb0 O_RDWR",
    "ioctl /dev/dis 0xc0140e29",
    "call fbdev_set_viewport",
    "close /dev/fb0",
};

// x 10, y 20, width 1200, height 700, and the four flags.
constexpr const char* viewport_bytes = "viewport 0a000000 14000000 b004bc02 00010100";

// ---- Start ----------------------------------------------------------------------------------------------

TEST_F(DisplayKeystone, OpensTheDisplayAndAsksForThePanelAtStart) {
    EXPECT_EQ(keystone_api_init(), 0) << "no callbacks are registered";
    EXPECT_THAT(events(), ElementsAre("open /dev/dis O_RDWR", "ioctl /dev/dis 0xc00c0e0c"));
    EXPECT_THAT(requests, ElementsAre("screen 01000000 00000000 00000000"));
    EXPECT_THAT(board.open_descriptors(), ElementsAre("/dev/dis"));
}

TEST_F(DisplayKeystone, PrintsExactlyThePanelAtStart) {
    keystone_api_init();
    EXPECT_EQ(board.log(), "ovra: dis_info, w:1280, h::720\novra: get_app_callback.\n");
}

TEST_F(DisplayKeystone, ReturnsTheTablesAddressCutToIntAtStart) {
    register_host();
    EXPECT_EQ(keystone_api_init(), static_cast<int32_t>(reinterpret_cast<intptr_t>(&table)));
}

TEST_F(DisplayKeystone, ReturnsTheDescriptorWhenStartedTwice) {
    keystone_api_init();
    forget();
    EXPECT_GE(keystone_api_init(), 0);
    EXPECT_THAT(board.journal(), IsEmpty());
}

TEST_F(DisplayKeystone, TakesNoCallbacksWhenTheDisplayWasOpenBeforeTheStart) {
    table.host_set_keystone = note_handover;
    register_host();
    keystone_fb_viewport_scale_api();
    forget();
    EXPECT_GE(keystone_api_init(), 0);
    EXPECT_THAT(board.journal(), IsEmpty());
    set_keystone_api(1000, 1280);
    EXPECT_THAT(board.journal({"host_set_keystone"}), IsEmpty());
}

TEST_F(DisplayKeystone, FailsToStartWithoutADisplay) {
    board.remove("/dev/dis");
    EXPECT_EQ(keystone_api_init(), -1);
    board.text("/dev/dis", "");
    EXPECT_EQ(keystone_api_init(), 0) << "a later start tries again";
}

TEST_F(DisplayKeystone, PrintsExactlyThatTheDriverRefusesThePanelAndStarts) {
    screen_answer = -EIO;
    EXPECT_EQ(keystone_api_init(), 0);
    EXPECT_EQ(board.log(), "ioctl(get screeninfo) fail.\novra: dis_info, w:0, h::0\novra: get_app_callback.\n");
}

TEST_F(DisplayKeystone, TakesAnyAnswerButZeroAsARefusalAtStart) {
    screen_answer = 1;
    keystone_api_init();
    set_keystone_offset_api(2, 0);
    EXPECT_EQ(requests.back(), widths(on, 0, 0)) << "the panel is unknown";
}

TEST_F(DisplayKeystone, PrintsThePanelUnsignedAndTakesItsWidthSigned) {
    panel_width = 0xFFFF;
    panel_height = 40000;
    keystone_api_init();
    EXPECT_EQ(board.log(), "ovra: dis_info, w:65535, h::40000\novra: get_app_callback.\n");
    EXPECT_EQ(set_keystone_api(1000, 1000), -1);
}

// ---- Screen information ---------------------------------------------------------------------------------

TEST_F(DisplayKeystone, AsksForThePanelThroughADescriptorOfItsOwn) {
    ovra_screen_info info{7, 8, 9, 10};
    EXPECT_EQ(get_screen_info_api(&info), 0);
    EXPECT_THAT(board.journal(),
                ElementsAre("open /dev/dis O_WRONLY", "ioctl /dev/dis 0xc00c0e0c", "close /dev/dis"));
    EXPECT_THAT(requests, ElementsAre("screen 01000000 08000000 09000a00"));
    EXPECT_EQ(info.layer, 1U);
    EXPECT_EQ(info.reserved, 8U);
    EXPECT_EQ(info.width_px, 1280);
    EXPECT_EQ(info.height_px, 720);
}

TEST_F(DisplayKeystone, IgnoresARefusedPanelQuery) {
    screen_answer = -EIO;
    ovra_screen_info info{7, 8, 9, 10};
    EXPECT_EQ(get_screen_info_api(&info), 0);
    EXPECT_EQ(info.width_px, 9);
}

TEST_F(DisplayKeystone, CannotAskForThePanelWithoutADisplay) {
    board.remove("/dev/dis");
    ovra_screen_info info{7, 8, 9, 10};
    EXPECT_EQ(get_screen_info_api(&info), -1);
    EXPECT_EQ(info.layer, 7U);
}

// ---- Viewport -------------------------------------------------------------------------------------------

TEST_F(DisplayKeystone, SetsTheViewportToTheTransformedPicture) {
    start();
    EXPECT_EQ(keystone_fb_viewport_scale_api(), 0);
    EXPECT_EQ(events(), viewport_events);
    EXPECT_THAT(requests, ElementsAre(transform_request, viewport_bytes));
}

TEST_F(DisplayKeystone, TransformsAPictureOf1280By720WhateverThePanel) {
    panel_width = 1920;
    panel_height = 1080;
    start();
    keystone_fb_viewport_scale_api();
    EXPECT_EQ(requests.front(), transform_request);
}

TEST_F(DisplayKeystone, OpensTheDisplayForTheViewportIfNeedBe) {
    EXPECT_EQ(keystone_fb_viewport_scale_api(), 0);
    EXPECT_THAT(board.journal({"open", "close"}),
                ElementsAre("open /dev/fb0 O_RDWR", "open /dev/dis O_RDWR", "close /dev/fb0"));
    EXPECT_THAT(board.open_descriptors(), ElementsAre("/dev/dis"));
}

TEST_F(DisplayKeystone, SetsNoViewportWithoutAFrameBuffer) {
    board.remove("/dev/fb0");
    EXPECT_EQ(keystone_fb_viewport_scale_api(), -1);
    EXPECT_EQ(board.log(), "ovra: keystone_fb_viewport_scale_api(), line:118. open device: /dev/fb0 error!\n");
    EXPECT_THAT(requests, IsEmpty());
    EXPECT_THAT(board.open_descriptors(), IsEmpty());
}

TEST_F(DisplayKeystone, SetsNoViewportWithoutADisplay) {
    board.remove("/dev/dis");
    EXPECT_EQ(keystone_fb_viewport_scale_api(), -1);
    EXPECT_THAT(board.open_descriptors(), IsEmpty());
}

TEST_F(DisplayKeystone, SetsNoViewportWhenTheTransformIsRefused) {
    start();
    transform_answer = -EIO;
    EXPECT_EQ(keystone_fb_viewport_scale_api(), 0);
    EXPECT_EQ(board.errors(), "ioctl(get key stone rect): Input/output error\n");
    EXPECT_THAT(requests, ElementsAre(transform_request));
    EXPECT_THAT(board.open_descriptors(), ElementsAre("/dev/dis"));
}

TEST_F(DisplayKeystone, TakesAPositiveAnswerToTheTransformAsSuccess) {
    start();
    transform_answer = 1;
    keystone_fb_viewport_scale_api();
    EXPECT_THAT(requests, ElementsAre(transform_request, viewport_bytes));
}

TEST_F(DisplayKeystone, TakesTheTransformedPictureUnsigned) {
    start();
    for (uint16_t& value : result) value = 0xFFFE;
    keystone_fb_viewport_scale_api();
    EXPECT_EQ(requests.back(), "viewport feff0000 feff0000 fefffeff 00010100");
}

TEST_F(DisplayKeystone, LogsThePictureAndTheViewportAsTheFrameBufferLibraryLeftIt) {
    start();
    testkit::vendor().set_viewport = [](fbdev_viewport* viewport) {
        *viewport = {-1, -2, 3, 4, {}};
        return -1;
    };
    EXPECT_EQ(keystone_fb_viewport_scale_api(), 0);
    EXPECT_EQ(board.log(),
              "ovra: keystone_rect_transform_api(), before: 0 0 1280 720\n"
              "ovra: keystone_rect_transform_api(), after: 10 20 1200 700\n"
              "viewport: -1 -2 3 4\n");
}

// ---- Trapezoid: refused requests --------------------------------------------------------------------------

TEST_F(DisplayKeystone, RefusesAWidthOfZeroOrLess) {
    start();
    EXPECT_EQ(set_keystone_api(0, 1280), -1);
    EXPECT_EQ(set_keystone_api(1280, -3), -1);
    EXPECT_EQ(set_keystone_api(9999, 0), -1);
    EXPECT_EQ(board.log(),
              "ovra: set_keystone_api, top=0, bottom=1280 overflow error\n"
              "ovra: set_keystone_api, top=1280, bottom=-3 overflow error\n"
              "ovra: set_keystone_api, top=9999, bottom=0 overflow error\n")
        << "logged as asked for, before the cut";
    EXPECT_THAT(requests, IsEmpty());
}

TEST_F(DisplayKeystone, RefusesAWidthBelow690) {
    start();
    EXPECT_EQ(set_keystone_api(700, 689), -1);
    EXPECT_EQ(set_keystone_api(689, 9999), -1);
    EXPECT_EQ(board.log(),
              "ovra: set_keystone_api, top=700, bottom=689 too small\n"
              "ovra: set_keystone_api, top=689, bottom=1280 too small\n");
    EXPECT_THAT(requests, IsEmpty());
    EXPECT_EQ(set_keystone_api(690, 690), 0);
}

TEST_F(DisplayKeystone, LeavesTheLastWidthsAsTheyAreWhenItRefuses) {
    start();
    set_keystone_api(1000, 1100);
    set_keystone_api(700, 689);
    forget();
    set_keystone_api(900, 1100);  // narrower than what was applied last, and wider than what was refused
    EXPECT_THAT(requests, ElementsAre(widths(off, 900, 1100), transform_request, viewport_bytes,
                                      widths(on, 900, 1100), transform_request, viewport_bytes));
}

TEST_F(DisplayKeystone, RefusesATrapezoidWithoutADisplay) {
    board.remove("/dev/dis");
    EXPECT_EQ(set_keystone_api(1000, 1280), -1);
    EXPECT_EQ(set_keystone_api(100, 100), -1) << "the display comes before the least width";
    EXPECT_EQ(board.log(),
              "ovra: set_keystone_api, open /dev/dis error\n"
              "ovra: set_keystone_api, open /dev/dis error\n");
}

// ---- Trapezoid: orders ------------------------------------------------------------------------------------

TEST_F(DisplayKeystone, AppliesTheFirstTrapezoidInTheWideningOrder) {
    start();
    EXPECT_EQ(set_keystone_api(1000, 1280), 0);
    EXPECT_EQ(events(), widths_event() + viewport_events + widths_event() + viewport_events + widths_event());
    EXPECT_THAT(requests,
                ElementsAre(widths(off, 1000, 1280), transform_request, viewport_bytes, widths(off, 1000, 1280),
                            transform_request, viewport_bytes, widths(on, 1000, 1280)));
}

TEST_F(DisplayKeystone, LogsEachStepOfATrapezoid) {
    start();
    set_keystone_api(1000, 1280);
    const std::string viewport =
        "ovra: keystone_rect_transform_api(), before: 0 0 1280 720\n"
        "ovra: keystone_rect_transform_api(), after: 10 20 1200 700\n"
        "viewport: 10 20 1200 700\n";
    EXPECT_EQ(board.log(), viewport + "top_w=1000, top_w_bak = -1, bottom_w=1280, bottom_w_bak = -1\n" +
                               viewport + "ovra: set_keystone_api(), top width:\t1280, bottom width: 1000\n")
        << "the last line has bottom and top exchanged, as it always had";
}

TEST_F(DisplayKeystone, SendsTheWidthsByteForByte) {
    start();
    set_keystone_api(1000, 1200);
    EXPECT_EQ(requests.back(), "widths 01000000 01000000 b0040000 e8030000 00000000 00000000 00000000");
}

TEST_F(DisplayKeystone, AppliesAnUnchangedTrapezoidInTheWideningOrder) {
    start();
    set_keystone_api(1000, 1280);
    forget();
    EXPECT_EQ(set_keystone_api(1000, 1280), 0);
    EXPECT_THAT(requests,
                ElementsAre(widths(off, 1000, 1280), transform_request, viewport_bytes, widths(off, 1000, 1280),
                            transform_request, viewport_bytes, widths(on, 1000, 1280)));
}

TEST_F(DisplayKeystone, AppliesANarrowerTrapezoidInTheNarrowingOrder) {
    start();
    set_keystone_api(1000, 1280);
    forget();
    EXPECT_EQ(set_keystone_api(999, 1280), 0);
    EXPECT_EQ(events(), widths_event() + viewport_events + widths_event() + viewport_events);
    EXPECT_THAT(requests, ElementsAre(widths(off, 999, 1280), transform_request, viewport_bytes,
                                      widths(on, 999, 1280), transform_request, viewport_bytes));
}

TEST_F(DisplayKeystone, CountsOneNarrowerEdgeAsNarrowing) {
    start();
    set_keystone_api(1000, 1280);
    forget();
    set_keystone_api(1100, 1279);
    EXPECT_THAT(requests, ElementsAre(widths(off, 1100, 1279), transform_request, viewport_bytes,
                                      widths(on, 1100, 1279), transform_request, viewport_bytes));
}

TEST_F(DisplayKeystone, NotifiesTheHostOfAWideningBeforeTheWidthsAreEnabled) {
    table.keystone_updated = note_updated;
    register_host();
    start();
    set_keystone_api(1000, 1280);
    EXPECT_EQ(board.journal({"ioctl", "keystone_updated"}),
              (Entries{"ioctl /dev/dis 0x801c0e10", "ioctl /dev/dis 0xc0140e29", "ioctl /dev/dis 0x801c0e10",
                       "ioctl /dev/dis 0xc0140e29", "keystone_updated", "ioctl /dev/dis 0x801c0e10"}));
}

TEST_F(DisplayKeystone, NotifiesTheHostOfANarrowingAfterTheViewport) {
    table.keystone_updated = note_updated;
    register_host();
    start();
    set_keystone_api(1000, 1280);
    forget();
    set_keystone_api(900, 1280);
    EXPECT_EQ(events(), widths_event() + viewport_events + widths_event() + viewport_events + updated_event());
}

TEST_F(DisplayKeystone, SeesNoTableThatIsRegisteredAfterTheStart) {
    start();
    table.keystone_updated = note_updated;
    table.host_set_keystone = note_handover;
    register_host();
    set_keystone_api(1000, 1280);
    EXPECT_THAT(board.journal({"keystone_updated", "host_set_keystone"}), IsEmpty());
}

TEST_F(DisplayKeystone, IgnoresTheDriversAnswerToWidths) {
    start();
    widths_answer = -EIO;
    EXPECT_EQ(set_keystone_api(1000, 1280), 0);
    EXPECT_EQ(requests.size(), 7U);
}

TEST_F(DisplayKeystone, SendsTheWidthsAlsoWithoutAFrameBuffer) {
    start();
    board.remove("/dev/fb0");
    EXPECT_EQ(set_keystone_api(1000, 1280), 0);
    EXPECT_THAT(requests,
                ElementsAre(widths(off, 1000, 1280), widths(off, 1000, 1280), widths(on, 1000, 1280)));
}

TEST_F(DisplayKeystone, CutsWidthsToThePanel) {
    start();
    EXPECT_EQ(set_keystone_api(1300, 2000), 0);
    EXPECT_EQ(requests.back(), widths(on, 1280, 1280));
}

TEST_F(DisplayKeystone, CutsWidthsTo1280BeforeTheStart) {
    panel_width = 1920;
    EXPECT_EQ(set_keystone_api(1900, 1900), 0);
    EXPECT_EQ(requests.back(), widths(on, 1280, 1280));
    EXPECT_EQ(board.journal({"open"}).front(), "open /dev/dis O_RDWR") << "by the first who needs it";
}

TEST_F(DisplayKeystone, CutsWidthsToTheWiderPanelAfterTheStart) {
    panel_width = 1920;
    start();
    set_keystone_api(1900, 2000);
    EXPECT_EQ(requests.back(), widths(on, 1900, 1920));
}

// ---- Trapezoid: unknown panel -----------------------------------------------------------------------------

TEST_F(DisplayKeystone, AsksAgainForAnUnknownPanelAndCutsOnlyTheNextRequestToIt) {
    screen_answer = -EIO;
    start();
    screen_answer = 0;
    EXPECT_EQ(set_keystone_api(1000, 1280), -1) << "cut to the unknown panel's 0";
    EXPECT_THAT(requests, ElementsAre("screen 01000000 00000000 00000000"));
    forget();
    EXPECT_EQ(set_keystone_api(1000, 1280), 0);
    EXPECT_EQ(requests.back(), widths(on, 1000, 1280));
}

TEST_F(DisplayKeystone, SendsWidthsOfZeroWhileThePanelStaysUnknown) {
    screen_answer = -EIO;
    start();
    EXPECT_EQ(set_keystone_api(1000, 1280), 0) << "the least width holds for a known panel only";
    EXPECT_THAT(requests, ElementsAre("screen 01000000 00000000 00000000", widths(off, 0, 0), transform_request,
                                      viewport_bytes, widths(off, 0, 0), transform_request, viewport_bytes,
                                      widths(on, 0, 0)));
}

// ---- Trapezoid: hand-over ---------------------------------------------------------------------------------

TEST_F(DisplayKeystone, HandsWidthsOverToTheHostAndDoesNothingElse) {
    table.host_set_keystone = note_handover;
    table.keystone_updated = note_updated;
    register_host();
    start();
    EXPECT_EQ(set_keystone_api(1000, 2000), 0);
    EXPECT_THAT(events(), ElementsAre("host_set_keystone 1000 1280"));
    EXPECT_EQ(board.log(), "ovra: set_keystone_api, top=1000, bottom=1280\n");
}

TEST_F(DisplayKeystone, HandsOverWidthsBelowTheLeastOneToo) {
    table.host_set_keystone = note_handover;
    register_host();
    start();
    EXPECT_EQ(set_keystone_api(1, 689), 0);
    EXPECT_THAT(board.journal({"host_set_keystone"}), ElementsAre("host_set_keystone 1 689"));
    EXPECT_EQ(set_keystone_api(0, 689), -1);
}

TEST_F(DisplayKeystone, KeepsTheLastWidthsWhenItHandsOver) {
    table.host_set_keystone = note_handover;
    register_host();
    start();
    set_keystone_api(1000, 1280);
    table.host_set_keystone = nullptr;
    forget();
    set_keystone_api(900, 1280);  // narrower than what was handed over: were it kept, it would narrow
    EXPECT_EQ(requests.back(), widths(on, 900, 1280));
}

// ---- Steps by hand ----------------------------------------------------------------------------------------

TEST_F(DisplayKeystone, StepsTheTrapezoidByHand) {
    start();
    EXPECT_EQ(set_keystone_offset_api(0, 10), 0);
    EXPECT_THAT(events(), ElementsAre("ioctl /dev/dis 0x801c0e10", "sleep 1000"));
    EXPECT_THAT(requests, ElementsAre(widths(on, 1270, 1280)));
    EXPECT_EQ(board.log(), "ovra:dir:  0, step: 10\novra:top width:  1270, bottom width: 1280\n");
}

TEST_F(DisplayKeystone, RemembersTheWidthsSteppedTo) {
    start();
    set_keystone_offset_api(0, 10);
    set_keystone_offset_api(0, 10);
    set_keystone_offset_api(1, 50);
    set_keystone_offset_api(1, 7);
    set_keystone_offset_api(1, 7);
    set_keystone_offset_api(0, 4);
    EXPECT_THAT(requests, ElementsAre(widths(on, 1270, 1280), widths(on, 1260, 1280), widths(on, 1280, 1280),
                                      widths(on, 1280, 1273), widths(on, 1280, 1266), widths(on, 1280, 1270)));
}

TEST_F(DisplayKeystone, SendsTheCurrentWidthsAgainInAnyOtherDirection) {
    start();
    set_keystone_offset_api(0, 10);
    forget();
    EXPECT_EQ(set_keystone_offset_api(2, 99), 0);
    EXPECT_THAT(requests, ElementsAre(widths(on, 1270, 1280)));
}

TEST_F(DisplayKeystone, StartsSteppingFromThePanelsWidth) {
    panel_width = 1920;
    start();
    set_keystone_offset_api(1, 20);
    EXPECT_EQ(requests.back(), widths(on, 1920, 1900));
}

TEST_F(DisplayKeystone, CutsTrapezoidsToTheWiderSteppedEdge) {
    // A step that wraps around in 16 bits leaves a top wider than the panel; the next step makes it the limit.
    start();
    set_keystone_offset_api(0, 65000);
    EXPECT_EQ(requests.back(), widths(on, 1816, 1280));
    set_keystone_offset_api(2, 0);
    set_keystone_api(5000, 1500);
    EXPECT_EQ(requests.back(), widths(on, 1816, 1500));
}

TEST_F(DisplayKeystone, TakesTheLimitFromTheWidthsBeforeTheStep) {
    start();
    set_keystone_offset_api(0, 65000);
    set_keystone_api(5000, 5000);
    EXPECT_EQ(requests.back(), widths(on, 1280, 1280));
}

TEST_F(DisplayKeystone, LimitsTrapezoidsByAStepAlsoWhenThePanelIsUnknown) {
    screen_answer = -EIO;
    start();
    set_keystone_offset_api(2, 0);
    EXPECT_EQ(requests.back(), widths(on, 0, 0));
}

TEST_F(DisplayKeystone, StepsWithoutOpeningTheDisplay) {
    EXPECT_EQ(set_keystone_offset_api(0, 10), 0);
    EXPECT_THAT(board.journal({"open"}), IsEmpty());
    EXPECT_THAT(requests, IsEmpty());
}

TEST_F(DisplayKeystone, IgnoresTheDriversAnswerToAStep) {
    start();
    widths_answer = -EIO;
    EXPECT_EQ(set_keystone_offset_api(0, 10), 0);
}

}  // namespace
