// Reading a trace back: what changed, and what was true.
#ifndef VIRTUAL_PROJECTOR_REPORT_TRACE_READER_H
#define VIRTUAL_PROJECTOR_REPORT_TRACE_READER_H

#include <cstdint>
#include <string>
#include <vector>

namespace vp {

/// The world's truth at one time, as far as a story tells it.
struct TruthAt {
    std::int64_t t_us = 0;
    double distance_mm = 0;
    double pitch_deg = 0;
    double led_c = 0;
    double lens_tmr = 0;
    double lens_error_tmr = 0;
    double sharpness = 0;
    int top_width = 0;
    int bottom_width = 0;
    double left_side_deg = 0;
    double right_side_deg = 0;
    bool on_wall = true;  // false: the sides' angles are not known
    int hdmi_turn_deg = 0;
    int menu_turn_deg = 0;

    double worst_side_deg() const;  // the larger of the two, without sign
};

struct LensMoveAt {
    std::int64_t t_us = 0;
    bool to_the_right = false;
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
    std::vector<TruthAt> truths;
    std::vector<LensMoveAt> lens_moves;
    std::vector<EventAt> events;
    std::vector<LibraryCallAt> library_calls;
    std::vector<EventAt> failures;  // calls on nodes that failed
};

/// Reads a trace file. Lines that are no records are passed over; a file that cannot be read is empty.
TraceContents read_trace(const std::string& path);

}  // namespace vp

#endif
