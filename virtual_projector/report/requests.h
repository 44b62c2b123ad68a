// What was asked of the library in a run, by whom, and what came of it.
//
// The host asks by flags and by calls; the library asks itself after a movement. Where a request begins and
// where it ends is read from the library's flags and from its log, whichever of the two says so first.
#ifndef VIRTUAL_PROJECTOR_REPORT_REQUESTS_H
#define VIRTUAL_PROJECTOR_REPORT_REQUESTS_H

#include <memory>
#include <string>
#include <vector>

#include "virtual_projector/report/request.h"
#include "virtual_projector/report/trace_reader.h"

namespace vp {

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
