// The records of programs built with 64-bit times on a 32-bit machine. While a machine answers, the times are
// those of its run and fit the 32-bit records.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_TIME64_H
#define VIRTUAL_PROJECTOR_INTERPOSE_TIME64_H

#include <sys/time.h>
#include <time.h>

#include <algorithm>
#include <cstdint>

#include "virtual_projector/interpose/machine.h"
#include "virtual_projector/interpose/timeouts.h"

namespace vp::time64 {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the padding stands before the nanoseconds otherwise");

struct Timespec64 {
    std::int64_t tv_sec;
    std::int32_t tv_nsec;
    std::int32_t padding;
};

struct Timeval64 {
    std::int64_t tv_sec;
    std::int64_t tv_usec;
};

struct Itimerspec64 {
    Timespec64 it_interval;
    Timespec64 it_value;
};

struct Itimerval64 {
    Timeval64 it_interval;
    Timeval64 it_value;
};

// The nanoseconds and microseconds stay as they are: who looks at them refuses wrong ones.
inline timespec narrowed(const Timespec64& wide) {
    return {static_cast<time_t>(std::min<std::int64_t>(wide.tv_sec, max_seconds)), wide.tv_nsec};
}
inline timeval narrowed(const Timeval64& wide) {
    return {static_cast<time_t>(std::min<std::int64_t>(wide.tv_sec, max_seconds)),
            static_cast<suseconds_t>(wide.tv_usec)};
}
inline itimerspec narrowed(const Itimerspec64& wide) {
    return {narrowed(wide.it_interval), narrowed(wide.it_value)};
}
inline itimerval narrowed(const Itimerval64& wide) {
    return {narrowed(wide.it_interval), narrowed(wide.it_value)};
}

inline Timespec64 widened(const timespec& narrow) {
    return {narrow.tv_sec, static_cast<std::int32_t>(narrow.tv_nsec), 0};
}
inline Timeval64 widened(const timeval& narrow) { return {narrow.tv_sec, narrow.tv_usec}; }
inline Itimerspec64 widened(const itimerspec& narrow) {
    return {widened(narrow.it_interval), widened(narrow.it_value)};
}
inline Itimerval64 widened(const itimerval& narrow) {
    return {widened(narrow.it_interval), widened(narrow.it_value)};
}

// Another record for one that may be null.
class Narrow {
public:
    explicit Narrow(const Timespec64* wide) : present_(wide != nullptr) {
        if (present_) narrow_ = narrowed(*wide);
    }
    operator const timespec*() const { return present_ ? &narrow_ : nullptr; }

private:
    bool present_;
    timespec narrow_{};
};

inline bool machine_answers() { return Machine::active() != nullptr; }

}  // namespace vp::time64

#endif
