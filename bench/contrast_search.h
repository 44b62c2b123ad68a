// Focus by contrast, as a camera that looks at the picture would do it, on the projector's own lens: for
// comparison. The camera does not know the distance. It knows the motor's backlash.
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

/// A plain search from where the lens of `unit` stands; `seed` is of the frames' noise.
///
/// From the nearer end stop it scans the travel in coarse steps until the contrast has fallen from a maximum,
/// goes back before the maximum and scans again in fine steps, then goes to the vertex of the parabola through
/// the best three. It arrives at each place from the same side. 30 frames a second, four at each place: the
/// first was exposed while the lens still moved and is dropped; the mean of the other three halves, nearly, the
/// noise of one.
ContrastSearch scan_from_end(const vp::Settings& unit, std::uint64_t seed);

/// A strong search from where the lens of `unit` stands.
///
/// It begins where the lens is, climbs to the side with more travel, turns round when the contrast falls or the
/// travel ends, and stops one look beyond the maximum. The contrast of a defocused picture is a bell curve, so
/// its logarithm is a parabola and no fine scan is needed: the lens goes straight to the vertex. 60 frames a
/// second, two at each place, of which the first is dropped. A position sensor without noise tells it where the
/// lens stands and how much of the backlash is taken up.
ContrastSearch climb_from_here(const vp::Settings& unit, std::uint64_t seed);

}  // namespace bench

#endif
