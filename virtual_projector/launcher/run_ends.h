// Everything that can end a run but the program itself: a limit of simulated or real time, a run that is stuck,
// a signal. Each ends with a table of the threads, complete files and an exit code of its own.
#ifndef VIRTUAL_PROJECTOR_LAUNCHER_RUN_ENDS_H
#define VIRTUAL_PROJECTOR_LAUNCHER_RUN_ENDS_H

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "virtual_projector/clock/clock.h"
#include "virtual_projector/clock/run_watch.h"
#include "virtual_projector/clock/turn_scheduler.h"
#include "virtual_projector/interpose/machine.h"
#include "virtual_projector/launcher/run_options.h"

namespace vp {

constexpr int limit_exit_code = 121;
constexpr int real_limit_exit_code = 122;

class RunEnds {
public:
    /// `turns` is null on the wall clock. `finish` completes the run's files.
    RunEnds(const RunOptions& options, Clock& clock, TurnScheduler* turns, Machine& machine,
            std::function<void()> finish);
    RunEnds(const RunEnds&) = delete;
    RunEnds& operator=(const RunEnds&) = delete;

    /// The run begins.
    void watch();

    /// It ends as by --limit, at this time.
    void end_at(Microseconds time);
    /// Real time does not count while this is so, nor does the library's idling. Before watch().
    void excuse(std::function<bool()> is_excused);

private:
    void limit_reached(Microseconds limit);
    void real_limit_reached();
    void turn_lost(const ScheduledThread& thread);
    std::string table() const;

    const RunOptions& options_;
    Clock& clock_;
    TurnScheduler* turns_;
    Machine& machine_;
    std::function<void()> finish_;
    std::function<bool()> is_excused_;
    bool has_lost_turn_ = false;
    std::atomic_flag has_reached_real_limit_ = ATOMIC_FLAG_INIT;
    std::unique_ptr<RunWatch> watch_;
};

}  // namespace vp

#endif
