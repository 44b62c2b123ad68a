#include "virtual_projector/clock/timer_queue.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "virtual_projector/clock/scheduled_thread.h"

namespace vp {

bool TimerQueue::Entry::is_void() const { return sleeper != nullptr && sleeper->wait_number != wait_number; }

bool TimerQueue::is_later(const Entry& a, const Entry& b) {
    return std::make_tuple(a.time, a.sleeper != nullptr, a.order) >
           std::make_tuple(b.time, b.sleeper != nullptr, b.order);
}

void TimerQueue::add(Entry entry) {
    heap_.push_back(std::move(entry));
    std::push_heap(heap_.begin(), heap_.end(), is_later);
}

TimerQueue::Entry TimerQueue::take_first() {
    std::pop_heap(heap_.begin(), heap_.end(), is_later);
    Entry first = std::move(heap_.back());
    heap_.pop_back();
    return first;
}

void TimerQueue::drop_void_entries() {
    while (!heap_.empty() && heap_.front().is_void()) (void)take_first();
}

void TimerQueue::add_callback(Microseconds time, Callback callback) {
    Entry entry{time, orders_++, nullptr, 0, nullptr};
    entry.callback = std::make_unique<Callback>(std::move(callback));
    ++callbacks_;
    add(std::move(entry));
}

void TimerQueue::add_deadline(Microseconds time, ScheduledThread& sleeper) {
    add({time, orders_++, &sleeper, sleeper.wait_number, nullptr});
}

std::optional<Microseconds> TimerQueue::next_time() {
    drop_void_entries();
    if (heap_.empty()) return std::nullopt;
    return heap_.front().time;
}

std::optional<TimerQueue::Due> TimerQueue::take_due(Microseconds now) {
    const std::optional<Microseconds> next = next_time();
    if (!next || *next > now) return std::nullopt;
    const Entry first = take_first();
    if (first.callback) --callbacks_;
    return Due{first.sleeper, first.callback ? std::move(*first.callback) : Callback()};
}

}  // namespace vp
