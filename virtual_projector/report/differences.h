// What two runs have in common, and what they have not.
#ifndef VIRTUAL_PROJECTOR_REPORT_DIFFERENCES_H
#define VIRTUAL_PROJECTOR_REPORT_DIFFERENCES_H

#include <string>
#include <vector>

namespace vp {

struct Differences {
    bool is_same = false;
    /// Lines: what differs of what the runs are made of, the first records that differ, what differs in
    /// outcome.
    std::vector<std::string> words;
};

/// Compares two trace files record by record, but for the kinds of records that may differ. "version" lets the
/// runs' programs be of other versions and commits. Throws TraceError.
Differences compare_traces(const std::string& one, const std::string& other,
                           const std::vector<std::string>& ignored_kinds);

/// "version", "run", "call", "callback", "return", "state", "log", "event", "truth" and "wear".
const std::vector<std::string>& ignorable_kinds();
std::string ignorable_kinds_text();

}  // namespace vp

#endif
