// The program's signals in virtual time.
//
// Its handlers are installed for real, behind one that asks whether the thread may run now. What the program
// sends itself (kill, pthread_kill, timers) is handed to a thread that does not block it, by number; a thread
// that waits is woken, and raises the signal on itself when it has its turn, so that the kernel runs the
// handler with the mask, stack and record that the program asked for. A signal that all threads block is left
// to the kernel to keep. Signals from outside (a terminal, a child's end) are noted where they strike and
// handed out by the thread that has the turn. Signals of faults (SIGSEGV and the like) are the kernel's alone.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_PROGRAM_SIGNALS_H
#define VIRTUAL_PROJECTOR_INTERPOSE_PROGRAM_SIGNALS_H

#include <pthread.h>
#include <signal.h>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "virtual_projector/clock/thread_scheduler.h"

namespace vp {

/// What signals mean to one of the program's threads.
struct ThreadSignals {
    ScheduledThread* turn = nullptr;
    pthread_t id{};
    int kernel_id = 0;
    sigset_t mask{};
    std::vector<siginfo_t> to_raise;    // on itself, when it has its turn
    siginfo_t raising{};                // the one that it raises now; number 0: none
    const sigset_t* awaited = nullptr;  // by sigwait and its kin
    bool is_cancelled = false;          // it is to end at the next call at which it may
};

class ProgramSignals {
public:
    /// Called when a signal's default action is to end the process, before it does.
    using EndHandler = std::function<void(int signal)>;

    explicit ProgramSignals(ThreadScheduler& scheduler);
    ~ProgramSignals();
    ProgramSignals(const ProgramSignals&) = delete;
    ProgramSignals& operator=(const ProgramSignals&) = delete;

    /// From now on signals are handed out here. Those that end a program by habit (SIGINT, SIGTERM, SIGHUP)
    /// call the end handler first.
    void install(EndHandler at_end);
    void uninstall();

    /// The calling thread has begun, or is about to end.
    void thread_begins(ScheduledThread* turn);
    void thread_ends();

    // Results as those of the calls of the same names, a failure as a negated errno.
    int set_action(int signal, const struct sigaction* action, struct sigaction* before);
    int set_mask(int how, const sigset_t* set, sigset_t* before);
    long kill(int signal, int code, const sigval& value);                // the process itself
    int kill_thread(pthread_t thread, int signal, const sigval* value);  // an errno; as pthread_kill
    std::optional<long> kill_kernel_thread(int kernel_id, int signal);   // as tgkill; none: no thread of these
    void send(const siginfo_t& info);                                    // to the process
    void send_to(int kernel_id, const siginfo_t& info);                  // to a thread of it
    bool is_pending(const siginfo_t& info) const;  // sent, and not handled yet, as a timer's overrun asks

    /// Another thread asks this one to end.
    int cancel(pthread_t thread);
    /// True when the calling thread is to end.
    bool is_cancelled() const;
    /// The mask of the calling thread as the kernel has it: a jump out of a handler sets it unseen.
    void refresh_mask();

    /// True when a signal waits for the calling thread to raise it, or was noted from outside.
    bool has_work() const;
    /// Hands out what was noted from outside. On the thread that has the turn.
    void hand_out_noted();
    /// Raises what the calling thread has to. False: nothing; else its handlers have run.
    bool raise_own();
    /// True when all handlers of the last raise_own() ask for calls to go on (SA_RESTART).
    bool is_to_restart() const { return restart_; }

    /// A descriptor that becomes readable when something was noted from outside.
    int noted_descriptor() const { return noted_descriptor_; }
    /// Wakes those threads that wait for a signal which the kernel keeps by now.
    bool wake_awaiting();
    /// A descriptor for these signals has been made.
    void note_signal_descriptor(const sigset_t& set);
    /// True when the program wants to know about its children's ends.
    bool watches_children() const;

    /// Another mask for the calling thread while it lives; null: none.
    class Mask {
    public:
        Mask(ProgramSignals& signals, const sigset_t* mask);
        ~Mask();
        Mask(const Mask&) = delete;
        Mask& operator=(const Mask&) = delete;

    private:
        ProgramSignals& signals_;
        bool set_;
        sigset_t before_{};
    };

    ThreadSignals& current();
    void note(int signal, const siginfo_t& info);  // async-signal-safe
    void run_handler(int signal, siginfo_t* info, void* context);

private:
    bool is_blocked_by_all(int signal) const;
    bool acts_by_default(int signal) const;
    bool is_ignored(int signal) const;
    void end_by(int signal);
    void keep_for_process(const siginfo_t& info);
    void hand_to(ThreadSignals& thread, const siginfo_t& info);
    int kill_known(ThreadSignals& thread, int signal, const sigval* value);
    ThreadSignals* find(int kernel_id) const;
    void watch_default_ends();

    ThreadScheduler& scheduler_;
    EndHandler at_end_;
    std::vector<std::unique_ptr<ThreadSignals>> threads_;
    struct sigaction actions_[_NSIG] = {};
    bool behind_trampoline_[_NSIG] = {};
    int noted_descriptor_ = -1;
    bool restart_ = true;
    bool reads_child_signals_ = false;  // from a descriptor
};

}  // namespace vp

#endif
