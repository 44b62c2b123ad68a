// The right to run, handed from thread to thread.
#ifndef VIRTUAL_PROJECTOR_CLOCK_TURN_H
#define VIRTUAL_PROJECTOR_CLOCK_TURN_H

#include <atomic>
#include <chrono>
#include <cstdint>

namespace vp {

/// One thread's turn. Straight on the kernel's futex: one call wakes exactly the thread that is meant, and
/// nothing here passes through the C library functions that the virtual projector stands in for.
class Turn {
public:
    void give();   // by the thread that ran
    void await();  // by the thread that wants to run; takes the turn
    /// The same; false: it has not come within that time.
    bool await_for(std::chrono::milliseconds length);

private:
    std::atomic<std::uint32_t> given_{0};
};

}  // namespace vp

#endif
