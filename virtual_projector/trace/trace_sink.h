// What happened, one record for each thing, in its true order.
#ifndef VIRTUAL_PROJECTOR_TRACE_TRACE_SINK_H
#define VIRTUAL_PROJECTOR_TRACE_TRACE_SINK_H

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string_view>
#include <vector>

namespace vp {

// The texts of all records live only as long as the call that hands the record over.

/// One call that reached the simulated board.
struct CallRecord {
    std::int64_t t_us = 0;  // time since the program started
    int thread = 0;         // in order of creation, 1 is the one that started; 0: a thread of no known number
    std::string_view thread_name;  // of its entry function; empty when that has no symbol
    std::string_view call;  // "open", "read", "write", "ioctl", "close", "sleep", "call", "pthread_create", …
    std::string_view path;  // the node, or the name of a function or an object; may be empty
    std::int64_t argument = 0;  // open: the flags; ioctl: the request number; sleep: microseconds; read and
                                // write: the count asked for; unlock: microseconds for which it was held
    long result = 0;            // 0 and more, or a negated errno
    std::string_view data;      // the bytes that moved

    std::string_view
        request_name;           // the board's own name of an ioctl's number, or of a command that was written
    std::string_view given;     // the bytes that a request handed to the driver, addresses left out
    std::string_view returned;  // the bytes that it got back
    const nlohmann::ordered_json* arguments = nullptr;  // of a library's function, by name; null: none
    const nlohmann::ordered_json* outputs = nullptr;    // what it filled, by name
    std::int64_t took_us = 0;                           // from the call to its return, which is at t_us
    int fault = 0;               // the planned one that changed the call, from 1; 0: none
    std::string_view fault_did;  // in words
};

/// What each of the following has in common: when it was, and on which thread.
struct ThreadMoment {
    std::int64_t t_us = 0;
    int thread = 0;
    std::string_view thread_name;
};

/// A thread has waited for something but the time, a lock or a node of the board, which have records of their
/// own. In virtual time only.
struct WaitRecord : ThreadMoment {
    std::string_view wait;     // the kind of what it waited for: "condition", "semaphore", "descriptor", …
    std::string_view path;     // its name; may be empty
    std::int64_t took_us = 0;  // until t_us
    std::string_view end;  // "woken", "timed out" or "interrupted"; empty: the run ended before the wait did
};

/// The library calls its host. Written before the host runs.
struct CallbackRecord : ThreadMoment {
    std::string_view callback;  // the slot's name in app_callback_table
    int slot = 0;
    std::vector<std::int32_t> arguments;
    std::string_view means;  // what the arguments say, in words; may be empty
};

/// The host has come back from it: where that took time, or told something.
struct CallbackReturn : ThreadMoment {
    std::string_view callback;
    int slot = 0;
    std::int64_t took_us = 0;
    const std::int32_t* result = nullptr;  // null: the slot returns nothing
};

/// Variables that the library offers to its host, by name, with their new values.
struct StateRecord : ThreadMoment {
    const nlohmann::ordered_json* values = nullptr;
};

/// One line that the library has printed, without its newline.
struct LogRecord : ThreadMoment {
    std::string_view text;
};

struct RunRecord;

class TraceSink {
public:
    virtual ~TraceSink() = default;

    /// Called by the thread that made the call, one at a time.
    virtual void record(const CallRecord& record) = 0;

    // Called likewise, for those sinks that keep them.
    virtual void record_wait(const WaitRecord& /*record*/) {}
    virtual void record_callback(const CallbackRecord& /*record*/) {}
    virtual void record_return(const CallbackReturn& /*record*/) {}
    virtual void record_state(const StateRecord& /*record*/) {}
    virtual void record_log(const LogRecord& /*record*/) {}

    /// The true state of the simulated world at this time, for those sinks that keep it.
    virtual void record_truth(std::int64_t /*t_us*/, const nlohmann::ordered_json& /*state*/) {}

    /// What the run is made of, before everything else.
    virtual void record_run(const RunRecord& /*run*/) {}

    /// A thing that happened to the board by itself (a scenario's event), in words.
    virtual void record_event(std::int64_t /*t_us*/, std::string_view /*what*/) {}
};

}  // namespace vp

#endif
