// One thing that there is to tell of a run.
#ifndef VIRTUAL_PROJECTOR_REPORT_STORY_ENTRY_H
#define VIRTUAL_PROJECTOR_REPORT_STORY_ENTRY_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "virtual_projector/report/request.h"
#include "virtual_projector/report/trace_reader.h"

namespace vp {

enum class EntryKind {
    event,    // of the scenario
    fault,    // a planned one that hit
    refused,  // by the library
    toast,
    turn,     // of the picture, as a viewer sees it
    request,  // its beginning
    chosen,
    lens,
    width,
    seen,
    detail,
    failure,  // of a call on a node
    log,      // a line of the library's own
    ending,   // of a request
};

struct StoryEntry {
    std::optional<std::int64_t> t_us;  // none: nobody knows
    int request = 0;                   // that it belongs to; 0: none
    EntryKind kind = EntryKind::detail;
    std::string text;
    std::shared_ptr<const Request> asked;  // of a request's beginning

    // So that several of a kind can be told as one:
    LensMoveAt move;    // of a lens
    int top_width = 0;  // of a width: after it
    int bottom_width = 0;
    int top_before = 0;
    int bottom_before = 0;
};

}  // namespace vp

#endif
