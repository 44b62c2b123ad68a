#include "virtual_projector/clock/turn_scheduler.h"

#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <utility>

#include "virtual_projector/clock/kernel_state.h"
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
    current->kernel_id = static_cast<int>(::syscall(SYS_gettid));
    current->place = ScheduledThread::Place::program;
    start_running(*current);
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
    thread->kernel_id = static_cast<int>(::syscall(SYS_gettid));
    await_turn(*thread);
    thread->place = ScheduledThread::Place::program;
}

void TurnScheduler::finish_current() {
    ScheduledThread& self = *std::exchange(current, nullptr);
    self.state = State::finished;
    wake_all(&self);
    wake_waiters_for_what_is_held_by(self);
    if (--unfinished_ == 0) return;
    if (ScheduledThread* const next = next_or_none(self, Point::wait)) hand_over(*next);
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
    self.since = self.reason.since.value_or(time_.now());
    self.deadline = deadline;
    self.calls_without_wait = 0;
    ++self.wait_number;
    if (self.reason.object != nullptr) waiters_[self.reason.object].push_back(&self);
    if (deadline != no_deadline) time_.timers().add_deadline(deadline, self);
    self.is_in_wait = true;
    pass_turn(Point::wait);
    self.is_in_wait = false;
    if (wait_handler_) wait_handler_(self);
    return self.end;
}

void TurnScheduler::show_waiting(const WaitHandler& visit) const {
    for (const std::unique_ptr<ScheduledThread>& thread : threads_) {
        if (thread->state != State::finished && thread->is_in_wait) visit(*thread);
    }
}

WaitEnd TurnScheduler::sleep_until(Microseconds time) {
    if (time > time_.now()) return wait({Wait::Kind::sleep, nullptr, {}}, time);
    yield();
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

bool TurnScheduler::wake_those(Wait::Kind kind, const ObjectTest& can_go_on) {
    bool woken = false;
    for (const std::unique_ptr<ScheduledThread>& thread : threads_) {
        if (thread->state != State::waiting || thread->reason.kind != kind) continue;
        if (!can_go_on(thread->reason.object)) continue;
        leave_waiters(*thread);
        make_ready(*thread, WaitEnd::woken);
        woken = true;
    }
    return woken;
}

void TurnScheduler::interrupt(ScheduledThread* thread) {
    if (thread->state != State::waiting) return;
    leave_waiters(*thread);
    make_ready(*thread, WaitEnd::interrupted);
}

// --- Turns -----------------------------------------------------------------------------------------------

void TurnScheduler::pass_turn(Point kind) {
    ScheduledThread& self = *current;
    ScheduledThread* const next = next_or_none(self, kind);
    if (next == &self) {
        start_running(self);
        return;
    }
    if (next != nullptr) hand_over(*next);
    await_turn(self);
}

void TurnScheduler::start_running(ScheduledThread& thread) {
    thread.state = State::running;
    running_.store(&thread, std::memory_order_relaxed);
    if (!thread.only_serves) last_work_ = time_.now();
    // An event to come may still let another go on.
    const bool serves_only =
        lost_ > 0 && thread.only_serves && !time_.timers().has_callback() && only_servants_go_on();
    serves_only_.store(serves_only, std::memory_order_relaxed);
}

void TurnScheduler::count_work() {
    if (!serves_only_.load(std::memory_order_relaxed))
        work_.store(work_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}

void TurnScheduler::hand_over(ScheduledThread& next) {
    start_running(next);
    ++figures_.switches;
    next.turn.give();
}

// At the run's end the turn comes with a question, and goes back with the answer. Until the turn has come the
// scheduler may be gone: whoever has got the turn may have ended the program.
void TurnScheduler::await_turn(ScheduledThread& self) {
    self.turn.await();
    while (self.is_asked.exchange(false)) {
        const StackReader& reader = self.scheduler->stack_reader_;
        std::string place = reader ? reader() : "";
        if (self.is_wanted.exchange(false)) {
            self.innermost = std::move(place);
            self.answered.give();
        }
        self.turn.await();
    }
}

// None: only threads without turn can go on, when they make a call.
ScheduledThread* TurnScheduler::next_or_none(const ScheduledThread& running, Point kind) {
    if (ends_at_next_turn_.load(std::memory_order_relaxed) && end_handler_) end_handler_();
    for (;;) {
        take_back_returned();
        if (!ready_.empty()) return &take_chosen(running, kind);
        const std::optional<Microseconds> next_time = time_.timers().next_time();
        if (idle_handler_ && (idle_handler_(!next_time, charged_ > 0) || !ready_.empty())) continue;
        if (!next_time && leave_to_nobody()) return nullptr;
        if (pace_handler_ && pace_handler_(next_time)) continue;
        if (is_idle_for_good())
            end_stuck("Only the library's own loops have run since " + format_seconds(last_work_) +
                      ", and nothing else can happen. It is " + format_seconds(time_.now()) +
                      ". What each thread waits for:\n");
        if (!time_.advance(time_out_))
            end_stuck("No thread can go on at " + format_seconds(time_.now()) + ". What each waits for:\n");
    }
}

ScheduledThread& TurnScheduler::take_chosen(const ScheduledThread& running, Point kind) {
    points_.store(points_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    count_work();
    const std::size_t chosen = policy_->choose({kind, &running, ready_});
    ScheduledThread& thread = *ready_[chosen];
    ready_[chosen] = ready_.back();
    ready_.pop_back();
    return thread;
}

void TurnScheduler::end_stuck(const std::string& headline) {
    ask_for_places();
    const std::string text = headline + table();
    if (stuck_handler_) stuck_handler_(text);
    (void)policy_->finish();
    end_process(text, stuck_exit_code);
}

// The others wait for what none of the servants gives; an event to come may still change that.
bool TurnScheduler::is_idle_for_good() {
    if (longest_idle_ == 0 || time_.now() - last_work_ < longest_idle_) return false;
    if (time_.timers().has_callback()) {
        last_work_ = time_.now();
        return false;
    }
    return lost_ == 0 && only_servants_go_on();
}

bool TurnScheduler::only_servants_go_on() const {
    return std::all_of(threads_.begin(), threads_.end(), [](const auto& thread) {
        const bool waits_for_ever = thread->state == State::waiting && thread->deadline == no_deadline;
        return thread->only_serves || thread->state == State::finished || waits_for_ever ||
               thread->state == State::without_turn;
    });
}

std::vector<const ScheduledThread*> TurnScheduler::all_running() const {
    std::vector<const ScheduledThread*> found;
    for (const std::unique_ptr<ScheduledThread>& thread : threads_) {
        if (thread->state == State::running || thread->state == State::without_turn)
            found.push_back(thread.get());
    }
    return found;
}

void TurnScheduler::note_place(const ScheduledThread* thread, const std::string& place) {
    for (const std::unique_ptr<ScheduledThread>& known : threads_) {
        if (known.get() == thread) known->innermost = place;
    }
}

void TurnScheduler::ask_for_places() {
    for (const std::unique_ptr<ScheduledThread>& thread : threads_) {
        const bool answers = (thread->state == State::waiting || thread->state == State::ready) &&
                             thread.get() != current && thread->kernel_id != 0;
        if (!answers) continue;
        thread->is_wanted = true;
        thread->is_asked = true;
        thread->turn.give();
        constexpr std::chrono::milliseconds longest_answer{1000};
        if (thread->answered.await_for(longest_answer)) continue;
        // Too late, or just now.
        if (!thread->is_wanted.exchange(false)) thread->answered.await();
    }
    if (current != nullptr && current->scheduler == this && stack_reader_) current->innermost = stack_reader_();
}

// --- Calls -----------------------------------------------------------------------------------------------

void TurnScheduler::touch() {
    ScheduledThread& self = *current;
    if (cost_.free_calls > 0 && ++self.calls_without_wait > cost_.free_calls) {
        ++charged_;
        charge(cost_.call_us);
        --charged_;
    }
    ready_.push_back(&self);
    ScheduledThread& next = take_chosen(self, Point::call);
    if (&next == &self) return;
    self.state = State::ready;
    hand_over(next);
    await_turn(self);
}

void TurnScheduler::yield() {
    ScheduledThread& self = *current;
    if (cost_.free_calls > 0 && ++self.calls_without_wait > cost_.free_calls) {
        charge(cost_.yield_us);  // it waits for others, in its way
        return;
    }
    make_ready(self, WaitEnd::timed_out);
    pass_turn(Point::yield);
}

// The time that the call takes is no pause of the thread's own: the next call costs time again.
void TurnScheduler::charge(Microseconds length) {
    const int calls = current->calls_without_wait;
    (void)wait({Wait::Kind::sleep, nullptr, {}}, time_.now() + length);
    current->calls_without_wait = calls - 1;
}

// --- Threads that compute for too long -------------------------------------------------------------------

using Place = ScheduledThread::Place;

void TurnScheduler::enter_call() {
    ScheduledThread& self = *current;
    if (self.call_depth++ > 0) return;
    calls_.store(calls_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    count_work();
    Place expected = Place::program;
    if (!self.place.compare_exchange_strong(expected, Place::call) && expected == Place::lost) come_back(self);
}

void TurnScheduler::leave_call() {
    if (current == nullptr) return;  // it has ended in this call
    if (--current->call_depth == 0) current->place.store(Place::program);
}

int TurnScheduler::suspend_call() {
    const int depth = std::exchange(current->call_depth, 0);
    current->place.store(Place::program);
    return depth;
}

void TurnScheduler::resume_call(int depth) {
    enter_call();
    current->call_depth = depth;
}

// Who is neither in a call nor lost has the turn: taking its place takes the turn.
bool TurnScheduler::take_turn_away(const ScheduledThread& from) {
    ScheduledThread* const thread = running_.load();
    Place expected = Place::program;
    if (thread != &from || !thread->place.compare_exchange_strong(expected, Place::lost)) return false;
    thread->state = State::without_turn;
    thread->since = time_.now();
    ++lost_;
    running_.store(nullptr);
    if (ScheduledThread* const next = next_or_none(*thread, Point::wait)) hand_over(*next);
    return true;
}

void TurnScheduler::come_back(ScheduledThread& self) {
    self.place.store(Place::call);
    {
        const std::lock_guard<std::mutex> lock(returned_lock_);
        if (!nobody_runs_) {
            returned_.push_back(&self);
        } else {
            nobody_runs_ = false;
            --lost_;
            start_running(self);
            return;
        }
    }
    await_turn(self);
}

// Time goes on slowly meanwhile, so that a thread that waits for a variable sees it changed in time, however
// busy the PC is.
void TurnScheduler::let_lost_threads_run() const {
    constexpr double enough_s = 20e-6;
    constexpr int longest_looks = 100;
    const timespec a_moment = {0, 200'000};
    for (const ScheduledThread* const thread : all_running()) {
        if (thread->state != State::without_turn) continue;
        const double before = processor_time_s(thread->kernel_id);
        for (int i = 0; i < longest_looks; ++i) {
            (void)::syscall(SYS_nanosleep, &a_moment, nullptr);
            if (processor_time_s(thread->kernel_id) - before >= enough_s || sleeps_in_kernel(thread->kernel_id))
                break;
        }
    }
}

void TurnScheduler::take_back_returned() {
    if (lost_ == 0) return;
    if (ready_.empty()) let_lost_threads_run();
    const std::lock_guard<std::mutex> lock(returned_lock_);
    for (ScheduledThread* const thread : returned_) {
        --lost_;
        make_ready(*thread, WaitEnd::woken);
    }
    returned_.clear();
}

bool TurnScheduler::leave_to_nobody() {
    if (lost_ == 0) return false;
    const std::lock_guard<std::mutex> lock(returned_lock_);
    if (!returned_.empty()) return false;
    running_.store(nullptr);
    nobody_runs_ = true;
    return true;
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
