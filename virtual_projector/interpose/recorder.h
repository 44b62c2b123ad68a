// The one place where a call becomes a record of the trace.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_RECORDER_H
#define VIRTUAL_PROJECTOR_INTERPOSE_RECORDER_H

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "virtual_projector/clock/clock.h"
#include "virtual_projector/trace/trace_sink.h"

namespace vp {

class Recorder {
public:
    /// `sink` may be null: nothing is recorded then.
    Recorder(Clock& clock, TraceSink* sink) : clock_(clock), sink_(sink) {}

    // One for each kind of call, made by the thread that made the call. Results are those of the program, a
    // failure as a negated errno.
    void record_open(std::string_view path, int flags, long result);
    void record_close(std::string_view path, long result);
    void record_read(std::string_view path, std::size_t count, long result, const void* buffer);
    void record_write(std::string_view path, std::size_t count, long result, const void* buffer);
    void record_request(std::string_view path, std::uint32_t number, long result);
    void record_sleep(Microseconds length);
    void record_thread_start(std::string_view entry, long number_or_failure);
    /// Something that came from outside the program was waited for, while time stood.
    void record_outside(std::string_view what);
    void record_library_call(std::string_view function, long result);

private:
    void record(CallRecord record);

    Clock& clock_;
    TraceSink* sink_;
};

}  // namespace vp

#endif
