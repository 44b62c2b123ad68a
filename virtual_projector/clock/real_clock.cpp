#include "virtual_projector/clock/real_clock.h"

#include <utility>

#include "virtual_projector/clock/reentrancy_guard.h"

namespace vp {

namespace {

std::chrono::steady_clock::time_point steady_now() {
    const ReentrancyGuard guard;
    return std::chrono::steady_clock::now();
}

}  // namespace

RealClock::RealClock() : start_(steady_now()) {}

RealClock::~RealClock() {
    const ReentrancyGuard guard;
    {
        const std::lock_guard<std::recursive_mutex> lock(world_);
        ending_ = true;
        scheduled_.notify_all();
    }
    if (callback_thread_.joinable()) callback_thread_.join();
}

Microseconds RealClock::now() const {
    const auto elapsed = steady_now() - start_;
    return std::chrono::duration_cast<std::chrono::microseconds>(elapsed).count();
}

std::chrono::steady_clock::time_point RealClock::time_point(Microseconds time) const {
    return start_ + std::chrono::microseconds(time);
}

WaitEnd RealClock::sleep_until(Microseconds time) {
    const ReentrancyGuard guard;
    std::this_thread::sleep_until(time_point(time));
    return WaitEnd::timed_out;
}

WaitEnd RealClock::wait_for_device(const std::string& /*what*/, Microseconds deadline) {
    const ReentrancyGuard guard;
    if (deadline == no_deadline) {
        changed_.wait(world_);
    } else {
        (void)changed_.wait_until(world_, time_point(deadline));
    }
    bring_world_up_to_date();
    return WaitEnd::woken;
}

void RealClock::event_happened() {
    const ReentrancyGuard guard;
    changed_.notify_all();
}

void RealClock::at(Microseconds time, Callback callback) {
    const ReentrancyGuard guard;
    const std::lock_guard<std::recursive_mutex> lock(world_);
    timers_.add_callback(time, std::move(callback));
    if (!callback_thread_.joinable()) callback_thread_ = std::thread([this] { run_callbacks(); });
    scheduled_.notify_all();
}

void RealClock::run_callbacks() {
    const ReentrancyGuard guard;
    std::unique_lock<std::recursive_mutex> lock(world_);
    while (!ending_) {
        bring_world_up_to_date();
        if (ending_) return;
        if (const std::optional<Microseconds> next = timers_.next_time()) {
            (void)scheduled_.wait_until(lock, time_point(*next));
        } else {
            scheduled_.wait(lock);
        }
    }
}

void RealClock::run_due_callbacks() {
    while (const std::optional<TimerQueue::Due> due = timers_.take_due(now())) {
        due->callback();
        event_happened();
    }
}

void RealClock::on_advance(AdvanceHandler handler) { advance_handler_ = std::move(handler); }

void RealClock::lock_world() {
    const ReentrancyGuard guard;
    world_.lock();
    bring_world_up_to_date();
}

// Callbacks and the handler touch the world, and so come here again.
void RealClock::bring_world_up_to_date() {
    if (updating_world_) return;
    updating_world_ = true;
    run_due_callbacks();
    const Microseconds time = now();
    if (time > world_time_) {
        world_time_ = time;
        if (advance_handler_) advance_handler_(time);
    }
    updating_world_ = false;
}

void RealClock::unlock_world() {
    const ReentrancyGuard guard;
    world_.unlock();
}

}  // namespace vp
