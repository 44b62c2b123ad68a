// pause, sigsuspend, sigwait and their kin in virtual time. Results as those of the calls, a failure as a
// negated errno.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_SIGNAL_WAITS_H
#define VIRTUAL_PROJECTOR_INTERPOSE_SIGNAL_WAITS_H

#include <signal.h>
#include <time.h>

#include "virtual_projector/clock/clock.h"
#include "virtual_projector/interpose/program_signals.h"
#include "virtual_projector/interpose/program_waits.h"

namespace vp {

class SignalWaits {
public:
    SignalWaits(Clock& clock, ProgramWaits& waits, ProgramSignals& signals)
        : clock_(clock), waits_(waits), signals_(signals) {}

    /// Until a handler has run, with this mask; null: with the thread's own.
    long suspend(const sigset_t* mask);
    /// The signal that was taken. `info` and `length` may be null.
    long take(const sigset_t* set, siginfo_t* info, const timespec* length);

private:
    Clock& clock_;
    ProgramWaits& waits_;
    ProgramSignals& signals_;
};

}  // namespace vp

#endif
