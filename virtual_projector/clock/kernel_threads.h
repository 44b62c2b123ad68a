// The kernel decides which thread runs, and the C library's own locks make threads wait: nobody takes turns.
#ifndef VIRTUAL_PROJECTOR_CLOCK_KERNEL_THREADS_H
#define VIRTUAL_PROJECTOR_CLOCK_KERNEL_THREADS_H

#include "virtual_projector/clock/thread_scheduler.h"

namespace vp {

class KernelThreads final : public ThreadScheduler {
public:
    ScheduledThread* adopt_current(int /*number*/, const std::string& /*name*/) override { return nullptr; }
    ScheduledThread* prepare_thread(int /*number*/, const std::string& /*name*/) override { return nullptr; }
    void forget_thread(ScheduledThread* /*thread*/) override {}
    void finish_current() override {}
    /// Joining it waits.
    WaitEnd wait_for_end(ScheduledThread* /*thread*/, Microseconds /*deadline*/) override {
        return WaitEnd::woken;
    }
    bool knows_current_thread() const override { return true; }
    void note_servant(ScheduledThread* /*thread*/) override {}
    void touch() override {}
    void enter_call() override {}
    void leave_call() override {}
    int suspend_call() override { return 0; }
    void resume_call(int /*depth*/) override {}
    void yield() override {}

    WaitEnd wait(Wait /*reason*/, Microseconds /*deadline*/) override { return WaitEnd::woken; }
    bool wake_one(const void* /*object*/) override { return false; }
    void wake_all(const void* /*object*/) override {}
    bool wake_those(Wait::Kind /*kind*/, const ObjectTest& /*can_go_on*/) override { return false; }
    void interrupt(ScheduledThread* /*thread*/) override {}
    void on_wait_end(WaitHandler /*handler*/) override {}
    void show_waiting(const WaitHandler& /*visit*/) const override {}

    void hold(const void* /*object*/) override {}
    void release(const void* /*object*/) override {}
    bool is_held_by_current(const void* /*object*/) const override { return false; }
    bool is_held_by_finished(const void* /*object*/) const override { return false; }

    Figures figures() const override { return {}; }
    void on_idle(IdleHandler /*handler*/) override {}
    std::string end_schedule() override { return {}; }
};

}  // namespace vp

#endif
