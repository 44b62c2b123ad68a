#include "virtual_projector/devices/fault_plan.h"

#include <cstring>
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

std::string error_name(int number) {
    const char* const name = ::strerrorname_np(number);
    return name == nullptr ? std::to_string(number) : name;
}

bool is_any_of(std::string_view operation, std::string_view one, std::string_view other) {
    return operation == one || operation == other;
}

std::string words_of_result(const FaultEffect& effect, std::string_view operation) {
    if (effect.error_number != 0) return "failed with " + error_name(effect.error_number);
    const bool asks = is_any_of(operation, "ioctl", "call");
    if (effect.short_count >= 0 && asks) return "had the result " + std::to_string(effect.short_count);
    if (effect.short_count >= 0 && is_any_of(operation, "read", "write"))
        return "moved at most " + std::to_string(effect.short_count) + " bytes";
    if (effect.garbage && operation == "read") return "delivered other bytes";
    if (effect.garbage && asks) return "handed out other bytes";
    if (effect.stale && operation == "read") return "delivered what was read last";
    if (effect.stale && asks) return "reported success and did nothing";
    return {};
}

}  // namespace

std::string words_of(const FaultEffect& effect, std::string_view operation) {
    std::string words = words_of_result(effect, operation);
    if (effect.delay_us > 0)
        words += (words.empty() ? "took " : ", took ") + std::to_string(effect.delay_us) + " us longer";
    return words;
}

bool FaultEffect::is_harmless() const {
    return delay_us == 0 && error_number == 0 && short_count < 0 && !garbage && !stale;
}

FaultPlan::FaultPlan(std::uint64_t seed) : random_(seed) {}

void FaultPlan::add(FaultRule rule) {
    rule.effect.number = ++added_;
    rules_.push_back({std::move(rule), 0});
}

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
