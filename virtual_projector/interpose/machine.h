// The simulated machine that the program's calls reach: one place for its files, threads, locks and time.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_MACHINE_H
#define VIRTUAL_PROJECTOR_INTERPOSE_MACHINE_H

#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "virtual_projector/clock/clock.h"
#include "virtual_projector/devices/device.h"
#include "virtual_projector/devices/fault_plan.h"
#include "virtual_projector/interpose/barriers.h"
#include "virtual_projector/interpose/board_files.h"
#include "virtual_projector/interpose/child_calls.h"
#include "virtual_projector/interpose/descriptor_kinds.h"
#include "virtual_projector/interpose/descriptor_waits.h"
#include "virtual_projector/interpose/futexes.h"
#include "virtual_projector/interpose/host_tables.h"
#include "virtual_projector/interpose/once_calls.h"
#include "virtual_projector/interpose/program_chance.h"
#include "virtual_projector/interpose/program_children.h"
#include "virtual_projector/interpose/program_io.h"
#include "virtual_projector/interpose/program_polls.h"
#include "virtual_projector/interpose/program_signals.h"
#include "virtual_projector/interpose/program_threads.h"
#include "virtual_projector/interpose/program_time.h"
#include "virtual_projector/interpose/program_timers.h"
#include "virtual_projector/interpose/program_waits.h"
#include "virtual_projector/interpose/recorder.h"
#include "virtual_projector/interpose/signal_waits.h"
#include "virtual_projector/interpose/state_watch.h"
#include "virtual_projector/interpose/system_v_queues.h"
#include "virtual_projector/interpose/thread_locks.h"
#include "virtual_projector/interpose/wait_records.h"
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
    ProgramIo& io() { return io_; }
    ProgramTimers& timers() { return timers_; }
    ProgramChance& chance() { return chance_; }
    ChildCalls& children() { return child_calls_; }
    SignalWaits& signal_waits() { return signal_waits_; }
    DescriptorKinds& kinds() { return kinds_; }
    DescriptorWaits& descriptors() { return descriptors_; }
    ProgramWaits& waits() { return waits_; }
    /// Null on the PC's own time: the kernel is to send and deliver them.
    ProgramSignals* signals() { return clock_.is_virtual() ? &signals_ : nullptr; }
    bool is_virtual() const { return clock_.is_virtual(); }

    /// Around each call. At its end what came from outside is handed out, and the handlers of signals run that
    /// are the calling thread's.
    void begin_call();
    void end_call();

    /// From now on what the library prints, and what it and its host share, is recorded, too.
    void watch_library();
    bool watches_library() const { return watches_library_; }

    /// Records what the calling thread has done since its last call without one: lines of the library's that it
    /// printed, variables of the library's that it changed.
    void catch_up();

    /// At the end of the run: records for what the threads wait that then still do.
    void record_unended_waits() { wait_records_.record_unended(); }

    /// Every table of the machine's forgets a descriptor that is closed or new, or learns of a copy.
    void forget_descriptor(int descriptor);
    void copy_descriptor(int from, int to);

    /// close_range and closefrom: all but those that are the virtual projector's own.
    std::optional<long> close_all(unsigned first, unsigned last);
    /// True when the machine has to see what a stream on this path reads.
    bool needs_stream(const char* path);

    /// Called before a signal ends the process by its default action.
    void on_signal_end(ProgramSignals::EndHandler handler) { at_signal_end_ = std::move(handler); }

    /// Descriptors of the virtual projector's own, which the program must not close.
    void protect(const std::vector<int>& descriptors);
    bool is_protected(int descriptor) const { return protected_.count(descriptor) != 0; }

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
    ProgramSignals signals_;
    ProgramWaits waits_;
    SignalWaits signal_waits_;
    DescriptorKinds kinds_;
    ProgramChildren children_;
    DescriptorWaits descriptors_;
    BoardFiles files_;
    ProgramTime time_;
    ProgramPolls polls_;
    ProgramThreads threads_;
    ObjectNames object_names_;
    ThreadLocks locks_;
    WaitRecords wait_records_;
    ProgramTimers timers_;
    ProgramIo io_;
    ProgramChance chance_;
    ChildCalls child_calls_;
    ProgramSignals::EndHandler at_signal_end_;
    std::set<int> protected_;
    Barriers barriers_;
    OnceCalls once_calls_;
    Futexes futexes_;
    SystemVQueues system_v_queues_;
    bool watches_library_ = false;
    StateWatch state_watch_;
    HostTables host_tables_;
};

}  // namespace vp

#endif
