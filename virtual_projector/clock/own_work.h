// Tells the virtual projector's own work from the program's.
//
// The C library calls that the virtual projector stands in for are its own calls too: its log files, its
// containers' memory, its locks. While a thread does the projector's own work they go straight to the
// C library.
#ifndef VIRTUAL_PROJECTOR_CLOCK_OWN_WORK_H
#define VIRTUAL_PROJECTOR_CLOCK_OWN_WORK_H

namespace vp {

/// The projector's own work lasts as long as this object. errno is as before when it ends: a call that
/// succeeds leaves no trace in it.
class OwnWork {
public:
    OwnWork();
    ~OwnWork();
    OwnWork(const OwnWork&) = delete;
    OwnWork& operator=(const OwnWork&) = delete;

    /// True when the calling thread does the projector's own work.
    static bool in_progress();

private:
    int errno_before_;
};

/// The other way round: inside the projector's own work, something of the program's is called back.
class ProgramWork {
public:
    ProgramWork();
    ~ProgramWork();
    ProgramWork(const ProgramWork&) = delete;
    ProgramWork& operator=(const ProgramWork&) = delete;

private:
    int depth_before_;
};

}  // namespace vp

#endif
