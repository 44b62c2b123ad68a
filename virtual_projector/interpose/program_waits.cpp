#include "virtual_projector/interpose/program_waits.h"

namespace vp {

WaitEnd ProgramWaits::with_handlers_run(WaitEnd end) {
    if (end != WaitEnd::interrupted || signals_.raise_own() || signals_.is_cancelled()) return end;
    return WaitEnd::woken;  // by something that it has to look at itself
}

WaitEnd ProgramWaits::wait(const Wait& reason, Microseconds deadline) {
    signals_.refresh_mask();
    return with_handlers_run(clock_.scheduler().wait(reason, deadline));
}

WaitEnd ProgramWaits::sleep_until(Microseconds time) { return with_handlers_run(clock_.sleep_until(time)); }

WaitEnd ProgramWaits::wait_for_device(const std::string& what, Microseconds deadline) {
    return with_handlers_run(clock_.wait_for_device(what, deadline));
}

WaitEnd ProgramWaits::wait_for_end(ScheduledThread* thread, Microseconds deadline) {
    return with_handlers_run(clock_.scheduler().wait_for_end(thread, deadline));
}

}  // namespace vp
