// What was asked of the library in a run, by whom, and what came of it.
//
// The host asks by flags and by calls; the library asks itself after a movement. Where a request begins and
// where it ends is read from the library's flags and from its log, whichever of the two says so first.
#ifndef VIRTUAL_PROJECTOR_REPORT_REQUESTS_H
#define VIRTUAL_PROJECTOR_REPORT_REQUESTS_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "virtual_projector/report/trace_reader.h"

namespace vp {

enum class RequestKind {
    run,           // keystone, then focus
    keystone,      // for a tilt that the host gives
    following,     // keystone again and again while the projector is being moved
    manual_focus,  // the lens by so much, or to a place
    lens_limit,    // the lens to one of its soft limits
    calibration,   // a step of the factory's
    rotation,      // the picture turned, to suit how the projector lies
};

/// "run", "keystone", "following", "manual focus", "lens limit", "calibration" or "rotation".
const char* name_of(RequestKind kind);

struct Request {
    int number = 0;  // from 1, in the order of asking
    RequestKind kind = RequestKind::run;
    std::string what;  // "keystone and focus", "keystone for a tilt of 12 degrees", "lens by hand to TMR -56"
    std::string by;    // "the host", "a movement", "a key", "gravity"
    int thread = 0;    // that carries it out; 0: nobody
    std::int64_t asked_us = 0;
    std::optional<std::int64_t> begun_us;  // none: never
    std::optional<std::int64_t> ended_us;  // none: it was not over when the trace ended
    bool failed = false;                   // or was refused, or was not over
    std::string outcome;                   // "squared for a tilt of 12 degrees, focused"; never empty
    std::vector<CallbackLine> toasts;      // that the host was sent meanwhile
    TruthAt before;                        // when it was asked
    TruthAt after;                         // when it had ended and the lens had settled, or at the trace's end
};

/// Finds the requests while a trace's records pass by.
class RequestFinder : public TraceVisitor {
public:
    RequestFinder();
    ~RequestFinder() override;

    void take_truth(const TruthAt& truth) override;
    void take_event(const EventAt& event) override;
    void take_call(const CallAt& call) override;
    void take_callback(const CallbackLine& callback) override;
    void take_state(const StateLine& state) override;
    void take_log(const LogLine& log) override;

    /// The number of the request that this thread carries out at this point of the trace; 0: none.
    int current_on(int thread) const;
    /// The same of the thread that was heard of last.
    int current() const;

    /// All of them, once the trace has ended. One that is not over tells how far it came.
    std::vector<Request> finish();

private:
    class Work;
    std::unique_ptr<Work> work_;
};

/// The requests of a trace file. Throws TraceError as read_trace() does.
std::vector<Request> find_requests(const std::string& trace_path);

}  // namespace vp

#endif
