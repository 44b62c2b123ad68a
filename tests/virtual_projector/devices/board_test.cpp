#include "virtual_projector/devices/board.h"

#include <thread>
#include <vector>

#include "tests/virtual_projector/devices/board_fixture.h"
#include "virtual_projector/clock/real_clock.h"

namespace vp {
namespace {

TEST_F(BoardTest, HasEveryNodeOfTheBoard) {
    for (const char* path : {"/dev/nds01", "/dev/gsensor_daemon", "/dev/dis", "/dev/fb0", "/dev/input/event6",
                             "/sys/class/motor/tmr_adc", "/sys/class/nd_tof/nds01/lib_data",
                             "/sys/class/tof/distance", "/sys/class/sensors/sensor_error",
                             "/sys/class/dlp/elepn_focus_curve_data", "/sys/devices/platform/pwm-fan/r_temp"}) {
        EXPECT_NE(nodes.find(path), nullptr) << path;
        EXPECT_TRUE(DeviceTable::is_board_path(path)) << path;
    }
}

TEST_F(BoardTest, BringsTheWorldToThePresent) {
    now = 12345;
    EXPECT_EQ(board->with_world([](World& w) { return w.now(); }), 12345);
}

TEST_F(BoardTest, DoesWhatIsLeftForLaterOutOfTheLock) {
    bool done = false;
    board->with_world([&](World&) {
        board->later([&] { done = board->with_world([](World&) { return true; }); });
        EXPECT_FALSE(done);
    });
    EXPECT_TRUE(done);
}

TEST_F(BoardTest, MayBeAskedAgainWhileItAnswers) {
    now = 70;
    EXPECT_EQ(board->with_world([&](World&) { return board->with_world([](World& w) { return w.now(); }); }),
              70);
}

TEST(BoardInRealTime, ServesManyThreadsAtOnce) {
    RealClock clock;
    World world(1);
    Board board(world, clock);
    int count = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int j = 0; j < 2000; ++j) board.with_world([&](World&) { ++count; });
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(count, 8000);
}

}  // namespace
}  // namespace vp
