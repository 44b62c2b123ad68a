#include "ovrafocus/key_listener.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "ovrafocus/config.h"
#include "tests/support/scripted_board.h"

namespace {

using testkit::ScriptedBoard;
using Entries = std::vector<std::string>;

constexpr const char* node = "/dev/input/event6";

// An event as the driver of a 32-bit board writes it: 16 bytes.
std::string event(uint16_t type, uint16_t code, int32_t value) {
    std::string bytes(16, '\x5a');
    std::memcpy(&bytes[8], &type, sizeof type);
    std::memcpy(&bytes[10], &code, sizeof code);
    std::memcpy(&bytes[12], &value, sizeof value);
    return bytes;
}

const std::string name_line = "[ovra_focus]  headset_event_init_read \n";

struct KeyListener : ::testing::Test {
    ScriptedBoard board;

    int32_t key_state() {
        board.log();
        const int32_t state = get_key_state();
        board.log();
        return state;
    }
};

TEST_F(KeyListener, KnowsNoKeyBeforeTheFirstAndPrintsExactlyThat) {
    EXPECT_EQ(get_key_state(), -1);
    EXPECT_EQ(board.log(), "[ovra_focus]  keystate = -1\n");
}

TEST_F(KeyListener, TakesNoteOfAPressAndPrintsExactlyItsEvent) {
    board.text(node, event(1, 0x74, 1));

    headset_event_init_read();

    EXPECT_EQ(board.log(), name_line + "[ovra_focus]  headset 0001 0074 00000001 \n\n");
    EXPECT_EQ(get_key_state(), 0);
    EXPECT_EQ(board.log(), "[ovra_focus]  keystate = 0\n");
}

TEST_F(KeyListener, TakesNoteOfARepeat) {
    board.text(node, event(1, 0xfffe, 2));
    headset_event_init_read();
    EXPECT_EQ(key_state(), 0);
}

TEST_F(KeyListener, PrintsANegativeValueAsItsBits) {
    board.text(node, event(0xabcd, 0, -1));
    headset_event_init_read();
    EXPECT_EQ(board.log(), name_line + "[ovra_focus]  headset abcd 0000 ffffffff \n\n");
    EXPECT_EQ(key_state(), 0);
}

TEST_F(KeyListener, LeavesTheStateAtARelease) {
    board.text(node, event(1, 0x74, 0));
    headset_event_init_read();
    EXPECT_EQ(key_state(), -1);
}

TEST_F(KeyListener, AReleaseAfterAPressLeavesTheKeyAsPressed) {
    board.texts(node, {event(1, 0x74, 1), event(1, 0x74, 0)});
    headset_event_init_read();
    headset_event_init_read();
    EXPECT_EQ(key_state(), 0);
}

TEST_F(KeyListener, OpensReadsOnceAndLeavesNoDescriptor) {
    board.text(node, event(1, 2, 1));
    for (int i = 0; i < 3; ++i) headset_event_init_read();
    EXPECT_EQ(board.journal({"read"}).size(), 3U);
    EXPECT_EQ(board.open_descriptors(), Entries{});
}

TEST_F(KeyListener, NamesItselfBeforeItOpensTheDeviceForItselfAlone) {
    board.text(node, event(1, 2, 1));
    headset_event_init_read();
    // When the node is closed again is nobody's business.
    const Entries entries = board.journal({"print", "open", "read"});
    ASSERT_EQ(entries.size(), 5U);
    EXPECT_EQ(entries[0].rfind("print", 0), 0U);
    EXPECT_EQ(entries[1], "open /dev/input/event6 O_RDONLY|O_CLOEXEC");
    EXPECT_EQ(entries[2], "read /dev/input/event6");
}

TEST_F(KeyListener, PrintsExactlyThatTheDeviceIsMissing) {
    headset_event_init_read();
    EXPECT_EQ(board.log(), name_line + "[ovra_focus]  headset_event_init_read: adc-keys failed\n\n");
    EXPECT_EQ(board.journal({"read", "sleep"}), Entries{});
}

TEST_F(KeyListener, PrintsExactlyThatAReadWasShort) {
    board.text(node, event(1, 0x74, 1).substr(0, 15));
    headset_event_init_read();
    EXPECT_EQ(board.log(), name_line + "[ovra_focus]  could not get input event\n");
    EXPECT_EQ(key_state(), -1);
}

TEST_F(KeyListener, LeavesTheStateAtAFailedRead) {
    board.text(node, event(1, 0x74, 1));
    board.fail({"read", node, 1, EIO, -1, {}});
    headset_event_init_read();
    EXPECT_EQ(board.open_descriptors(), Entries{});
    EXPECT_EQ(key_state(), -1);
}

// --- The endless loop, on a thread of its own ---------------------------------------------------------------

void start_on_a_thread(void* (*body)(void*)) {
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, nullptr, body, nullptr), 0);
    ASSERT_EQ(pthread_detach(thread), 0);
}

TEST_F(KeyListener, LogsItsStartAndWhetherTheSystemIsOn) {
    focus_config.system_state.is_system_on = 1;
    start_on_a_thread(sensor_main);
    usleep(50'000);
    EXPECT_EQ(board.log().find("[ovra_focus]  sensor_main\n"
                               "[ovra_focus]  sensor_main is_system_on 1\n\n"
                               "[ovra_focus]  headset_mainloop\n"),
              0U);
}

TEST_F(KeyListener, TriesAMissingDeviceTenTimesASecond) {
    start_on_a_thread(sensor_main);
    usleep(950'000);
    EXPECT_EQ(board.journal({"open"}).size(), 10U);
}

TEST_F(KeyListener, PausesAfterAShortReadToo) {
    board.text(node, "short");
    start_on_a_thread(sensor_main);
    usleep(950'000);
    EXPECT_EQ(board.journal({"read"}).size(), 10U);
}

TEST_F(KeyListener, ReadsEventsOneAfterTheOtherWithoutAPause) {
    board.texts(node, {event(1, 1, 0), event(1, 2, 0), event(1, 3, 0), ""});
    start_on_a_thread(sensor_main);
    usleep(50'000);
    EXPECT_EQ(board.journal({"read"}).size(), 4U);
}

TEST_F(KeyListener, FindsADeviceThatComesLater) {
    start_on_a_thread(sensor_main);
    usleep(250'000);
    board.texts(node, {event(1, 0x74, 1), ""});
    usleep(100'000);
    EXPECT_EQ(key_state(), 0);
}

}  // namespace
