#include "virtual_projector/clock/turn.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>

namespace vp {
namespace {

static_assert(sizeof(std::atomic<std::uint32_t>) == sizeof(std::uint32_t), "the kernel looks at the bare word");

void futex(std::atomic<std::uint32_t>& word, int operation, std::uint32_t value,
           const timespec* limit = nullptr) {
    (void)::syscall(SYS_futex, &word, operation, value, limit, nullptr, 0);
}

}  // namespace

void Turn::give() {
    given_.store(1, std::memory_order_release);
    futex(given_, FUTEX_WAKE_PRIVATE, 1);
}

void Turn::await() {
    while (given_.exchange(0, std::memory_order_acquire) == 0) futex(given_, FUTEX_WAIT_PRIVATE, 0);
}

bool Turn::await_for(std::chrono::milliseconds length) {
    const auto end = std::chrono::steady_clock::now() + length;
    while (given_.exchange(0, std::memory_order_acquire) == 0) {
        const auto left = end - std::chrono::steady_clock::now();
        if (left.count() <= 0) return false;
        const timespec limit = {0, std::min<long>(static_cast<long>(left.count()), 50'000'000)};
        futex(given_, FUTEX_WAIT_PRIVATE, 0, &limit);
    }
    return true;
}

}  // namespace vp
