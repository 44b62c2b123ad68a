#include "virtual_projector/launcher/run_ends.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <future>
#include <thread>
#include <utility>

#include "virtual_projector/clock/process_end.h"
#include "virtual_projector/clock/reentrancy_guard.h"
#include "virtual_projector/clock/thread_table.h"
#include "virtual_projector/interpose/call_stack.h"

namespace vp {
namespace {

// A host that waits for the library is called back within seconds; the light source is warm after minutes.
constexpr Microseconds longest_idle_us = 3600 * microseconds_per_second;
constexpr std::chrono::seconds longest_finish{5};

std::string stopped_in;
void note_where_stopped() { stopped_in = innermost_function(); }

std::string in_words(double time) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", time);
    return text;
}

// The stopped thread may hold what printing needs.
[[noreturn]] void end_at_once(const std::string& text, int code) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t written = ::write(STDERR_FILENO, text.data() + done, text.size() - done);
        if (written <= 0) break;
        done += static_cast<std::size_t>(written);
    }
    ::_exit(code);
}

}  // namespace

RunEnds::RunEnds(const RunOptions& options, Clock& clock, TurnScheduler* turns, Machine& machine,
                 std::function<void()> finish)
    : options_(options), clock_(clock), turns_(turns), machine_(machine), finish_(std::move(finish)) {
    machine_.on_signal_end([this](int) { finish_(); });
    if (options_.limit_s > 0) end_at(microseconds(options_.limit_s));
    if (turns_ == nullptr) return;
    turns_->read_stacks_with(innermost_function);
    turns_->set_longest_idle(longest_idle_us);
    turns_->on_end([this] { real_limit_reached(); });
    turns_->on_stuck([this](const std::string& text) {
        finish_();
        end_process(text, stuck_exit_code);
    });
}

void RunEnds::watch() {
    if (turns_ == nullptr) return;
    RunWatch::Handlers handlers;
    handlers.turn_lost = [this](const ScheduledThread& thread) { turn_lost(thread); };
    handlers.limit_reached = [this] { real_limit_reached(); };
    handlers.is_excused = [this] {
        return machine_.descriptors().waits_for_person() || (is_excused_ && is_excused_());
    };
    watch_ = std::make_unique<RunWatch>(*turns_, options_.real_limit_s, std::move(handlers));
}

std::string RunEnds::table() const { return turns_ == nullptr ? "" : turns_->table(); }

void RunEnds::end_at(Microseconds time) {
    clock_.at(time, [this, time] { limit_reached(time); });
}

void RunEnds::excuse(std::function<bool()> is_excused) {
    is_excused_ = std::move(is_excused);
    if (turns_ != nullptr) turns_->set_longest_idle(0);
}

void RunEnds::limit_reached(Microseconds limit) {
    if (turns_ != nullptr) turns_->ask_for_places();
    const std::string text = "The limit of " + in_words(vp::seconds(limit)) +
                             " simulated seconds is reached. What each thread does:\n" + table();
    finish_();
    end_process(text, limit_exit_code);
}

// On the watch's own thread, or on the one that has the turn: all others that run are stopped first. Where one
// stands it may hold locks that completing the files needs; that has its time, too.
void RunEnds::real_limit_reached() {
    if (has_reached_real_limit_.test_and_set()) return;
    const bool has_turn = turns_->knows_current_thread();
    for (const ScheduledThread* const running : turns_->all_running()) {
        if (has_turn && running == turns_->running()) continue;
        stopped_in.clear();
        if (RunWatch::stop(running, note_where_stopped)) turns_->note_place(running, stopped_in);
    }
    turns_->ask_for_places();
    const std::string text = "Nothing has happened for " + in_words(options_.real_limit_s) +
                             " real seconds (--real-limit); it is " + format_seconds(clock_.now()) +
                             " in the run. What each thread does:\n" + table();
    std::promise<void> finished;
    std::thread finisher([this, &finished] {
        const ReentrancyGuard guard;
        finish_();
        std::fflush(stdout);
        finished.set_value();
    });
    finisher.detach();
    const bool complete = finished.get_future().wait_for(longest_finish) == std::future_status::ready;
    end_at_once(complete ? text : text + "virtual-projector: its files could not be completed\n",
                real_limit_exit_code);
}

void RunEnds::turn_lost(const ScheduledThread& thread) {
    if (std::exchange(has_lost_turn_, true)) return;
    std::fprintf(stderr,
                 "virtual-projector: thread %d %s has made no call for %d real seconds and has lost its turn; "
                 "this run is no longer deterministic\n",
                 thread.number, thread.title().c_str(), RunWatch::longest_without_call_s);
}

}  // namespace vp
