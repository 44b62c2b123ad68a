#include "virtual_projector/clock/turn.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace vp {
namespace {

static_assert(sizeof(std::atomic<std::uint32_t>) == sizeof(std::uint32_t), "the kernel looks at the bare word");

void futex(std::atomic<std::uint32_t>& word, int operation, std::uint32_t value) {
    (void)::syscall(SYS_futex, &word, operation, value, nullptr, nullptr, 0);
}

}  // namespace

void Turn::give() {
    given_.store(1, std::memory_order_release);
    futex(given_, FUTEX_WAKE_PRIVATE, 1);
}

void Turn::await() {
    while (given_.exchange(0, std::memory_order_acquire) == 0) futex(given_, FUTEX_WAIT_PRIVATE, 0);
}

}  // namespace vp
