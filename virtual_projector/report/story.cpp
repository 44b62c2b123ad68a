#include "virtual_projector/report/story.h"

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>

#include "virtual_projector/report/library_log.h"
#include "virtual_projector/report/trace_reader.h"

namespace vp {
namespace {

constexpr std::size_t most_decisions = 13;
constexpr std::size_t most_moves = 9;
constexpr std::size_t most_turns = 4;

__attribute__((format(printf, 1, 2))) std::string text(const char* format, ...) {
    char line[240];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    return line;
}

double seconds(std::int64_t t_us) { return static_cast<double>(t_us) / 1e6; }

// Keeps the beginning and the end of a list that is too long for a story.
std::vector<std::string> cut(const std::vector<std::string>& lines, std::size_t most) {
    if (lines.size() <= most) return lines;
    const std::size_t head = most / 2;
    const std::size_t tail = most - 1 - head;
    std::vector<std::string> kept(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(head));
    kept.push_back(text("  ... and %zu more ...", lines.size() - head - tail));
    kept.insert(kept.end(), lines.end() - static_cast<std::ptrdiff_t>(tail), lines.end());
    return kept;
}

void append(std::vector<std::string>& story, const std::vector<std::string>& lines) {
    story.insert(story.end(), lines.begin(), lines.end());
}

std::vector<std::string> tell_decisions(const LibraryLog& log) {
    std::vector<std::string> lines;
    for (const std::string& words : log.told) lines.push_back("  " + words);
    lines = cut(lines, most_decisions);
    if (!lines.empty()) lines.insert(lines.begin(), "What the library saw and chose:");
    return lines;
}

std::string tell_toasts(const LibraryLog& log) {
    return "Toasts sent to the host: " + (log.toasts == 0 ? "none" : std::to_string(log.toasts)) + ".";
}

std::string tell_move(const LensMoveAt& move) {
    return text("lens: %d %s%s to the %s", move.steps, move.half_steps ? "half step" : "full step",
                move.steps == 1 ? "" : "s", move.to_the_right ? "right" : "left");
}

// Moves, new widths and events by their times.
std::vector<std::string> tell_moves(const TraceContents& trace) {
    std::multimap<std::int64_t, std::string> moments;
    for (const EventAt& event : trace.events) moments.emplace(event.t_us, event.what);
    for (const LensMoveAt& move : trace.lens_moves) moments.emplace(move.t_us, tell_move(move));
    for (std::size_t i = 1; i < trace.truths.size(); ++i) {
        const TruthAt& before = trace.truths[i - 1];
        const TruthAt& now = trace.truths[i];
        if (now.top_width != before.top_width || now.bottom_width != before.bottom_width) {
            moments.emplace(now.t_us,
                            text("picture: top %d, bottom %d pixels wide", now.top_width, now.bottom_width));
        }
    }
    std::vector<std::string> lines;
    for (const auto& [t_us, what] : moments)
        lines.push_back(text("  %8.3f s  %s", seconds(t_us), what.c_str()));
    lines = cut(lines, most_moves);
    if (!lines.empty()) lines.insert(lines.begin(), "What happened:");
    return lines;
}

// "upright", "upside down", ...: the HDMI picture on the wall.
const char* turn_in_words(int turn_deg) {
    switch (turn_deg) {
        case 90:
            return "turned left";
        case 180:
            return "upside down";
        case 270:
            return "turned right";
        default:
            return "upright";
    }
}

// How the picture was turned on the wall meanwhile; nothing when it never was.
std::vector<std::string> tell_turns(const TraceContents& trace) {
    std::string words = text("The viewer sees the picture %s", turn_in_words(trace.truths[0].hdmi_turn_deg));
    std::size_t turns = 0;
    for (std::size_t i = 1; i < trace.truths.size(); ++i) {
        const TruthAt& now = trace.truths[i];
        if (now.hdmi_turn_deg == trace.truths[i - 1].hdmi_turn_deg) continue;
        if (++turns > most_turns) continue;
        words += text(", from %.3f s %s", seconds(now.t_us), turn_in_words(now.hdmi_turn_deg));
    }
    if (turns == 0) return {};
    if (turns > most_turns) words += text(", ... and %zu more turns", turns - most_turns);
    return {words + "."};
}

std::string edges(const TruthAt& truth) { return text("%d/%d", truth.top_width, truth.bottom_width); }

std::vector<std::string> tell_outcome(const TruthAt& before, const TruthAt& after) {
    return {text("%-34s %12s %12s", "", "before", "after"),
            text("%-34s %12.3f %12.3f", "sharpness (0 to 1)", before.sharpness, after.sharpness),
            text("%-34s %12.1f %12.1f", "lens error (TMR units)", before.lens_error_tmr, after.lens_error_tmr),
            text("%-34s %12.2f %12.2f", "left side from upright (degrees)", before.left_side_deg,
                 after.left_side_deg),
            text("%-34s %12.2f %12.2f", "right side from upright (degrees)", before.right_side_deg,
                 after.right_side_deg),
            text("%-34s %12s %12s", "edges top/bottom (pixels)", edges(before).c_str(), edges(after).c_str()),
            text("%-34s %12s %12s", "picture", turn_in_words(before.hdmi_turn_deg),
                 turn_in_words(after.hdmi_turn_deg))};
}

std::string tell_start(const TruthAt& before) {
    return text("At the start: %.0f mm from the wall, tilted by %.1f degrees, LED at %.0f C.",
                before.distance_mm, before.pitch_deg, before.led_c);
}

std::string tell_times(const std::string& summary_path) {
    std::ifstream file(summary_path);
    const nlohmann::json summary = nlohmann::json::parse(file, nullptr, false);
    if (!summary.is_object()) return "The run left no figures behind.";
    return text("Simulated time %.3f s, real time %.3f s.",
                seconds(summary.value("simulated_us", std::int64_t{0})),
                seconds(summary.value("real_us", std::int64_t{0})));
}

}  // namespace

std::vector<std::string> tell_story(const StorySources& sources) {
    const TraceContents trace = read_trace(sources.trace);
    if (trace.truths.empty()) return {"There is nothing to tell: the trace " + sources.trace + " is empty."};
    const LibraryLog log = read_library_log(sources.library_log);
    std::vector<std::string> story;
    if (!sources.title.empty()) story.push_back(sources.title);
    story.push_back(tell_start(trace.truths.front()));
    append(story, tell_decisions(log));
    append(story, tell_moves(trace));
    append(story, tell_turns(trace));
    if (!sources.library_log.empty()) story.push_back(tell_toasts(log));
    append(story, tell_outcome(trace.truths.front(), trace.truths.back()));
    story.push_back(tell_times(sources.summary));
    return story;
}

}  // namespace vp
