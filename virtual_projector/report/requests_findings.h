// What the library's log says of one request while it is being carried out, and the words for how it ended.
#ifndef VIRTUAL_PROJECTOR_REPORT_REQUESTS_FINDINGS_H
#define VIRTUAL_PROJECTOR_REPORT_REQUESTS_FINDINGS_H

#include <optional>
#include <string>
#include <vector>

#include "virtual_projector/report/requests.h"

namespace vp {

struct Outcome {
    bool failed = false;
    std::string words;
};

/// Whether the code of a toast is one that tells the user of something that could not be done.
bool tells_failure(const CallbackLine& toast);

class Findings {
public:
    /// Takes in a message of the thread that carries out the request.
    void take(const std::string& message);

    /// How a request ended of which all that was taken in is known.
    Outcome outcome(RequestKind kind, const std::vector<CallbackLine>& toasts) const;

    int asked_again = 0;  // while it waited to be served

private:
    void take_picture(const std::string& message);
    void take_lens(const std::string& message);
    void take_calibration(const std::string& message);
    void take_following(const std::string& message);
    Outcome outcome_of_run(const std::vector<CallbackLine>& toasts) const;
    std::string picture_words() const;
    std::string lens_words() const;

    std::optional<int> tilt_deg_;
    bool by_gravity_ = false;
    bool squared_ = false;
    bool not_squared_ = false;
    bool measures_focus_ = false;
    bool stood_there_ = false;
    bool focused_ = false;
    std::string stopped_;  // by a limit
    std::string trouble_;  // why it failed; empty: it did not, or does not say
    std::string result_;   // what a calibration found
};

}  // namespace vp

#endif
