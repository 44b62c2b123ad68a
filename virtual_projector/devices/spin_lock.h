// A lock for the short moments in which the world is looked at or changed.
//
// The thread calls of the C library are watched by the simulation itself, and a lock taken inside the
// simulation must not be among what it schedules: this one makes no such call. Nothing may wait while holding
// it.
#ifndef VIRTUAL_PROJECTOR_DEVICES_SPIN_LOCK_H
#define VIRTUAL_PROJECTOR_DEVICES_SPIN_LOCK_H

#include <atomic>
#include <thread>

namespace vp {

class SpinLock {
public:
    void lock() {
        while (flag_.test_and_set(std::memory_order_acquire)) std::this_thread::yield();
    }
    void unlock() { flag_.clear(std::memory_order_release); }

private:
    std::atomic_flag flag_ = ATOMIC_FLAG_INIT;
};

}  // namespace vp

#endif
