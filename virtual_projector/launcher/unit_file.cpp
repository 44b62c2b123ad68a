#include "virtual_projector/launcher/unit_file.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <nlohmann/json.hpp>

#include "virtual_projector/launcher/located_json.h"
#include "virtual_projector/launcher/parameter_files.h"
#include "virtual_projector/launcher/strict_json.h"

namespace vp {
namespace {

constexpr double max_log_sigma = 3;
constexpr double max_weight = 1e6;

// The bounds that are given, within the parameter's range.
void read_bounds(const Parameter& parameter, const LocatedJson& json, Spread& spread) {
    spread.min = json.has("min") ? read_value(parameter, json.member("min")) : parameter.min;
    spread.max = json.has("max") ? read_value(parameter, json.member("max")) : parameter.max;
    if (spread.min > spread.max) json.member("max").fail("a number not below \"min\"");
}

void read_factor(const LocatedJson& json, Spread& spread) {
    if (!json.has("follows")) return;
    const LocatedJson follows = json.member("follows");
    follows.allow_members({"factor", "correlation"});
    spread.factor = follows.member("factor").text();
    if (spread.factor.empty()) follows.member("factor").fail("a name");
    spread.correlation = follows.member("correlation").number(-1, 1);
}

void read_whole(const Parameter& parameter, const LocatedJson& json, Spread& spread) {
    spread.whole = parameter.whole || (json.has("whole") && json.member("whole").boolean());
    for (const char* const bound : {"min", "max"}) {
        if (!spread.whole || !json.has(bound)) continue;
        const double value = json.member(bound).number(parameter.min, parameter.max);
        if (value != std::floor(value)) json.member(bound).fail("a whole number");
    }
}

Spread read_normal(const Parameter& parameter, const LocatedJson& json) {
    json.allow_members({"distribution", "mean", "sigma", "follows", "whole"});
    Spread spread;
    spread.centre = read_value(parameter, json.member("mean"));
    spread.sigma = json.member("sigma").number(0, parameter.max - parameter.min);
    spread.min = parameter.min;
    spread.max = parameter.max;
    read_factor(json, spread);
    read_whole(parameter, json, spread);
    return spread;
}

Spread read_truncated_normal(const Parameter& parameter, const LocatedJson& json) {
    json.allow_members({"distribution", "mean", "sigma", "min", "max", "follows", "whole"});
    Spread spread;
    spread.distribution = Distribution::truncated_normal;
    spread.sigma = json.member("sigma").number(0, parameter.max - parameter.min);
    static_cast<void>(json.member("min"));
    static_cast<void>(json.member("max"));
    read_bounds(parameter, json, spread);
    spread.centre = json.member("mean").number(spread.min, spread.max);
    read_factor(json, spread);
    read_whole(parameter, json, spread);
    return spread;
}

Spread read_log_normal(const Parameter& parameter, const LocatedJson& json) {
    json.allow_members({"distribution", "median", "sigma", "min", "max", "follows", "whole"});
    Spread spread;
    spread.distribution = Distribution::log_normal;
    spread.sigma = json.member("sigma").number(0, max_log_sigma);
    read_bounds(parameter, json, spread);
    spread.centre = json.member("median").number(spread.min, spread.max);
    if (spread.centre <= 0) json.member("median").fail("a number above 0");
    read_factor(json, spread);
    read_whole(parameter, json, spread);
    return spread;
}

Spread read_uniform(const Parameter& parameter, const LocatedJson& json) {
    json.allow_members({"distribution", "min", "max", "whole"});
    Spread spread;
    spread.distribution = Distribution::uniform;
    static_cast<void>(json.member("min"));
    static_cast<void>(json.member("max"));
    read_bounds(parameter, json, spread);
    read_whole(parameter, json, spread);
    return spread;
}

Spread read_choice(const Parameter& parameter, const LocatedJson& json) {
    json.allow_members({"distribution", "values", "weights"});
    Spread spread;
    spread.distribution = Distribution::choice;
    for (const LocatedJson& value : json.member("values").elements())
        spread.values.push_back(read_value(parameter, value));
    if (spread.values.empty()) json.member("values").fail("at least one value");
    spread.weights.assign(spread.values.size(), 1);
    if (!json.has("weights")) return spread;
    const std::vector<LocatedJson> weights = json.member("weights").elements();
    if (weights.size() != spread.values.size()) json.member("weights").fail("a weight for each value");
    double sum = 0;
    for (std::size_t i = 0; i < weights.size(); ++i)
        sum += spread.weights[i] = weights[i].number(0, max_weight);
    if (sum <= 0) json.member("weights").fail("a weight above 0");
    return spread;
}

// Where a unit stands and who calibrates it is not the unit's; its serial number is its seed's.
bool is_of_unit(const std::string& name) {
    constexpr const char* others[] = {"pose.", "wall.", "room.", "hand.", "bench.", "unit.serial"};
    return std::none_of(std::begin(others), std::end(others),
                        [&name](const char* other) { return name.rfind(other, 0) == 0; });
}

Spread read_spread(const std::string& name, const LocatedJson& json) {
    const Parameter& parameter = parameter_at(name, json);
    if (!is_of_unit(name))
        json.fail("a parameter of a unit: none of pose, wall, room, hand, bench, no unit.serial");
    const std::string kind =
        json.member("distribution").one_of({"normal", "truncated_normal", "log_normal", "uniform", "choice"});
    Spread spread = kind == "normal"             ? read_normal(parameter, json)
                    : kind == "truncated_normal" ? read_truncated_normal(parameter, json)
                    : kind == "log_normal"       ? read_log_normal(parameter, json)
                    : kind == "uniform"          ? read_uniform(parameter, json)
                                                 : read_choice(parameter, json);
    spread.parameter = name;
    return spread;
}

}  // namespace

UnitSpread parse_unit_file(const std::string& text, const std::string& name) {
    const nlohmann::ordered_json document = parse_strictly(text, name);
    const LocatedJson json(document, name + ": $");
    json.allow_members({"about", "draw"});
    if (json.has("about")) static_cast<void>(json.member("about").text());
    UnitSpread spreads;
    if (!json.has("draw")) return spreads;
    for (const auto& [parameter, spread] : json.member("draw").members())
        spreads.push_back(read_spread(parameter, spread));
    return spreads;
}

UnitSpread read_unit_file(const std::string& path) {
    return parse_unit_file(read_input_file(path, "unit"), path);
}

}  // namespace vp
