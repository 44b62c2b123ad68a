#include "virtual_projector/interpose/machine.h"

#include <atomic>

#include "virtual_projector/clock/reentrancy_guard.h"

namespace vp {
namespace {

std::atomic<Machine*> installed{nullptr};

}  // namespace

Machine::Machine(Clock& clock, DeviceTable& devices, FaultPlan& faults, TraceSink* sink)
    : clock_(clock),
      recorder_(clock, sink),
      files_(clock, devices, faults, recorder_),
      waits_(clock),
      time_(clock, recorder_),
      polls_(clock, time_),
      threads_(clock, faults, recorder_),
      locks_(clock.scheduler(), waits_, time_),
      barriers_(clock.scheduler(), waits_),
      once_calls_(clock.scheduler(), waits_),
      futexes_(clock.scheduler(), waits_, time_),
      system_v_queues_(clock.scheduler(), waits_) {}

Machine::~Machine() { uninstall(); }

void Machine::install() {
    const ReentrancyGuard guard;
    threads_.adopt_current();
    installed.store(this, std::memory_order_release);
}

void Machine::uninstall() {
    const ReentrancyGuard guard;
    Machine* self = this;
    if (!installed.compare_exchange_strong(self, nullptr)) return;
    threads_.forget_current();
}

Machine* Machine::active() {
    Machine* machine = installed.load(std::memory_order_acquire);
    if (machine == nullptr || ReentrancyGuard::is_active() ||
        !machine->clock_.scheduler().knows_current_thread())
        return nullptr;
    return machine;
}

}  // namespace vp
