// Focus by contrast, as a camera that looks at the picture would do it, on the projector's own lens: for
// comparison.
//
// The camera does not know the distance. From the nearer end stop it scans the travel in coarse steps until the
// contrast has fallen behind a maximum, goes back before the maximum and scans again in fine steps, then goes
// to the vertex of the parabola through the best three. It knows the motor's idle travel, and arrives at each
// place from the same side.
//
// At each place it takes four frames: the first was exposed while the lens still moved and is dropped; the
// mean of the other three halves, nearly, the noise of one.
#ifndef BENCH_CONTRAST_SEARCH_H
#define BENCH_CONTRAST_SEARCH_H

#include <cstdint>

#include "virtual_projector/world/settings.h"

namespace bench {

struct ContrastSearch {
    double time_s = 0;
    double error_tmr = 0;  // lens position less the best one
    int moves = 0;
    int steps = 0;
    int frames = 0;
};

/// Searches from where the lens of `unit` stands; `seed` is of the frames' noise.
ContrastSearch search_by_contrast(const vp::Settings& unit, std::uint64_t seed);

}  // namespace bench

#endif
