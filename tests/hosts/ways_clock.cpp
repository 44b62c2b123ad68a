// Sleeping, and asking the time.
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/timeb.h>
#include <sys/times.h>
#include <sys/timex.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "tests/hosts/ways.h"

namespace {

using namespace ways;

// The calendar's clocks need not start with the monotonic one, but go on with it.
void sleep_on(clockid_t clock) {
    takes_the_wait("a sleep for a length", [&] {
        const timespec length = to_timespec(wait_ns());
        same("clock_nanosleep", clock_nanosleep(clock, 0, &length, nullptr), 0);
    });
}

void sleep_until_on(clockid_t clock) {
    takes_the_wait("a sleep until a moment", [&] {
        const timespec moment = moment_ahead(clock, wait_ns());
        same("clock_nanosleep", clock_nanosleep(clock, TIMER_ABSTIME, &moment, nullptr), 0);
    });
    const timespec past = moment_ahead(clock, -ns_per_second / 100);
    takes_no_time("a moment that is over",
                  [&] { same("clock_nanosleep", clock_nanosleep(clock, TIMER_ABSTIME, &past, nullptr), 0); });
}

void clock_goes_with_the_sleep(clockid_t clock) {
    const std::int64_t before = now_ns(clock);
    sleep_ns(wait_ns());
    expect_time("the clock", now_ns(clock) - before, wait_ns());
}

// The processor's time: a sleep takes none of it, computing does.
void counts_the_processor(clockid_t clock) {
    const std::int64_t before = now_ns(clock);
    sleep_ns(wait_ns());
    const std::int64_t slept = now_ns(clock);
    check(slept - before < wait_ns() / 2, "the processor's clock goes on in a sleep");
    volatile unsigned sum = 0;
    for (unsigned i = 0; i < 2'000'000; ++i) sum = sum + i;
    check(now_ns(clock) > slept, "the processor's clock stands still while the program computes");
}

}  // namespace

WAY(sleep) {
    const Stopwatch watch;
    same("sleep", sleep(wait_whole_seconds()), 0);
    watch.expect("sleep", wait_whole_ns());
}

WAY(usleep) {
    takes_the_wait("usleep", [] { worked("usleep", usleep(static_cast<useconds_t>(wait_ns() / ns_per_us))); });
}

WAY(nanosleep) {
    takes_the_wait("nanosleep", [] {
        const timespec length = to_timespec(wait_ns());
        timespec left{};
        worked("nanosleep", nanosleep(&length, &left));
    });
}

WAY(nanosleep_refuses_wrong_times) {
    takes_no_time("wrong times", [] {
        const timespec negative = {-1, 0};
        failed_with("nanosleep", nanosleep(&negative, nullptr), EINVAL);
        const timespec wide = {0, 1'000'000'000};
        failed_with("nanosleep", nanosleep(&wide, nullptr), EINVAL);
        same("clock_nanosleep", clock_nanosleep(CLOCK_MONOTONIC, 0, &wide, nullptr), EINVAL);
        const timespec none{};
        same("clock_nanosleep of no clock", clock_nanosleep(1234, 0, &none, nullptr), EINVAL);
    });
}

WAY(clock_nanosleep_monotonic) { sleep_on(CLOCK_MONOTONIC); }
WAY(clock_nanosleep_realtime) { sleep_on(CLOCK_REALTIME); }
WAY(clock_nanosleep_boottime) { sleep_on(CLOCK_BOOTTIME); }
WAY(clock_nanosleep_tai) { sleep_on(CLOCK_TAI); }
WAY(clock_nanosleep_until_monotonic) { sleep_until_on(CLOCK_MONOTONIC); }
WAY(clock_nanosleep_until_realtime) { sleep_until_on(CLOCK_REALTIME); }
WAY(clock_nanosleep_until_boottime) { sleep_until_on(CLOCK_BOOTTIME); }
WAY(clock_nanosleep_until_tai) { sleep_until_on(CLOCK_TAI); }

WAY(sleep_for_and_until) {
    const auto half = std::chrono::nanoseconds(wait_ns() / 2);
    takes_the_wait("both", [&] {
        std::this_thread::sleep_for(half);
        std::this_thread::sleep_until(std::chrono::steady_clock::now() + half / 2);
        std::this_thread::sleep_until(std::chrono::system_clock::now() + (half - half / 2));
    });
}

WAY(clock_gettime_realtime) { clock_goes_with_the_sleep(CLOCK_REALTIME); }
WAY(clock_gettime_boottime) { clock_goes_with_the_sleep(CLOCK_BOOTTIME); }
WAY(clock_gettime_tai) { clock_goes_with_the_sleep(CLOCK_TAI); }
WAY(clock_gettime_monotonic_raw) {
    // On a PC this one is not steered and may go a little slower.
    const std::int64_t before = now_ns(CLOCK_MONOTONIC_RAW);
    sleep_ns(wait_ns());
    const std::int64_t took = now_ns(CLOCK_MONOTONIC_RAW) - before;
    if (!on_plain_pc()) expect_time("the raw clock", took, wait_ns());
}

// The coarse clocks are behind by up to a tick of the kernel's, 10 ms.
WAY(clock_gettime_coarse) {
    for (const clockid_t clock : {CLOCK_MONOTONIC_COARSE, CLOCK_REALTIME_COARSE}) {
        const std::int64_t before = now_ns(clock);
        sleep_ns(wait_ns() / 2);
        expect_time("the coarse clock", now_ns(clock) - before + 10 * ns_per_ms,
                    wait_ns() / 2 + (on_plain_pc() ? 0 : 6 * ns_per_ms));
    }
}

WAY(clocks_agree) {
    sleep_ns(wait_ns());
    const std::int64_t realtime = now_ns(CLOCK_REALTIME);
    timeval day{};
    worked("gettimeofday", gettimeofday(&day, nullptr));
    expect_time("gettimeofday", to_ns(day) + 1'000, realtime / 1'000 * 1'000);
    timespec base{};
    same("timespec_get", timespec_get(&base, TIME_UTC), TIME_UTC);
    expect_time("timespec_get", to_ns(base), realtime);
    const time_t second = time(nullptr);
    check(second == realtime / ns_per_second || second == realtime / ns_per_second + 1,
          "time() does not agree with the clock");
    const auto system = std::chrono::system_clock::now().time_since_epoch();
    expect_time("system_clock", std::chrono::nanoseconds(system).count(), realtime);
}

WAY(clock_getres) {
    for (const clockid_t clock : {CLOCK_MONOTONIC, CLOCK_REALTIME, CLOCK_BOOTTIME}) {
        timespec step{};
        worked("clock_getres", clock_getres(clock, &step));
        check(to_ns(step) > 0 && to_ns(step) <= ns_per_ms * 10, "no such resolution");
    }
    failed_with("clock_getres of no clock", clock_getres(1234, nullptr), EINVAL);
    sleep_ns(wait_ns());
}

WAY(times_tells_the_ticks) {
    const std::int64_t ticks = sysconf(_SC_CLK_TCK);
    tms used{};
    const std::int64_t before = times(&used);
    sleep_ns(wait_ns());
    const std::int64_t after = times(&used);
    const std::int64_t expected = wait_ns() / (ns_per_second / ticks);
    check(after - before >= expected - 1 && after - before <= expected + 1 + (on_plain_pc() ? ticks / 5 : 1),
          "times() went on by " + std::to_string(after - before) + " ticks");
}

// The C library keeps ftime for programs that are linked already.
#if defined(__x86_64__)
extern "C" int old_ftime(timeb*);
__asm__(".symver old_ftime, ftime@GLIBC_2.2.5");

WAY(ftime) {
    timeb before{};
    timeb after{};
    old_ftime(&before);
    sleep_ns(wait_ns());
    old_ftime(&after);
    const auto in_ns = [](const timeb& at) {
        return static_cast<std::int64_t>(at.time) * ns_per_second + at.millitm * ns_per_ms;
    };
    // It tells whole milliseconds.
    expect_time("ftime", in_ns(after) - in_ns(before) + ns_per_ms, wait_ns());
}
#endif

WAY(processor_time_of_the_process) { counts_the_processor(CLOCK_PROCESS_CPUTIME_ID); }
WAY(processor_time_of_the_thread) { counts_the_processor(CLOCK_THREAD_CPUTIME_ID); }

WAY(processor_time_of_a_thread_by_its_clock) {
    clockid_t clock{};
    same("pthread_getcpuclockid", pthread_getcpuclockid(pthread_self(), &clock), 0);
    counts_the_processor(clock);
}

WAY(clock_counts_the_processor) {
    const clock_t before = clock();
    sleep_ns(wait_ns());
    check(clock() - before < wait_ns() / 2 / ns_per_us, "clock() goes on in a sleep");
    rusage used{};
    worked("getrusage", getrusage(RUSAGE_SELF, &used));
    check(used.ru_utime.tv_sec < 20, "getrusage counts the sleep");
}

// Spins, and asks the time as it does: each question is a chance for the others.
WAY(asking_the_time_until_it_has_come) {
    takes_the_wait("asking", [] {
        const std::int64_t until = now_ns() + wait_ns();
        while (now_ns() < until) usleep(10'000);
    });
}

WAY(adjtimex_reads) {
    timex state{};
    check(adjtimex(&state) >= 0, "adjtimex cannot read the clock's state");
    sleep_ns(wait_ns());
}
