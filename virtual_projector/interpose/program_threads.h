// The program's threads: started on painted stacks, numbered in the order of their creation, and known by
// the names of their entry functions.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_PROGRAM_THREADS_H
#define VIRTUAL_PROJECTOR_INTERPOSE_PROGRAM_THREADS_H

#include <pthread.h>
#include <signal.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "virtual_projector/clock/clock.h"
#include "virtual_projector/devices/fault_plan.h"
#include "virtual_projector/interpose/current_thread.h"
#include "virtual_projector/interpose/log_lines.h"
#include "virtual_projector/interpose/painted_stack.h"
#include "virtual_projector/interpose/program_signals.h"
#include "virtual_projector/interpose/recorder.h"

namespace vp {

class ProgramThreads;

struct ProgramThread {
    ProgramThreads* owner = nullptr;
    ThreadIdentity identity;
    void* (*entry)(void*) = nullptr;
    void* argument = nullptr;
    pthread_t id{};
    int kernel_id = 0;
    bool detached = false;
    bool finished = false;
    LogLines log;
    std::optional<PaintedStack> stack;  // none for the first thread, or where the program gave one
    ScheduledThread* turn = nullptr;    // the scheduler's record of it
};

/// How deep one thread's stack has been used.
struct StackUse {
    int thread = 0;
    std::string name;
    std::size_t size = 0;
    std::size_t deepest_use = 0;  // bytes
};

class ProgramThreads {
public:
    ProgramThreads(Clock& clock, ProgramSignals& signals, FaultPlan& faults, Recorder& recorder);
    ~ProgramThreads();
    ProgramThreads(const ProgramThreads&) = delete;
    ProgramThreads& operator=(const ProgramThreads&) = delete;

    /// Makes the calling thread the program's first, number 1, by the name "main".
    void adopt_current();
    void forget_current();

    // Results as those of the pthread functions of the same names.
    /// `named_after`: the function whose name the thread gets; null: the entry function.
    int create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*), void* argument,
               const void* named_after = nullptr);
    int join(pthread_t thread, void** result);
    int try_join(pthread_t thread, void** result);
    /// Only of known threads, in virtual time; nothing otherwise: the C library is to answer.
    std::optional<long> join_until(pthread_t thread, void** result, Microseconds deadline);
    /// After the C library has joined a thread of the program's.
    void joined_elsewhere(pthread_t thread);
    int detach(pthread_t thread);
    /// For a timer that has expired: starts a detached thread with its function. Never waits.
    void start_for_timer(const sigevent& event);
    /// Before pthread_exit of the first thread: it ends here, the others go on. Others end by themselves.
    void exit_current();
    /// As sched_yield, in virtual time.
    std::optional<long> yield();

    /// Separates the program's use of its stacks from the virtual projector's own, from now on; slow.
    void measure_stacks_exactly() { exact_stacks_ = true; }
    /// From now on threads get stacks of the C library's own, which nobody measures: memory checkers take the
    /// paint below a stack's end for a mistake.
    void use_plain_stacks() { plain_stacks_ = true; }
    void call_begins();  // on the thread that makes it
    void call_ends();

    /// Called last thing on a thread, while it still has its turn.
    void on_end(std::function<void()> handler) { at_end_ = std::move(handler); }

    /// Every thread that was started, in the order of creation.
    std::vector<StackUse> stack_uses() const;

private:
    static void* run(void* thread);
    static void* enter(void* thread);
    static void leave(void* thread);
    static void begin(ProgramThread& thread, const void* frame);
    void end(ProgramThread& thread);
    int start_new(std::unique_ptr<ProgramThread> thread, pthread_t* id, const pthread_attr_t* attributes);
    int start(ProgramThread& thread, const pthread_attr_t* attributes);
    void give_stack(ProgramThread& thread, pthread_attr_t& attributes);
    ProgramThread* find(pthread_t id);
    bool can_be_joined(const ProgramThread& thread) const;
    WaitEnd wait_for_end(ProgramThread& thread, Microseconds deadline);
    void let_go(ProgramThread& thread);
    void sweep();

    Clock& clock_;
    ProgramSignals& signals_;
    FaultPlan& faults_;
    Recorder& recorder_;
    bool exact_stacks_ = false;
    bool plain_stacks_ = false;
    int last_number_ = 0;
    std::vector<std::unique_ptr<ProgramThread>> threads_;  // those whose stack may still be in use
    std::vector<StackUse> ended_;
    std::function<void()> at_end_;
};

}  // namespace vp

#endif
