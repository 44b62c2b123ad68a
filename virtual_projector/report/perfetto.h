// A run for Perfetto's viewer (ui.perfetto.dev) and others that read Chrome's JSON trace format.
//
// Process 1 is the program: a track for each thread with its calls, sleeps, waits and held locks, one within
// the other, and one for the requests. Process 2 is the projector: a counter for each signal, and the instants
// of events, faults, requests, toasts, refusals and moves. Times are simulated microseconds.
#ifndef VIRTUAL_PROJECTOR_REPORT_PERFETTO_H
#define VIRTUAL_PROJECTOR_REPORT_PERFETTO_H

#include <functional>
#include <string_view>

#include "virtual_projector/report/run_data.h"

namespace vp {

/// Hands the JSON to `sink` in pieces. Slices and instants of a track, and values of a counter, stand in the
/// order of their times.
void write_perfetto(const RunData& run, const std::function<void(std::string_view)>& sink);

}  // namespace vp

#endif
