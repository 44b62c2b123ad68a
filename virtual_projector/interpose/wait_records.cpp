#include "virtual_projector/interpose/wait_records.h"

#include "virtual_projector/clock/scheduled_thread.h"

namespace vp {
namespace {

// A call's duration, or that of a lock, tells of these when they have ended; a sleep is told when it begins.
bool is_told_by_its_call(Wait::Kind kind) {
    return kind == Wait::Kind::sleep || kind == Wait::Kind::mutex || kind == Wait::Kind::device;
}

bool is_for_an_object(Wait::Kind kind) {
    switch (kind) {
        case Wait::Kind::mutex:
        case Wait::Kind::read_write_lock:
        case Wait::Kind::spin_lock:
        case Wait::Kind::semaphore:
        case Wait::Kind::condition:
        case Wait::Kind::barrier:
            return true;
        default:
            return false;
    }
}

}  // namespace

void WaitRecords::begin() {
    if (!recorder_.is_on()) return;
    scheduler_.on_wait_end([this](const ScheduledThread& thread) { record_ended(thread); });
}

void WaitRecords::record_unended() {
    if (!recorder_.is_on()) return;
    scheduler_.show_waiting([this](const ScheduledThread& thread) { record_unended_of(thread); });
}

// Whoever looks many times says itself how that ended.
void WaitRecords::record_ended(const ScheduledThread& thread) {
    const Wait& wait = thread.reason;
    if (is_told_by_its_call(wait.kind) || wait.since) return;
    recorder_.record_wait(wait.kind, path_of(wait), thread.since, thread.end);
}

void WaitRecords::record_unended_of(const ScheduledThread& thread) {
    if (thread.reason.kind != Wait::Kind::sleep) recorder_.record_unended_wait(thread, path_of(thread.reason));
}

std::string WaitRecords::path_of(const Wait& wait) {
    if (wait.recorded_as) return *wait.recorded_as;
    if (!wait.what.empty() || !is_for_an_object(wait.kind)) return wait.what;
    return names_.name_of(wait.object, name_of(wait.kind));
}

}  // namespace vp
