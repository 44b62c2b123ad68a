// The data of a run's page: one JSON object, made while a trace's records pass by.
//
//     {"format":1, "title":"…", "run":<the run record's>, "command":"virtual-projector …", "end_us":N,
//      "signals":[{"name":"truth.lens_tmr","unit":"TMR","about":"…","t":[us…],"v":[number or null…]}, …],
//      "outlines":{"t":[us…],"xz":[[[x,z] ×4: top left, top right, bottom right, bottom left; or []]…]},
//      "zones":{"t":[us…],"sensed_mm":[[4]…],"true_mm":[[4, null: nothing there]…],"quality":[[4]…],
//               "valid":[[4]…]},  each top right, bottom right, top left, bottom left
//      "flags":[{"t":us,"kind":"event|fault|request|toast|refusal|move","text":"…"}],
//      "requests":[{"n":1,"kind":"…","what":"…","by":"…","t":us,"begin":us,"end":us,"failed":false,"outcome":"…",
//                   "before":<truth>,"after":<truth>}],  begin and end null: never
//      "lanes":[{"thread":2,"name":"…","merged_us":0,"slices":[[begin_us,length_us,"wait|call|hold|callback","what"]…]}],
//      "log":[{"t":us,"thread":2,"text":"…"}], "story":["line",…]}
//
// A value holds until the next. Signals are those of report/signals.h. One of more than 200,000 changes
// (gravity over many hours) is thinned: it tells a new value only when that lies farther from the last told one
// than "within", which it has then; else all changes are told, and "within" is left out. Slices of a lane of
// more than 20,000 are made fewer: sleeps and calls of up to "merged_us" that follow each other at once are
// one.
#ifndef VIRTUAL_PROJECTOR_REPORT_PAGE_DATA_H
#define VIRTUAL_PROJECTOR_REPORT_PAGE_DATA_H

#include <memory>
#include <string>
#include <vector>

#include "virtual_projector/report/trace_reader.h"

namespace vp {

class PageDataCollector : public TraceVisitor {
public:
    PageDataCollector();
    ~PageDataCollector() override;

    void take_run(const RunRecord& run) override;
    void take_truth(const TruthAt& truth) override;
    void take_event(const EventAt& event) override;
    void take_wear(std::int64_t t_us, const WearAccount& wear) override;
    void take_call(const CallAt& call) override;
    void take_callback(const CallbackLine& callback) override;
    void take_return(const ReturnLine& end) override;
    void take_state(const StateLine& state) override;
    void take_log(const LogLine& log) override;

    /// The object as text, once the trace has ended.
    std::string finish(const std::string& title, const std::vector<std::string>& story);

private:
    class Work;
    std::unique_ptr<Work> work_;
};

/// The same of a trace file, "-" for standard input. Throws TraceError.
std::string page_data_of(const std::string& trace_path, const std::string& title,
                         const std::vector<std::string>& story);

}  // namespace vp

#endif
