#include "virtual_projector/clock/thread_table.h"

#include <cstdio>

namespace vp {
namespace {

std::string format_wait(const Wait& wait, const HeldObjects& held) {
    const std::string text = name_of(wait.kind) + (wait.what.empty() ? "" : " " + wait.what);
    if (wait.kind != Wait::Kind::mutex) return text;
    const ScheduledThread* const holder = held.holder_of(wait.object);
    if (holder == nullptr) return text + ", held by no known thread";
    return text + ", held by " + std::to_string(holder->number) + " " + holder->title();
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
    const std::string place = thread.innermost.empty() ? "" : ", in " + thread.innermost;
    switch (thread.state) {
        case ScheduledThread::State::running:
            return line + "runs" + place + "\n";
        case ScheduledThread::State::ready:
            return line + "its turn" + place + "\n";
        case ScheduledThread::State::without_turn:
            return line + "computes without a call since " + format_seconds(thread.since) + place + "\n";
        case ScheduledThread::State::waiting:
        case ScheduledThread::State::finished:
            break;
    }
    const bool for_ever = thread.deadline == no_deadline;
    return line + format_wait(thread.reason, held) + ", since " + format_seconds(thread.since) +
           (for_ever ? ", no deadline" : ", until " + format_seconds(thread.deadline)) + place + "\n";
}

}  // namespace vp
