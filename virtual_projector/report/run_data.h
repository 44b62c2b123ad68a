// All that is told of a run, as pages, tables and viewers of threads want it.
#ifndef VIRTUAL_PROJECTOR_REPORT_RUN_DATA_H
#define VIRTUAL_PROJECTOR_REPORT_RUN_DATA_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "virtual_projector/report/lanes.h"
#include "virtual_projector/report/requests.h"
#include "virtual_projector/report/signals.h"
#include "virtual_projector/report/trace_reader.h"

namespace vp {

/// Something that a curve is marked with.
struct Flag {
    std::int64_t t_us = 0;
    const char* kind = "";  // "event", "fault", "request", "toast", "refusal" or "move"
    std::string text;
};

struct RunData {
    TraceContents contents;
    std::map<std::string, Signal> signals;
    std::vector<ZonesAt> zones;
    std::map<int, Lane> lanes;
    std::vector<std::string> slice_names;
    std::vector<Request> requests;
    std::vector<Flag> flags;  // in the order of their times
};

/// Collects them while a trace's records pass by.
class RunCollector : public TraceVisitors {
public:
    /// `with_short_calls`: lanes hold calls that took no time, too.
    explicit RunCollector(bool with_short_calls);

    /// Once the trace has ended.
    RunData finish();

private:
    TraceCollector contents_;
    SignalCollector signals_;
    LaneCollector lanes_;
    RequestFinder requests_;
};

}  // namespace vp

#endif
