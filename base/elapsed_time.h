// Time between two readings of the wall clock.
#ifndef OVRA_BASE_ELAPSED_TIME_H
#define OVRA_BASE_ELAPSED_TIME_H

#include <sys/time.h>

#include <cstdint>

namespace ovra {

timeval wall_clock();

/// Milliseconds from `start` to `end`: whole seconds times 1000 and the difference of the microseconds divided
/// by 1000, truncated. Negative when `end` lies before `start`, as it may when the clock is set. Times more
/// than 2^32 seconds apart count as that far: no time, however absurd, overflows.
std::int64_t elapsed_ms(const timeval& start, const timeval& end);

}  // namespace ovra

#endif
