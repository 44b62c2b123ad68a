// What a run tells, for people: one line of words for each thing that happened.
#ifndef VIRTUAL_PROJECTOR_LIVE_HAPPENINGS_H
#define VIRTUAL_PROJECTOR_LIVE_HAPPENINGS_H

#include <map>
#include <nlohmann/json.hpp>
#include <optional>

#include "virtual_projector/report/library_log.h"

namespace vp {

class Happenings {
public:
    /// A record of the trace as {"t_us":…,"kind":"event|log|toast|failure|fault|state","text":"…"}; of a state
    /// with "values" in place of the text; of the library's log with "log":"seen|chosen|refused|detail".
    /// Nothing for one that tells a person nothing.
    std::optional<nlohmann::ordered_json> of(const nlohmann::ordered_json& record);

private:
    std::optional<nlohmann::ordered_json> of_log(const nlohmann::ordered_json& record);

    std::map<int, LogFormatter> logs_;  // by thread
    std::string last_failure_;
};

}  // namespace vp

#endif
