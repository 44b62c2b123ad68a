#include "virtual_projector/report/story_entries.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <tuple>
#include <utility>

#include "virtual_projector/report/library_log_message.h"
#include "virtual_projector/report/requests_findings.h"
#include "virtual_projector/report/story_words.h"
#include "virtual_projector/world/picture.h"

namespace vp {
namespace {

const std::string motor = "/sys/class/motor/";

// What a failed call means, of those that fail in runs where all is well. Empty: of another one.
std::string meaning_of_failure(const std::string& path) {
    if (path == "/sys/class/dlp/elepn_focus_curve_data") return "the light engine has no focus curve";
    if (path == "nx_isp_lib_init") return "the ToF library refuses the calibration it is given";
    if (path == "nx_angle_cal") return "the ToF library finds no plane";
    return "";
}

std::string turn_words(const TruthAt& truth) {
    const std::string hdmi = turn_in_words(truth.hdmi_turn_deg);
    const std::string menu = turn_in_words(truth.menu_turn_deg);
    if (hdmi == menu) return "the viewer sees the picture " + hdmi;
    return "the viewer sees the HDMI picture " + hdmi + ", the menu " + menu + " unless the host turns it";
}

std::string turn_order_words(const CallbackLine& rotation) {
    constexpr int quarter_deg = 90;
    const int turn_deg = rotation.arguments.empty() ? 0 : quarter_deg * rotation.arguments[0];
    if (turn_deg == 0) return "the host is told that the picture is not turned";
    return "the host is told that the picture is turned by " + std::to_string(turn_deg) + " degrees";
}

EntryKind kind_of(LogKind kind) {
    switch (kind) {
        case LogKind::seen:
            return EntryKind::seen;
        case LogKind::chosen:
            return EntryKind::chosen;
        case LogKind::refused:
            return EntryKind::refused;
        case LogKind::nothing:
        case LogKind::detail:
            break;
    }
    return EntryKind::detail;
}

// Where a request's beginning or end stands among the entries: before the one of this index. Of those at one
// place the ends of requests that began before it come first.
struct Mark {
    std::size_t position = 0;
    int order = 0;
    StoryEntry entry;

    bool operator<(const Mark& other) const {
        return std::tie(position, order) < std::tie(other.position, other.order);
    }
};

std::size_t beginning_of(const Request& request, const std::vector<StoryEntry>& entries) {
    const auto place = std::find_if(entries.begin(), entries.end(), [&request](const StoryEntry& entry) {
        return entry.request == request.number || (entry.t_us && *entry.t_us > request.asked_us);
    });
    return static_cast<std::size_t>(place - entries.begin());
}

std::size_t end_of(const Request& request, const std::vector<StoryEntry>& entries) {
    if (!request.ended_us) return entries.size();
    const auto last = std::find_if(entries.rbegin(), entries.rend(), [&request](const StoryEntry& entry) {
        return entry.request == request.number || !entry.t_us || *entry.t_us < *request.ended_us;
    });
    return static_cast<std::size_t>(entries.rend() - last);
}

StoryEntry beginning_entry(const Request& request) {
    StoryEntry entry;
    entry.t_us = request.asked_us;
    entry.request = request.number;
    entry.kind = EntryKind::request;
    entry.text = beginning_words(request);
    entry.asked = std::make_shared<const Request>(request);
    return entry;
}

StoryEntry end_entry(const Request& request, std::int64_t end_us) {
    StoryEntry entry;
    entry.t_us = request.ended_us.value_or(end_us);
    entry.request = request.number;
    entry.kind = EntryKind::ending;
    entry.text = end_words(request);
    return entry;
}

std::vector<Mark> marks_of(const std::vector<Request>& requests, const std::vector<StoryEntry>& entries,
                           std::int64_t end_us) {
    std::vector<Mark> marks;
    for (const Request& request : requests) {
        const std::size_t from = beginning_of(request, entries);
        const std::size_t to = std::max(from, end_of(request, entries));
        const int order = 2 * request.number;
        marks.push_back({from, order, beginning_entry(request)});
        marks.push_back({to, from == to ? order + 1 : 0, end_entry(request, end_us)});
    }
    std::sort(marks.begin(), marks.end());
    return marks;
}

}  // namespace

StoryEntry& EntryCollector::add(std::optional<std::int64_t> t_us, int request, EntryKind kind,
                                const std::string& text) {
    StoryEntry entry;
    entry.t_us = t_us;
    entry.request = request;
    entry.kind = kind;
    entry.text = text;
    entries_.push_back(std::move(entry));
    return entries_.back();
}

void EntryCollector::add_turn(const TruthAt& before, const TruthAt& now) {
    if (now.hdmi_turn_deg != before.hdmi_turn_deg || now.menu_turn_deg != before.menu_turn_deg)
        add(now.t_us, 0, EntryKind::turn, turn_words(now));
}

void EntryCollector::add_widths(const TruthAt& before, const TruthAt& now) {
    if (now.top_width == before.top_width && now.bottom_width == before.bottom_width) return;
    StoryEntry& entry = add(now.t_us, finder_.current(), EntryKind::width, "");
    entry.top_before = before.top_width;
    entry.bottom_before = before.bottom_width;
    entry.top_width = now.top_width;
    entry.bottom_width = now.bottom_width;
    entry.text = width_words(entry, 1);
}

void EntryCollector::take_truth(const TruthAt& truth) {
    finder_.take_truth(truth);
    end_us_ = std::max(end_us_, truth.t_us);
    if (truth_) {
        add_turn(*truth_, truth);
        add_widths(*truth_, truth);
    }
    truth_ = truth;
}

void EntryCollector::take_event(const EventAt& event) {
    finder_.take_event(event);
    end_us_ = std::max(end_us_, event.t_us);
    add(event.t_us, 0, EntryKind::event, event.what);
}

void EntryCollector::add_motor_order(const CallAt& call) {
    const std::string node = call.path.substr(motor.size());
    const int value = std::atoi(call.data.c_str());
    if (node == "pulse") half_steps_ = value == 1;
    for (const Side side : {Side::left, Side::right}) {
        if (node != side_name(side) || value == 0) continue;
        const LensMoveAt move{call.t_us, side, value, half_steps_};
        add(call.t_us, finder_.current_on(call.thread), EntryKind::lens, order_words({move})).move = move;
    }
}

void EntryCollector::add_failure(const CallAt& call) {
    const std::string fact = call.call + " " + call.path + " fails: " + call.error;
    const std::string meaning = meaning_of_failure(call.path);
    add(call.t_us, finder_.current_on(call.thread), EntryKind::failure,
        meaning.empty() ? fact : meaning + " (" + fact + ")");
}

void EntryCollector::take_call(const CallAt& call) {
    finder_.take_call(call);
    end_us_ = std::max(end_us_, call.t_us);
    if (call.fault != 0) {
        add(call.t_us, finder_.current_on(call.thread), EntryKind::fault, fault_words(call));
    } else if (call.result < 0) {
        add_failure(call);
    } else if (call.call == "write" && starts_with(call.path, motor)) {
        add_motor_order(call);
    }
}

void EntryCollector::take_callback(const CallbackLine& callback) {
    finder_.take_callback(callback);
    end_us_ = std::max(end_us_, callback.t_us);
    const int request = finder_.current_on(callback.thread);
    if (callback.callback == "toast") {
        unsent_.erase(callback.thread);
        add(callback.t_us, request, EntryKind::toast, "toast to the host: " + toast_name(callback));
    } else if (callback.callback == "refresh_ui") {
        add(callback.t_us, request, EntryKind::detail, "the host is asked to refresh its menu");
    } else if (callback.callback == "rotation_changed") {
        add(callback.t_us, request, EntryKind::detail, turn_order_words(callback));
    }
}

void EntryCollector::take_state(const StateLine& state) {
    finder_.take_state(state);
    end_us_ = std::max(end_us_, state.t_us);
    for (const auto& [name, value] : state.values) {
        if (name != "g_osd_autofocus" && name != "g_osd_keystone") continue;
        const auto known = switches_.find(name);
        const bool changes = known != switches_.end() && (known->second != 0) != (value != 0);
        switches_[name] = value;
        if (!changes) continue;
        add(state.t_us, 0, EntryKind::chosen,
            std::string(name == "g_osd_autofocus" ? "auto-focus" : "auto-keystone") + " is switched " +
                (value != 0 ? "on" : "off"));
    }
}

void EntryCollector::add_words(const LogWords& words, std::optional<std::int64_t> t_us, int request) {
    if (words.kind != LogKind::nothing) add(t_us, request, kind_of(words.kind), words.words);
}

// The library has logged its toast before it looked for the host's slot.
void EntryCollector::add_unsent_toast(int thread) {
    const auto unsent = unsent_.find(thread);
    if (unsent == unsent_.end()) return;
    add(unsent->second, finder_.current_on(thread), EntryKind::refused,
        "a toast reaches nobody: auto-focus has no slot of the host's for it");
    unsent_.erase(unsent);
}

void EntryCollector::take_log(const LogLine& log) {
    has_log_ = true;
    end_us_ = std::max(end_us_, log.t_us);
    add_unsent_toast(log.thread);
    finder_.take_log(log);
    const std::string message = log_message(log.text);
    const int request = finder_.current_on(log.thread);
    if (keeps_log_ && !message.empty()) add(log.t_us, request, EntryKind::log, plain_text(log.text));
    if (contains(message, "call back toast")) unsent_[log.thread] = log.t_us;
    add_words(formatters_[log.thread].format(log.text), log.t_us, request);
}

void EntryCollector::take_log_without_times(const std::vector<std::string>& lines) {
    std::vector<StoryEntry> timed = std::exchange(entries_, {});
    LogFormatter formatter;
    for (const std::string& line : lines) {
        if (keeps_log_) add({}, 0, EntryKind::log, plain_text(line));
        add_words(formatter.format(line), {}, 0);
    }
    entries_.insert(entries_.end(), timed.begin(), timed.end());
}

std::vector<StoryEntry> EntryCollector::finish() {
    while (!unsent_.empty()) add_unsent_toast(unsent_.begin()->first);
    const std::vector<Mark> marks = marks_of(finder_.finish(), entries_, end_us_);
    std::vector<StoryEntry> all;
    std::size_t taken = 0;
    const auto take_up_to = [&](std::size_t position) {
        for (; taken < position; ++taken) all.push_back(entries_[taken]);
    };
    for (const Mark& mark : marks) {
        take_up_to(mark.position);
        all.push_back(mark.entry);
    }
    take_up_to(entries_.size());
    return all;
}

}  // namespace vp
