// Reading a trace back: what changed, and what was true.
#ifndef VIRTUAL_PROJECTOR_REPORT_TRACE_READER_H
#define VIRTUAL_PROJECTOR_REPORT_TRACE_READER_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "virtual_projector/trace/records.h"
#include "virtual_projector/world/side.h"
#include "virtual_projector/world/wear.h"

namespace vp {

/// The world's truth at one time.
struct TruthAt : TruthRecord {
    std::int64_t t_us = 0;

    double worst_side_deg() const;  // the larger of the two, without sign
};

struct LensMoveAt {
    std::int64_t t_us = 0;
    Side side = Side::left;
    int steps = 0;
    bool half_steps = false;
};

struct EventAt {
    std::int64_t t_us = 0;
    std::string what;
};

/// A function of the board's libraries that was called.
struct LibraryCallAt {
    std::int64_t t_us = 0;
    std::string function;
    long result = 0;
};

struct TraceContents {
    RunRecord run;
    std::vector<TruthAt> truths;
    std::vector<LensMoveAt> lens_moves;
    std::vector<EventAt> events;
    std::vector<LibraryCallAt> library_calls;
    std::vector<EventAt> failures;    // calls on nodes that failed
    std::optional<WearAccount> wear;  // of a run that came to its end
};

/// Reads a trace file. Lines that are no records are passed over; a file that cannot be read is empty.
TraceContents read_trace(const std::string& path);

}  // namespace vp

#endif
