#include "virtual_projector/interpose/process_role.h"

#include <atomic>

#include "virtual_projector/clock/reentrancy_guard.h"
#include "virtual_projector/devices/device.h"

namespace vp {
namespace {

std::atomic<ProcessRole*> present{nullptr};

}  // namespace

ProcessRole* ProcessRole::current() { return present.load(std::memory_order_acquire); }

void ProcessRole::set_current(ProcessRole* role) { present.store(role, std::memory_order_release); }

bool may_open(const char* path) {
    ProcessRole* const role = ProcessRole::current();
    if (role == nullptr || path == nullptr || ReentrancyGuard::is_active()) return true;
    return !DeviceTable::is_board_path(path) || role->may_use_board();
}

}  // namespace vp
