// Threads that compute without calling anything: nobody can take the turn from them, so real time does.
#include <atomic>

#include "tests/hosts/ways.h"

namespace {

using namespace ways;

// No less than asked for. How much longer, real time decides.
volatile bool flag;

}  // namespace

WAY(busy_wait_for_an_atomic, Kind::busy) {
    std::atomic<bool> done{false};
    const Later setter([&] { done = true; });
    const Stopwatch watch;
    while (!done) {
    }
    if (!on_plain_pc()) expect_at_least("the wait", watch.elapsed(), wait_ns());
}

WAY(busy_wait_for_a_volatile, Kind::busy) {
    flag = false;
    const Later setter([] { flag = true; });
    const Stopwatch watch;
    while (!flag) {
    }
    if (!on_plain_pc()) expect_at_least("the wait", watch.elapsed(), wait_ns());
}

// In a thread of its own, while the first one waits for it.
WAY(busy_wait_in_a_thread, Kind::busy) {
    std::atomic<bool> done{false};
    const Stopwatch watch;
    Later spinner(0, [&] {
        while (!done) {
        }
    });
    sleep_ns(wait_ns());
    done = true;
    spinner.join();
    if (!on_plain_pc()) expect_at_least("the wait", watch.elapsed(), wait_ns());
}
