#include "virtual_projector/interpose/machine.h"

#include <sys/stat.h>

#include <atomic>
#include <nlohmann/json.hpp>
#include <string>

#include "virtual_projector/clock/reentrancy_guard.h"
#include "virtual_projector/interpose/log_lines.h"
#include "virtual_projector/interpose/real_calls.h"
#include "virtual_projector/interpose/watched_library.h"

namespace vp {
namespace {

std::atomic<Machine*> installed{nullptr};

}  // namespace

Machine::Machine(Clock& clock, DeviceTable& devices, FaultPlan& faults, TraceSink* sink)
    : clock_(clock),
      recorder_(clock, sink),
      signals_(clock.scheduler()),
      waits_(clock, signals_),
      signal_waits_(clock, waits_, signals_),
      descriptors_(clock, waits_, signals_, kinds_, children_, recorder_),
      files_(clock, waits_, devices, faults, recorder_),
      time_(clock, waits_, recorder_),
      polls_(clock, time_, waits_, signals_, descriptors_),
      threads_(clock, signals_, faults, recorder_),
      locks_(clock.scheduler(), waits_, time_, object_names_, recorder_),
      wait_records_(clock.scheduler(), object_names_, recorder_),
      timers_(clock, time_, signals_, threads_, kinds_),
      io_(clock, waits_, kinds_, descriptors_, children_, recorder_),
      chance_(clock),
      child_calls_(clock, waits_, signals_, descriptors_, children_, recorder_),
      barriers_(clock.scheduler(), waits_),
      once_calls_(clock.scheduler(), waits_),
      futexes_(clock.scheduler(), waits_, time_),
      system_v_queues_(clock.scheduler(), waits_) {
    threads_.on_end([this] { catch_up(); });
    descriptors_.before_looks([this] { files_.show_readiness(); });
    kinds_.name_nodes_by([this](int descriptor) { return files_.path_of(descriptor); });
}

Machine::~Machine() { uninstall(); }

void Machine::install() {
    const ReentrancyGuard guard;
    kinds_.note_inherited();
    threads_.adopt_current();
    wait_records_.begin();
    if (clock_.is_virtual()) {
        clock_.scheduler().on_idle([this](bool nothing_to_come, bool computes) {
            return descriptors_.look(nothing_to_come, computes);
        });
        signals_.install([this](int signal) {
            if (at_signal_end_) at_signal_end_(signal);
        });
        protected_.insert(signals_.noted_descriptor());
    }
    installed.store(this, std::memory_order_release);
}

void Machine::uninstall() {
    const ReentrancyGuard guard;
    Machine* self = this;
    if (!installed.compare_exchange_strong(self, nullptr)) return;
    wait_records_.end();
    signals_.uninstall();
    files_.let_go();
    threads_.forget_current();
}

void Machine::begin_call() {
    clock_.scheduler().enter_call();
    threads_.call_begins();
    catch_up();
}

void Machine::watch_library() {
    if (!recorder_.is_on()) return;
    watches_library_ = true;
    WatchedLibrary::look_for();
}

void Machine::catch_up() {
    if (!watches_library_) return;
    if (LogLines* const lines = current_log_lines(); lines != nullptr && lines->has_lines()) {
        for (const std::string& line : lines->take()) recorder_.record_log(line);
    }
    const WatchedLibrary* const library = WatchedLibrary::loaded();
    if (library == nullptr) return;
    const WorldLock lock(clock_);
    host_tables_.follow(*library);
    const nlohmann::ordered_json changes = state_watch_.changes(*library);
    if (!changes.empty()) recorder_.record_state(changes);
}

void Machine::end_call() {
    if (clock_.is_virtual() && signals_.has_work()) {
        signals_.hand_out_noted();
        (void)signals_.raise_own();
    }
    threads_.call_ends();
    clock_.scheduler().leave_call();
}

// On the wall clock descriptors wait by themselves, and threads run side by side: nothing is known of any.
void Machine::forget_descriptor(int descriptor) {
    if (!clock_.is_virtual()) return;
    kinds_.forget(descriptor);
    timers_.forget_descriptor(descriptor);
    chance_.forget(descriptor);
}

void Machine::copy_descriptor(int from, int to) {
    forget_descriptor(to);
    files_.forget(to);
    files_.copy(from, to);
    if (!clock_.is_virtual()) return;
    timers_.copy_descriptor(from, to);
    chance_.copy(from, to);
}

std::optional<long> Machine::close_all(unsigned first, unsigned last) {
    for (const int descriptor : open_descriptors()) {
        const auto number = static_cast<unsigned>(descriptor);
        if (number < first || number > last || is_protected(descriptor)) continue;
        forget_descriptor(descriptor);
        if (!files_.close(descriptor)) (void)real::close(descriptor);
    }
    return 0;
}

bool Machine::needs_stream(const char* path) {
    if (DeviceTable::is_board_path(path) || (is_virtual() && ProgramChance::is_source(path))) return true;
    struct stat status {};
    return is_virtual() && ::stat(path, &status) == 0 && S_ISFIFO(status.st_mode);
}

void Machine::protect(const std::vector<int>& descriptors) {
    protected_.insert(descriptors.begin(), descriptors.end());
}

Machine* Machine::active() {
    Machine* machine = installed.load(std::memory_order_acquire);
    if (machine == nullptr || ReentrancyGuard::is_active() ||
        !machine->clock_.scheduler().knows_current_thread())
        return nullptr;
    return machine;
}

}  // namespace vp
