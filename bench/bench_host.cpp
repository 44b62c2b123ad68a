// A host program that asks for one run at a known time and says when it was over.
//
//     bench-host FILE REQUEST_US
//
// FILE gets one JSON object: when the run was requested and when the refresh came (microseconds since the
// start), and the processor time of the whole process in between (nanoseconds).
#include <pthread.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>

#include "ovrafocus/ovrafocus.h"

namespace {

constexpr int exit_failed = 1;
constexpr int exit_usage = 2;
constexpr useconds_t poll_us = 100000;
constexpr int max_polls = 300;

std::int64_t nanoseconds(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

struct Moment {
    std::int64_t real_ns = 0;
    std::int64_t processor_ns = 0;

    static Moment now() { return {nanoseconds(CLOCK_MONOTONIC), nanoseconds(CLOCK_PROCESS_CPUTIME_ID)}; }
};

// Written by the library's thread before `refreshed`, read after it.
Moment refresh;
std::atomic<bool> refreshed{false};

void on_refresh() {
    refresh = Moment::now();
    refreshed = true;
}

bool start_library() {
    static app_callback_table callbacks{};
    callbacks.refresh_ui = on_refresh;
    app_callback_init(&callbacks);
    return ovrafocus_init() == 0 && ovra_sys_param_init() == 0 && ovra_gsensor_init() == 0 &&
           ovra_akaf_init() == 0;
}

bool wait_for_refresh() {
    for (int poll = 0; poll < max_polls && !refreshed; ++poll) usleep(poll_us);
    return refreshed;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return exit_usage;
    const Moment start = Moment::now();
    if (!start_library()) return exit_failed;
    usleep(static_cast<useconds_t>(std::atoll(argv[2])));
    const Moment request = Moment::now();
    varnel_autofocus();
    if (!wait_for_refresh()) return exit_failed;
    nlohmann::json times;
    times["requested_us"] = (request.real_ns - start.real_ns) / 1000;
    times["refreshed_us"] = (refresh.real_ns - start.real_ns) / 1000;
    times["processor_ns"] = refresh.processor_ns - request.processor_ns;
    std::ofstream(argv[1]) << times.dump() << "\n";
    return 0;
}
