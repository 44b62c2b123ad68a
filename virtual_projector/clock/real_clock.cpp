#include "virtual_projector/clock/real_clock.h"

#include <utility>

#include "virtual_projector/clock/own_work.h"

namespace vp {

namespace {

std::chrono::steady_clock::time_point steady_now() {
    const OwnWork own;
    return std::chrono::steady_clock::now();
}

}  // namespace

RealClock::RealClock() : start_(steady_now()) {}

RealClock::~RealClock() {
    const OwnWork own;
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

void RealClock::sleep_until(Microseconds time) {
    const OwnWork own;
    std::this_thread::sleep_until(time_point(time));
}

void RealClock::wait_for_device(const std::string& /*what*/, Microseconds deadline) {
    const OwnWork own;
    if (deadline == no_deadline) {
        changed_.wait(world_);
    } else {
        (void)changed_.wait_until(world_, time_point(deadline));
    }
    bring_world_up_to_date();
}

void RealClock::event_happened() {
    const OwnWork own;
    changed_.notify_all();
}

void RealClock::at(Microseconds time, Callback callback) {
    const OwnWork own;
    const std::lock_guard<std::recursive_mutex> lock(world_);
    callbacks_.emplace(time, std::move(callback));
    if (!callback_thread_.joinable()) callback_thread_ = std::thread([this] { run_callbacks(); });
    scheduled_.notify_all();
}

void RealClock::run_callbacks() {
    const OwnWork own;
    std::unique_lock<std::recursive_mutex> lock(world_);
    while (!ending_) {
        run_due_callbacks();
        if (ending_) return;
        if (callbacks_.empty()) {
            scheduled_.wait(lock);
        } else {
            (void)scheduled_.wait_until(lock, time_point(callbacks_.begin()->first));
        }
    }
}

void RealClock::run_due_callbacks() {
    while (!callbacks_.empty() && callbacks_.begin()->first <= now()) {
        const Callback callback = std::move(callbacks_.begin()->second);
        callbacks_.erase(callbacks_.begin());
        const WorldLock up_to_date(*this);
        callback();
        event_happened();
    }
}

void RealClock::on_advance(AdvanceHandler handler) { advance_handler_ = std::move(handler); }

void RealClock::lock_world() {
    const OwnWork own;
    world_.lock();
    bring_world_up_to_date();
}

void RealClock::bring_world_up_to_date() {
    const Microseconds time = now();
    if (time <= world_time_) return;
    world_time_ = time;
    if (advance_handler_) advance_handler_(time);
}

void RealClock::unlock_world() {
    const OwnWork own;
    world_.unlock();
}

}  // namespace vp
