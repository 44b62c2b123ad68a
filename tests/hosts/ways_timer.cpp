// Timers: timerfd, alarm, interval timers and POSIX ones.
#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <mutex>

#include "tests/hosts/ways.h"

namespace {

using namespace ways;

void arm(int timer, std::int64_t ns, std::int64_t period_ns = 0, int flags = 0) {
    const itimerspec times = {to_timespec(period_ns), to_timespec(ns)};
    worked("timerfd_settime", timerfd_settime(timer, flags, &times, nullptr));
}

std::int64_t expirations(int timer) {
    std::uint64_t count = 0;
    same("read", read(timer, &count, sizeof count), sizeof count);
    return static_cast<std::int64_t>(count);
}

void timerfd_fires(clockid_t clock) {
    const Descriptor timer(timerfd_create(clock, TFD_CLOEXEC));
    arm(timer, wait_ns());
    takes_the_wait("read", [&] { same("expirations", expirations(timer), 1); });
}

void timerfd_fires_at_a_moment(clockid_t clock) {
    const Descriptor timer(timerfd_create(clock, 0));
    arm(timer, now_ns(clock) + wait_ns(), 0, TFD_TIMER_ABSTIME);
    takes_the_wait("read", [&] { same("expirations", expirations(timer), 1); });
}

// A POSIX timer that is deleted at the end.
class Timer {
public:
    Timer(clockid_t clock, sigevent event) { worked("timer_create", timer_create(clock, &event, &timer_)); }
    ~Timer() { timer_delete(timer_); }
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;
    void arm(std::int64_t ns, std::int64_t period_ns = 0, int flags = 0) {
        const itimerspec times = {to_timespec(period_ns), to_timespec(ns)};
        worked("timer_settime", timer_settime(timer_, flags, &times, nullptr));
    }
    itimerspec state() {
        itimerspec times{};
        worked("timer_gettime", timer_gettime(timer_, &times));
        return times;
    }
    int overrun() { return timer_getoverrun(timer_); }

private:
    timer_t timer_{};
};

sigevent by_signal(int number, int value = 0) {
    sigevent event{};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = number;
    event.sigev_value.sival_int = value;
    return event;
}

std::atomic<int> told_value;
void on_told(int, siginfo_t* info, void*) { told_value = info->si_value.sival_int; }

std::mutex calls_lock;
std::condition_variable calls_changed;
int calls = 0;
void on_thread_call(sigval value) {
    const std::lock_guard<std::mutex> lock(calls_lock);
    calls += value.sival_int;
    calls_changed.notify_all();
}

}  // namespace

WAY(timerfd_once) { timerfd_fires(CLOCK_MONOTONIC); }
WAY(timerfd_once_by_realtime) { timerfd_fires(CLOCK_REALTIME); }
WAY(timerfd_once_by_boottime) { timerfd_fires(CLOCK_BOOTTIME); }
WAY(timerfd_at_a_moment) { timerfd_fires_at_a_moment(CLOCK_MONOTONIC); }
WAY(timerfd_at_a_moment_by_realtime) { timerfd_fires_at_a_moment(CLOCK_REALTIME); }

WAY(timerfd_at_a_moment_that_is_over) {
    const Descriptor timer(timerfd_create(CLOCK_MONOTONIC, 0));
    sleep_ns(wait_ns());
    arm(timer, now_ns() - 1, 0, TFD_TIMER_ABSTIME);
    takes_no_time("read", [&] { same("expirations", expirations(timer), 1); });
}

WAY(timerfd_periodic) {
    const Descriptor timer(timerfd_create(CLOCK_MONOTONIC, 0));
    arm(timer, wait_ns() / 2, wait_ns() / 4);
    takes_the_wait("three ticks", [&] {
        for (int tick = 0; tick < 3; ++tick) same("expirations", expirations(timer), 1);
    });
}

WAY(timerfd_counts_what_nobody_read) {
    const Descriptor timer(timerfd_create(CLOCK_MONOTONIC, 0));
    const std::int64_t period = wait_ns() / 10;
    arm(timer, period, period);
    sleep_ns(10 * period + period / 2);
    takes_no_time("read", [&] { same("expirations", expirations(timer), 10); });
    const Stopwatch watch;
    same("expirations", expirations(timer), 1);
    watch.expect("the next", period / 2);
}

WAY(timerfd_tells_what_is_left) {
    const Descriptor timer(timerfd_create(CLOCK_MONOTONIC, 0));
    arm(timer, 2 * wait_ns(), wait_ns() / 3);
    sleep_ns(wait_ns());
    itimerspec state{};
    worked("timerfd_gettime", timerfd_gettime(timer, &state));
    expect_time("what has passed", 2 * wait_ns() - to_ns(state.it_value), wait_ns());
    expect_time("the period", to_ns(state.it_interval), wait_ns() / 3);
    const itimerspec none{};
    itimerspec before{};
    worked("timerfd_settime", timerfd_settime(timer, 0, &none, &before));
    expect_time("what had passed", 2 * wait_ns() - to_ns(before.it_value), wait_ns());
    worked("timerfd_gettime", timerfd_gettime(timer, &state));
    same("what is left of a stopped one", to_ns(state.it_value), 0);
}

WAY(timerfd_stopped_never_fires) {
    const Descriptor timer(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK));
    arm(timer, wait_ns() / 2);
    arm(timer, 0);
    pollfd one = {timer, POLLIN, 0};
    takes_the_wait("poll", [&] { same("poll", poll(&one, 1, wait_ms()), 0); });
    std::uint64_t count = 0;
    failed_with("read", read(timer, &count, sizeof count), EAGAIN);
}

WAY(timerfd_set_again_by_another_thread) {
    const Descriptor timer(timerfd_create(CLOCK_MONOTONIC, 0));
    arm(timer, 10 * wait_ns());
    const Later setter(wait_ns() / 2, [&] { arm(timer, wait_ns() - wait_ns() / 2); });
    takes_the_wait("read", [&] { same("expirations", expirations(timer), 1); });
}

WAY(timerfd_set_again_forgets_what_it_counted) {
    const Descriptor timer(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK));
    arm(timer, wait_ns() / 4);
    sleep_ns(wait_ns());
    arm(timer, wait_ns());
    std::uint64_t count = 0;
    failed_with("read", read(timer, &count, sizeof count), EAGAIN);
}

WAY(timerfd_duplicated) {
    Descriptor timer(timerfd_create(CLOCK_MONOTONIC, 0));
    const Descriptor twin(dup(timer));
    arm(twin, wait_ns());
    timer.close_now();
    takes_the_wait("read", [&] { same("expirations", expirations(twin), 1); });
}

WAY(timerfd_refuses) {
    takes_no_time("mistakes", [] {
        failed_with("timerfd_create", timerfd_create(1234, 0), EINVAL);
        const Pipe pipe;
        const itimerspec none{};
        failed_with("timerfd_settime", timerfd_settime(pipe.in, 0, &none, nullptr), EINVAL);
        const Descriptor timer(timerfd_create(CLOCK_MONOTONIC, 0));
        char small[4];
        failed_with("read", read(timer, small, sizeof small), EINVAL);
    });
    sleep_ns(wait_ns());
}

WAY(alarm) {
    count_signal(SIGALRM);
    const Stopwatch watch;
    same("alarm", alarm(wait_whole_seconds()), 0);
    failed_with("pause", pause(), EINTR);
    watch.expect("pause", wait_whole_ns());
    same("signals", signals_seen(SIGALRM), 1);
}

WAY(alarm_tells_what_was_left) {
    count_signal(SIGALRM);
    const unsigned long_time = 3 * wait_whole_seconds();
    same("the first", alarm(long_time), 0);
    sleep_ns(wait_whole_ns());
    same("the second", alarm(0), long_time - wait_whole_seconds());
    sleep_ns(wait_ns());
    same("signals", signals_seen(SIGALRM), 0);
}

WAY(ualarm) {
    count_signal(SIGALRM);
    takes_the_wait("three ticks", [] {
        same("ualarm",
             ualarm(static_cast<useconds_t>(wait_ns() / 2 / ns_per_us),
                    static_cast<useconds_t>(wait_ns() / 4 / ns_per_us)),
             0);
        for (int tick = 0; tick < 3; ++tick) pause();
    });
    ualarm(0, 0);
    same("signals", signals_seen(SIGALRM), 3);
}

WAY(setitimer) {
    count_signal(SIGALRM);
    const itimerval times = {to_timeval(wait_ns() / 4), to_timeval(wait_ns() / 2)};
    takes_the_wait("three ticks", [&] {
        worked("setitimer", setitimer(ITIMER_REAL, &times, nullptr));
        for (int tick = 0; tick < 3; ++tick) pause();
    });
    const itimerval none{};
    itimerval before{};
    worked("setitimer", setitimer(ITIMER_REAL, &none, &before));
    expect_time("the period", to_ns(before.it_interval), wait_ns() / 4);
    same("signals", signals_seen(SIGALRM), 3);
}

WAY(getitimer) {
    count_signal(SIGALRM);
    const itimerval times = {to_timeval(0), to_timeval(2 * wait_ns())};
    worked("setitimer", setitimer(ITIMER_REAL, &times, nullptr));
    sleep_ns(wait_ns());
    itimerval state{};
    worked("getitimer", getitimer(ITIMER_REAL, &state));
    expect_time("what has passed", 2 * wait_ns() - to_ns(state.it_value), wait_ns());
}

// This one counts the processor's time, of which a sleep takes none.
WAY(setitimer_of_the_processor) {
    count_signal(SIGPROF);
    const itimerval times = {to_timeval(0), to_timeval(wait_ns() / 2)};
    worked("setitimer", setitimer(ITIMER_PROF, &times, nullptr));
    sleep_ns(wait_ns());
    same("signals", signals_seen(SIGPROF), 0);
    const itimerval none{};
    worked("setitimer", setitimer(ITIMER_PROF, &none, nullptr));
}

WAY(timer_with_a_signal) {
    struct sigaction action {};
    action.sa_sigaction = on_told;
    action.sa_flags = SA_SIGINFO;
    worked("sigaction", sigaction(SIGRTMIN, &action, nullptr));
    Timer timer(CLOCK_MONOTONIC, by_signal(SIGRTMIN, 12));
    takes_the_wait("pause", [&] {
        timer.arm(wait_ns());
        failed_with("pause", pause(), EINTR);
    });
    same("its value", told_value, 12);
}

WAY(timer_without_an_event_is_an_alarm) {
    count_signal(SIGALRM);
    timer_t timer{};
    worked("timer_create", timer_create(CLOCK_REALTIME, nullptr, &timer));
    const itimerspec times = {{0, 0}, to_timespec(wait_ns())};
    takes_the_wait("pause", [&] {
        worked("timer_settime", timer_settime(timer, 0, &times, nullptr));
        pause();
    });
    same("signals", signals_seen(SIGALRM), 1);
    worked("timer_delete", timer_delete(timer));
}

WAY(timer_at_a_moment) {
    count_signal(SIGUSR1);
    Timer timer(CLOCK_REALTIME, by_signal(SIGUSR1));
    takes_the_wait("pause", [&] {
        timer.arm(now_ns(CLOCK_REALTIME) + wait_ns(), 0, TIMER_ABSTIME);
        pause();
    });
    same("signals", signals_seen(SIGUSR1), 1);
}

WAY(timer_periodic) {
    count_signal(SIGUSR1);
    Timer timer(CLOCK_MONOTONIC, by_signal(SIGUSR1));
    takes_the_wait("five ticks", [&] {
        timer.arm(wait_ns() / 5, wait_ns() / 5);
        for (int tick = 0; tick < 5; ++tick) pause();
    });
    same("signals", signals_seen(SIGUSR1), 5);
}

// A signal that waits stands for all that came after it.
WAY(timer_overrun) {
    const Blocked blocked(SIGUSR1);
    Timer timer(CLOCK_MONOTONIC, by_signal(SIGUSR1));
    const std::int64_t period = wait_ns() / 10;
    timer.arm(period, period);
    sleep_ns(10 * period + period / 2);
    const sigset_t set = set_of(SIGUSR1);
    siginfo_t info{};
    takes_no_time("sigwaitinfo", [&] { same("sigwaitinfo", sigwaitinfo(&set, &info), SIGUSR1); });
    same("overrun", timer.overrun(), 9);
}

WAY(timer_gettime) {
    count_signal(SIGUSR1);
    Timer timer(CLOCK_MONOTONIC, by_signal(SIGUSR1));
    timer.arm(2 * wait_ns(), wait_ns() / 3);
    sleep_ns(wait_ns());
    const itimerspec state = timer.state();
    expect_time("what has passed", 2 * wait_ns() - to_ns(state.it_value), wait_ns());
    expect_time("the period", to_ns(state.it_interval), wait_ns() / 3);
    timer.arm(0);
    same("what is left of a stopped one", to_ns(timer.state().it_value), 0);
}

WAY(timer_without_notice) {
    sigevent event{};
    event.sigev_notify = SIGEV_NONE;
    Timer timer(CLOCK_MONOTONIC, event);
    timer.arm(2 * wait_ns());
    sleep_ns(wait_ns());
    expect_time("what has passed", 2 * wait_ns() - to_ns(timer.state().it_value), wait_ns());
    sleep_ns(wait_ns() + wait_ns() / 2);
    same("what is left", to_ns(timer.state().it_value), 0);
}

WAY(timer_with_a_thread) {
    sigevent event{};
    event.sigev_notify = SIGEV_THREAD;
    event.sigev_notify_function = on_thread_call;
    event.sigev_value.sival_int = 12;
    Timer timer(CLOCK_MONOTONIC, event);
    takes_the_wait("two calls", [&] {
        timer.arm(wait_ns() / 2, wait_ns() / 2);
        std::unique_lock<std::mutex> lock(calls_lock);
        calls_changed.wait(lock, [] { return calls == 24; });
    });
}

#ifdef SIGEV_THREAD_ID
WAY(timer_with_a_signal_for_one_thread) {
    count_signal(SIGUSR1);
    sigevent event{};
    event.sigev_notify = SIGEV_THREAD_ID;
    event.sigev_signo = SIGUSR1;
    // Which has no better name in this C library.
    event._sigev_un._tid = static_cast<pid_t>(syscall(SYS_gettid));
    Timer timer(CLOCK_MONOTONIC, event);
    takes_the_wait("pause", [&] {
        timer.arm(wait_ns());
        pause();
    });
    check(signal_taken_by() == pthread_self(), "another thread has taken the signal");
}
#endif

WAY(timer_refuses) {
    takes_no_time("mistakes", [] {
        timer_t timer{};
        sigevent event = by_signal(1000);
        failed_with("timer_create", timer_create(CLOCK_MONOTONIC, &event, &timer), EINVAL);
        failed_with("timer_create", timer_create(1234, nullptr, &timer), EINVAL);
    });
    sleep_ns(wait_ns());
}
