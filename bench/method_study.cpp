#include "bench/method_study.h"

#include <algorithm>
#include <cmath>

namespace bench {
namespace {

const std::vector<int> distances_mm = {500, 750, 1000, 1500, 2000, 3000};
const std::vector<int> near_mm = {450};
constexpr int tilts_deg[] = {-20, -12, -5, 0, 5, 12, 20};

using Words = std::vector<std::string>;

Words set(const Words& values) {
    Words options;
    for (const std::string& value : values) options.insert(options.end(), {"--set", value});
    return options;
}

// An effect at two values of one parameter, with others that it needs. What it is called with is the last
// one's.
Effect& add(std::vector<Effect>& effects, const char* name, const std::string& parameter,
            const std::string& unit, const Words& values, const Words& besides = {}) {
    for (const std::string& value : values) {
        Words options = set(besides);
        options.insert(options.end(), {"--set", parameter + "=" + value});
        effects.push_back({name, value + (unit.empty() ? "" : " " + unit), options, {}});
    }
    return effects.back();
}

// The same, with something done to each of them.
template <typename Change>
void add_changed(std::vector<Effect>& effects, Change change, const char* name, const std::string& parameter,
                 const std::string& unit, const Words& values, const Words& besides = {}) {
    for (const std::string& value : values) change(add(effects, name, parameter, unit, {value}, besides));
}

void be_near(Effect& effect) { effect.is_near = true; }

void last_an_hour(Effect& effect) { effect.then = {"wait 3600s"}; }

void add_pose_and_wall(std::vector<Effect>& effects) {
    add(effects, "turned to the wall", "pose.yaw_deg", "deg", {"5", "20"});
    add(effects, "rolled on its table", "pose.roll_deg", "deg", {"1", "5"});
    add(effects, "wall that leans over", "wall.lean_deg", "deg", {"2", "8"});
    add_changed(effects, be_near, "wall that leans over, at 450 mm", "wall.lean_deg", "deg", {"2", "8"});
    add(effects, "bowed wall", "room.bow_mm_per_m", "mm/m", {"2", "20"});
    add(effects, "second wall, at 1 m", "tof.multipath_percent", "%", {"1", "5"}, {"room.corner_mm=1000"});
    add(effects, "somebody at 1 m, so far beside", "room.person1_side_mm", "mm", {"600", "400"},
        {"room.person1_along_mm=1000", "room.person1_width_mm=400"});
    // In the middle of the view when the host asks.
    add(effects, "somebody walks past at 0.7 m", "room.person1_mm_per_s", "mm/s", {"1200"},
        {"room.person1_along_mm=700", "room.person1_width_mm=400", "room.person1_side_mm=-3700"});
    add(effects, "box of this height at 0.8 m", "room.box1_height_mm", "mm", {"450", "720"},
        {"room.box1_width_mm=600"});
    add(effects, "glossy spot, 0.5 m up and right", "room.spot_gloss", "", {"0.5", "0.9"},
        {"room.spot_side_mm=400", "room.spot_up_mm=250", "room.spot_width_mm=500", "tof.follows_signal=1"});
    add_changed(effects, last_an_hour, "table that sinks, after an hour", "hand.table_sink_deg_per_h", "deg/h",
                {"0.1", "1"});
    add_changed(effects, last_an_hour, "knocks, after an hour", "hand.knocks_per_h", "1/h", {"6", "60"});
}

void add_tof(std::vector<Effect>& effects) {
    const Words signal = {"tof.follows_signal=1", "tof.noise_share=0.005"};
    const Words of_distance_alone = {"tof.noise_mm=0"};
    add(effects, "ToF sensor mounted high", "tof.tilt_offset_deg", "deg", {"0.5", "2"});
    add(effects, "ToF sensor mounted turned", "tof.turn_offset_deg", "deg", {"0.5", "2"});
    for (const char* const percent : {"-0.5", "-2"}) {
        effects.push_back({"ToF sensor, upper zones short",
                           std::string(percent) + " %",
                           set({std::string("tof.bias_tr_percent=") + percent,
                                std::string("tof.bias_tl_percent=") + percent}),
                           {}});
    }
    add(effects, "ToF sensor, one zone short", "tof.bias_tr_percent", "%", {"-0.5", "-2"});
    add(effects, "ToF sensor, rows apart (24)", "tof.zone_row_angle_deg", "deg", {"24.24", "25.2"});
    add(effects, "ToF sensor, scale", "tof.scale_percent", "%", {"0.7", "2"});
    add(effects, "ToF sensor, noise by distance", "tof.noise_per_mm", "", {"0.005", "0.01", "0.02"},
        of_distance_alone);
    add(effects, "ToF sensor, noise share at 1 m", "tof.noise_share", "", {"0.005", "0.01", "0.02"});
    add(effects, "ToF sensor in daylight", "room.ambient_klx", "klx", {"1", "20"}, signal);
    add(effects, "ToF sensor, dark wall", "wall.reflectivity", "", {"0.3", "0.05"}, signal);
    add(effects, "ToF sensor, crosstalk", "tof.crosstalk_mm", "mm", {"3", "30"});
    add(effects, "ToF sensor, warming up", "tof.warm_up_mm", "mm", {"5", "15"});
    add(effects, "ToF sensor, outliers", "tof.outlier_share", "", {"0.002", "0.05"});
    add(effects, "ToF sensor, missing zones", "tof.missing_share", "", {"0.005", "0.05"});
    add(effects, "ToF sensor, late frames", "tof.frame_jitter_ms", "ms", {"1", "30"});
    add(effects, "ToF sensor, distances along rays", "tof.radial", "", {"1"});
}

void add_lens(std::vector<Effect>& effects) {
    add(effects, "lens position, noise", "tmr.noise_sigma", "TMR", {"2", "10"});
    add(effects, "lens position, bent scale", "tmr.nonlinearity", "", {"0.005", "0.02"});
    add(effects, "lens position, hysteresis", "tmr.hysteresis", "TMR", {"3", "15"});
    add(effects, "lens, lost steps", "lens.lost_step_probability", "", {"0.0005", "0.05"});
    add(effects, "lens, backlash grown, 5000 turns", "lens.backlash_growth_steps", "steps", {"0.1", "1"},
        {"wear.reversals=5000"});
    add(effects, "lens, backlash at 64 C", "lens.backlash_per_c", "1/C", {"0.005", "0.02"},
        {"lens.barrel_time_constant_s=600", "lens.barrel_c=64", "lens.hot_drift_tmr=0"});
    add(effects, "lens, part of each step lost", "lens.slip", "", {"0.02", "0.2"});
    add(effects, "lens, focal length (3.87)", "lens.focal_length_mm", "mm", {"3.9", "3.95"});
    add(effects, "lens, way of a step (5)", "lens.step_um", "um", {"5.1", "5.3"});
    add(effects, "picture's throw ratio (1.09)", "picture.throw_ratio", "", {"1.1009", "1.15"});
    add(effects, "picture above the axis", "picture.offset_up", "heights", {"0.01", "0.5"});
}

// What happens to the best focus in a run, and after it.
void add_heat(std::vector<Effect>& effects) {
    add(effects, "lens hot in the run, 50 C", "lens.hot_drift_tmr", "TMR", {"-30", "-100"},
        {"led.temperature_c=50"});
    for (const auto& [value, rise] :
         {std::pair<const char*, const char*>{"to 50 C", "25"}, {"to 60 C", "35"}}) {
        effects.push_back({"lens gets hot after the run",
                           value,
                           set({"led.temperature_c=30", std::string("led.rise_c=") + rise}),
                           {"wait 3600s"}});
    }
    add(effects, "barrel drifts, 10 C colder", "lens.barrel_drift_tmr_per_c", "TMR/C", {"0.5", "3"},
        {"lens.barrel_time_constant_s=600", "lens.barrel_c=34"});
}

// Of units that are otherwise as designed.
void be_calibrated_anew(Effect& effect) {
    effect.draws_units = true;
    effect.options.insert(effect.options.end(), {"--unit", "exact"});
}

void add_gravity_and_bench(std::vector<Effect>& effects) {
    effects.push_back({"the laboratory, at 450 mm", "", {}, {}, false, true});
    add_changed(effects, be_near, "gravity sensor mounted high", "gravity.mount_pitch_deg", "deg",
                {"0.5", "2"});
    add_changed(effects, be_near, "gravity sensor, drift, 45 C", "gravity.bias_drift_mg_per_c", "mg/C",
                {"0.3", "1"});
    add_changed(effects, be_near, "gravity sensor, fan", "gravity.fan_vibration_mg", "mg", {"3", "50"});
    add_changed(effects, be_near, "gravity sensor, spikes of 0.5 g", "gravity.spike_probability", "",
                {"0.0005", "0.05"});
    add_changed(effects, be_calibrated_anew, "factory camera", "bench.camera_tmr_sigma", "TMR", {"3", "10"});
    add_changed(effects, be_calibrated_anew, "factory depth", "bench.depth_mm_sigma", "mm", {"1", "10"});
    const auto be_level = [](Effect& effect) {
        be_calibrated_anew(effect);
        be_near(effect);
    };
    add_changed(effects, be_level, "factory level", "bench.level_deg_sigma", "deg", {"0.1", "1"});
}

void add_living_room(std::vector<Effect>& effects) {
    const Effect room = {"the whole living room", "drawn", {"--world", "living-room"}, {}, true};
    effects.push_back(room);
    effects.push_back(room);
    effects.back().value = "at once";
    effects.back().asks_at_once = true;
}

template <typename Take>
std::vector<double> each(const std::vector<MethodOutcome>& outcomes, Take take) {
    std::vector<double> values;
    values.reserve(outcomes.size());
    for (const MethodOutcome& outcome : outcomes) values.push_back(take(outcome));
    return values;
}

template <typename Is>
int count(const std::vector<MethodOutcome>& outcomes, Is is) {
    return static_cast<int>(std::count_if(outcomes.begin(), outcomes.end(), is));
}

void print_row(std::FILE* out, const MethodRow& row) {
    const auto lens = each(row.outcomes, [](const MethodOutcome& o) { return o.lens_error_tmr; });
    const auto blur = each(row.outcomes, [](const MethodOutcome& o) { return o.blur_px; });
    const auto edge = each(row.outcomes, [](const MethodOutcome& o) { return o.worst_edge_deg; });
    const int good = count(row.outcomes, [](const MethodOutcome& o) { return o.is_within_limits(); });
    const int escapes = count(row.outcomes, [](const MethodOutcome& o) { return o.is_escape(); });
    std::fprintf(out,
                 "| %-34s | %-9s | %5.1f | %6.1f | %5.2f | %5.2f | %5.2f | %5.2f | %5.0f %% | %4d of %2d |\n",
                 row.effect.name.c_str(), row.effect.value.c_str(), percentile(lens, 0.5),
                 percentile(lens, 0.95), percentile(blur, 0.5), percentile(blur, 0.95), percentile(edge, 0.5),
                 percentile(edge, 0.95), 100.0 * good / static_cast<double>(row.outcomes.size()), escapes,
                 static_cast<int>(row.outcomes.size()));
}

void print_story_row(std::FILE* out, const StoryRow& row) {
    const auto share = [&](auto is) {
        return 100.0 * count(row.outcomes, is) / static_cast<double>(row.outcomes.size());
    };
    std::fprintf(out, "| %-26s | %5zu | %3.0f %% | %4.0f %% | %3.0f %% | %7d | %8zu |\n", row.story.c_str(),
                 row.outcomes.size(), share([](const MethodOutcome& o) { return o.is_sharp(); }),
                 share([](const MethodOutcome& o) { return o.is_square(); }),
                 share([](const MethodOutcome& o) { return o.is_within_limits(); }),
                 count(row.outcomes, [](const MethodOutcome& o) { return o.is_escape(); }),
                 row.bad_ends.size());
}

}  // namespace

bool MethodOutcome::is_sharp() const { return lens_error_tmr <= lens_limit_tmr && blur_px <= blur_limit_px; }

bool MethodOutcome::is_square() const { return worst_edge_deg <= edge_limit_deg; }

bool MethodOutcome::is_within_limits() const { return is_sharp() && is_square(); }

bool MethodOutcome::is_escape() const { return told_success && !is_within_limits(); }

std::vector<Effect> method_effects() {
    std::vector<Effect> effects = {{"the laboratory", "", {}, {}}};
    add_pose_and_wall(effects);
    add_tof(effects);
    add_lens(effects);
    add_heat(effects);
    add_gravity_and_bench(effects);
    add_living_room(effects);
    return effects;
}

std::vector<std::vector<std::string>> method_poses(bool near) {
    std::vector<Words> poses;
    for (const int distance_mm : near ? near_mm : distances_mm) {
        for (const int tilt_deg : tilts_deg) {
            poses.push_back(set({"pose.distance_mm=" + std::to_string(distance_mm),
                                 "pose.pitch_deg=" + std::to_string(tilt_deg)}));
        }
    }
    return poses;
}

double percentile(std::vector<double> values, double share) {
    std::sort(values.begin(), values.end());
    const double rank = std::ceil(share * static_cast<double>(values.size()));
    return values.at(static_cast<std::size_t>(std::max(rank, 1.0)) - 1);
}

bool is_bad_end(int exit_code) {
    constexpr int stuck = 120;
    return exit_code == 2 || exit_code >= stuck;
}

void print_story_table(std::FILE* out, const std::vector<StoryRow>& rows) {
    std::fprintf(
        out,
        "| %-26s | Units | Sharp | Square | Both | Escapes | Bad ends |\n|---|---:|---:|---:|---:|---:|---:|\n",
        "Story");
    StoryRow all{"all", {}, {}};
    for (const StoryRow& row : rows) {
        all.outcomes.insert(all.outcomes.end(), row.outcomes.begin(), row.outcomes.end());
        all.bad_ends.insert(all.bad_ends.end(), row.bad_ends.begin(), row.bad_ends.end());
        print_story_row(out, row);
    }
    print_story_row(out, all);
    for (const std::string& end : all.bad_ends) std::fprintf(out, "bad end: %s\n", end.c_str());
}

void print_method_table(std::FILE* out, const std::vector<MethodRow>& rows) {
    std::fprintf(
        out,
        "| %-34s | %-9s | lens, TMR | 95 %% | blur, px | 95 %% | edge, deg | 95 %% | within | escapes |\n"
        "|---|---|---:|---:|---:|---:|---:|---:|---:|---:|\n",
        "What is not as in the laboratory", "How much");
    for (const MethodRow& row : rows) print_row(out, row);
}

}  // namespace bench
