// Decisions about the picture's trapezoid: which widths are sent, in which order, and how a step by hand
// changes them. All widths are panel pixels.
#ifndef OVRA_FOCUSCTRL_TRAPEZOID_H
#define OVRA_FOCUSCTRL_TRAPEZOID_H

#include <algorithm>
#include <cstdint>

namespace ovra {

struct Trapezoid {
    int32_t top, bottom;
};

// The least width that a keystone run may ask for: a narrower picture means that the tilt was misjudged.
inline constexpr int32_t minimum_requested_width = 690;

// A user who steps by hand sees what he does and may go further.
inline constexpr int32_t minimum_stepped_width = 320;

inline bool overflows(const Trapezoid& asked) { return asked.top < 1 || asked.bottom < 1; }

inline bool too_small(const Trapezoid& asked) {
    return asked.top < minimum_requested_width || asked.bottom < minimum_requested_width;
}

inline Trapezoid limited_to(const Trapezoid& asked, int32_t panel_width) {
    return {std::min(panel_width, asked.top), std::min(panel_width, asked.bottom)};
}

/// True when neither edge gets narrower.
inline bool widens_or_stays(const Trapezoid& asked, const Trapezoid& before) {
    return asked.top >= before.top && asked.bottom >= before.bottom;
}

/// The driver keeps the stepped widths in 16 bits: a sum beyond that wraps around.
inline int32_t sum_in_16_bits(int32_t a, int32_t b) {
    return static_cast<int16_t>(static_cast<uint16_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b)));
}

inline int32_t difference_in_16_bits(int32_t a, int32_t b) {
    return static_cast<int16_t>(static_cast<uint16_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b)));
}

inline int32_t wider_edge(const Trapezoid& t) { return std::max(t.top, t.bottom); }

/// One step in which `tilted` is the edge that widens while it is the narrow one, and `other` the one that
/// narrows after that. The edge that does not move takes the full width.
inline void step_edges(int32_t& tilted, int32_t& other, int32_t full, int32_t step) {
    if (tilted < full) {
        tilted = std::min(sum_in_16_bits(tilted, step), full);
        other = full;
    } else {
        tilted = full;
        other = std::max(difference_in_16_bits(other, step), minimum_stepped_width);
    }
}

/// The trapezoid after one step by hand. Direction 0 widens the bottom or narrows the top, 1 the other way
/// round, any other leaves the widths as they are.
inline Trapezoid stepped(Trapezoid now, int32_t direction, int32_t step) {
    const int32_t full = wider_edge(now);
    if (direction == 0) step_edges(now.bottom, now.top, full, step);
    if (direction == 1) step_edges(now.top, now.bottom, full, step);
    return now;
}

}  // namespace ovra

#endif
