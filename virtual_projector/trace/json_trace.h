// The trace as a file: one JSON object on each line, in the order of events.
#ifndef VIRTUAL_PROJECTOR_TRACE_JSON_TRACE_H
#define VIRTUAL_PROJECTOR_TRACE_JSON_TRACE_H

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "virtual_projector/files/output_file.h"
#include "virtual_projector/trace/trace_sink.h"

namespace vp {

/// How much is written; each level holds the one before it.
enum class TraceDetail {
    events,   // events, the world's truth, toasts, the library's state and its log
    changes,  // and calls that may change the board (write, ioctl that does not only read, call,
              // pthread_create), all failures and what faults changed, locks and other callbacks
    calls,    // and every other call, and waits
};

class JsonTrace final : public TraceSink {
public:
    /// Null when the file cannot be made; errno tells why.
    static std::unique_ptr<JsonTrace> to_file(const std::string& path, TraceDetail detail);

    /// Each line is written at once: a trace is wanted most of a run that does not come to its end.
    JsonTrace(std::unique_ptr<OutputFile> file, TraceDetail detail);

    /// Called when the first line cannot be written, as on a full disk; no further one is then.
    void on_failure(std::function<void()> handler) { failure_handler_ = std::move(handler); }

    void record(const CallRecord& record) override;
    void record_wait(const WaitRecord& record) override;
    void record_callback(const CallbackRecord& record) override;
    void record_return(const CallbackReturn& record) override;
    void record_state(const StateRecord& record) override;
    void record_log(const LogRecord& record) override;
    void record_truth(std::int64_t t_us, const nlohmann::ordered_json& state) override;
    void record_run(const RunRecord& run) override;
    void record_event(std::int64_t t_us, std::string_view what) override;

    /// What the unit has worn out by: the record before the last truth.
    void record_wear(std::int64_t t_us, const nlohmann::ordered_json& wear);

    /// Ends the file; what is recorded later is lost. False when some of the lines could not be written.
    bool finish();

private:
    bool is_wanted(std::string_view callback) const;
    void write_line(const nlohmann::ordered_json& line);

    std::unique_ptr<OutputFile> file_;
    TraceDetail detail_;
    bool failed_ = false;
    std::function<void()> failure_handler_;
};

}  // namespace vp

#endif
