// The data of a run's page: one JSON object.
//
//     {"format":2, "title":"…", "run":<the run record's>, "command":"virtual-projector …", "end_us":N,
//      "signals":[{"name":"truth.lens_tmr","unit":"TMR","about":"…","t":[us…],"v":[number or null…]}, …],
//      "outlines":{"t":[us…],"xz":[[[x,z] ×4: top left, top right, bottom right, bottom left; or []]…]},
//      "zones":{"t":[us…],"sensed_mm":[[4]…],"true_mm":[[4, null: nothing there]…],"quality":[[4]…],
//               "valid":[[4]…]},  each top right, bottom right, top left, bottom left
//      "flags":[{"t":us,"kind":"event|fault|request|toast|refusal|move","text":"…"}],
//      "requests":[{"n":1,"kind":"…","what":"…","by":"…","t":us,"begin":us,"end":us,"failed":false,"outcome":"…",
//                   "before":<truth>,"after":<truth>}],  begin and end null: never
//      "lanes":[{"thread":2,"name":"…","merged_us":0,"slices":[[begin_us,length_us,"wait|call|hold|callback","what"]…]}],
//      "log":[{"t":us,"thread":2,"text":"…"}], "story":["line",…],
//      "parts":{"us":N,"count":N,"labels":[["wait|call|hold|callback","what"]…]}}
//
// A value holds until the next. Signals are those of report/signals.h. One of more than 200,000 changes
// (gravity over many hours) tells only its extremes in each step of "step_us", which it has then; else all
// changes are told, and "step_us" is left out. Slices of a lane of more than 20,000 are made fewer: sleeps and
// calls of up to "merged_us" that follow each other at once are one. Every value and every slice of these
// stands in the parts, which are each "us" long and which a page reads when it shows them; page_parts.h
// describes them. No parts: nothing was too much.
#ifndef VIRTUAL_PROJECTOR_REPORT_PAGE_DATA_H
#define VIRTUAL_PROJECTOR_REPORT_PAGE_DATA_H

#include <string>
#include <vector>

#include "virtual_projector/report/run_data.h"

namespace vp {

struct PageData {
    std::string run;                 // the object as text
    std::vector<std::string> parts;  // each a list as text
};

/// `title` is the scenario's one line or what the run is to be called.
PageData page_data(const RunData& run, const std::string& title, const std::vector<std::string>& story);

/// As one object, which has the parts as "told" in its "parts".
std::string as_one_object(const PageData& data);

}  // namespace vp

#endif
