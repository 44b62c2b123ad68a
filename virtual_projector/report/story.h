// A run in words, for a person: what it was like before, what was seen and chosen, what moved, and what
// it is like now.
#ifndef VIRTUAL_PROJECTOR_REPORT_STORY_H
#define VIRTUAL_PROJECTOR_REPORT_STORY_H

#include <string>
#include <vector>

namespace vp {

struct StorySources {
    std::string title;        // the scenario's one line; may be empty
    std::string trace;        // file
    std::string library_log;  // file; empty: no decisions are shown
    std::string summary;      // file with the run's times
};

/// At most 38 lines: long lists are cut in their middle.
std::vector<std::string> format_story(const StorySources& sources);

}  // namespace vp

#endif
