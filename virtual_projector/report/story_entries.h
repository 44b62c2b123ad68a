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
#include "virtual_projector/report/trace_reader.h"

namespace vp {

enum class EntryKind {
    event,    // of the scenario
    fault,    // a planned one that hit
    refused,  // by the library, or a toast that tells so
    toast,
    turn,     // of the picture, as a viewer sees it
    request,  // its beginning
    chosen,
    lens,
    width,
    seen,
    detail,
    failure,  // of a call on a node
    log,      // a line of the library's own
    ending,   // of a request
};

struct StoryEntry {
    std::optional<std::int64_t> t_us;  // none: nobody knows
    int request = 0;                   // that it belongs to; 0: none
    EntryKind kind = EntryKind::detail;
    std::string text;
    bool failed = false;     // a request: it has
    std::string whole_text;  // a request: with its ending

    // So that several of a kind can be told as one:
    LensMoveAt move;    // of a lens
    int top_width = 0;  // of a width: after it
    int bottom_width = 0;
    int top_before = 0;
    int bottom_before = 0;
};

/// Writes down the entries while a trace's records pass by.
class EntryCollector : public TraceVisitor {
public:
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
    bool has_log_ = false;
};

}  // namespace vp

#endif
