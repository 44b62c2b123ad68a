#include "virtual_projector/clock/run_watch.h"

#include <signal.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <locale>
#include <utility>

#include "virtual_projector/clock/kernel_state.h"
#include "virtual_projector/clock/reentrancy_guard.h"

namespace vp {
namespace {

constexpr double look_interval_s = 0.05;

// A signal that the program hardly has use for; from here on nothing of it runs any more. Emulators of other
// processors have no higher one.
int stop_signal() { return SIGRTMIN + 28; }

std::atomic<bool> stopped{false};
void (*called_at_stop)() = nullptr;

// The calls made here are this thread's no more: answered for the program, they would wait for their turn.
void stop_here(int /*signal*/) {
    const ReentrancyGuard guard;
    if (called_at_stop != nullptr) called_at_stop();
    stopped.store(true);
    for (;;) ::syscall(SYS_ppoll, nullptr, 0, nullptr, nullptr, 0);
}

void pause_for(double seconds) {
    const timespec length = {0, static_cast<long>(seconds * 1e9)};
    (void)::syscall(SYS_nanosleep, &length, nullptr);
}

}  // namespace

RunWatch::RunWatch(TurnScheduler& scheduler, double limit_s, Handlers handlers)
    : scheduler_(scheduler), limit_s_(limit_s), handlers_(std::move(handlers)) {
    const ReentrancyGuard guard;
    // The program's signals are none of this thread's.
    sigset_t all;
    sigset_t before;
    ::sigfillset(&all);
    (void)::pthread_sigmask(SIG_SETMASK, &all, &before);
    has_thread_ = ::pthread_create(&thread_, nullptr, &RunWatch::run, this) == 0;
    (void)::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    // What the C++ library sets up at the first use of a locale in a process of several threads: else this
    // thread or the program would do so, whoever came first, and it would be a call of the program's or not.
    (void)std::locale();
}

RunWatch::~RunWatch() {
    const ReentrancyGuard guard;
    ending_ = true;
    if (!has_thread_ || ::pthread_equal(thread_, ::pthread_self()) != 0) return;
    (void)::pthread_join(thread_, nullptr);
}

void* RunWatch::run(void* watch) {
    const ReentrancyGuard guard;
    static_cast<RunWatch*>(watch)->watch();
    return nullptr;
}

void RunWatch::watch() {
    while (!ending_) {
        pause_for(look_interval_s);
        if (!ending_) look();
    }
}

void RunWatch::look() {
    const ScheduledThread* const running = scheduler_.running();
    const std::size_t progress = scheduler_.progress();
    const bool goes_on = progress != progress_;
    const bool is_same_turn = !goes_on && running == watched_;
    if (!is_same_turn) {
        progress_ = progress;
        watched_ = running;
        blocked_looks_ = 0;
        processor_time_s_ = running == nullptr ? 0 : processor_time_s(running->kernel_id);
    }
    const std::size_t work_before = std::exchange(work_, scheduler_.work());
    if (work_ != work_before || (handlers_.is_excused && handlers_.is_excused())) {
        idle_looks_ = 0;
        return;
    }
    ++idle_looks_;
    if (limit_s_ > 0 && idle_looks_ * look_interval_s >= limit_s_) {
        if (goes_on) {
            scheduler_.end_at_next_turn();
        } else {
            handlers_.limit_reached();
        }
        return;
    }
    if (is_same_turn && running != nullptr) look_at(*running);
}

void RunWatch::look_at(const ScheduledThread& thread) {
    blocked_looks_ = sleeps_in_kernel(thread.kernel_id) ? blocked_looks_ + 1 : 0;
    const bool computes = processor_time_s(thread.kernel_id) - processor_time_s_ >= longest_without_call_s;
    const bool is_blocked = blocked_looks_ * look_interval_s >= longest_without_call_s;
    if (!computes && !is_blocked) return;
    if (scheduler_.take_turn_away(thread)) handlers_.turn_lost(thread);
    blocked_looks_ = 0;
}

bool RunWatch::stop(const ScheduledThread* thread, void (*at_stop)()) {
    if (thread == nullptr || thread->kernel_id == 0) return false;
    called_at_stop = at_stop;
    stopped = false;
    struct sigaction action {};
    action.sa_handler = stop_here;
    ::sigfillset(&action.sa_mask);
    if (::sigaction(stop_signal(), &action, nullptr) != 0) return false;
    if (::syscall(SYS_tgkill, ::getpid(), thread->kernel_id.load(), stop_signal()) != 0) return false;
    constexpr int longest_looks = 20;
    for (int i = 0; i < longest_looks && !stopped; ++i) pause_for(look_interval_s);
    return stopped;
}

}  // namespace vp
