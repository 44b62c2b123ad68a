// Timers of the program in virtual time: timerfd, alarm, setitimer(ITIMER_REAL), timer_create.
//
// A timerfd is an event descriptor that the timer writes to: poll, epoll, dup and read mean the same of both.
// Results as those of the calls of the same names, a failure as a negated errno; nothing: the timer is not one
// of these (of processor time), the C library is to answer.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_PROGRAM_TIMERS_H
#define VIRTUAL_PROJECTOR_INTERPOSE_PROGRAM_TIMERS_H

#include <signal.h>
#include <sys/time.h>
#include <time.h>

#include <functional>
#include <map>
#include <memory>
#include <optional>

#include "virtual_projector/clock/clock.h"
#include "virtual_projector/interpose/descriptor_kinds.h"
#include "virtual_projector/interpose/program_signals.h"
#include "virtual_projector/interpose/program_threads.h"
#include "virtual_projector/interpose/program_time.h"

namespace vp {

class ProgramTimers {
public:
    ProgramTimers(Clock& clock, ProgramTime& time, ProgramSignals& signals, ProgramThreads& threads,
                  DescriptorKinds& kinds);

    std::optional<long> make_descriptor(clockid_t clock, int flags);
    std::optional<long> set_descriptor(int descriptor, int flags, const itimerspec* value, itimerspec* before);
    std::optional<long> get_descriptor(int descriptor, itimerspec* value);
    void forget_descriptor(int descriptor);
    void copy_descriptor(int from, int to);  // dup and its kin

    std::optional<long> set_interval_timer(int which, const itimerval* value, itimerval* before);
    std::optional<long> get_interval_timer(int which, itimerval* value);

    std::optional<long> create(clockid_t clock, const sigevent* event, timer_t* timer);
    std::optional<long> set(timer_t timer, int flags, const itimerspec* value, itimerspec* before);
    std::optional<long> get(timer_t timer, itimerspec* value);
    std::optional<long> overrun(timer_t timer);
    std::optional<long> remove(timer_t timer);

private:
    struct Timer {
        clockid_t clock = CLOCK_MONOTONIC;
        Microseconds next = no_deadline;
        Microseconds interval = 0;
        unsigned setting = 0;  // counts settings: what was to come of an earlier one is void
        int overruns = 0;
        std::function<void()> expire;
    };
    using Handle = std::shared_ptr<Timer>;

    long set_timer(const Handle& timer, bool absolute, const itimerspec& value, itimerspec* before);
    void arm(const Handle& timer);
    itimerspec shown(const Timer& timer) const;
    Handle find(timer_t timer) const;
    void raise(Timer& timer, const siginfo_t& info, int kernel_id);
    bool prepare_signal(const Handle& timer, const sigevent& event, int number);

    Clock& clock_;
    ProgramTime& time_;
    ProgramSignals& signals_;
    ProgramThreads& threads_;
    DescriptorKinds& kinds_;
    std::map<int, Handle> descriptors_;
    std::map<int, Handle> timers_;
    int last_timer_ = 0;
    Handle alarm_;
};

}  // namespace vp

#endif
