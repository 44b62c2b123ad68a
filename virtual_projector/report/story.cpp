#include "virtual_projector/report/story.h"

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>

#include "virtual_projector/report/library_log.h"
#include "virtual_projector/report/trace_reader.h"
#include "virtual_projector/world/microseconds.h"
#include "virtual_projector/world/picture.h"

namespace vp {
namespace {

constexpr std::size_t max_decisions = 10;
constexpr std::size_t max_moves = 6;
constexpr std::size_t max_turns = 4;
constexpr std::size_t page_width = 80;

__attribute__((format(printf, 1, 2))) std::string text(const char* format, ...) {
    char line[240];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    return line;
}

// Keeps the beginning and the end of a list that is too long for a story.
std::vector<std::string> cut(const std::vector<std::string>& lines, std::size_t max) {
    if (lines.size() <= max) return lines;
    const std::size_t head = max / 2;
    const std::size_t tail = max - 1 - head;
    std::vector<std::string> kept(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(head));
    kept.push_back(text("  ... and %zu more ...", lines.size() - head - tail));
    kept.insert(kept.end(), lines.end() - static_cast<std::ptrdiff_t>(tail), lines.end());
    return kept;
}

void append(std::vector<std::string>& story, const std::vector<std::string>& lines) {
    story.insert(story.end(), lines.begin(), lines.end());
}

std::vector<std::string> format_decisions(const LibraryLog& log) {
    std::vector<std::string> lines;
    for (const std::string& words : log.words) lines.push_back("  " + words);
    lines = cut(lines, max_decisions);
    if (!lines.empty()) lines.insert(lines.begin(), "What the library saw and chose:");
    return lines;
}

std::string format_toasts(const LibraryLog& log) {
    return "Toasts sent to the host: " + (log.toasts == 0 ? "none" : std::to_string(log.toasts)) + ".";
}

std::string format_move(const LensMoveAt& move) {
    return text("lens: %d %s%s to the %s", move.steps, move.half_steps ? "half step" : "full step",
                move.steps == 1 ? "" : "s", side_name(move.side));
}

// Moves, new widths and events by their times.
std::vector<std::string> format_moves(const TraceContents& trace) {
    std::multimap<std::int64_t, std::string> moments;
    for (const EventAt& event : trace.events) moments.emplace(event.t_us, event.what);
    for (const LensMoveAt& move : trace.lens_moves) moments.emplace(move.t_us, format_move(move));
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
    lines = cut(lines, max_moves);
    if (!lines.empty()) lines.insert(lines.begin(), "What happened:");
    return lines;
}

// How the HDMI picture was turned on the wall meanwhile; nothing when it never was.
std::vector<std::string> format_turns(const TraceContents& trace) {
    std::string words = text("The viewer sees the picture %s", turn_in_words(trace.truths[0].hdmi_turn_deg));
    std::size_t turns = 0;
    for (std::size_t i = 1; i < trace.truths.size(); ++i) {
        const TruthAt& now = trace.truths[i];
        if (now.hdmi_turn_deg == trace.truths[i - 1].hdmi_turn_deg) continue;
        if (++turns > max_turns) continue;
        words += text(", from %.3f s %s", seconds(now.t_us), turn_in_words(now.hdmi_turn_deg));
    }
    if (turns == 0) return {};
    if (turns > max_turns) words += text(", ... and %zu more turns", turns - max_turns);
    return {words + "."};
}

// Of a picture that does not meet the wall with all its corners there is nothing to say.
std::string angles(const TruthAt& truth, double first, double second) {
    return truth.on_wall ? text("%.2f/%.2f", first, second) : "not on wall";
}

std::string blur(const TruthAt& truth) {
    return truth.on_wall ? text("%.1f/%.1f", truth.blur_px, truth.blur_corner_px)
                         : text("%.1f/-", truth.blur_px);
}

std::string sides(const TruthAt& truth) { return angles(truth, truth.left_side_deg, truth.right_side_deg); }

std::string level_edges(const TruthAt& truth) {
    return angles(truth, truth.top_edge_deg, truth.bottom_edge_deg);
}

std::string worst_edge(const TruthAt& truth) {
    constexpr double percent = 100;
    return truth.on_wall ? text("%.2f/%.1f", truth.worst_edge_deg, percent * truth.side_difference)
                         : "not on wall";
}

std::string edges(const TruthAt& truth) { return text("%d/%d", truth.top_width, truth.bottom_width); }

std::string row(const char* what, const std::string& before, const std::string& after) {
    return text("%-34s %12s %12s", what, before.c_str(), after.c_str());
}

std::vector<std::string> format_outcome(const TruthAt& before, const TruthAt& after) {
    std::vector<std::string> rows = {
        row("", "before", "after"),
        row("sharpness (0 to 1)", text("%.3f", before.sharpness), text("%.3f", after.sharpness)),
        row("lens error (TMR units)", text("%.1f", before.lens_error_tmr), text("%.1f", after.lens_error_tmr)),
        row("blur, middle/corner (pixels)", blur(before), blur(after)),
        row("left/right side from upright (deg)", sides(before), sides(after)),
        row("top/bottom edge from level (deg)", level_edges(before), level_edges(after)),
        row("worst edge (deg), sides differ (%)", worst_edge(before), worst_edge(after)),
        row("edges top/bottom (pixels)", edges(before), edges(after))};
    if (before.hdmi_turn_deg != 0 || after.hdmi_turn_deg != 0) {
        rows.push_back(row("picture", turn_in_words(before.hdmi_turn_deg), turn_in_words(after.hdmi_turn_deg)));
    }
    return rows;
}

std::string length(double mm) { return mm < 0 ? "none" : text("%.0f", mm); }

// Where the picture is, what is left of its light, and what the sensors should say.
std::vector<std::string> format_places(const TruthAt& after) {
    constexpr double percent = 100;
    std::string outline;
    for (const auto& [x_mm, z_mm] : after.outline_mm) outline += text(" %.0f,%.0f", x_mm, z_mm);
    const auto& zones = after.zones_mm;
    return {"Outline (mm, x,z):" + (after.on_wall ? outline : " not on wall") +
                text("; light used: %.1f %%.", percent * after.light_used),
            "True distances (mm): axis " + length(after.axis_mm) + "; zones right " + length(zones[0]) + ", " +
                length(zones[1]) + ", left " + length(zones[2]) + ", " + length(zones[3]) + "."};
}

std::string format_start(const TruthAt& before) {
    return text("At the start: %.0f mm from the wall, tilted by %.1f degrees, LED at %.0f C.",
                before.distance_mm, before.pitch_deg, before.led_c);
}

// Unless it is the standard unit in the laboratory.
std::vector<std::string> format_place(const RunRecord& run) {
    const bool is_elsewhere = !run.world.empty() && run.world != RunRecord::standard_world;
    if (!is_elsewhere && !run.unit_seed) return {};
    std::string line = "World: " + (is_elsewhere ? run.world : RunRecord::standard_world);
    if (run.unit_seed) line += "; unit: " + std::to_string(*run.unit_seed) + " of " + run.unit;
    return {line + "."};
}

void append_count(std::vector<std::string>& counts, double count, const char* what) {
    if (count != 0) counts.push_back(text("%.0f %s%s", count, what, count == 1 ? "" : "s"));
}

// Of the run alone: what was before it is no part of its story.
std::vector<std::string> wear_of(const Wear& wear) {
    std::vector<std::string> counts;
    append_count(counts, wear.full_steps, "full step");
    append_count(counts, wear.half_steps, "half step");
    append_count(counts, wear.orders, "order");
    append_count(counts, wear.reversals, "reversal");
    if (wear.travel_mm != 0) counts.push_back(text("%.2f mm", wear.travel_mm));
    if (wear.motor_on_s != 0) counts.push_back(text("motor on %.1f s", wear.motor_on_s));
    append_count(counts, wear.end_stop_steps, "end stop step");
    append_count(counts, wear.lost_steps, "lost step");
    append_count(counts, wear.heat_cycles, "heat cycle");
    append_count(counts, wear.record_writes, "record write");
    append_count(counts, wear.width_writes, "width write");
    return counts;
}

std::vector<std::string> format_wear(const TraceContents& trace) {
    if (!trace.wear) return {};
    std::vector<std::string> lines = {"Wear:"};
    std::vector<std::string> counts = wear_of(trace.wear->run);
    if (counts.empty()) counts.emplace_back("none");
    for (std::size_t i = 0; i < counts.size(); ++i) {
        const std::string piece = " " + counts[i] + (i + 1 < counts.size() ? "," : ".");
        if (lines.back().size() + piece.size() > page_width) lines.emplace_back(" ");
        lines.back() += piece;
    }
    return lines;
}

std::string format_times(const std::string& summary_path) {
    std::ifstream file(summary_path);
    const nlohmann::json summary = nlohmann::json::parse(file, nullptr, false);
    if (!summary.is_object()) return "The run left no figures behind.";
    return text("Simulated time %.3f s, real time %.3f s.",
                seconds(summary.value("simulated_us", std::int64_t{0})),
                seconds(summary.value("real_us", std::int64_t{0})));
}

}  // namespace

std::vector<std::string> format_story(const StorySources& sources) {
    const TraceContents trace = read_trace(sources.trace);
    if (trace.truths.empty()) return {"There is nothing to tell: the trace " + sources.trace + " is empty."};
    const LibraryLog log = read_library_log(sources.library_log);
    std::vector<std::string> story;
    if (!sources.title.empty()) story.push_back(sources.title);
    append(story, format_place(trace.run));
    story.push_back(format_start(trace.truths.front()));
    append(story, format_decisions(log));
    append(story, format_moves(trace));
    append(story, format_turns(trace));
    if (!sources.library_log.empty()) story.push_back(format_toasts(log));
    append(story, format_outcome(trace.truths.front(), trace.truths.back()));
    append(story, format_places(trace.truths.back()));
    append(story, format_wear(trace));
    story.push_back(format_times(sources.summary));
    return story;
}

}  // namespace vp
