// Entry points of the C library: the threads and locks of C11. Symbols only.
//
// The C library's own are its POSIX threads under other names, and so are these.
#undef _FORTIFY_SOURCE
#include <pthread.h>
#include <sched.h>
#include <threads.h>
#include <time.h>

#include <cerrno>
#include <cstdint>
#include <memory>
#include <optional>
#include <type_traits>

#include "virtual_projector/interpose/ask_machine.h"
#include "virtual_projector/interpose/real_calls.h"

namespace real = vp::real;
using vp::ask_locks;
using vp::ask_machine;
using vp::Machine;
using vp::ThreadLocks;

namespace {

static_assert(std::is_same_v<thrd_t, pthread_t>);
static_assert(sizeof(mtx_t) == sizeof(pthread_mutex_t) && alignof(mtx_t) <= alignof(pthread_mutex_t));
static_assert(sizeof(cnd_t) == sizeof(pthread_cond_t) && alignof(cnd_t) <= alignof(pthread_cond_t));
static_assert(sizeof(once_flag) == sizeof(pthread_once_t));

pthread_mutex_t* posix(mtx_t* mutex) { return reinterpret_cast<pthread_mutex_t*>(mutex); }
pthread_cond_t* posix(cnd_t* condition) { return reinterpret_cast<pthread_cond_t*>(condition); }

int result_of(int failure) {
    switch (failure) {
        case 0:
            return thrd_success;
        case ENOMEM:
            return thrd_nomem;
        case ETIMEDOUT:
            return thrd_timedout;
        case EBUSY:
            return thrd_busy;
        default:
            return thrd_error;
    }
}

struct Start {
    thrd_start_t entry;
    void* argument;
};

// Nothing is kept while the entry runs: it may end the thread, and where there are no tables for unwinding no
// destructor is called.
void* run(void* start) {
    std::unique_ptr<Start> started(static_cast<Start*>(start));
    const Start own = *started;
    started.reset();
    return reinterpret_cast<void*>(static_cast<std::intptr_t>(own.entry(own.argument)));
}

}  // namespace

extern "C" {

// Asked for by name when a program is linked: the other names may be found elsewhere first.
extern const char vp_interposed_c11_calls[];
const char vp_interposed_c11_calls[] = "interposed calls of the virtual projector: c11";

// --- Threads -------------------------------------------------------------------------------------------------

int thrd_create(thrd_t* thread, thrd_start_t entry, void* argument) {
    const auto result = ask_machine([&](Machine& m) {
        auto start = std::make_unique<Start>(Start{entry, argument});
        const int failure =
            m.threads().create(thread, nullptr, run, start.get(), reinterpret_cast<const void*>(entry));
        if (failure == 0) (void)start.release();  // the thread's own
        return std::optional<long>(failure);
    });
    return result ? result_of(static_cast<int>(*result)) : real::thrd_create(thread, entry, argument);
}

int thrd_join(thrd_t thread, int* value) {
    void* returned = nullptr;
    const auto result =
        ask_machine([&](Machine& m) { return std::optional<long>(m.threads().join(thread, &returned)); });
    if (!result) return real::thrd_join(thread, value);
    if (*result == 0 && value != nullptr) *value = static_cast<int>(reinterpret_cast<std::intptr_t>(returned));
    return result_of(static_cast<int>(*result));
}

int thrd_detach(thrd_t thread) {
    const auto result =
        ask_machine([&](Machine& m) { return std::optional<long>(m.threads().detach(thread)); });
    return result ? result_of(static_cast<int>(*result)) : real::thrd_detach(thread);
}

// By the name that unwinds the thread's frames on every processor; the C library's own is the same call.
void thrd_exit(int value) { ::pthread_exit(reinterpret_cast<void*>(static_cast<std::intptr_t>(value))); }

int thrd_sleep(const timespec* length, timespec* remaining) {
    switch (::clock_nanosleep(CLOCK_REALTIME, 0, length, remaining)) {
        case 0:
            return 0;
        case EINTR:
            return -1;
        default:
            return -2;
    }
}

void thrd_yield() { (void)::sched_yield(); }

void call_once(once_flag* flag, void (*routine)()) {
    (void)::pthread_once(reinterpret_cast<pthread_once_t*>(flag), routine);
}

// --- Locks ---------------------------------------------------------------------------------------------------

int mtx_lock(mtx_t* mutex) {
    const auto result = ask_locks([&](ThreadLocks& locks) { return locks.lock(posix(mutex)); });
    return result ? result_of(*result) : real::mtx_lock(mutex);
}

int mtx_trylock(mtx_t* mutex) {
    const auto result = ask_locks([&](ThreadLocks& locks) { return locks.try_lock(posix(mutex)); });
    return result ? result_of(*result) : real::mtx_trylock(mutex);
}

int mtx_timedlock(mtx_t* mutex, const timespec* until) {
    const auto result =
        ask_locks([&](ThreadLocks& locks) { return locks.timed_lock(posix(mutex), CLOCK_REALTIME, until); });
    return result ? result_of(*result) : real::mtx_timedlock(mutex, until);
}

int mtx_unlock(mtx_t* mutex) {
    const auto result = ask_locks([&](ThreadLocks& locks) { return locks.unlock(posix(mutex)); });
    return result ? result_of(*result) : real::mtx_unlock(mutex);
}

int cnd_init(cnd_t* condition) {
    const auto result =
        ask_locks([&](ThreadLocks& locks) { return locks.condition_init(posix(condition), nullptr); });
    return result ? result_of(*result) : real::cnd_init(condition);
}

void cnd_destroy(cnd_t* condition) {
    const auto result =
        ask_locks([&](ThreadLocks& locks) { return locks.condition_destroy(posix(condition)); });
    if (!result) real::cnd_destroy(condition);
}

int cnd_wait(cnd_t* condition, mtx_t* mutex) {
    const auto result =
        ask_locks([&](ThreadLocks& locks) { return locks.wait(posix(condition), posix(mutex)); });
    return result ? result_of(*result) : real::cnd_wait(condition, mutex);
}

int cnd_timedwait(cnd_t* condition, mtx_t* mutex, const timespec* until) {
    const auto result = ask_locks([&](ThreadLocks& locks) {
        return locks.timed_wait(posix(condition), posix(mutex), CLOCK_REALTIME, until);
    });
    return result ? result_of(*result) : real::cnd_timedwait(condition, mutex, until);
}

int cnd_signal(cnd_t* condition) {
    const auto result = ask_locks([&](ThreadLocks& locks) { return locks.signal(posix(condition)); });
    return result ? result_of(*result) : real::cnd_signal(condition);
}

int cnd_broadcast(cnd_t* condition) {
    const auto result = ask_locks([&](ThreadLocks& locks) { return locks.broadcast(posix(condition)); });
    return result ? result_of(*result) : real::cnd_broadcast(condition);
}

}  // extern "C"
