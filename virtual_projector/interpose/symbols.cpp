// The C library's entry points that reach the simulated machine. Symbols only: each asks the machine and, when
// the call is not for it, the C library.
#undef _FORTIFY_SOURCE
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <semaphore.h>
#include <stdarg.h>
#include <stdio.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <optional>

#include "virtual_projector/clock/reentrancy_guard.h"
#include "virtual_projector/interpose/board_streams.h"
#include "virtual_projector/interpose/machine.h"
#include "virtual_projector/interpose/process_role.h"
#include "virtual_projector/interpose/real_calls.h"

namespace real = vp::real;
using vp::Machine;

namespace {

// Around each call that the machine answers.
class Answering {
public:
    explicit Answering(Machine& machine) : threads_(machine.threads()) { threads_.call_begins(); }
    ~Answering() { threads_.call_ends(); }
    Answering(const Answering&) = delete;
    Answering& operator=(const Answering&) = delete;

private:
    const vp::ReentrancyGuard guard_;
    vp::ProgramThreads& threads_;
};

// What the machine has to say; nothing when the call is not for it.
template <typename Question>
std::optional<long> ask_machine(Question question) {
    Machine* machine = Machine::active();
    if (machine == nullptr) return std::nullopt;
    const Answering answering(*machine);
    return question(*machine);
}

// A failure as the C library's calls report it: -1 and errno.
long with_errno(long result) {
    if (result >= 0) return result;
    errno = static_cast<int>(-result);
    return -1;
}

int open_node(const char* path, int flags, bool& ours) {
    if (!vp::may_open(path)) {
        ours = true;
        errno = ENODEV;
        return -1;
    }
    const std::optional<long> result = ask_machine([&](Machine& m) { return m.files().open(path, flags); });
    ours = result.has_value();
    return ours ? static_cast<int>(with_errno(*result)) : -1;
}

FILE* open_stream(const char* path, const char* mode, bool& ours) {
    ours = false;
    const std::optional<int> flags = mode == nullptr ? std::nullopt : vp::flags_of_mode(mode);
    if (!flags) return nullptr;
    const int descriptor = open_node(path, *flags, ours);
    if (!ours || descriptor < 0) return nullptr;
    // A stream's reads and writes go the way of all others.
    FILE* stream = vp::stream_on(descriptor, mode, {::read, ::write, ::close});
    if (stream == nullptr) ::close(descriptor);
    return stream;
}

bool needs_permissions(int flags) { return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE; }

// The third argument of open, there only when the flags say so.
#define VP_PERMISSIONS(last, flags)                                     \
    mode_t permissions = 0;                                             \
    if (needs_permissions(flags)) {                                     \
        va_list arguments;                                              \
        va_start(arguments, last);                                      \
        permissions = static_cast<mode_t>(va_arg(arguments, unsigned)); \
        va_end(arguments);                                              \
    }

}  // namespace

extern "C" {

// Asked for by name when a program is linked: the other names may be found elsewhere first.
extern const char vp_interposed_calls[];
const char vp_interposed_calls[] = "interposed calls of the virtual projector";

// --- Files -----------------------------------------------------------------------------------------------

int open(const char* path, int flags, ...) {
    VP_PERMISSIONS(flags, flags)
    bool ours = false;
    const int descriptor = open_node(path, flags, ours);
    return ours ? descriptor : real::open(path, flags, permissions);
}

int open64(const char* path, int flags, ...) {
    VP_PERMISSIONS(flags, flags)
    bool ours = false;
    const int descriptor = open_node(path, flags, ours);
    return ours ? descriptor : real::open64(path, flags, permissions);
}

int openat(int directory, const char* path, int flags, ...) {
    VP_PERMISSIONS(flags, flags)
    bool ours = false;
    const int descriptor = open_node(path, flags, ours);
    return ours ? descriptor : real::openat(directory, path, flags, permissions);
}

int openat64(int directory, const char* path, int flags, ...) {
    VP_PERMISSIONS(flags, flags)
    bool ours = false;
    const int descriptor = open_node(path, flags, ours);
    return ours ? descriptor : real::openat64(directory, path, flags, permissions);
}

// What programs built with buffer checks call.
int __open_2(const char* path, int flags) { return open(path, flags); }
int __open64_2(const char* path, int flags) { return open64(path, flags); }
int __openat_2(int directory, const char* path, int flags) { return openat(directory, path, flags); }
int __openat64_2(int directory, const char* path, int flags) { return openat64(directory, path, flags); }

FILE* fopen(const char* path, const char* mode) {
    bool ours = false;
    FILE* stream = open_stream(path, mode, ours);
    return ours ? stream : real::fopen(path, mode);
}

FILE* fopen64(const char* path, const char* mode) {
    bool ours = false;
    FILE* stream = open_stream(path, mode, ours);
    return ours ? stream : real::fopen64(path, mode);
}

ssize_t read(int descriptor, void* buffer, size_t count) {
    const auto result = ask_machine([&](Machine& m) { return m.files().read(descriptor, buffer, count); });
    return result ? with_errno(*result) : real::read(descriptor, buffer, count);
}

ssize_t __read_chk(int descriptor, void* buffer, size_t count, size_t room) {
    if (count > room) abort();
    return read(descriptor, buffer, count);
}

ssize_t write(int descriptor, const void* buffer, size_t count) {
    const auto result = ask_machine([&](Machine& m) { return m.files().write(descriptor, buffer, count); });
    return result ? with_errno(*result) : real::write(descriptor, buffer, count);
}

int close(int descriptor) {
    const auto result = ask_machine([&](Machine& m) { return m.files().close(descriptor); });
    return result ? static_cast<int>(with_errno(*result)) : real::close(descriptor);
}

int ioctl(int descriptor, unsigned long number, ...) noexcept {
    va_list arguments;
    va_start(arguments, number);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    // Request numbers have 32 bits; a negative int arrives sign-extended.
    const auto request = static_cast<std::uint32_t>(number);
    const auto result =
        ask_machine([&](Machine& m) { return m.files().request(descriptor, request, argument); });
    return result ? static_cast<int>(with_errno(*result)) : real::ioctl(descriptor, number, argument);
}

// --- Time ------------------------------------------------------------------------------------------------

int usleep(useconds_t length) {
    const auto result = ask_machine([&](Machine& m) { return std::optional<long>(m.time().sleep(length)); });
    return result ? static_cast<int>(with_errno(*result)) : real::usleep(length);
}

unsigned sleep(unsigned seconds) {
    const auto result = ask_machine(
        [&](Machine& m) { return std::optional<long>(m.time().sleep(seconds * vp::microseconds_per_second)); });
    return result ? 0 : real::sleep(seconds);
}

int nanosleep(const timespec* length, timespec* remaining) {
    const auto result = ask_machine([&](Machine& m) { return m.time().sleep(length); });
    return result ? static_cast<int>(with_errno(*result)) : real::nanosleep(length, remaining);
}

int clock_nanosleep(clockid_t clock, int flags, const timespec* time, timespec* remaining) {
    const auto result = ask_machine([&](Machine& m) { return m.time().sleep(clock, flags, time); });
    return result ? static_cast<int>(-*result) : real::clock_nanosleep(clock, flags, time, remaining);
}

int poll(pollfd* descriptors, nfds_t count, int milliseconds) {
    const auto result =
        ask_machine([&](Machine& m) { return m.polls().poll(descriptors, count, milliseconds); });
    return result ? static_cast<int>(with_errno(*result)) : real::poll(descriptors, count, milliseconds);
}

int select(int count, fd_set* readable, fd_set* writable, fd_set* exceptional, timeval* length) {
    const auto result = ask_machine(
        [&](Machine& m) { return m.polls().select(count, readable, writable, exceptional, length); });
    return result ? static_cast<int>(with_errno(*result))
                  : real::select(count, readable, writable, exceptional, length);
}

int gettimeofday(timeval* time, void* zone) noexcept {
    const auto result = ask_machine([&](Machine& m) { return m.time().get_time_of_day(time); });
    return result ? static_cast<int>(*result) : real::gettimeofday(time, zone);
}

int clock_gettime(clockid_t clock, timespec* time) noexcept {
    const auto result = ask_machine([&](Machine& m) { return m.time().get_time(clock, time); });
    return result ? static_cast<int>(*result) : real::clock_gettime(clock, time);
}

time_t time(time_t* seconds) noexcept {
    const auto result = ask_machine([&](Machine& m) { return m.time().get_seconds(seconds); });
    return result ? static_cast<time_t>(*result) : real::time(seconds);
}

// --- Threads ---------------------------------------------------------------------------------------------

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
                   void* argument) noexcept {
    const auto result = ask_machine([&](Machine& m) {
        return std::optional<long>(m.threads().create(thread, attributes, entry, argument));
    });
    return result ? static_cast<int>(*result) : real::pthread_create(thread, attributes, entry, argument);
}

int pthread_join(pthread_t thread, void** value) {
    const auto result =
        ask_machine([&](Machine& m) { return std::optional<long>(m.threads().join(thread, value)); });
    return result ? static_cast<int>(*result) : real::pthread_join(thread, value);
}

int pthread_detach(pthread_t thread) noexcept {
    const auto result =
        ask_machine([&](Machine& m) { return std::optional<long>(m.threads().detach(thread)); });
    return result ? static_cast<int>(*result) : real::pthread_detach(thread);
}

void pthread_exit(void* value) {
    (void)ask_machine([&](Machine& m) {
        m.threads().exit_current();
        return std::optional<long>();
    });
    real::pthread_exit(value);
    __builtin_unreachable();
}

}  // extern "C"

namespace {

// Locks are the machine's in virtual time only.
template <typename Question>
std::optional<int> ask_locks(Question question) {
    Machine* machine = Machine::active();
    if (machine == nullptr || machine->locks() == nullptr) return std::nullopt;
    const Answering answering(*machine);
    return question(*machine->locks());
}

}  // namespace

extern "C" {

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.lock(mutex); });
    return result ? *result : real::pthread_mutex_lock(mutex);
}

int pthread_mutex_trylock(pthread_mutex_t* mutex) noexcept {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.try_lock(mutex); });
    return result ? *result : real::pthread_mutex_trylock(mutex);
}

int pthread_mutex_timedlock(pthread_mutex_t* mutex, const timespec* until) noexcept {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.timed_lock(mutex, until); });
    return result ? *result : real::pthread_mutex_timedlock(mutex, until);
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.unlock(mutex); });
    return result ? *result : real::pthread_mutex_unlock(mutex);
}

int pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t* attributes) noexcept {
    const auto result =
        ask_locks([&](vp::ThreadLocks& locks) { return locks.condition_init(condition, attributes); });
    return result ? *result : real::pthread_cond_init(condition, attributes);
}

int pthread_cond_destroy(pthread_cond_t* condition) noexcept {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.condition_destroy(condition); });
    return result ? *result : real::pthread_cond_destroy(condition);
}

int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.wait(condition, mutex); });
    return result ? *result : real::pthread_cond_wait(condition, mutex);
}

int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* until) {
    const auto result =
        ask_locks([&](vp::ThreadLocks& locks) { return locks.timed_wait(condition, mutex, until); });
    return result ? *result : real::pthread_cond_timedwait(condition, mutex, until);
}

int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                           const timespec* until) {
    const auto result =
        ask_locks([&](vp::ThreadLocks& locks) { return locks.timed_wait(condition, mutex, clock, until); });
    return result ? *result : real::pthread_cond_clockwait(condition, mutex, clock, until);
}

int pthread_cond_signal(pthread_cond_t* condition) noexcept {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.signal(condition); });
    return result ? *result : real::pthread_cond_signal(condition);
}

int pthread_cond_broadcast(pthread_cond_t* condition) noexcept {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.broadcast(condition); });
    return result ? *result : real::pthread_cond_broadcast(condition);
}

int pthread_rwlock_rdlock(pthread_rwlock_t* lock) noexcept {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.lock_to_read(lock); });
    return result ? *result : real::pthread_rwlock_rdlock(lock);
}

int pthread_rwlock_wrlock(pthread_rwlock_t* lock) noexcept {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.lock_to_write(lock); });
    return result ? *result : real::pthread_rwlock_wrlock(lock);
}

int pthread_rwlock_unlock(pthread_rwlock_t* lock) noexcept {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.unlock(lock); });
    return result ? *result : real::pthread_rwlock_unlock(lock);
}

int sem_wait(sem_t* semaphore) {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.wait(semaphore); });
    return result ? static_cast<int>(with_errno(*result)) : real::sem_wait(semaphore);
}

int sem_timedwait(sem_t* semaphore, const timespec* until) {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.timed_wait(semaphore, until); });
    return result ? static_cast<int>(with_errno(*result)) : real::sem_timedwait(semaphore, until);
}

int sem_post(sem_t* semaphore) noexcept {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.post(semaphore); });
    return result ? static_cast<int>(with_errno(*result)) : real::sem_post(semaphore);
}

}  // extern "C"
