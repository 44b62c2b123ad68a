// Waiting for descriptors in virtual time, and for what comes from outside the program.
//
// A thread whose descriptors are not ready gives its turn away. When no thread is ready, before time moves, one
// look by the kernel at everything that threads wait for wakes those that can go on. What comes from outside (a
// terminal, a child, another process's socket) is awaited for real while simulated time stands, so that the
// run takes the same course whatever the PC's speed:
//
//     the thread waits for nothing else          for as long as it takes
//     it waits for a child, or for one's pipe    for 10 real seconds after the last sign of life of a child
//     its wait could also end otherwise          for 2 real seconds after the last sign of life; then time goes
//                                                on until there is another
//
// When outside is to be skipped, time never stands for it.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_DESCRIPTOR_WAITS_H
#define VIRTUAL_PROJECTOR_INTERPOSE_DESCRIPTOR_WAITS_H

#include <poll.h>
#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "virtual_projector/clock/clock.h"
#include "virtual_projector/interpose/descriptor_kinds.h"
#include "virtual_projector/interpose/program_children.h"
#include "virtual_projector/interpose/program_waits.h"
#include "virtual_projector/interpose/recorder.h"

namespace vp {

class DescriptorWaits {
public:
    DescriptorWaits(Clock& clock, ProgramWaits& waits, ProgramSignals& signals, DescriptorKinds& kinds,
                    ProgramChildren& children, Recorder& recorder);

    void skip_outside() { skips_outside_ = true; }
    /// Called before each look: what stands behind the board's descriptors may have changed.
    void before_looks(std::function<void()> update) { before_look_ = std::move(update); }

    /// To be called before the kernel is asked what is ready.
    void refresh();

    /// Gives the turn away until one of the descriptors is ready, as poll has it, or until the deadline.
    WaitEnd wait(std::vector<pollfd> descriptors, Microseconds deadline);
    /// Until `is_over` says so, which is asked for real. `what` names it in the table.
    WaitEnd wait_for_child(const std::string& what, const std::function<bool()>& is_over);

    /// True when what makes one of them ready may come from another process. Whether it is there already
    /// depends on that one's speed: the turn is given away in any case, so that the run takes the same course.
    bool may_lead_outside(const std::vector<pollfd>& descriptors);

    /// The program has used a descriptor that leads outside: an answer may come.
    void note_use(int descriptor);
    void note_child_start();
    /// The kernel has just been made to send a signal, which strikes a moment later.
    void settle_signals();
    /// A terminal's bytes pass through the kernel's own workers, and come a moment later.
    void note_terminal_write() { terminal_written_ = true; }

    /// True while a terminal is awaited: a person takes what time it takes. Asked for on any thread.
    bool waits_for_person() const { return waits_for_person_.load(); }

    /// Before time moves: wakes whoever can go on. True when the scheduler is to look again. Time does not
    /// stand still for outside as long as a thread computes.
    bool look(bool nothing_to_come, bool computes);

private:
    struct Waiter {
        std::vector<pollfd> descriptors;
        std::vector<int> outside;  // of them, or members of them
        bool has_other_end = false;
        std::function<bool()> is_over;  // of a wait for a child
        std::string what;
        std::string recorded_as;
    };
    class Registration;
    using RealTime = std::chrono::steady_clock::time_point;

    WaitEnd wait_as(Waiter& waiter, Wait::Kind kind, Microseconds deadline);
    void find_outside(Waiter& waiter);
    int look_for_real(int milliseconds);
    bool wake_ready();
    bool wake_for_posted();
    int time_to_hold(bool nothing_to_come);
    bool waits_for_child(const Waiter& waiter, const std::vector<pid_t>& children);
    int hold_for(const Waiter& waiter, const std::vector<pid_t>& children);
    bool hold(int milliseconds);
    std::string describe(const std::vector<pollfd>& descriptors);

    Clock& clock_;
    ProgramWaits& waits_;
    ProgramSignals& signals_;
    DescriptorKinds& kinds_;
    ProgramChildren& children_;
    Recorder& recorder_;
    bool skips_outside_ = false;
    bool terminal_written_ = false;
    std::atomic<bool> waits_for_person_{false};
    std::function<void()> before_look_;
    std::vector<Waiter*> waiters_;  // in the order of their coming
    std::vector<pollfd> polled_;
    std::map<int, RealTime> alive_at_;  // last sign of life of a descriptor that leads outside
    RealTime child_alive_at_{};         // of any child
};

}  // namespace vp

#endif
