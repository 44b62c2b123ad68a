#include "virtual_projector/clock/virtual_clock.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <limits>
#include <utility>

namespace vp {
namespace {

constexpr Microseconds microseconds_per_second = 1'000'000;

// 53 bits: as many as the fraction of a double holds, so that a draw is even over [0, 1).
constexpr int draw_shift = 11;
constexpr double draw_scale = 1.0 / 9007199254740992.0;

std::string seconds_text(Microseconds time) {
    char text[32];
    std::snprintf(text, sizeof text, "%lld.%06lld s", static_cast<long long>(time / microseconds_per_second),
                  static_cast<long long>(time % microseconds_per_second));
    return text;
}

[[noreturn]] void end_stuck_process(const std::string& table) {
    std::fflush(stdout);
    std::fputs(table.c_str(), stderr);
    std::fflush(stderr);
    ::_exit(stuck_exit_code);
}

}  // namespace

class VirtualClock::Thread {
public:
    enum class State { ready, running, waiting, finished };

    Thread(VirtualClock* owner, int thread_number, std::string thread_name)
        : clock(owner), number(thread_number), name(std::move(thread_name)) {}

    std::string title() const { return name.empty() ? "thread " + std::to_string(number) : name; }

    VirtualClock* clock;
    int number;
    std::string name;
    State state = State::ready;
    Turn turn;
    Wait reason;
    Microseconds since = 0;
    Microseconds deadline = no_deadline;
    bool timed_out = false;
    std::uint64_t wait_number = 0;
    int calls_without_wait = 0;
};

namespace {

thread_local VirtualClock::Thread* current = nullptr;

// Threads that still wait when their clock goes: they will never be woken, and their records must stay.
std::vector<std::unique_ptr<VirtualClock::Thread>>& abandoned_threads() {
    static auto* threads = new std::vector<std::unique_ptr<VirtualClock::Thread>>;
    return *threads;
}

}  // namespace

VirtualClock::VirtualClock(const Options& options) : options_(options), random_(options.seed) {}

VirtualClock::~VirtualClock() {
    if (knows_current_thread()) {
        current->state = Thread::State::finished;
        current = nullptr;
    }
    for (std::unique_ptr<Thread>& thread : threads_) {
        if (thread->state != Thread::State::finished) abandoned_threads().push_back(std::move(thread));
    }
}

// --- Threads ---------------------------------------------------------------------------------------------

VirtualClock::Thread* VirtualClock::add_thread(int number, const std::string& name) {
    threads_.push_back(std::make_unique<Thread>(this, number, name));
    threads_.back()->since = now_;
    ++unfinished_;
    return threads_.back().get();
}

VirtualClock::Thread* VirtualClock::adopt_current(int number, const std::string& name) {
    current = add_thread(number, name);
    current->state = Thread::State::running;
    return current;
}

VirtualClock::Thread* VirtualClock::prepare_thread(int number, const std::string& name) {
    Thread* thread = add_thread(number, name);
    ready_.push_back(thread);
    return thread;
}

void VirtualClock::forget_thread(Thread* thread) {
    ready_.erase(std::remove(ready_.begin(), ready_.end(), thread), ready_.end());
    thread->state = Thread::State::finished;
    --unfinished_;
}

void VirtualClock::begin_current(Thread* thread) {
    current = thread;
    thread->turn.await();
}

void VirtualClock::finish_current() {
    Thread* self = current;
    self->state = Thread::State::finished;
    wake_all(self);
    current = nullptr;
    if (--unfinished_ == 0) return;
    Thread* next = choose_or_stuck();
    next->state = Thread::State::running;
    ++switches_;
    next->turn.give();
}

bool VirtualClock::is_finished(const Thread* thread) const { return thread->state == Thread::State::finished; }

bool VirtualClock::knows_current_thread() const { return current != nullptr && current->clock == this; }

// --- Waiting ---------------------------------------------------------------------------------------------

bool VirtualClock::wait(Wait reason, Microseconds deadline) {
    Thread* self = current;
    self->reason = std::move(reason);
    self->state = Thread::State::waiting;
    self->since = now_;
    self->deadline = deadline;
    self->timed_out = false;
    self->calls_without_wait = 0;
    ++self->wait_number;
    if (self->reason.object != nullptr) waiters_[self->reason.object].push_back(self);
    if (deadline != no_deadline) deadlines_.push({deadline, orders_++, self, self->wait_number});
    pass_turn();
    return !self->timed_out;
}

// A deadline that has been reached still lets the other threads of that time have their turn.
void VirtualClock::sleep_until(Microseconds time) {
    if (time > now_) {
        (void)wait({Wait::Kind::sleep, nullptr, {}}, time);
        return;
    }
    current->calls_without_wait = 0;
    make_ready(current, false);
    pass_turn();
}

void VirtualClock::wait_for_device(const std::string& what, Microseconds deadline) {
    (void)wait({Wait::Kind::device, &callbacks_, what}, deadline);
}

// Any object of the clock's own would do as the name under which threads wait for devices.
void VirtualClock::event_happened() { wake_all(&callbacks_); }

void VirtualClock::make_ready(Thread* thread, bool timed_out) {
    thread->state = Thread::State::ready;
    thread->timed_out = timed_out;
    ++thread->wait_number;
    ready_.push_back(thread);
}

void VirtualClock::leave_waiters(Thread* thread) {
    const auto found = waiters_.find(thread->reason.object);
    if (found == waiters_.end()) return;
    std::deque<Thread*>& queue = found->second;
    queue.erase(std::remove(queue.begin(), queue.end(), thread), queue.end());
    if (queue.empty()) waiters_.erase(found);
}

bool VirtualClock::wake_one(const void* object) {
    const auto found = waiters_.find(object);
    if (found == waiters_.end()) return false;
    Thread* thread = found->second.front();
    leave_waiters(thread);
    make_ready(thread, false);
    return true;
}

void VirtualClock::wake_all(const void* object) {
    while (wake_one(object)) {
    }
}

// --- Turns -----------------------------------------------------------------------------------------------

void VirtualClock::pass_turn() {
    Thread* self = current;
    Thread* next = choose_or_stuck();
    next->state = Thread::State::running;
    if (next == self) return;
    ++switches_;
    next->turn.give();
    self->turn.await();
}

VirtualClock::Thread* VirtualClock::choose_or_stuck() {
    Thread* next = next_to_run();
    if (next != nullptr) return next;
    const std::string text =
        "No thread can go on at " + seconds_text(now_) + ". What each waits for:\n" + table();
    if (stuck_handler_) stuck_handler_(text);
    end_stuck_process(text);
}

VirtualClock::Thread* VirtualClock::next_to_run() {
    while (ready_.empty()) {
        if (!advance()) return nullptr;
    }
    return take_ready();
}

VirtualClock::Thread* VirtualClock::take_ready() {
    const std::size_t chosen = ready_.size() == 1 ? 0 : static_cast<std::size_t>(random_() % ready_.size());
    Thread* thread = ready_[chosen];
    ready_[chosen] = ready_.back();
    ready_.pop_back();
    return thread;
}

// --- Time ------------------------------------------------------------------------------------------------

// Jumps to the next thing that has a time. False: there is none.
bool VirtualClock::advance() {
    constexpr Microseconds never = std::numeric_limits<Microseconds>::max();
    const Microseconds next_deadline = drop_stale_deadlines() ? deadlines_.top().time : never;
    const Microseconds next_callback = callbacks_.empty() ? never : callbacks_.begin()->first;
    const Microseconds next = std::min(next_deadline, next_callback);
    if (next == never) return false;
    move_time_to(next);
    run_due_callbacks();
    release_due_sleepers();
    return true;
}

bool VirtualClock::drop_stale_deadlines() {
    while (!deadlines_.empty() && deadlines_.top().thread->wait_number != deadlines_.top().wait_number) {
        deadlines_.pop();
    }
    return !deadlines_.empty();
}

void VirtualClock::move_time_to(Microseconds time) {
    if (time <= now_) return;
    now_ = time;
    if (advance_handler_) advance_handler_(now_);
}

void VirtualClock::run_due_callbacks() {
    while (!callbacks_.empty() && callbacks_.begin()->first <= now_) {
        const Callback callback = std::move(callbacks_.begin()->second);
        callbacks_.erase(callbacks_.begin());
        callback();
        event_happened();
    }
}

void VirtualClock::release_due_sleepers() {
    while (drop_stale_deadlines() && deadlines_.top().time <= now_) {
        Thread* thread = deadlines_.top().thread;
        deadlines_.pop();
        leave_waiters(thread);
        make_ready(thread, true);
    }
}

void VirtualClock::at(Microseconds time, Callback callback) { callbacks_.emplace(time, std::move(callback)); }

void VirtualClock::on_advance(AdvanceHandler handler) { advance_handler_ = std::move(handler); }

// --- Calls -----------------------------------------------------------------------------------------------

void VirtualClock::touch() {
    if (options_.free_calls > 0 && ++current->calls_without_wait > options_.free_calls) charge_call();
    if (options_.preempt > 0.0 && draw() < options_.preempt) {
        make_ready(current, false);
        pass_turn();
    }
}

// The time that the call takes is no pause of the thread's own: the next call costs time again.
void VirtualClock::charge_call() {
    const int calls = current->calls_without_wait;
    sleep_until(now_ + options_.call_cost_us);
    current->calls_without_wait = calls - 1;
}

double VirtualClock::draw() { return static_cast<double>(random_() >> draw_shift) * draw_scale; }

// --- Held objects ----------------------------------------------------------------------------------------

void VirtualClock::hold(const void* object) {
    Holder& holder = holders_.try_emplace(object, Holder{current, 0}).first->second;
    holder.thread = current;
    ++holder.depth;
}

void VirtualClock::release(const void* object) {
    const auto found = holders_.find(object);
    if (found != holders_.end() && --found->second.depth == 0) holders_.erase(found);
    if (holders_.count(object) == 0) wake_all(object);
}

bool VirtualClock::is_held_by_current(const void* object) const {
    const auto found = holders_.find(object);
    return found != holders_.end() && found->second.thread == current;
}

// --- The table -------------------------------------------------------------------------------------------

void VirtualClock::on_stuck(StuckHandler handler) { stuck_handler_ = std::move(handler); }

std::string VirtualClock::table() const {
    std::string text;
    for (const std::unique_ptr<Thread>& thread : threads_) {
        if (thread->state != Thread::State::finished) text += table_line(*thread);
    }
    return text;
}

std::string VirtualClock::table_line(const Thread& thread) const {
    char number[16];
    std::snprintf(number, sizeof number, "%4d  ", thread.number);
    const std::string line = number + thread.title() + ": ";
    if (thread.state == Thread::State::running) return line + "runs\n";
    if (thread.state == Thread::State::ready) return line + "its turn\n";
    const bool for_ever = thread.deadline == no_deadline;
    return line + describe_wait(thread) + ", since " + seconds_text(thread.since) +
           (for_ever ? ", no deadline" : ", until " + seconds_text(thread.deadline)) + "\n";
}

std::string VirtualClock::describe_wait(const Thread& thread) const {
    const std::string what = thread.reason.what.empty() ? "" : " " + thread.reason.what;
    switch (thread.reason.kind) {
        case Wait::Kind::sleep:
            return "sleep";
        case Wait::Kind::read_write_lock:
            return "read-write lock" + what;
        case Wait::Kind::semaphore:
            return "semaphore" + what;
        case Wait::Kind::condition:
            return "condition" + what;
        case Wait::Kind::join:
            return "end of" + what;
        case Wait::Kind::device:
            return "device" + what;
        case Wait::Kind::mutex:
            break;
    }
    const auto holder = holders_.find(thread.reason.object);
    if (holder == holders_.end()) return "mutex" + what + ", held by no known thread";
    const Thread& owner = *holder->second.thread;
    return "mutex" + what + ", held by " + std::to_string(owner.number) + " " + owner.title();
}

}  // namespace vp
