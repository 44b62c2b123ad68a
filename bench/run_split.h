// Where the time of a run goes, from the trace of the thread that serves it.
//
// The thread's time is taken apart into what it waits for:
//
//   lens    the motor turns, whatever the thread does meanwhile
//   pauses  the thread sleeps, and the motor rests
//   frames  a call on a device keeps the thread waiting, such as for the ToF sensor's next frame
//   rest    all that is left
#ifndef BENCH_RUN_SPLIT_H
#define BENCH_RUN_SPLIT_H

#include <cstdint>
#include <string>
#include <vector>

#include "virtual_projector/report/trace_reader.h"
#include "virtual_projector/world/settings.h"

namespace bench {

/// Times are simulated microseconds since the program's start.
struct Span {
    std::int64_t begin_us = 0;
    std::int64_t end_us = 0;

    std::int64_t length_us() const { return end_us > begin_us ? end_us - begin_us : 0; }
};

/// A call that a thread made: a sleep stands at its beginning, every other call at its end.
struct ThreadCall {
    std::int64_t t_us = 0;
    std::string call;
    std::string path;
    std::int64_t sleep_us = 0;  // of a sleep
};

/// Parts of a run in microseconds. They add up to the run's length.
struct RunSplit {
    std::int64_t lens_us = 0;
    std::int64_t pauses_us = 0;
    std::int64_t frames_us = 0;
    std::int64_t rest_us = 0;

    std::int64_t total_us() const { return lens_us + pauses_us + frames_us + rest_us; }
};

/// When the motor turned, by the orders it was given; touching spans are one. `lens` is the lens as it was
/// before the first order.
std::vector<Span> lens_travels(const std::vector<vp::LensMoveAt>& orders, const vp::LensSettings& lens);

/// `calls` are those of one thread, in their order; `travels` do not overlap.
RunSplit split_run(const Span& run, const std::vector<ThreadCall>& calls, const std::vector<Span>& travels);

}  // namespace bench

#endif
