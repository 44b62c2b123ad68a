// A trace that is also told, in part, to those who watch the run.
#ifndef VIRTUAL_PROJECTOR_LIVE_LIVE_SINK_H
#define VIRTUAL_PROJECTOR_LIVE_LIVE_SINK_H

#include <nlohmann/json_fwd.hpp>

#include "virtual_projector/live/live_run.h"
#include "virtual_projector/trace/trace_sink.h"

namespace vp {

class LiveSink final : public TraceSink {
public:
    /// `file` gets everything; null: there is none. Both must outlive this.
    LiveSink(TraceSink* file, LiveRun& run) : file_(file), run_(run) {}

    void record(const CallRecord& record) override;
    void record_wait(const WaitRecord& record) override;
    void record_callback(const CallbackRecord& record) override;
    void record_return(const CallbackReturn& record) override;
    void record_state(const StateRecord& record) override;
    void record_log(const LogRecord& record) override;
    void record_truth(std::int64_t t_us, const nlohmann::ordered_json& state) override;
    void record_run(const RunRecord& run) override;
    void record_event(std::int64_t t_us, std::string_view what) override;

private:
    TraceSink* file_;
    LiveRun& run_;
};

}  // namespace vp

#endif
