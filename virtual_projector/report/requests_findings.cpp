#include "virtual_projector/report/requests_findings.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "virtual_projector/report/library_log_message.h"

namespace vp {
namespace {

struct Trouble {
    const char* message;
    const char* words;
};

// The first one that a message contains counts.
constexpr std::array<Trouble, 18> troubles = {{
    {"manu focus error: have not benn calibrated", "refused: auto-focus is off"},
    {"manu focus error: motor_tmr_read failed", "the lens sensor gives no reading"},
    {"auto fucos error: move far away", "nothing is in the ToF sensor's range"},
    {"auto fucos error: get tof distance failed", "the ToF sensor gives no distance"},
    {"auto fucos error: manufocusTargetTMR failed", "the lens did not get there"},
    {"auto focus time out", "the lens did not settle"},
    {"MOTOR RUNNING TIME OUT", "the motor did not stop"},
    {"motor iic error", "the lens sensor gives no reading"},
    {"keystone error: vAngle > 90", "the gravity sensor's tilt makes no sense"},
    {"VKeystone: varnel_thread_setDLPKeystone fail", "there is no memory for the keystone"},
    {"MOTOR_IDLE_DIST NG", "the lens sensor did not follow 15 motor steps"},
    {"peak not found", "there is no sharpness peak"},
    {"permanent_data_write error", "the record could not be written"},
    {"write_cali_flag error", "the record could not be written"},
    {"hudi_flash_otp_write fail", "the record could not be written"},
    {"Calibration failed", "the ToF sensor could not be calibrated"},
    {"Unable to read TOF angle", "the ToF sensor gives no tilt"},
    {"projection exceeds 3000mm, stop keystone", "the wall is too far away"},
}};

constexpr std::array<int, 5> failing_toasts = {2, 5, 9, 10, 11};

std::string with_number(const char* before, int number, const char* after) {
    return before + std::to_string(number) + after;
}

// "a, b": what there is of both.
std::string joined(const std::string& a, const std::string& b) {
    return a.empty() || b.empty() ? a + b : a + ", " + b;
}

}  // namespace

bool tells_failure(const CallbackLine& toast) {
    if (toast.arguments.empty()) return false;
    const auto is_its_code = [&toast](int code) { return toast.arguments[0] == code; };
    return std::any_of(failing_toasts.begin(), failing_toasts.end(), is_its_code);
}

void Findings::take(const std::string& message) {
    for (const Trouble& trouble : troubles) {
        if (!contains(message, trouble.message)) continue;
        trouble_ = trouble.words;
        return;
    }
    take_picture(message);
    take_lens(message);
    take_calibration(message);
    take_following(message);
}

void Findings::take_picture(const std::string& message) {
    LogNumbers n{};
    if (read_numbers(message, "halg = %*f, valg = %d", 1, n)) tilt_deg_ = n[0];
    if (starts_with(message, "use gsensor vAngle")) by_gravity_ = true;
    if (starts_with(message, "VKeystone success")) squared_ = true;
    if (starts_with(message, "VKeystone: get_tof_angle fail")) not_squared_ = true;
}

void Findings::take_lens(const std::string& message) {
    LogNumbers n{};
    if (read_numbers(message, "curTMRIndex = %d, targetTMRIndex = %d", 2, n)) {
        measures_focus_ = true;
        stood_there_ = n[0] == n[1];
    }
    if (starts_with(message, "auto focus completed") || starts_with(message, "manul focus completed"))
        focused_ = true;
    if (starts_with(message, "manu focus out of range: g_limitRight")) stopped_ = "stopped at the right limit";
    if (starts_with(message, "manu focus out of range: g_limitLeft")) stopped_ = "stopped at the left limit";
}

void Findings::take_calibration(const std::string& message) {
    LogNumbers n{};
    if (read_numbers(message, "direction = %d", 1, n))
        result_ = n[0] == 1 ? "its readings are to be negated" : "its readings count as they are";
    if (read_numbers(message, "count = %d, afterTMR = %d", 2, n))
        result_ = with_number("the lens followed at step ", n[0], "");
    if (read_numbers(message, "leftLimit %d, rightLimit %d", 2, n))
        result_ = with_number("25 places between the limits ", n[0], with_number(" and ", n[1], "").c_str());
    if (read_numbers(message, "peek step = %d", 1, n)) result_ = with_number("it is at TMR ", n[0], "");
    if (starts_with(message, "Calibration successfully")) result_ = "done";
}

void Findings::take_following(const std::string& message) {
    if (starts_with(message, "tof stable and exit keystone")) result_ = "the distance is steady";
}

// "squared for a tilt of 12 degrees (gravity)"
std::string Findings::picture_words() const {
    if (squared_ && tilt_deg_) {
        return with_number("squared for a tilt of ", *tilt_deg_,
                           by_gravity_ ? " degrees by gravity" : " degrees");
    }
    return not_squared_ ? "not squared" : "";
}

std::string Findings::lens_words() const {
    if (focused_) return "focused";
    return measures_focus_ && stood_there_ && trouble_.empty() ? "in focus already" : "";
}

Outcome Findings::outcome_of_run(const std::vector<CallbackLine>& toasts) const {
    Outcome outcome;
    outcome.words = joined(picture_words(), lens_words());
    const auto refused = std::find_if(toasts.begin(), toasts.end(), tells_failure);
    outcome.failed = !trouble_.empty() || refused != toasts.end();
    if (!outcome.failed) return outcome;
    const std::string why = !trouble_.empty() ? trouble_ : refused->means;
    outcome.words = joined(outcome.words, focused_ ? why : "not focused: " + why);
    return outcome;
}

Outcome Findings::outcome(RequestKind kind, const std::vector<CallbackLine>& toasts) const {
    Outcome outcome;
    switch (kind) {
        case RequestKind::run:
            outcome = outcome_of_run(toasts);
            break;
        case RequestKind::manual_focus:
        case RequestKind::lens_limit:
            outcome = {!focused_, focused_ ? (stopped_.empty() ? "done" : stopped_) : trouble_};
            break;
        case RequestKind::following:
        case RequestKind::calibration:
            outcome = {!trouble_.empty(), trouble_.empty() ? result_ : trouble_};
            if (outcome.words.empty() && kind == RequestKind::calibration) outcome.words = "done";
            break;
        case RequestKind::keystone:
        case RequestKind::rotation:
            outcome = {!trouble_.empty(), trouble_.empty() ? "done" : trouble_};
            break;
    }
    if (outcome.words.empty()) outcome.words = outcome.failed ? "ended without a reason" : "nothing to do";
    return outcome;
}

}  // namespace vp
