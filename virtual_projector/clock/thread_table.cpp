#include "virtual_projector/clock/thread_table.h"

#include <cstdio>

namespace vp {
namespace {

std::string format_wait(const Wait& wait, const HeldObjects& held) {
    const std::string what = wait.what.empty() ? "" : " " + wait.what;
    switch (wait.kind) {
        case Wait::Kind::sleep:
            return "sleep";
        case Wait::Kind::read_write_lock:
            return "read-write lock" + what;
        case Wait::Kind::semaphore:
            return "semaphore" + what;
        case Wait::Kind::condition:
            return "condition" + what;
        case Wait::Kind::join:
            return "end of" + what;
        case Wait::Kind::device:
            return "device" + what;
        case Wait::Kind::mutex:
            break;
    }
    const ScheduledThread* const holder = held.holder_of(wait.object);
    if (holder == nullptr) return "mutex" + what + ", held by no known thread";
    return "mutex" + what + ", held by " + std::to_string(holder->number) + " " + holder->title();
}

}  // namespace

std::string format_seconds(Microseconds time) {
    char text[32];
    std::snprintf(text, sizeof text, "%lld.%06lld s", static_cast<long long>(time / microseconds_per_second),
                  static_cast<long long>(time % microseconds_per_second));
    return text;
}

std::string format_thread(const ScheduledThread& thread, const HeldObjects& held) {
    char number[16];
    std::snprintf(number, sizeof number, "%4d  ", thread.number);
    const std::string line = number + thread.title() + ": ";
    if (thread.state == ScheduledThread::State::running) return line + "runs\n";
    if (thread.state == ScheduledThread::State::ready) return line + "its turn\n";
    const bool for_ever = thread.deadline == no_deadline;
    return line + format_wait(thread.reason, held) + ", since " + format_seconds(thread.since) +
           (for_ever ? ", no deadline" : ", until " + format_seconds(thread.deadline)) + "\n";
}

}  // namespace vp
