#include "bench/method_study.h"

#include <algorithm>
#include <cmath>

namespace bench {
namespace {

constexpr double distances_mm[] = {500, 750, 1000, 1500, 2000, 3000};
constexpr int tilts_deg[] = {-20, -12, -5, 0, 5, 12, 20};

using Words = std::vector<std::string>;

Words set(const Words& values) {
    Words options;
    for (const std::string& value : values) options.insert(options.end(), {"--set", value});
    return options;
}

// An effect at two values of one parameter, with others that it needs.
void add(std::vector<Effect>& effects, const char* name, const std::string& parameter, const std::string& unit,
         const Words& values, const Words& besides = {}) {
    for (const std::string& value : values) {
        Words options = set(besides);
        options.insert(options.end(), {"--set", parameter + "=" + value});
        effects.push_back({name, value + (unit.empty() ? "" : " " + unit), options, {}});
    }
}

void add_pose_and_wall(std::vector<Effect>& effects) {
    add(effects, "turned to the wall", "pose.yaw_deg", "deg", {"5", "20"});
    add(effects, "rolled on its table", "pose.roll_deg", "deg", {"1", "5"});
    add(effects, "wall that leans over", "wall.lean_deg", "deg", {"2", "8"});
    add(effects, "wall that leans over, at 450 mm", "wall.lean_deg", "deg", {"8"}, {"pose.distance_mm=450"});
    add(effects, "bowed wall", "room.bow_mm_per_m", "mm/m", {"2", "20"});
    add(effects, "second wall, at 1 m", "tof.multipath_percent", "%", {"1", "5"}, {"room.corner_mm=1000"});
    add(effects, "somebody at 1 m, so far beside", "room.person1_side_mm", "mm", {"600", "400"},
        {"room.person1_along_mm=1000", "room.person1_width_mm=400"});
}

void add_tof(std::vector<Effect>& effects) {
    const Words signal = {"tof.follows_signal=1", "tof.noise_share=0.005"};
    add(effects, "ToF sensor mounted high", "tof.tilt_offset_deg", "deg", {"0.5", "2"});
    add(effects, "ToF sensor mounted turned", "tof.turn_offset_deg", "deg", {"0.5", "2"});
    for (const char* const percent : {"-0.5", "-2"}) {
        effects.push_back({"ToF sensor, upper zones short",
                           std::string(percent) + " %",
                           set({std::string("tof.bias_tr_percent=") + percent,
                                std::string("tof.bias_tl_percent=") + percent}),
                           {}});
    }
    add(effects, "ToF sensor, rows apart (24)", "tof.zone_row_angle_deg", "deg", {"24.24", "25.2"});
    add(effects, "ToF sensor, scale", "tof.scale_percent", "%", {"0.7", "2"});
    add(effects, "ToF sensor, share of noise", "tof.noise_share", "", {"0.005", "0.01", "0.02"});
    add(effects, "ToF sensor in daylight", "room.ambient_klx", "klx", {"1", "20"}, signal);
    add(effects, "ToF sensor, dark wall", "wall.reflectivity", "", {"0.3", "0.05"}, signal);
    add(effects, "ToF sensor, crosstalk", "tof.crosstalk_mm", "mm", {"3", "30"});
    add(effects, "ToF sensor, warming up", "tof.warm_up_mm", "mm", {"5", "15"});
    add(effects, "ToF sensor, outliers", "tof.outlier_share", "", {"0.002", "0.05"});
    add(effects, "ToF sensor, missing zones", "tof.missing_share", "", {"0.005", "0.05"});
    add(effects, "ToF sensor, distances along rays", "tof.radial", "", {"1"});
}

void add_lens(std::vector<Effect>& effects) {
    add(effects, "lens position, noise", "tmr.noise_sigma", "TMR", {"2", "10"});
    add(effects, "lens position, bent scale", "tmr.nonlinearity", "", {"0.005", "0.02"});
    add(effects, "lens position, hysteresis", "tmr.hysteresis", "TMR", {"3", "15"});
    add(effects, "lens, lost steps", "lens.lost_step_probability", "", {"0.0005", "0.05"});
    add(effects, "lens, backlash grown, 5000 turns", "lens.backlash_growth_steps", "steps", {"0.1", "1"},
        {"wear.reversals=5000"});
    add(effects, "lens, part of each step lost", "lens.slip", "", {"0.02", "0.2"});
    add(effects, "picture's throw ratio (1.09)", "picture.throw_ratio", "", {"1.1009", "1.15"});
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

void add_gravity_and_bench(std::vector<Effect>& effects) {
    add(effects, "gravity sensor mounted high", "gravity.mount_pitch_deg", "deg", {"0.5", "2"});
    add(effects, "gravity sensor, drift, 45 C", "gravity.bias_drift_mg_per_c", "mg/C", {"0.3", "1"});
    add(effects, "gravity sensor, fan", "gravity.fan_vibration_mg", "mg", {"3", "50"});
    add(effects, "gravity sensor, spikes of 0.5 g", "gravity.spike_probability", "", {"0.0005", "0.05"});
    add(effects, "factory camera", "bench.camera_tmr_sigma", "TMR", {"3", "10"});
    add(effects, "factory depth", "bench.depth_mm_sigma", "mm", {"1", "10"});
    add(effects, "factory level", "bench.level_deg_sigma", "deg", {"0.1", "1"});
    // Another calibration for each pose, not one unit's luck, of units that are otherwise as designed.
    for (std::size_t i = effects.size() - 6; i < effects.size(); ++i) {
        effects[i].draws_units = true;
        effects[i].options.insert(effects[i].options.end(), {"--unit", "exact"});
    }
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
                 "| %-34s | %-9s | %5.1f | %6.1f | %5.2f | %5.2f | %5.2f | %5.2f | %5.0f %% | %4d of %d |\n",
                 row.effect.name.c_str(), row.effect.value.c_str(), percentile(lens, 0.5),
                 percentile(lens, 0.95), percentile(blur, 0.5), percentile(blur, 0.95), percentile(edge, 0.5),
                 percentile(edge, 0.95), 100.0 * good / static_cast<double>(row.outcomes.size()), escapes,
                 static_cast<int>(row.outcomes.size()));
}

void print_story_row(std::FILE* out, const StoryRow& row) {
    const auto share = [&](auto is) {
        return 100.0 * count(row.outcomes, is) / static_cast<double>(row.outcomes.size());
    };
    std::fprintf(out, "| %-26s | %5zu | %3.0f %% | %4.0f %% | %2.0f %% | %7d | %8zu |\n", row.story.c_str(),
                 row.outcomes.size(), share([](const MethodOutcome& o) { return o.is_sharp(); }),
                 share([](const MethodOutcome& o) { return o.is_square(); }),
                 share([](const MethodOutcome& o) { return o.is_within_limits(); }),
                 count(row.outcomes, [](const MethodOutcome& o) { return o.is_escape(); }), row.bad_ends.size());
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
    effects.push_back({"the whole living room", "drawn", {"--world", "living-room"}, {}, true});
    return effects;
}

std::vector<std::vector<std::string>> method_poses() {
    std::vector<Words> poses;
    for (const double distance_mm : distances_mm) {
        for (const int tilt_deg : tilts_deg) {
            poses.push_back(set({"pose.distance_mm=" + std::to_string(static_cast<int>(distance_mm)),
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
