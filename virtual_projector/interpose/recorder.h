// Adds time and thread to what is recorded.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_RECORDER_H
#define VIRTUAL_PROJECTOR_INTERPOSE_RECORDER_H

#include "virtual_projector/clock/clock.h"
#include "virtual_projector/trace/trace_sink.h"

namespace vp {

class Recorder {
public:
    /// `sink` may be null: nothing is recorded then.
    Recorder(Clock& clock, TraceSink* sink) : clock_(clock), sink_(sink) {}

    void record(CallRecord record);

private:
    Clock& clock_;
    TraceSink* sink_;
};

}  // namespace vp

#endif
