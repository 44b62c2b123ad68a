#include "virtual_projector/clock/turn_scheduler.h"

#include <algorithm>
#include <utility>

#include "virtual_projector/clock/process_end.h"
#include "virtual_projector/clock/thread_table.h"

namespace vp {
namespace {

using State = ScheduledThread::State;

thread_local ScheduledThread* current = nullptr;

// Threads that still wait when their scheduler goes: they will never be woken, and their records must stay.
std::vector<std::unique_ptr<ScheduledThread>>& abandoned_threads() {
    static auto* threads = new std::vector<std::unique_ptr<ScheduledThread>>;
    return *threads;
}

}  // namespace

TurnScheduler::TurnScheduler(VirtualTime& time, std::unique_ptr<SchedulePolicy> policy, const CallCost& cost)
    : time_(time), policy_(std::move(policy)), cost_(cost), time_out_([this](ScheduledThread& thread) {
          leave_waiters(thread);
          make_ready(thread, WaitEnd::timed_out);
      }) {}

TurnScheduler::~TurnScheduler() {
    if (knows_current_thread()) {
        current->state = State::finished;
        current = nullptr;
    }
    for (std::unique_ptr<ScheduledThread>& thread : threads_) {
        if (thread->state != State::finished) abandoned_threads().push_back(std::move(thread));
    }
}

// --- Threads ---------------------------------------------------------------------------------------------

ScheduledThread* TurnScheduler::add_thread(int number, const std::string& name) {
    threads_.push_back(std::make_unique<ScheduledThread>(this, number, name));
    threads_.back()->since = time_.now();
    ++unfinished_;
    return threads_.back().get();
}

ScheduledThread* TurnScheduler::adopt_current(int number, const std::string& name) {
    current = add_thread(number, name);
    current->state = State::running;
    return current;
}

ScheduledThread* TurnScheduler::prepare_thread(int number, const std::string& name) {
    ScheduledThread* thread = add_thread(number, name);
    ready_.push_back(thread);
    return thread;
}

void TurnScheduler::forget_thread(ScheduledThread* thread) {
    ready_.erase(std::remove(ready_.begin(), ready_.end(), thread), ready_.end());
    thread->state = State::finished;
    --unfinished_;
}

void TurnScheduler::begin_current(ScheduledThread* thread) {
    if (thread == nullptr) return;
    current = thread;
    thread->turn.await();
}

void TurnScheduler::finish_current() {
    ScheduledThread& self = *std::exchange(current, nullptr);
    self.state = State::finished;
    wake_all(&self);
    wake_waiters_for_what_is_held_by(self);
    if (--unfinished_ > 0) hand_over(next_to_run(self, Point::wait));
}

WaitEnd TurnScheduler::wait_for_end(ScheduledThread* thread, Microseconds deadline) {
    if (thread->state == State::finished) return WaitEnd::woken;
    const std::string who = std::to_string(thread->number) + (thread->name.empty() ? "" : " " + thread->name);
    return wait({Wait::Kind::join, thread, who}, deadline);
}

bool TurnScheduler::knows_current_thread() const { return current != nullptr && current->scheduler == this; }

// --- Waiting ---------------------------------------------------------------------------------------------

WaitEnd TurnScheduler::wait(Wait reason, Microseconds deadline) {
    ScheduledThread& self = *current;
    self.reason = std::move(reason);
    self.state = State::waiting;
    self.since = time_.now();
    self.deadline = deadline;
    self.calls_without_wait = 0;
    ++self.wait_number;
    if (self.reason.object != nullptr) waiters_[self.reason.object].push_back(&self);
    if (deadline != no_deadline) time_.timers().add_deadline(deadline, self);
    pass_turn(Point::wait);
    return self.end;
}

WaitEnd TurnScheduler::sleep_until(Microseconds time) {
    if (time > time_.now()) return wait({Wait::Kind::sleep, nullptr, {}}, time);
    current->calls_without_wait = 0;
    make_ready(*current, WaitEnd::timed_out);
    pass_turn(Point::yield);
    return WaitEnd::timed_out;
}

void TurnScheduler::make_ready(ScheduledThread& thread, WaitEnd end) {
    thread.state = State::ready;
    thread.end = end;
    ++thread.wait_number;
    ready_.push_back(&thread);
}

void TurnScheduler::leave_waiters(ScheduledThread& thread) {
    const auto found = waiters_.find(thread.reason.object);
    if (found == waiters_.end()) return;
    std::deque<ScheduledThread*>& queue = found->second;
    queue.erase(std::remove(queue.begin(), queue.end(), &thread), queue.end());
    if (queue.empty()) waiters_.erase(found);
}

bool TurnScheduler::wake_one(const void* object) {
    const auto found = waiters_.find(object);
    if (found == waiters_.end()) return false;
    ScheduledThread& thread = *found->second.front();
    leave_waiters(thread);
    make_ready(thread, WaitEnd::woken);
    return true;
}

void TurnScheduler::wake_all(const void* object) {
    while (wake_one(object)) {
    }
}

void TurnScheduler::interrupt(ScheduledThread* thread) {
    if (thread->state != State::waiting) return;
    leave_waiters(*thread);
    make_ready(*thread, WaitEnd::interrupted);
}

// --- Turns -----------------------------------------------------------------------------------------------

void TurnScheduler::pass_turn(Point kind) {
    ScheduledThread& self = *current;
    ScheduledThread& next = next_to_run(self, kind);
    next.state = State::running;
    if (&next == &self) return;
    hand_over(next);
    self.turn.await();
}

void TurnScheduler::hand_over(ScheduledThread& next) {
    next.state = State::running;
    ++figures_.switches;
    next.turn.give();
}

ScheduledThread& TurnScheduler::next_to_run(const ScheduledThread& running, Point kind) {
    while (ready_.empty()) {
        const bool nothing_to_come = !time_.timers().next_time().has_value();
        if (idle_handler_ && (idle_handler_(nothing_to_come) || !ready_.empty())) continue;
        if (!time_.advance(time_out_)) end_stuck();
    }
    return take_chosen(running, kind);
}

ScheduledThread& TurnScheduler::take_chosen(const ScheduledThread& running, Point kind) {
    ++figures_.points;
    const std::size_t chosen = policy_->choose({kind, &running, ready_});
    ScheduledThread& thread = *ready_[chosen];
    ready_[chosen] = ready_.back();
    ready_.pop_back();
    return thread;
}

void TurnScheduler::end_stuck() {
    const std::string text =
        "No thread can go on at " + format_seconds(time_.now()) + ". What each waits for:\n" + table();
    (void)policy_->finish();
    if (stuck_handler_) stuck_handler_(text);
    end_process(text, stuck_exit_code);
}

// --- Calls -----------------------------------------------------------------------------------------------

void TurnScheduler::touch() {
    ScheduledThread& self = *current;
    if (cost_.free_calls > 0 && ++self.calls_without_wait > cost_.free_calls) charge_call();
    ready_.push_back(&self);
    ScheduledThread& next = take_chosen(self, Point::call);
    if (&next == &self) return;
    self.state = State::ready;
    hand_over(next);
    self.turn.await();
}

void TurnScheduler::yield() {
    ScheduledThread& self = *current;
    if (cost_.free_calls > 0 && ++self.calls_without_wait > cost_.free_calls) {
        charge_call();
        return;
    }
    make_ready(self, WaitEnd::timed_out);
    pass_turn(Point::yield);
}

// The time that the call takes is no pause of the thread's own: the next call costs time again.
void TurnScheduler::charge_call() {
    const int calls = current->calls_without_wait;
    sleep_until(time_.now() + cost_.call_us);
    current->calls_without_wait = calls - 1;
}

// --- Held objects ----------------------------------------------------------------------------------------

void TurnScheduler::hold(const void* object) { held_.hold(object, *current); }

void TurnScheduler::release(const void* object) {
    if (held_.release(object)) wake_all(object);
}

bool TurnScheduler::is_held_by_current(const void* object) const {
    return current != nullptr && held_.holder_of(object) == current;
}

bool TurnScheduler::is_held_by_finished(const void* object) const {
    const ScheduledThread* const holder = held_.holder_of(object);
    return holder != nullptr && holder->state == State::finished;
}

// A lock can tell whoever waits for it that its holder is gone (robust mutexes). In the threads' own order.
void TurnScheduler::wake_waiters_for_what_is_held_by(const ScheduledThread& thread) {
    if (!held_.holds_any(thread)) return;
    for (const std::unique_ptr<ScheduledThread>& waiting : threads_) {
        if (waiting->state != State::waiting || waiting->reason.kind != Wait::Kind::mutex) continue;
        if (held_.holder_of(waiting->reason.object) != &thread) continue;
        leave_waiters(*waiting);
        make_ready(*waiting, WaitEnd::woken);
    }
}

// --- The table -------------------------------------------------------------------------------------------

void TurnScheduler::on_stuck(StuckHandler handler) { stuck_handler_ = std::move(handler); }

std::string TurnScheduler::table() const {
    std::string text;
    for (const std::unique_ptr<ScheduledThread>& thread : threads_) {
        if (thread->state != State::finished) text += format_thread(*thread, held_);
    }
    return text;
}

}  // namespace vp
