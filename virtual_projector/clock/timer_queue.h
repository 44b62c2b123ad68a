// Everything that has a time to come, in one order: by time, at the same time callbacks before deadlines, and
// among each of the two those that were added first.
#ifndef VIRTUAL_PROJECTOR_CLOCK_TIMER_QUEUE_H
#define VIRTUAL_PROJECTOR_CLOCK_TIMER_QUEUE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "virtual_projector/world/microseconds.h"

namespace vp {

struct ScheduledThread;

class TimerQueue {
public:
    using Callback = std::function<void()>;

    /// What has come due: a thread whose deadline it is, or else a callback to run.
    struct Due {
        ScheduledThread* sleeper = nullptr;
        Callback callback;
    };

    void add_callback(Microseconds time, Callback callback);
    /// The deadline of the thread's present wait; void when that ends early. The thread must outlive the queue.
    void add_deadline(Microseconds time, ScheduledThread& sleeper);

    /// The time of the first entry, if there is one.
    std::optional<Microseconds> next_time();
    /// True when a callback is to come, not only deadlines.
    bool has_callback() const { return callbacks_ > 0; }
    /// Takes out the first entry, if it is due.
    std::optional<Due> take_due(Microseconds now);

private:
    struct Entry {
        Microseconds time;
        std::uint64_t order;
        ScheduledThread* sleeper;  // null: a callback
        std::uint64_t wait_number;
        std::unique_ptr<Callback> callback;

        bool is_void() const;
    };

    static bool is_later(const Entry& a, const Entry& b);
    void add(Entry entry);
    Entry take_first();
    void drop_void_entries();

    std::vector<Entry> heap_;  // the first to come at the front
    std::uint64_t orders_ = 0;
    std::size_t callbacks_ = 0;
};

}  // namespace vp

#endif
