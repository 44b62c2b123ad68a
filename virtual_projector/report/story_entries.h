// What there is to tell of a run, one entry for each thing, in order of time.
#ifndef VIRTUAL_PROJECTOR_REPORT_STORY_ENTRIES_H
#define VIRTUAL_PROJECTOR_REPORT_STORY_ENTRIES_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "virtual_projector/report/library_log.h"
#include "virtual_projector/report/requests.h"
#include "virtual_projector/report/story_entry.h"
#include "virtual_projector/report/trace_reader.h"

namespace vp {

/// Writes down the entries while a trace's records pass by.
class EntryCollector : public TraceVisitor {
public:
    /// With entries for the library's own log lines as well, or without.
    explicit EntryCollector(bool keeps_log) : keeps_log_(keeps_log) {}

    void take_truth(const TruthAt& truth) override;
    void take_event(const EventAt& event) override;
    void take_call(const CallAt& call) override;
    void take_callback(const CallbackLine& callback) override;
    void take_state(const StateLine& state) override;
    void take_log(const LogLine& log) override;

    /// Log lines of which only the order is known.
    void take_log_without_times(const std::vector<std::string>& lines);
    bool has_log() const { return has_log_; }

    /// All of them, once the trace has ended, with each request's beginning and end in their places.
    std::vector<StoryEntry> finish();

private:
    StoryEntry& add(std::optional<std::int64_t> t_us, int request, EntryKind kind, const std::string& text);
    void add_motor_order(const CallAt& call);
    void add_failure(const CallAt& call);
    void add_turn(const TruthAt& before, const TruthAt& now);
    void add_widths(const TruthAt& before, const TruthAt& now);
    void add_words(const LogWords& words, std::optional<std::int64_t> t_us, int request);
    void add_unsent_toast(int thread);

    RequestFinder finder_;
    std::vector<StoryEntry> entries_;
    std::map<int, LogFormatter> formatters_;  // by thread
    std::map<int, std::int64_t> unsent_;      // by thread: when its log spoke of a toast that has not come yet
    std::map<std::string, double> switches_;
    std::optional<TruthAt> truth_;
    std::int64_t end_us_ = 0;
    bool half_steps_ = false;
    bool keeps_log_;
    bool has_log_ = false;
};

}  // namespace vp

#endif
