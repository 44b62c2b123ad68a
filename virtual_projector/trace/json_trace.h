// The trace as a file: one JSON object on each line, in the order of events.
#ifndef VIRTUAL_PROJECTOR_TRACE_JSON_TRACE_H
#define VIRTUAL_PROJECTOR_TRACE_JSON_TRACE_H

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "virtual_projector/trace/trace_sink.h"

namespace vp {

/// How much is written; each level holds the one before it.
enum class TraceDetail {
    events,   // events and the world's truth
    changes,  // and calls that may change the board (write, ioctl that does not only read, call,
              // pthread_create), and all failures
    calls,    // and every other call
};

class JsonTrace final : public TraceSink {
public:
    /// Null when the file cannot be made; errno tells why.
    static std::unique_ptr<JsonTrace> to_file(const std::string& path, TraceDetail detail);

    /// Takes the stream over and closes it. Each line is written at once: a trace is wanted most of a run that
    /// does not come to its end.
    JsonTrace(std::FILE* stream, TraceDetail detail);
    ~JsonTrace() override;
    JsonTrace(const JsonTrace&) = delete;
    JsonTrace& operator=(const JsonTrace&) = delete;

    void record(const CallRecord& record) override;
    void record_truth(std::int64_t t_us, const nlohmann::ordered_json& state) override;
    void record_event(std::int64_t t_us, std::string_view what) override;

    /// False when some of the lines could not be written, as on a full disk.
    bool flush();

private:
    void write_line(const nlohmann::ordered_json& line);

    std::FILE* stream_;
    TraceDetail detail_;
};

}  // namespace vp

#endif
