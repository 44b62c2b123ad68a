// One thing that was asked of the library in a run.
#ifndef VIRTUAL_PROJECTOR_REPORT_REQUEST_H
#define VIRTUAL_PROJECTOR_REPORT_REQUEST_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "virtual_projector/report/trace_reader.h"

namespace vp {

enum class RequestKind {
    run,           // keystone, then focus
    keystone,      // for a tilt that the host gives
    following,     // keystone again and again while the projector is being moved
    manual_focus,  // the lens by so much, or to a place
    lens_limit,    // the lens to one of its soft limits
    calibration,   // a step of the factory's
    rotation,      // the picture turned, to suit how the projector lies
};

/// "run", "keystone", "following", "manual focus", "lens limit", "calibration" or "rotation".
const char* name_of(RequestKind kind);

struct Request {
    int number = 0;  // from 1, in the order of asking
    RequestKind kind = RequestKind::run;
    std::string what;  // "keystone and focus", "keystone for a tilt of 12 degrees", "lens by hand to TMR -56"
    std::string by;    // "the host", "a movement", "a key", "gravity"
    int thread = 0;    // that carries it out; 0: nobody
    std::int64_t asked_us = 0;
    std::optional<std::int64_t> begun_us;  // none: never
    std::optional<std::int64_t> ended_us;  // none: it was not over when the trace ended
    bool failed = false;                   // or was refused, or was not over
    std::string outcome;                   // "squared for a tilt of 12 degrees, focused"; never empty
    std::vector<CallbackLine> toasts;      // that the host was sent meanwhile
    TruthAt before;                        // when it was asked
    TruthAt after;                         // when it had ended and the lens had settled, or at the trace's end
};

}  // namespace vp

#endif
