// The one place where what happens becomes records of the trace.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_RECORDER_H
#define VIRTUAL_PROJECTOR_INTERPOSE_RECORDER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "virtual_projector/clock/clock.h"
#include "virtual_projector/devices/device.h"
#include "virtual_projector/devices/fault_plan.h"
#include "virtual_projector/trace/trace_sink.h"

namespace vp {

/// How a call went, beside its result.
struct CallCourse {
    Microseconds began_us = 0;
    FaultEffect effect;  // what the fault plan did to it
};

/// What a request moved.
struct RequestBytes {
    RequestKind kind;
    std::string given;
    std::string returned;
};

class Recorder {
public:
    /// `sink` may be null: nothing is recorded then.
    Recorder(Clock& clock, TraceSink* sink) : clock_(clock), sink_(sink) {}

    /// False: whatever is recorded is lost, and need not be made.
    bool is_on() const { return sink_ != nullptr; }
    Microseconds now() const { return clock_.now(); }

    // One for each kind of call, made by the thread that made the call. Results are those of the program, a
    // failure as a negated errno.
    void record_open(std::string_view path, int flags, long result, const CallCourse& course);
    void record_close(std::string_view path, long result, const CallCourse& course);
    void record_read(std::string_view path, std::size_t count, long result, const void* buffer,
                     const CallCourse& course);
    void record_write(std::string_view path, std::size_t count, long result, const void* buffer,
                      const WrittenCommand& command, const CallCourse& course);
    void record_request(std::string_view path, std::uint32_t number, long result, const RequestBytes& bytes,
                        const CallCourse& course);
    void record_sleep(Microseconds length);
    void record_thread_start(std::string_view entry, long number_or_failure, const CallCourse& course);
    /// Something that came from outside the program was waited for, while time stood.
    void record_outside(std::string_view what);
    /// A function of the board's libraries. Arguments and outputs by name; null: none.
    void record_library_call(std::string_view function, long result, const nlohmann::ordered_json* arguments,
                             const nlohmann::ordered_json* outputs, const CallCourse& course);
    /// A lock that has been waited for, and one that has been given back.
    void record_lock(std::string_view lock, long result, Microseconds since);
    void record_unlock(std::string_view lock, Microseconds held_us);

    /// A wait that has ended now, and one that goes on when the run ends, of whatever thread. One that took no
    /// time is not recorded.
    void record_wait(Wait::Kind kind, std::string_view path, Microseconds since, WaitEnd end);
    void record_unended_wait(const ScheduledThread& thread, std::string_view path);

    // What the library and its host say to each other.
    void record_callback(std::string_view callback, int slot, const std::vector<std::int32_t>& arguments,
                         std::string_view means);
    /// `result` may be null.
    void record_return(std::string_view callback, int slot, Microseconds began_us, const std::int32_t* result);
    void record_state(const nlohmann::ordered_json& values);
    void record_log(std::string_view line);

private:
    void record(CallRecord record);
    void record(CallRecord record, const CallCourse& course);
    ThreadMoment moment() const;

    Clock& clock_;
    TraceSink* sink_;
};

}  // namespace vp

#endif
