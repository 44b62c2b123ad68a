// What the C++ library brings along for waiting.
#include <atomic>
#include <barrier>
#include <chrono>
#include <condition_variable>
#include <future>
#include <latch>
#include <mutex>
#include <semaphore>
#include <shared_mutex>
#include <stop_token>
#include <thread>

#include "tests/hosts/ways.h"

namespace {

using namespace ways;
using std::chrono::nanoseconds;
using std::chrono::steady_clock;
using std::chrono::system_clock;

nanoseconds wait_length() { return nanoseconds(wait_ns()); }

int slow_start() {
    sleep_ns(wait_ns());
    return 12;
}

int started_value() {
    static const int value = slow_start();
    return value;
}

}  // namespace

WAY(cpp_atomic_wait) {
    std::atomic<int> value{0};
    const Later setter([&] {
        value = 1;
        value.notify_one();
    });
    takes_the_wait("wait", [&] { value.wait(0); });
}

// One whose size the kernel cannot wait for: the C++ library keeps a table of its own.
WAY(cpp_atomic_wait_of_a_wide_one) {
    std::atomic<std::uint64_t> value{0};
    const Later setter([&] {
        value = 1;
        value.notify_all();
    });
    takes_the_wait("wait", [&] { value.wait(0); });
}

WAY(cpp_atomic_flag_wait) {
    std::atomic_flag flag;
    const Later setter([&] {
        flag.test_and_set();
        flag.notify_one();
    });
    takes_the_wait("wait", [&] { flag.wait(false); });
}

WAY(cpp_counting_semaphore) {
    std::counting_semaphore<8> semaphore(0);
    const Later poster([&] { semaphore.release(); });
    takes_the_wait("acquire", [&] { semaphore.acquire(); });
}

WAY(cpp_counting_semaphore_times_out) {
    std::counting_semaphore<8> semaphore(0);
    takes_the_wait("try_acquire_for",
                   [&] { check(!semaphore.try_acquire_for(wait_length()), "got it from nobody"); });
    takes_the_wait("try_acquire_until", [&] {
        check(!semaphore.try_acquire_until(steady_clock::now() + wait_length()), "got it from nobody");
    });
}

WAY(cpp_binary_semaphore_in_time) {
    std::binary_semaphore semaphore(0);
    const Later poster([&] { semaphore.release(); });
    takes_the_wait("try_acquire_for",
                   [&] { check(semaphore.try_acquire_for(3 * wait_length()), "did not get it"); });
}

WAY(cpp_barrier) {
    int completed = 0;
    std::barrier barrier(2, [&]() noexcept { ++completed; });
    const Later other([&] { barrier.arrive_and_wait(); });
    takes_the_wait("arrive_and_wait", [&] { barrier.arrive_and_wait(); });
    same("how often it was complete", completed, 1);
}

WAY(cpp_latch) {
    std::latch latch(2);
    const Later first(wait_ns() / 2, [&] { latch.count_down(); });
    const Later second([&] { latch.count_down(); });
    takes_the_wait("wait", [&] { latch.wait(); });
}

WAY(cpp_future) {
    std::promise<int> promise;
    std::future<int> future = promise.get_future();
    const Later setter([&] { promise.set_value(12); });
    takes_the_wait("get", [&] { same("get", future.get(), 12); });
}

WAY(cpp_future_wait_for) {
    std::promise<int> promise;
    std::future<int> future = promise.get_future();
    takes_the_wait("wait_for", [&] {
        check(future.wait_for(wait_length()) == std::future_status::timeout, "there is a value from nobody");
    });
    takes_the_wait("wait_until", [&] {
        check(future.wait_until(system_clock::now() + wait_length()) == std::future_status::timeout,
              "there is a value from nobody");
    });
    const Later setter([&] { promise.set_value(12); });
    takes_the_wait("wait_for", [&] {
        check(future.wait_for(3 * wait_length()) == std::future_status::ready, "there is no value");
    });
}

WAY(cpp_async) {
    takes_the_wait("async", [] {
        std::future<int> future = std::async(std::launch::async, slow_start);
        same("get", future.get(), 12);
    });
}

WAY(cpp_condition_variable) {
    std::mutex lock;
    std::condition_variable changed;
    std::unique_lock<std::mutex> guard(lock);
    takes_the_wait("wait_for", [&] {
        check(!changed.wait_for(guard, wait_length(), [] { return false; }), "changed by nobody");
    });
    takes_the_wait("wait_until", [&] {
        check(!changed.wait_until(guard, system_clock::now() + wait_length(), [] { return false; }),
              "changed by nobody");
    });
}

WAY(cpp_condition_variable_any) {
    std::shared_mutex lock;
    std::condition_variable_any changed;
    bool done = false;
    const Later setter([&] {
        const std::unique_lock<std::shared_mutex> guard(lock);
        done = true;
        changed.notify_all();
    });
    std::shared_lock<std::shared_mutex> guard(lock);
    takes_the_wait("wait", [&] { changed.wait(guard, [&] { return done; }); });
    takes_the_wait("wait_for", [&] {
        check(changed.wait_for(guard, wait_length()) == std::cv_status::timeout, "changed by nobody");
    });
}

WAY(cpp_timed_mutex) {
    std::timed_mutex mutex;
    Later holder(0, [&] {
        const std::lock_guard<std::timed_mutex> guard(mutex);
        sleep_ns(wait_ns() + wait_ns() / 4);
    });
    sleep_ns(wait_ns() / 4);
    takes_the_wait("both", [&] {
        check(!mutex.try_lock_for(wait_length() / 2), "got another's");
        check(mutex.try_lock_until(system_clock::now() + 3 * wait_length()), "did not get it");
    });
    mutex.unlock();
}

WAY(cpp_recursive_timed_mutex) {
    std::recursive_timed_mutex mutex;
    mutex.lock();
    check(mutex.try_lock_for(wait_length()), "did not get its own");
    mutex.unlock();
    mutex.unlock();
    Later holder(0, [&] {
        const std::lock_guard<std::recursive_timed_mutex> guard(mutex);
        sleep_ns(2 * wait_ns());
    });
    sleep_ns(wait_ns() / 4);
    takes_the_wait("try_lock_for", [&] { check(!mutex.try_lock_for(wait_length()), "got another's"); });
}

WAY(cpp_shared_timed_mutex) {
    std::shared_timed_mutex mutex;
    mutex.lock_shared();
    check(mutex.try_lock_shared_for(wait_length()), "readers do not share it");
    mutex.unlock_shared();
    Later writer(0, [&] {
        takes_the_wait("try_lock_for", [&] { check(!mutex.try_lock_for(wait_length()), "got what is read"); });
    });
    writer.join();
    mutex.unlock_shared();
}

WAY(cpp_jthread_stops) {
    takes_the_wait("the thread", [] {
        std::mutex lock;
        std::condition_variable_any changed;
        std::jthread thread([&](const std::stop_token& token) {
            std::unique_lock<std::mutex> guard(lock);
            changed.wait(guard, token, [] { return false; });
        });
        sleep_ns(wait_ns());
    });
}

WAY(cpp_stop_callback) {
    std::stop_source source;
    std::atomic<int> called{0};
    const std::stop_callback callback(source.get_token(), [&] { called = called + 1; });
    const Later stopper([&] { source.request_stop(); });
    takes_the_wait("waiting", [&] {
        while (called == 0) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    });
}

WAY(cpp_call_once_while_another_is_at_it) {
    std::once_flag once;
    std::atomic<int> count{0};
    const auto run = [&] {
        std::call_once(once, [&] {
            sleep_ns(wait_ns());
            count = count + 1;
        });
    };
    takes_the_wait("both", [&] {
        const Later first(0, run);
        run();
        same("how often it has run", count, 1);
    });
}

WAY(cpp_static_start_while_another_is_at_it) {
    takes_the_wait("both", [] {
        const Later first(0, [] { same("the value", started_value(), 12); });
        same("the value", started_value(), 12);
    });
}

WAY(cpp_thread_join) {
    std::thread thread([] { sleep_ns(wait_ns()); });
    takes_the_wait("join", [&] { thread.join(); });
}

WAY(cpp_yield_until_another_acts) {
    std::atomic<bool> done{false};
    const Later setter([&] { done = true; });
    takes_the_wait("yielding", [&] {
        while (!done) std::this_thread::yield();
    });
}
