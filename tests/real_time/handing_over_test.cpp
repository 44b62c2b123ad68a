// What goes with a flag from one thread to the other, under ThreadSanitizer: it reports a race on the plain
// variables below unless the flag orders them. The worker runs by itself here, without a board.
#include <gtest/gtest.h>
#include <unistd.h>

#include <thread>

#include "base/shared_flag.h"
#include "ovrafocus/host_interface.h"
#include "ovrafocus/lifecycle.h"

namespace {

constexpr useconds_t glance_us = 1000;

// Written by the host and read in its toast, and the other way round.
int question = 0;
int answer = 0;

void answer_question(int) { answer = question + 1; }

struct HandingOver : ::testing::Test {
    HandingOver() {
        table.toast = answer_question;
        autofocus_app_callback = &table;
        varnel_set_osd_settings(0, 0);  // a run is two toasts then
    }
    ~HandingOver() override {
        ovra::store(AKAF_running_flag, 0);
        worker.join();
    }

    app_callback_table table{};
    std::thread worker{keystonefocus_thread, nullptr};
};

TEST_F(HandingOver, ARunSeesWhatWasWrittenBeforeItsRequestAndItsEndShowsWhatItWrote) {
    question = 41;
    varnel_autofocus();
    while (varnel_get_state_autofocus() != 0) usleep(glance_us);
    EXPECT_EQ(answer, 42);
}

TEST(SharedFlags, ShowWhatWasWrittenBeforeThem) {
    int cargo = 0;
    std::uint8_t flag = 0;
    std::thread reader([&] {
        while (ovra::load_acquire(flag) == 0) usleep(glance_us);
        EXPECT_EQ(cargo, 7);
    });
    cargo = 7;
    ovra::store_release(flag, 1);
    reader.join();
}

}  // namespace
