// What happened, one record for each call, in its true order.
#ifndef VIRTUAL_PROJECTOR_TRACE_TRACE_SINK_H
#define VIRTUAL_PROJECTOR_TRACE_TRACE_SINK_H

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string_view>

namespace vp {

/// One call that reached the simulated board. The texts live only as long as the call of record().
struct CallRecord {
    std::int64_t t_us = 0;  // time since the program started
    int thread = 0;         // in order of creation, 1 is the one that started; 0: a thread of no known number
    std::string_view thread_name;  // of its entry function; empty when that has no symbol
    std::string_view call;  // "open", "read", "write", "ioctl", "close", "sleep", "call", "pthread_create", …
    std::string_view path;  // the node, or the name of a function or an object; may be empty
    std::int64_t argument = 0;  // open: the flags; ioctl: the request number; sleep: microseconds; read and
                                // write: the count asked for
    long result = 0;            // 0 and more, or a negated errno
    std::string_view data;      // the bytes that moved
};

struct RunRecord;

class TraceSink {
public:
    virtual ~TraceSink() = default;

    /// Called by the thread that made the call, one at a time.
    virtual void record(const CallRecord& record) = 0;

    /// The true state of the simulated world at this time, for those sinks that keep it.
    virtual void record_truth(std::int64_t /*t_us*/, const nlohmann::ordered_json& /*state*/) {}

    /// What the run is made of, before everything else.
    virtual void record_run(const RunRecord& /*run*/) {}

    /// A thing that happened to the board by itself (a scenario's event), in words.
    virtual void record_event(std::int64_t /*t_us*/, std::string_view /*what*/) {}
};

}  // namespace vp

#endif
