#include "virtual_projector/report/story_outcome.h"

#include "virtual_projector/report/story_words.h"
#include "virtual_projector/world/picture.h"

namespace vp {
namespace {

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

std::string length(double mm) { return mm < 0 ? "none" : text("%.0f", mm); }

void append_count(std::vector<std::string>& counts, double count, const char* what) {
    if (count != 0) counts.push_back(text("%.0f %s%s", count, what, count == 1 ? "" : "s"));
}

}  // namespace

std::vector<std::string> outcome_table(const TruthAt& before, const TruthAt& after) {
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

std::vector<std::string> place_lines(const TruthAt& after) {
    constexpr double percent = 100;
    std::string outline;
    for (const auto& [x_mm, z_mm] : after.outline_mm) outline += text(" %.0f,%.0f", x_mm, z_mm);
    const auto& zones = after.zones_mm;
    return {"Outline (mm, x,z):" + (after.on_wall ? outline : " not on wall") +
                text("; light used: %.1f %%.", percent * after.light_used),
            "True distances (mm): axis " + length(after.axis_mm) + "; zones right " + length(zones[0]) + ", " +
                length(zones[1]) + ", left " + length(zones[2]) + ", " + length(zones[3]) + "."};
}

std::string wear_words(const Wear& wear) {
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
    if (counts.empty()) return "Wear: none.";
    std::string words = "Wear:";
    for (const std::string& one : counts) words += (&one == &counts.front() ? " " : ", ") + one;
    return words + ".";
}

}  // namespace vp
