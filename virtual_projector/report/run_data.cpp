#include "virtual_projector/report/run_data.h"

#include <algorithm>
#include <utility>

namespace vp {
namespace {

std::string words_of(const LensMoveAt& move) {
    return "lens: " + std::to_string(move.steps) + (move.half_steps ? " half step" : " full step") +
           (move.steps == 1 ? "" : "s") + " to the " + side_name(move.side);
}

std::string words_of(const CallbackLine& toast) {
    if (!toast.means.empty()) return toast.means;
    return toast.arguments.empty() ? "a toast" : "toast " + std::to_string(toast.arguments.front());
}

void add_requests(const std::vector<Request>& requests, std::vector<Flag>& flags) {
    for (const Request& request : requests) {
        flags.push_back({request.asked_us, "request", request.what + ", asked for by " + request.by});
        if (request.failed)
            flags.push_back({request.ended_us.value_or(request.asked_us), "refusal",
                             request.what + ": " + request.outcome});
    }
}

std::vector<Flag> flags_of(const TraceContents& contents, const std::vector<Request>& requests) {
    std::vector<Flag> flags;
    for (const EventAt& event : contents.events) flags.push_back({event.t_us, "event", event.what});
    for (const FaultAt& fault : contents.faults)
        flags.push_back({fault.t_us, "fault", fault.what + ": " + fault.did});
    add_requests(requests, flags);
    for (const CallbackLine& callback : contents.callbacks) {
        if (callback.callback == "toast") flags.push_back({callback.t_us, "toast", words_of(callback)});
    }
    for (const LensMoveAt& move : contents.lens_moves) flags.push_back({move.t_us, "move", words_of(move)});
    std::stable_sort(flags.begin(), flags.end(), [](const Flag& a, const Flag& b) { return a.t_us < b.t_us; });
    return flags;
}

}  // namespace

RunCollector::RunCollector(bool with_short_calls) : lanes_(with_short_calls) {
    add(contents_);
    add(signals_);
    add(lanes_);
    add(requests_);
}

RunData RunCollector::finish() {
    RunData run;
    run.contents = std::move(contents_).contents();
    run.requests = requests_.finish();
    lanes_.finish(run.contents.end_us);
    run.signals = signals_.signals();
    run.zones = signals_.zones();
    run.lanes = lanes_.lanes();
    run.slice_names = lanes_.names();
    run.flags = flags_of(run.contents, run.requests);
    return run;
}

}  // namespace vp
