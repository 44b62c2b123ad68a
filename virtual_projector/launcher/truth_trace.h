// The world's truth in the trace: as it changes, at intervals and after each call that changes lens or
// picture.
#ifndef VIRTUAL_PROJECTOR_LAUNCHER_TRUTH_TRACE_H
#define VIRTUAL_PROJECTOR_LAUNCHER_TRUTH_TRACE_H

#include <functional>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "virtual_projector/trace/records.h"
#include "virtual_projector/trace/trace_sink.h"
#include "virtual_projector/world/world.h"

namespace vp {

/// The truth as it stands in a trace, rounded so that the last bits of a float make no difference.
TruthRecord record_of(const Truth& truth);

/// What is known of the way on which the motor is taking the lens.
struct LensCourse {
    std::function<std::vector<Microseconds>()>
        bends;                                       // times to come at which it begins to move, turns or stops
    std::function<Truth(Microseconds at)> truth_at;  // not earlier than the last time that was asked for
};

class TruthTrace final : public TraceSink {
public:
    /// `truth` gives the truth now. `sink` gets everything and must outlive this.
    TruthTrace(TraceSink& sink, std::function<Truth()> truth);

    /// From now on there is a truth for each bend of the lens's way.
    void follow_lens(LensCourse course) { course_ = std::move(course); }

    /// To be called before the world is changed from outside: what it did until now goes first.
    void before_change(std::int64_t t_us) { pass_bends(t_us); }

    void record(const CallRecord& record) override;
    void record_wait(const WaitRecord& record) override;
    void record_callback(const CallbackRecord& record) override { sink_.record_callback(record); }
    void record_return(const CallbackReturn& record) override { sink_.record_return(record); }
    void record_state(const StateRecord& record) override { sink_.record_state(record); }
    void record_log(const LogRecord& record) override { sink_.record_log(record); }
    void record_truth(std::int64_t t_us, const nlohmann::ordered_json& state) override;
    void record_event(std::int64_t t_us, std::string_view what) override;

    /// To be called as time goes by; looks at the truth ten times a second, and records it when it is another
    /// than the last one, or a minute has passed.
    void time_is(std::int64_t t_us);

    /// Records the truth now.
    void record_now(std::int64_t t_us);

private:
    void pass_bends(std::int64_t t_us);
    void look_for_bends();
    void record_change(std::int64_t t_us);  // unless it is the truth that was written last
    void write(std::int64_t t_us, const TruthRecord& state);

    TraceSink& sink_;
    std::function<Truth()> truth_;
    std::int64_t looked_us_ = -1;
    std::int64_t written_us_ = -1;  // never
    TruthRecord written_;
    LensCourse course_;
    std::vector<Microseconds> bends_;  // to come, the next one last
};

}  // namespace vp

#endif
