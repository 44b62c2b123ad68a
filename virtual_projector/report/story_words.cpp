#include "virtual_projector/report/story_words.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "virtual_projector/report/library_log_message.h"
#include "virtual_projector/world/microseconds.h"
#include "virtual_projector/world/picture.h"

namespace vp {
namespace {

std::string sharpness(const TruthAt& truth) { return text("%.3f", truth.sharpness); }

std::string side(const TruthAt& truth) {
    return truth.on_wall ? text("%.2f", truth.worst_side_deg()) : "not on the wall";
}

std::string lens(const TruthAt& truth) { return text("%.0f", truth.lens_tmr); }

std::string picture_change(const TruthAt& before, const TruthAt& after) {
    const bool known = before.on_wall || after.on_wall;
    return "sides " + change(side(before), side(after)) + (known ? " deg off" : "");
}

std::string turn_change(const TruthAt& before, const TruthAt& after) {
    return "HDMI picture " + change(turn_in_words(before.hdmi_turn_deg), turn_in_words(after.hdmi_turn_deg)) +
           ", menu " + change(turn_in_words(before.menu_turn_deg), turn_in_words(after.menu_turn_deg));
}

std::string edge(const char* name, int before, int after) {
    return std::string(name) + " edge " + change(std::to_string(before), std::to_string(after));
}

std::string step_words(const LensMoveAt& kind, int steps) {
    return counted(static_cast<std::size_t>(std::abs(steps)), kind.half_steps ? "half step" : "full step") +
           " to the " + side_name(kind.side);
}

// "done: focused", with the time where it belongs: "done by 0.350 s: focused"
std::string verdict(const Request& request, const std::string& when) {
    const std::string& outcome = request.outcome;
    if (!request.ended_us || starts_with(outcome, "refused")) return outcome;
    if (outcome == "done") return outcome + when;
    return (request.failed ? "failed" : "done") + when + ": " + outcome;
}

}  // namespace

std::string text(const char* format, ...) {
    char line[240];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    return line;
}

std::string change(const std::string& before, const std::string& after) {
    return before == after ? after : before + " -> " + after;
}

std::string counted(std::size_t count, const std::string& what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string plain_text(const std::string& line) {
    std::string plain;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] == '\033') {
            while (i < line.size() && line[i] != 'm') ++i;
            continue;
        }
        const auto byte = static_cast<unsigned char>(line[i]);
        plain += byte < 0x20 || byte == 0x7f ? ' ' : line[i];
    }
    const std::size_t last = plain.find_last_not_of(' ');
    return last == std::string::npos ? "" : plain.substr(0, last + 1);
}

std::string beginning_words(const Request& request) {
    if (request.kind == RequestKind::following) return request.what;
    if (request.by == "gravity") return request.what + ", as gravity says";
    if (request.by == "a movement") return request.what + ", asked for after a movement";
    return request.what + ", asked for by " + request.by;
}

std::string before_and_after(const Request& request) {
    const TruthAt& before = request.before;
    const TruthAt& after = request.after;
    const std::string sharp = "sharpness " + change(sharpness(before), sharpness(after));
    const std::string place = "lens at TMR " + change(lens(before), lens(after));
    switch (request.kind) {
        case RequestKind::run:
            return sharp + ", " + picture_change(before, after);
        case RequestKind::keystone:
        case RequestKind::following:
            return picture_change(before, after);
        case RequestKind::manual_focus:
        case RequestKind::lens_limit:
            return place + ", " + sharp;
        case RequestKind::calibration:
            return place;
        case RequestKind::rotation:
            break;
    }
    return turn_change(before, after);
}

std::string end_words(const Request& request) {
    return verdict(request, "") + " (" + before_and_after(request) + ")";
}

std::string whole_words(const Request& request) {
    const std::string when = request.ended_us ? text(" by %.3f s", seconds(*request.ended_us)) : "";
    return beginning_words(request) + "; " + verdict(request, when) + " (" + before_and_after(request) + ")";
}

std::string width_words(const StoryEntry& widths, std::size_t steps) {
    std::string words = "picture: " + edge("top", widths.top_before, widths.top_width) + ", " +
                        edge("bottom", widths.bottom_before, widths.bottom_width) + " pixels wide";
    if (steps > 1) words += ", in " + counted(steps, "step");
    return words;
}

// Each kind of step where it first comes up.
std::string order_words(const std::vector<LensMoveAt>& orders) {
    std::vector<LensMoveAt> sums;
    for (const LensMoveAt& order : orders) {
        const auto same = std::find_if(sums.begin(), sums.end(), [&order](const LensMoveAt& sum) {
            return sum.side == order.side && sum.half_steps == order.half_steps;
        });
        if (same == sums.end()) {
            sums.push_back(order);
        } else {
            same->steps += order.steps;
        }
    }
    std::string words = "lens: ";
    for (const LensMoveAt& sum : sums)
        words += (&sum == &sums.front() ? "" : ", ") + step_words(sum, sum.steps);
    if (orders.size() > 1) words += ", in " + counted(orders.size(), "order");
    return words;
}

std::string toast_name(const CallbackLine& toast) {
    const std::string code = toast.arguments.empty() ? "no code" : std::to_string(toast.arguments[0]);
    return toast.means.empty() ? code : code + ", " + toast.means;
}

std::string fault_words(const CallAt& call) {
    return "planned fault " + std::to_string(call.fault) + ": " + call.fault_did + " (" + call.call + " " +
           call.path + ")";
}

}  // namespace vp
