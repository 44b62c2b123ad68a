#include "virtual_projector/interpose/machine.h"

#include <atomic>

#include "virtual_projector/clock/own_work.h"

namespace vp {
namespace {

std::atomic<Machine*> installed{nullptr};

}  // namespace

Machine::Machine(Clock& clock, DeviceTable& devices, FaultPlan& faults, TraceSink* sink)
    : clock_(clock),
      recorder_(clock, sink),
      files_(clock, devices, faults, recorder_),
      time_(clock, recorder_),
      polls_(clock, time_),
      threads_(clock, faults, recorder_) {
    if (VirtualClock* scheduler = clock.scheduler()) locks_ = std::make_unique<ThreadLocks>(*scheduler, time_);
}

Machine::~Machine() { uninstall(); }

void Machine::install() {
    const OwnWork own;
    threads_.adopt_current();
    installed.store(this, std::memory_order_release);
}

void Machine::uninstall() {
    const OwnWork own;
    Machine* self = this;
    if (!installed.compare_exchange_strong(self, nullptr)) return;
    threads_.forget_current();
}

bool Machine::serves_this_thread() const { return clock_.scheduler() == nullptr || threads_.knows_current(); }

Machine* Machine::active() {
    Machine* machine = installed.load(std::memory_order_acquire);
    if (machine == nullptr || OwnWork::in_progress() || !machine->serves_this_thread()) return nullptr;
    return machine;
}

}  // namespace vp
