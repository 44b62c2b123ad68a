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

// An effect at two values of one parameter.
void add(std::vector<Effect>& effects, const char* name, const std::string& parameter, const std::string& unit,
         const Words& values) {
    for (const std::string& value : values)
        effects.push_back({name, value + (unit.empty() ? "" : " " + unit), set({parameter + "=" + value}), {}});
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

}  // namespace

bool MethodOutcome::is_sharp() const { return lens_error_tmr <= lens_limit_tmr && blur_px <= blur_limit_px; }

bool MethodOutcome::is_square() const { return worst_edge_deg <= edge_limit_deg; }

bool MethodOutcome::is_within_limits() const { return is_sharp() && is_square(); }

bool MethodOutcome::is_escape() const { return told_success && !is_within_limits(); }

std::vector<Effect> method_effects() {
    std::vector<Effect> effects = {{"the laboratory", "", {}, {}}};
    add(effects, "turned to the wall", "pose.yaw_deg", "deg", {"5", "20"});
    add(effects, "rolled on its table", "pose.roll_deg", "deg", {"1", "5"});
    add(effects, "wall that leans over", "wall.lean_deg", "deg", {"2", "8"});
    add(effects, "noise of the ToF sensor", "tof.noise_per_mm", "", {"0.005", "0.02"});
    add(effects, "noise of the lens position", "tmr.noise_sigma", "TMR", {"3", "10"});
    add(effects, "part of each lens step lost", "lens.slip", "", {"0.02", "0.2"});
    add(effects, "drift with a hot LED, 50 C", "lens.hot_drift_tmr", "TMR", {"-30", "-100"});
    for (std::size_t i = effects.size() - 2; i < effects.size(); ++i) {
        effects[i].options.insert(effects[i].options.end(), {"--set", "led.temperature_c=50"});
    }
    for (const auto& [value, rise] : {std::pair<const char*, const char*>{"50 C", "25"}, {"60 C", "35"}}) {
        effects.push_back({"LED warms up after the run",
                           value,
                           set({"led.temperature_c=30", std::string("led.rise_c=") + rise}),
                           {"wait 3600s"}});
    }
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
    for (const StoryRow& row : rows) {
        const auto share = [&](auto is) {
            return 100.0 * count(row.outcomes, is) / static_cast<double>(row.outcomes.size());
        };
        std::fprintf(out, "| %-26s | %5zu | %3.0f %% | %4.0f %% | %2.0f %% | %7d | %8zu |\n", row.story.c_str(),
                     row.outcomes.size(), share([](const MethodOutcome& o) { return o.is_sharp(); }),
                     share([](const MethodOutcome& o) { return o.is_square(); }),
                     share([](const MethodOutcome& o) { return o.is_within_limits(); }),
                     count(row.outcomes, [](const MethodOutcome& o) { return o.is_escape(); }),
                     row.bad_ends.size());
    }
    for (const StoryRow& row : rows) {
        for (const std::string& end : row.bad_ends) std::fprintf(out, "bad end: %s\n", end.c_str());
    }
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
