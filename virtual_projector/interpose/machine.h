// The simulated machine that the program's calls reach: one place for its files, threads, locks and time.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_MACHINE_H
#define VIRTUAL_PROJECTOR_INTERPOSE_MACHINE_H

#include "virtual_projector/clock/clock.h"
#include "virtual_projector/devices/device.h"
#include "virtual_projector/devices/fault_plan.h"
#include "virtual_projector/interpose/barriers.h"
#include "virtual_projector/interpose/board_files.h"
#include "virtual_projector/interpose/futexes.h"
#include "virtual_projector/interpose/once_calls.h"
#include "virtual_projector/interpose/program_polls.h"
#include "virtual_projector/interpose/program_threads.h"
#include "virtual_projector/interpose/program_time.h"
#include "virtual_projector/interpose/program_waits.h"
#include "virtual_projector/interpose/recorder.h"
#include "virtual_projector/interpose/system_v_queues.h"
#include "virtual_projector/interpose/thread_locks.h"
#include "virtual_projector/trace/trace_sink.h"

namespace vp {

class Machine {
public:
    /// All of them must outlive the machine. `sink` may be null.
    Machine(Clock& clock, DeviceTable& devices, FaultPlan& faults, TraceSink* sink);
    ~Machine();  // uninstalls
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    /// From now on the process's calls reach this machine; the calling thread becomes the program's first.
    /// Without a machine every call passes through to the C library. Threads that run when their machine goes
    /// stop at their next wait and stay there to the end of the process.
    void install();
    void uninstall();

    /// The machine that a call of this thread is for; null when the C library is to answer: no machine, a
    /// thread that is none of the program's, or the virtual projector itself, inside a guard.
    static Machine* active();

    BoardFiles& files() { return files_; }
    ProgramTime& time() { return time_; }
    ProgramPolls& polls() { return polls_; }
    ProgramThreads& threads() { return threads_; }
    /// Null on the PC's own time: the C library's locks are to answer.
    ThreadLocks* locks() { return clock_.is_virtual() ? &locks_ : nullptr; }
    // In virtual time only, as the locks.
    Barriers& barriers() { return barriers_; }
    OnceCalls& once_calls() { return once_calls_; }
    Futexes& futexes() { return futexes_; }
    SystemVQueues& system_v_queues() { return system_v_queues_; }
    Recorder& recorder() { return recorder_; }

private:
    Clock& clock_;
    Recorder recorder_;
    BoardFiles files_;
    ProgramWaits waits_;
    ProgramTime time_;
    ProgramPolls polls_;
    ProgramThreads threads_;
    ThreadLocks locks_;
    Barriers barriers_;
    OnceCalls once_calls_;
    Futexes futexes_;
    SystemVQueues system_v_queues_;
};

}  // namespace vp

#endif
