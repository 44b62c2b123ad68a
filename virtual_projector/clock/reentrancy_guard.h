// Keeps the virtual projector's calls of the C library from reaching the virtual projector again.
//
// The C library calls that it stands in for are its own calls too: its log files, its containers' memory, its
// locks. While a thread holds the guard they go straight to the C library.
#ifndef VIRTUAL_PROJECTOR_CLOCK_REENTRANCY_GUARD_H
#define VIRTUAL_PROJECTOR_CLOCK_REENTRANCY_GUARD_H

namespace vp {

/// Held by the calling thread for as long as this object lives. errno is as before when it ends: a call that
/// succeeds leaves no trace in it.
class ReentrancyGuard {
public:
    ReentrancyGuard();
    ~ReentrancyGuard();
    ReentrancyGuard(const ReentrancyGuard&) = delete;
    ReentrancyGuard& operator=(const ReentrancyGuard&) = delete;

    /// True when the calling thread holds one.
    static bool is_active();

private:
    int errno_before_;
};

/// The other way round: under a guard, something of the program's is called back, whose calls count again.
class ProgramCallback {
public:
    ProgramCallback();
    ~ProgramCallback();
    ProgramCallback(const ProgramCallback&) = delete;
    ProgramCallback& operator=(const ProgramCallback&) = delete;

private:
    int depth_before_;
};

}  // namespace vp

#endif
