// The data of a run's page: one JSON object.
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

#include <string>
#include <vector>

#include "virtual_projector/report/run_data.h"

namespace vp {

/// The object as text. `title` is the scenario's one line or what the run is to be called.
std::string page_data(const RunData& run, const std::string& title, const std::vector<std::string>& story);

}  // namespace vp

#endif
