#include "virtual_projector/interpose/signal_waits.h"

#include <cerrno>

#include "virtual_projector/interpose/program_time.h"
#include "virtual_projector/interpose/real_calls.h"

namespace vp {

long SignalWaits::suspend(const sigset_t* mask) {
    clock_.scheduler().touch();
    const ProgramSignals::Mask masked(signals_, mask);
    signals_.hand_out_noted();
    if (signals_.raise_own()) return -EINTR;
    while (waits_.wait({Wait::Kind::signal, nullptr, {}}, no_deadline) != WaitEnd::interrupted) {
    }
    return -EINTR;
}

long SignalWaits::take(const sigset_t* set, siginfo_t* info, const timespec* length) {
    clock_.scheduler().touch();
    const Microseconds deadline =
        length == nullptr ? no_deadline : clock_.now() + ProgramTime::microseconds_of(*length);
    ThreadSignals& thread = signals_.current();
    for (;;) {
        const timespec at_once{};
        const int taken = real::sigtimedwait(set, info, &at_once);
        if (taken > 0) return taken;
        if (errno != EAGAIN && errno != EINTR) return -errno;
        if (deadline != no_deadline && clock_.now() >= deadline) return -EAGAIN;
        thread.awaited = set;
        const WaitEnd end = clock_.scheduler().wait({Wait::Kind::signal, &thread, {}}, deadline);
        thread.awaited = nullptr;
        if (waits_.with_handlers_run(end) == WaitEnd::interrupted) return -EINTR;
    }
}

}  // namespace vp
