#include "virtual_projector/interpose/callback_records.h"

#include "virtual_projector/interpose/ask_machine.h"
#include "virtual_projector/interpose/host_tables.h"

namespace vp {
namespace {

class CallbackRecords final : public HostCallObserver {
public:
    Microseconds begins(const HostCall& call) override {
        Microseconds began_us = -1;
        (void)ask_machine([&](Machine& machine) {
            machine.recorder().record_callback(call.name, call.slot, call.arguments, call.means);
            began_us = machine.recorder().now();
            return std::optional<long>();
        });
        return began_us;
    }

    void ends(const char* name, int slot, Microseconds began_us, const std::int32_t* result) override {
        (void)ask_machine([&](Machine& machine) {
            if (result != nullptr || machine.recorder().now() != began_us)
                machine.recorder().record_return(name, slot, began_us, result);
            return std::optional<long>();
        });
    }
};

}  // namespace

void record_host_calls() {
    static CallbackRecords records;
    set_host_call_observer(&records);
}

}  // namespace vp
