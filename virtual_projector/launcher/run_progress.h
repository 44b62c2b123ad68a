// The simulated time of a long run, on a terminal: one line that is written over and over, and gone at the end.
#ifndef VIRTUAL_PROJECTOR_LAUNCHER_RUN_PROGRESS_H
#define VIRTUAL_PROJECTOR_LAUNCHER_RUN_PROGRESS_H

#include <chrono>
#include <cstdio>

#include "virtual_projector/world/microseconds.h"

namespace vp {

class RunProgress {
public:
    /// Nothing is shown on a stream that is no terminal, nor within the quiet start, in real time.
    explicit RunProgress(std::FILE* stream, std::chrono::milliseconds quiet_start = std::chrono::seconds(1));

    /// The run has come so far. Shown with each simulated quarter of an hour.
    void time_is(Microseconds now);
    void finish();

private:
    std::FILE* stream_;  // null: none
    std::chrono::steady_clock::time_point shown_from_;
    Microseconds next_;
    bool is_shown_ = false;
};

}  // namespace vp

#endif
