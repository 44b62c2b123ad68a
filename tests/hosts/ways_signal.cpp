// Waiting for signals, and being interrupted by them.
#include <fcntl.h>
#include <mqueue.h>
#include <poll.h>
#include <semaphore.h>
#include <setjmp.h>
#include <sys/epoll.h>
#include <sys/select.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <mutex>

#include "tests/hosts/ways.h"

namespace {

using namespace ways;

// Sends a signal to the calling thread after the waiting time.
Later signal_to_this_thread(int number = SIGUSR1) {
    const pthread_t self = pthread_self();
    return Later([=] { same("pthread_kill", pthread_kill(self, number), 0); });
}

// A call that waits for ever is interrupted after the waiting time.
template <typename Call>
void is_interrupted(const char* name, Call call) {
    count_signal(SIGUSR1);
    const Later sender = signal_to_this_thread();
    takes_the_wait(name, [&] { failed_with(name, call(), EINTR); });
    same("signals", signals_seen(SIGUSR1), 1);
    check(signal_taken_by() == pthread_self(), "another thread has taken the signal");
}

// The same with a handler that asks for the call to go on; something else ends it later.
template <typename Call>
void goes_on(const char* name, std::int64_t expected, Call call) {
    count_signal(SIGUSR1, SA_RESTART);
    const pthread_t self = pthread_self();
    const Later sender(wait_ns() / 2, [=] { pthread_kill(self, SIGUSR1); });
    takes_the_wait(name, [&] { same(name, call(), expected); });
    same("signals", signals_seen(SIGUSR1), 1);
}

sigjmp_buf escape;
void jump_out(int) { siglongjmp(escape, 1); }

int pipe_to_write = -1;
void write_to_pipe(int) {
    const ssize_t ignored = write(pipe_to_write, "s", 1);
    (void)ignored;
}

std::atomic<int> order;
std::atomic<int> inner_came;
void outer_handler(int) {
    raise(SIGUSR2);
    sleep_ns(wait_ns());
    order = order * 10 + 1;
}
void inner_handler(int) {
    inner_came = inner_came + 1;
    order = order * 10 + 2;
}

std::atomic<int> told_value;
void on_told(int, siginfo_t* info, void*) { told_value = info->si_value.sival_int; }

}  // namespace

WAY(pause) {
    is_interrupted("pause", [] { return pause(); });
}

WAY(pause_until_killed_by_oneself) {
    count_signal(SIGUSR1);
    const Later sender([] { kill(getpid(), SIGUSR1); });
    takes_the_wait("pause", [] { failed_with("pause", pause(), EINTR); });
    same("signals", signals_seen(SIGUSR1), 1);
}

WAY(raise_runs_the_handler_at_once) {
    count_signal(SIGUSR1);
    same("raise", raise(SIGUSR1), 0);
    same("signals", signals_seen(SIGUSR1), 1);
    sleep_ns(wait_ns());
}

WAY(sigsuspend) {
    const Blocked blocked(SIGUSR1);
    count_signal(SIGUSR1);
    const Later sender = signal_to_this_thread();
    sigset_t none;
    sigemptyset(&none);
    takes_the_wait("sigsuspend", [&] { failed_with("sigsuspend", sigsuspend(&none), EINTR); });
    same("signals", signals_seen(SIGUSR1), 1);
}

WAY(sigsuspend_takes_what_is_pending) {
    const Blocked blocked(SIGUSR1);
    count_signal(SIGUSR1);
    raise(SIGUSR1);
    sigset_t pending;
    worked("sigpending", sigpending(&pending));
    check(sigismember(&pending, SIGUSR1) == 1, "the signal is not pending");
    sleep_ns(wait_ns());
    sigset_t none;
    sigemptyset(&none);
    takes_no_time("sigsuspend", [&] { failed_with("sigsuspend", sigsuspend(&none), EINTR); });
    same("signals", signals_seen(SIGUSR1), 1);
}

WAY(unblocking_lets_a_pending_signal_in) {
    count_signal(SIGUSR1);
    {
        const Blocked blocked(SIGUSR1);
        raise(SIGUSR1);
        sleep_ns(wait_ns());
        same("signals meanwhile", signals_seen(SIGUSR1), 0);
    }
    same("signals", signals_seen(SIGUSR1), 1);
}

WAY(sigwait) {
    const Blocked blocked(SIGUSR1);
    const sigset_t set = set_of(SIGUSR1);
    const Later sender = signal_to_this_thread();
    int number = 0;
    takes_the_wait("sigwait", [&] { same("sigwait", sigwait(&set, &number), 0); });
    same("the signal", number, SIGUSR1);
}

WAY(sigwait_for_the_process) {
    const Blocked blocked(SIGUSR1);
    const sigset_t set = set_of(SIGUSR1);
    const Later sender([] { kill(getpid(), SIGUSR1); });
    int number = 0;
    takes_the_wait("sigwait", [&] { same("sigwait", sigwait(&set, &number), 0); });
    same("the signal", number, SIGUSR1);
}

WAY(sigwaitinfo) {
    const Blocked blocked(SIGRTMIN);
    const sigset_t set = set_of(SIGRTMIN);
    const Later sender([] {
        sigval value{};
        value.sival_int = 12;
        worked("sigqueue", sigqueue(getpid(), SIGRTMIN, value));
    });
    siginfo_t info{};
    takes_the_wait("sigwaitinfo", [&] { same("sigwaitinfo", sigwaitinfo(&set, &info), SIGRTMIN); });
    same("its value", info.si_value.sival_int, 12);
    same("its code", info.si_code, SI_QUEUE);
}

WAY(sigtimedwait_times_out) {
    const Blocked blocked(SIGUSR1);
    const sigset_t set = set_of(SIGUSR1);
    const timespec length = to_timespec(wait_ns());
    takes_the_wait("sigtimedwait",
                   [&] { failed_with("sigtimedwait", sigtimedwait(&set, nullptr, &length), EAGAIN); });
}

WAY(sigtimedwait_takes_a_signal) {
    const Blocked blocked(SIGUSR1);
    const sigset_t set = set_of(SIGUSR1);
    const timespec length = to_timespec(3 * wait_ns());
    const Later sender = signal_to_this_thread();
    siginfo_t info{};
    takes_the_wait("sigtimedwait", [&] { same("sigtimedwait", sigtimedwait(&set, &info, &length), SIGUSR1); });
    same("the signal", info.si_signo, SIGUSR1);
}

// A thread of its own takes all signals, the others block them: what many hosts do.
WAY(sigwait_in_a_thread_of_its_own) {
    const Blocked blocked(SIGUSR1);
    const sigset_t set = set_of(SIGUSR1);
    takes_the_wait("the thread", [&] {
        Later taker(0, [&] {
            int number = 0;
            same("sigwait", sigwait(&set, &number), 0);
        });
        sleep_ns(wait_ns());
        kill(getpid(), SIGUSR1);
    });
}

WAY(signalfd) {
    const Blocked blocked(SIGUSR1);
    const sigset_t set = set_of(SIGUSR1);
    const Descriptor signals(signalfd(-1, &set, 0));
    const Later sender([] { kill(getpid(), SIGUSR1); });
    signalfd_siginfo info{};
    takes_the_wait("read", [&] { same("read", read(signals, &info, sizeof info), sizeof info); });
    same("the signal", info.ssi_signo, SIGUSR1);
    same("its sender", info.ssi_pid, getpid());
}

WAY(signalfd_in_poll) {
    const Blocked blocked(SIGUSR1);
    const sigset_t set = set_of(SIGUSR1);
    const Descriptor signals(signalfd(-1, &set, SFD_NONBLOCK));
    const Later sender = signal_to_this_thread();
    pollfd one = {signals, POLLIN, 0};
    takes_the_wait("poll", [&] { same("poll", poll(&one, 1, -1), 1); });
    signalfd_siginfo info{};
    same("read", read(signals, &info, sizeof info), sizeof info);
}

WAY(signalfd_gets_the_alarm) {
    const Blocked blocked(SIGALRM);
    const sigset_t set = set_of(SIGALRM);
    const Descriptor signals(signalfd(-1, &set, 0));
    const Stopwatch watch;
    alarm(wait_whole_seconds());
    signalfd_siginfo info{};
    same("read", read(signals, &info, sizeof info), sizeof info);
    watch.expect("read", wait_whole_ns());
    same("the signal", info.ssi_signo, SIGALRM);
}

WAY(signal_interrupts_sleep) {
    count_signal(SIGUSR1);
    const pthread_t self = pthread_self();
    const Later sender(wait_whole_ns(), [=] { pthread_kill(self, SIGUSR1); });
    const Stopwatch watch;
    const unsigned left = sleep(3 * wait_whole_seconds());
    watch.expect("sleep", wait_whole_ns());
    // What is left is rounded to whole seconds.
    check(left == 2 * wait_whole_seconds() || left + 1 == 2 * wait_whole_seconds(),
          "sleep says that " + std::to_string(left) + " s are left");
}

WAY(signal_interrupts_usleep) {
    is_interrupted("usleep", [] { return usleep(static_cast<useconds_t>(3 * wait_ns() / ns_per_us)); });
}

WAY(signal_interrupts_nanosleep) {
    const timespec length = to_timespec(3 * wait_ns());
    timespec left{};
    is_interrupted("nanosleep", [&] { return nanosleep(&length, &left); });
    expect_time("what was slept", 3 * wait_ns() - to_ns(left), wait_ns());
}

WAY(signal_interrupts_clock_nanosleep) {
    count_signal(SIGUSR1);
    const Later sender = signal_to_this_thread();
    const timespec length = to_timespec(3 * wait_ns());
    timespec left{};
    takes_the_wait("clock_nanosleep", [&] {
        same("clock_nanosleep", clock_nanosleep(CLOCK_MONOTONIC, 0, &length, &left), EINTR);
    });
    expect_time("what was slept", 3 * wait_ns() - to_ns(left), wait_ns());
}

WAY(signal_interrupts_clock_nanosleep_until) {
    count_signal(SIGUSR1);
    const Later sender = signal_to_this_thread();
    const timespec moment = moment_ahead(CLOCK_MONOTONIC, 3 * wait_ns());
    timespec left = {12, 12};
    takes_the_wait("clock_nanosleep", [&] {
        same("clock_nanosleep", clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &moment, &left), EINTR);
    });
    same("what is left, which is not told", left.tv_sec, 12);
}

WAY(signal_interrupts_poll) {
    const Pipe pipe;
    pollfd one = {pipe.in, POLLIN, 0};
    is_interrupted("poll", [&] { return poll(&one, 1, 3 * wait_ms()); });
}

WAY(signal_interrupts_poll_even_with_restart) {
    count_signal(SIGUSR1, SA_RESTART);
    const Later sender = signal_to_this_thread();
    takes_the_wait("poll", [] { failed_with("poll", poll(nullptr, 0, -1), EINTR); });
}

WAY(signal_interrupts_select) {
    is_interrupted("select", [] { return select(0, nullptr, nullptr, nullptr, nullptr); });
}

WAY(signal_interrupts_epoll) {
    const Descriptor set(epoll_create1(0));
    epoll_event event{};
    is_interrupted("epoll_wait", [&] { return epoll_wait(set, &event, 1, 3 * wait_ms()); });
}

WAY(signal_interrupts_sem_wait) {
    sem_t semaphore;
    sem_init(&semaphore, 0, 0);
    is_interrupted("sem_wait", [&] { return sem_wait(&semaphore); });
}

WAY(signal_interrupts_sem_timedwait) {
    sem_t semaphore;
    sem_init(&semaphore, 0, 0);
    const timespec moment = moment_ahead(CLOCK_REALTIME, 3 * wait_ns());
    is_interrupted("sem_timedwait", [&] { return sem_timedwait(&semaphore, &moment); });
}

WAY(signal_interrupts_read) {
    const Pipe pipe;
    char buffer[16];
    is_interrupted("read", [&] { return read(pipe.in, buffer, sizeof buffer); });
}

WAY(signal_interrupts_write) {
    const Pipe pipe;
    fill(pipe.out);
    is_interrupted("write", [&] { return write(pipe.out, "x", 1); });
}

WAY(signal_interrupts_recv) {
    int ends[2] = {-1, -1};
    worked("socketpair", socketpair(AF_UNIX, SOCK_STREAM, 0, ends));
    const Descriptor here(ends[0]);
    const Descriptor there(ends[1]);
    char buffer[16];
    is_interrupted("recv", [&] { return recv(here, buffer, sizeof buffer, 0); });
}

// A receive with a time-out is interrupted even when the handler asks for a restart.
WAY(signal_interrupts_recv_with_timeout) {
    int ends[2] = {-1, -1};
    worked("socketpair", socketpair(AF_UNIX, SOCK_STREAM, 0, ends));
    const Descriptor here(ends[0]);
    const Descriptor there(ends[1]);
    const timeval length = to_timeval(3 * wait_ns());
    worked("setsockopt", setsockopt(here, SOL_SOCKET, SO_RCVTIMEO, &length, sizeof length));
    count_signal(SIGUSR1, SA_RESTART);
    const Later sender = signal_to_this_thread();
    char buffer[16];
    takes_the_wait("recv", [&] { failed_with("recv", recv(here, buffer, sizeof buffer, 0), EINTR); });
}

WAY(signal_interrupts_sigtimedwait) {
    const Blocked blocked(SIGUSR2);
    const sigset_t set = set_of(SIGUSR2);
    const timespec length = to_timespec(3 * wait_ns());
    is_interrupted("sigtimedwait", [&] { return sigtimedwait(&set, nullptr, &length); });
}

WAY(signal_restarts_read) {
    const Pipe pipe;
    const Later writer([&] { put(pipe.out, "hello"); });
    char buffer[16];
    goes_on("read", 5, [&] { return read(pipe.in, buffer, sizeof buffer); });
}

WAY(signal_restarts_recv) {
    int ends[2] = {-1, -1};
    worked("socketpair", socketpair(AF_UNIX, SOCK_STREAM, 0, ends));
    const Descriptor here(ends[0]);
    const Descriptor there(ends[1]);
    const Later writer([&] { put(there, "hello"); });
    char buffer[16];
    goes_on("recv", 5, [&] { return recv(here, buffer, sizeof buffer, 0); });
}

WAY(signal_restarts_sem_wait) {
    sem_t semaphore;
    sem_init(&semaphore, 0, 0);
    const Later poster([&] { sem_post(&semaphore); });
    goes_on("sem_wait", 0, [&] { return sem_wait(&semaphore); });
}

WAY(signal_that_is_ignored_interrupts_nothing) {
    worked("signal", signal(SIGUSR1, SIG_IGN) == SIG_ERR ? -1 : 0);
    const pthread_t self = pthread_self();
    const Later sender(wait_ns() / 2, [=] { pthread_kill(self, SIGUSR1); });
    const timespec length = to_timespec(wait_ns());
    takes_the_wait("nanosleep", [&] { worked("nanosleep", nanosleep(&length, nullptr)); });
}

WAY(signal_that_is_blocked_interrupts_nothing) {
    const Blocked blocked(SIGUSR1);
    const pthread_t self = pthread_self();
    const Later sender(wait_ns() / 2, [=] { pthread_kill(self, SIGUSR1); });
    const timespec length = to_timespec(wait_ns());
    takes_the_wait("nanosleep", [&] { worked("nanosleep", nanosleep(&length, nullptr)); });
    // Taken out again, or it would end the program.
    const sigset_t set = set_of(SIGUSR1);
    int number = 0;
    same("sigwait", sigwait(&set, &number), 0);
}

WAY(signal_runs_while_a_mutex_is_waited_for) {
    count_signal(SIGUSR1);
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    const Later owner(0, [&] {
        pthread_mutex_lock(&mutex);
        sleep_ns(wait_ns() + wait_ns() / 4);
        pthread_mutex_unlock(&mutex);
    });
    sleep_ns(wait_ns() / 4);
    const pthread_t self = pthread_self();
    const Later sender(wait_ns() / 2, [=] { pthread_kill(self, SIGUSR1); });
    takes_the_wait("pthread_mutex_lock", [&] { same("pthread_mutex_lock", pthread_mutex_lock(&mutex), 0); });
    same("signals", signals_seen(SIGUSR1), 1);
    pthread_mutex_unlock(&mutex);
}

WAY(signal_runs_while_a_condition_is_waited_for) {
    count_signal(SIGUSR1);
    std::mutex lock;
    std::condition_variable changed;
    bool done = false;
    const pthread_t self = pthread_self();
    const Later sender(wait_ns() / 2, [=] { pthread_kill(self, SIGUSR1); });
    const Later setter([&] {
        const std::lock_guard<std::mutex> guard(lock);
        done = true;
        changed.notify_one();
    });
    takes_the_wait("wait", [&] {
        std::unique_lock<std::mutex> guard(lock);
        changed.wait(guard, [&] { return done; });
    });
    same("signals", signals_seen(SIGUSR1), 1);
}

WAY(signal_runs_while_a_thread_is_joined) {
    count_signal(SIGUSR1);
    const pthread_t self = pthread_self();
    takes_the_wait("join", [&] {
        Later other([] {});
        const Later sender(wait_ns() / 2, [=] { pthread_kill(self, SIGUSR1); });
        other.join();
    });
    same("signals", signals_seen(SIGUSR1), 1);
}

WAY(siglongjmp_out_of_a_sleep) {
    struct sigaction action {};
    action.sa_handler = jump_out;
    worked("sigaction", sigaction(SIGUSR1, &action, nullptr));
    const Later sender = signal_to_this_thread();
    volatile bool jumped = false;
    takes_the_wait("the sleep", [&] {
        if (sigsetjmp(escape, 1) == 0) {
            sleep_ns(10 * wait_ns());
        } else {
            jumped = true;
        }
    });
    check(jumped, "the sleep went on to its end");
    // All goes on as before.
    takes_the_wait("another sleep", [] { sleep_ns(wait_ns()); });
}

WAY(siglongjmp_out_of_a_read) {
    const Pipe pipe;
    struct sigaction action {};
    action.sa_handler = jump_out;
    worked("sigaction", sigaction(SIGALRM, &action, nullptr));
    const Stopwatch watch;
    alarm(wait_whole_seconds());
    if (sigsetjmp(escape, 1) == 0) {
        char buffer[16];
        const ssize_t count = read(pipe.in, buffer, sizeof buffer);
        fail("read returned " + std::to_string(count));
    }
    watch.expect("read", wait_whole_ns());
    const Later writer([&] { put(pipe.out, "x"); });
    char buffer[16];
    takes_the_wait("read", [&] { same("read", read(pipe.in, buffer, sizeof buffer), 1); });
}

// The pipe that a handler writes to, for the loop that polls it.
WAY(signal_written_to_a_pipe) {
    const Pipe pipe;
    pipe_to_write = pipe.out;
    struct sigaction action {};
    action.sa_handler = write_to_pipe;
    action.sa_flags = SA_RESTART;
    worked("sigaction", sigaction(SIGUSR1, &action, nullptr));
    const Later sender([] { kill(getpid(), SIGUSR1); });
    char buffer[16];
    takes_the_wait("read", [&] { same("read", read(pipe.in, buffer, sizeof buffer), 1); });
}

WAY(signal_within_a_handler_that_sleeps) {
    struct sigaction action {};
    action.sa_handler = outer_handler;
    worked("sigaction", sigaction(SIGUSR1, &action, nullptr));
    action.sa_handler = inner_handler;
    worked("sigaction", sigaction(SIGUSR2, &action, nullptr));
    takes_the_wait("the handler", [] { raise(SIGUSR1); });
    same("the order of both", order, 21);
}

WAY(sigaction_masks_signals_in_the_handler) {
    struct sigaction action {};
    action.sa_handler = outer_handler;
    sigemptyset(&action.sa_mask);
    sigaddset(&action.sa_mask, SIGUSR2);
    worked("sigaction", sigaction(SIGUSR1, &action, nullptr));
    action.sa_handler = inner_handler;
    worked("sigaction", sigaction(SIGUSR2, &action, nullptr));
    takes_the_wait("the handler", [] { raise(SIGUSR1); });
    same("the order of both", order, 12);
}

WAY(sigaction_tells_what_was_set) {
    count_signal(SIGUSR1, SA_RESTART);
    struct sigaction before {};
    worked("sigaction", sigaction(SIGUSR1, nullptr, &before));
    check((before.sa_flags & SA_RESTART) != 0, "the flags are not told");
    const sighandler_t mine = before.sa_handler;
    check(signal(SIGUSR1, SIG_IGN) == mine, "signal tells another handler than sigaction");
    check(signal(SIGUSR1, mine) == SIG_IGN, "signal does not tell that the signal is ignored");
    raise(SIGUSR1);
    same("signals", signals_seen(SIGUSR1), 1);
    sleep_ns(wait_ns());
}

WAY(signal_handler_on_a_stack_of_its_own) {
    static char room[65536];
    stack_t stack{};
    stack.ss_sp = room;
    stack.ss_size = sizeof room;
    worked("sigaltstack", sigaltstack(&stack, nullptr));
    count_signal(SIGUSR1, SA_ONSTACK);
    const Later sender = signal_to_this_thread();
    takes_the_wait("pause", [] { failed_with("pause", pause(), EINTR); });
    same("signals", signals_seen(SIGUSR1), 1);
}

WAY(signal_once_only) {
    struct sigaction action {};
    action.sa_handler = inner_handler;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    worked("sigaction", sigaction(SIGUSR1, &action, nullptr));
    raise(SIGUSR1);
    struct sigaction after {};
    worked("sigaction", sigaction(SIGUSR1, nullptr, &after));
    check(after.sa_handler == SIG_DFL, "the handler is still there");
    same("signals", inner_came, 1);
    sleep_ns(wait_ns());
}

WAY(sigqueue_to_a_sleeping_thread) {
    struct sigaction action {};
    action.sa_sigaction = on_told;
    action.sa_flags = SA_SIGINFO;
    worked("sigaction", sigaction(SIGRTMIN + 1, &action, nullptr));
    const pthread_t self = pthread_self();
    const Later sender([=] {
        sigval value{};
        value.sival_int = 12;
        same("pthread_sigqueue", pthread_sigqueue(self, SIGRTMIN + 1, value), 0);
    });
    takes_the_wait("pause", [] { failed_with("pause", pause(), EINTR); });
    same("its value", told_value, 12);
}

WAY(tgkill_to_a_sleeping_thread) {
    count_signal(SIGUSR1);
    const auto self = static_cast<pid_t>(syscall(SYS_gettid));
    const Later sender([=] { worked("tgkill", tgkill(getpid(), self, SIGUSR1)); });
    takes_the_wait("pause", [] { failed_with("pause", pause(), EINTR); });
    same("signals", signals_seen(SIGUSR1), 1);
}

WAY(syscall_tgkill_to_a_sleeping_thread) {
    count_signal(SIGUSR1);
    const auto self = static_cast<pid_t>(syscall(SYS_gettid));
    const Later sender(
        [=] { worked("tgkill", static_cast<int>(syscall(SYS_tgkill, getpid(), self, SIGUSR1))); });
    takes_the_wait("pause", [] { failed_with("pause", pause(), EINTR); });
    same("signals", signals_seen(SIGUSR1), 1);
}

WAY(syscall_kill_of_oneself) {
    count_signal(SIGUSR1);
    const Later sender([] { worked("kill", static_cast<int>(syscall(SYS_kill, getpid(), SIGUSR1))); });
    takes_the_wait("pause", [] { failed_with("pause", pause(), EINTR); });
    same("signals", signals_seen(SIGUSR1), 1);
}

WAY(tgkill_to_a_thread_that_there_is_not) {
    failed_with("tgkill", tgkill(getpid(), 0x3fffffff, SIGUSR1), ESRCH);
    sleep_ns(wait_ns());
}

WAY(pthread_kill_with_no_signal) {
    same("pthread_kill", pthread_kill(pthread_self(), 0), 0);
    sleep_ns(wait_ns());
}

WAY(pthread_cancel_of_a_sleeping_thread) {
    takes_the_wait("the thread", [] {
        pthread_t thread{};
        same("pthread_create",
             pthread_create(
                 &thread, nullptr,
                 [](void*) -> void* {
                     sleep_ns(10 * wait_ns());
                     return nullptr;
                 },
                 nullptr),
             0);
        sleep_ns(wait_ns());
        same("pthread_cancel", pthread_cancel(thread), 0);
        void* value = nullptr;
        same("pthread_join", pthread_join(thread, &value), 0);
        check(value == PTHREAD_CANCELED, "the thread has not been cancelled");
    });
}

WAY(sigprocmask_tells_and_sets) {
    count_signal(SIGUSR1);
    const sigset_t set = set_of(SIGUSR1);
    sigset_t before;
    worked("sigprocmask", sigprocmask(SIG_BLOCK, &set, &before));
    check(sigismember(&before, SIGUSR1) == 0, "the signal was blocked before");
    const Later sender = signal_to_this_thread();
    const timespec length = to_timespec(2 * wait_ns());
    worked("nanosleep", nanosleep(&length, nullptr));
    same("signals meanwhile", signals_seen(SIGUSR1), 0);
    sigset_t meanwhile;
    worked("sigprocmask", sigprocmask(SIG_SETMASK, &before, &meanwhile));
    check(sigismember(&meanwhile, SIGUSR1) == 1, "the signal was not blocked before");
    same("signals", signals_seen(SIGUSR1), 1);
}

// As older programs do it, and shells.
WAY(sigsetmask_of_bsd) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    count_signal(SIGUSR1);
    constexpr int mask = 1 << (SIGUSR1 - 1);
    const int before = sigblock(mask);
    const Later sender = signal_to_this_thread();
    const timespec length = to_timespec(2 * wait_ns());
    worked("nanosleep", nanosleep(&length, nullptr));
    same("signals meanwhile", signals_seen(SIGUSR1), 0);
    same("the mask", siggetmask() & mask, mask);
    sigsetmask(before);
    same("signals", signals_seen(SIGUSR1), 1);
#pragma GCC diagnostic pop
}
