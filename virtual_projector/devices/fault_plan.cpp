#include "virtual_projector/devices/fault_plan.h"

#include <utility>

namespace vp {
namespace {

// 53 bits: as many as the fraction of a double holds, so that the draw is even over [0, 1).
constexpr int draw_shift = 11;
constexpr double draw_scale = 1.0 / 9007199254740992.0;

bool path_matches(std::string_view pattern, std::string_view path) {
    if (pattern.empty()) return true;
    if (pattern.back() != '*') return pattern == path;
    const std::string_view start = pattern.substr(0, pattern.size() - 1);
    return path.substr(0, start.size()) == start;
}

bool matches(const FaultRule& rule, std::string_view operation, std::string_view path) {
    return (rule.operation.empty() || rule.operation == operation) && path_matches(rule.path, path);
}

}  // namespace

bool FaultEffect::is_harmless() const {
    return delay_us == 0 && error_number == 0 && short_count < 0 && !garbage && !stale;
}

FaultPlan::FaultPlan(std::uint64_t seed) : random_(seed) {}

void FaultPlan::add(FaultRule rule) { rules_.push_back({std::move(rule), 0}); }

void FaultPlan::clear() { rules_.clear(); }

// Draws only for rules that leave something to chance, so that a certain rule does not disturb the others.
bool FaultPlan::hits(CountedRule& counted) {
    ++counted.matches;
    if (counted.rule.nth != 0 && counted.matches != counted.rule.nth) return false;
    if (counted.rule.probability >= 1.0) return true;
    return static_cast<double>(random_() >> draw_shift) * draw_scale < counted.rule.probability;
}

FaultEffect FaultPlan::effect_on(std::string_view operation, std::string_view path) {
    const FaultEffect* decided = nullptr;
    for (CountedRule& counted : rules_) {
        if (!matches(counted.rule, operation, path)) continue;
        const bool hit = hits(counted);
        if (hit && decided == nullptr) decided = &counted.rule.effect;
    }
    return decided == nullptr ? FaultEffect{} : *decided;
}

}  // namespace vp
