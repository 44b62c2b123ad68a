#include "virtual_projector/interpose/futexes.h"

#include <linux/futex.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "virtual_projector/interpose/object_names.h"
#include "virtual_projector/interpose/real_calls.h"
#include "virtual_projector/interpose/timeouts.h"

namespace vp {
namespace {

int flags_of(const FutexCall& call) { return call.operation & FUTEX_PRIVATE_FLAG; }

std::uint32_t value_of(const std::uint32_t* word) { return __atomic_load_n(word, __ATOMIC_SEQ_CST); }

// What is no word is the kernel's to refuse.
bool is_word(const std::uint32_t* word) {
    return word != nullptr && reinterpret_cast<std::uintptr_t>(word) % sizeof *word == 0;
}

// Under the guard errno stays as it was.
long wake_in_kernel(std::uint32_t* word, std::uint32_t count, std::uint32_t bits, int flags) {
    const long woken = real::syscall(SYS_futex, word, FUTEX_WAKE_BITSET | flags, count, nullptr, nullptr, bits);
    return std::max<long>(woken, 0);
}

// The second word's operation, its comparison and their arguments, packed into one number.
struct WakeOperation {
    explicit WakeOperation(std::uint32_t packed)
        : operation(static_cast<int>(packed >> 28 & 7)),
          is_shift((packed >> 31) != 0),
          comparison(static_cast<int>(packed >> 24 & 15)),
          argument(sign_extended(packed >> 12 & 0xfff)),
          compared(sign_extended(packed & 0xfff)) {}

    static int sign_extended(std::uint32_t twelve_bits) {
        return static_cast<int>(twelve_bits ^ 0x800) - 0x800;
    }

    bool is_known() const { return operation <= FUTEX_OP_XOR && comparison <= FUTEX_OP_CMP_GE; }

    // The word's value before.
    std::uint32_t apply(std::uint32_t* word) const {
        const auto by = is_shift ? std::uint32_t{1} << (argument & 31) : static_cast<std::uint32_t>(argument);
        switch (operation) {
            case FUTEX_OP_SET:
                return __atomic_exchange_n(word, by, __ATOMIC_SEQ_CST);
            case FUTEX_OP_ADD:
                return __atomic_fetch_add(word, by, __ATOMIC_SEQ_CST);
            case FUTEX_OP_OR:
                return __atomic_fetch_or(word, by, __ATOMIC_SEQ_CST);
            case FUTEX_OP_ANDN:
                return __atomic_fetch_and(word, ~by, __ATOMIC_SEQ_CST);
            default:
                return __atomic_fetch_xor(word, by, __ATOMIC_SEQ_CST);
        }
    }

    bool holds_of(std::uint32_t before) const {
        const int value = static_cast<int>(before);
        switch (comparison) {
            case FUTEX_OP_CMP_EQ:
                return value == compared;
            case FUTEX_OP_CMP_NE:
                return value != compared;
            case FUTEX_OP_CMP_LT:
                return value < compared;
            case FUTEX_OP_CMP_LE:
                return value <= compared;
            case FUTEX_OP_CMP_GT:
                return value > compared;
            default:
                return value >= compared;
        }
    }

    int operation;
    bool is_shift;
    int comparison;
    int argument;
    int compared;
};

}  // namespace

bool Futexes::is_wait(int operation) {
    const int command = operation & FUTEX_CMD_MASK;
    return command == FUTEX_WAIT || command == FUTEX_WAIT_BITSET;
}

std::optional<long> Futexes::call(const FutexCall& call) {
    if (!is_word(call.word)) return std::nullopt;
    switch (call.operation & FUTEX_CMD_MASK) {
        case FUTEX_WAIT:
            return wait(call, FUTEX_BITSET_MATCH_ANY);
        case FUTEX_WAIT_BITSET:
            return wait(call, call.third_value);
        case FUTEX_WAKE:
            scheduler_.touch();
            return wake(call.word, call.value, FUTEX_BITSET_MATCH_ANY, flags_of(call));
        case FUTEX_WAKE_BITSET:
            scheduler_.touch();
            if (call.third_value == 0) return -EINVAL;
            return wake(call.word, call.value, call.third_value, flags_of(call));
        case FUTEX_WAKE_OP:
            if (!is_word(call.second_word)) return std::nullopt;
            return wake_after_operation(call);
        case FUTEX_REQUEUE:
        case FUTEX_CMP_REQUEUE:
            if (!is_word(call.second_word)) return std::nullopt;
            return requeue(call);
        default:
            return std::nullopt;
    }
}

// --- Waits -------------------------------------------------------------------------------------------------

// A plain wait is given a length; one with bits is given a time, on the clock that its flag names.
std::optional<Microseconds> Futexes::deadline_of(const FutexCall& call) const {
    if (call.timeout == nullptr) return no_deadline;
    if (!is_valid_length(*call.timeout)) return std::nullopt;
    if ((call.operation & FUTEX_CMD_MASK) == FUTEX_WAIT) return waits_.now() + length_of(*call.timeout);
    const bool on_wall_clock = (call.operation & FUTEX_CLOCK_REALTIME) != 0;
    return time_.to_virtual(on_wall_clock ? CLOCK_REALTIME : CLOCK_MONOTONIC, bounded(*call.timeout));
}

long Futexes::wait(const FutexCall& call, std::uint32_t bits) {
    scheduler_.touch();
    const std::optional<Microseconds> deadline = deadline_of(call);
    if (!deadline || bits == 0) return -EINVAL;
    return wait_until(call, bits, *deadline);
}

long Futexes::wait_until(const FutexCall& call, std::uint32_t bits, Microseconds deadline) {
    for (;;) {
        if (value_of(call.word) != call.value) return -EAGAIN;
        Waiter self{call.word, bits};
        waiters_[call.word].push_back(&self);
        const WaitEnd end = waits_.wait({Wait::Kind::futex, &self, name_of_object(call.word)}, deadline);
        if (self.is_woken) return 0;  // even when its time has come at the same moment
        leave(self);
        if (end == WaitEnd::timed_out) return -ETIMEDOUT;
        if (end == WaitEnd::interrupted && !waits_.is_to_restart()) return -EINTR;
    }
}

void Futexes::leave(Waiter& waiter) {
    const auto found = waiters_.find(waiter.word);
    if (found == waiters_.end()) return;
    Waiters& queue = found->second;
    queue.erase(std::remove(queue.begin(), queue.end(), &waiter), queue.end());
    if (queue.empty()) waiters_.erase(found);
}

// --- Wakes -------------------------------------------------------------------------------------------------

long Futexes::wake(std::uint32_t* word, std::uint32_t count, std::uint32_t bits, int flags) {
    count = std::max(count, 1U);  // as the kernel takes it
    const long woken = wake_known(word, count, bits);
    if (woken >= static_cast<long>(count)) return woken;
    const auto rest = count - static_cast<std::uint32_t>(woken);
    return woken + wake_in_kernel(word, rest, bits, flags);
}

long Futexes::wake_known(const std::uint32_t* word, std::uint32_t count, std::uint32_t bits) {
    const auto found = waiters_.find(word);
    if (found == waiters_.end()) return 0;
    Waiters& queue = found->second;
    long woken = 0;
    for (auto waiting = queue.begin(); waiting != queue.end() && woken < static_cast<long>(count);) {
        Waiter& waiter = **waiting;
        if ((waiter.bits & bits) == 0) {
            ++waiting;
            continue;
        }
        waiting = queue.erase(waiting);
        waiter.is_woken = true;
        (void)scheduler_.wake_one(&waiter);
        ++woken;
    }
    if (queue.empty()) waiters_.erase(found);
    return woken;
}

long Futexes::wake_after_operation(const FutexCall& call) {
    scheduler_.touch();
    const WakeOperation operation(call.third_value);
    if (!operation.is_known()) return -ENOSYS;
    const std::uint32_t before = operation.apply(call.second_word);
    long woken = wake(call.word, call.value, FUTEX_BITSET_MATCH_ANY, flags_of(call));
    if (operation.holds_of(before))
        woken += wake(call.second_word, call.second_value, FUTEX_BITSET_MATCH_ANY, flags_of(call));
    return woken;
}

// Some are woken, others wait from now on for the second word. The result counts both.
long Futexes::requeue(const FutexCall& call) {
    scheduler_.touch();
    const bool is_compared = (call.operation & FUTEX_CMD_MASK) == FUTEX_CMP_REQUEUE;
    if (is_compared && value_of(call.word) != call.third_value) return -EAGAIN;
    const long woken = wake_known(call.word, call.value, FUTEX_BITSET_MATCH_ANY);
    const std::uint32_t moved = move_known(call.word, call.second_word, call.second_value);
    const long in_kernel = real::syscall(
        SYS_futex, call.word, FUTEX_REQUEUE | flags_of(call), call.value - static_cast<std::uint32_t>(woken),
        static_cast<unsigned long>(call.second_value - moved), call.second_word, 0);
    return woken + moved + std::max<long>(in_kernel, 0);
}

std::uint32_t Futexes::move_known(const std::uint32_t* from, const std::uint32_t* to, std::uint32_t count) {
    std::uint32_t moved = 0;
    while (moved < count && from != to) {
        const auto found = waiters_.find(from);
        if (found == waiters_.end()) return moved;
        Waiter* const waiter = found->second.front();
        leave(*waiter);
        waiter->word = to;
        waiters_[to].push_back(waiter);
        ++moved;
    }
    return moved;
}

}  // namespace vp
