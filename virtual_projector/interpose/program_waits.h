// Waiting, as all calls of the program that the machine answers do it.
//
// A signal of the thread's ends a wait early; its handlers have run when the wait returns.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_PROGRAM_WAITS_H
#define VIRTUAL_PROJECTOR_INTERPOSE_PROGRAM_WAITS_H

#include <string>

#include "virtual_projector/clock/clock.h"
#include "virtual_projector/interpose/program_signals.h"

namespace vp {

class ProgramWaits {
public:
    ProgramWaits(Clock& clock, ProgramSignals& signals) : clock_(clock), signals_(signals) {}

    Microseconds now() const { return clock_.now(); }

    /// Until woken through the scheduler by `reason.object`, interrupted, or until the deadline.
    WaitEnd wait(const Wait& reason, Microseconds deadline);
    WaitEnd sleep_until(Microseconds time);
    WaitEnd wait_for_device(const std::string& what, Microseconds deadline);
    WaitEnd wait_for_end(ScheduledThread* thread, Microseconds deadline);

    /// After a wait that was interrupted: true when every handler that ran asks for calls to go on as if
    /// nothing had happened (SA_RESTART), for those calls that POSIX lets go on so.
    bool is_to_restart() const { return signals_.is_to_restart(); }

    /// For a wait of the scheduler's own: after one that was interrupted, runs the handlers. They may jump out
    /// of the call: nothing may stand that has to be undone.
    WaitEnd with_handlers_run(WaitEnd end);

private:
    Clock& clock_;
    ProgramSignals& signals_;
};

}  // namespace vp

#endif
