#include "virtual_projector/launcher/run_schedule.h"

#include <filesystem>
#include <regex>
#include <stdexcept>

#include "virtual_projector/clock/pct_schedule.h"
#include "virtual_projector/clock/played_schedule.h"
#include "virtual_projector/clock/random_schedule.h"

namespace vp {
namespace {

constexpr const char* random_choice = "random";
constexpr const char* pct_prefix = "pct:";
constexpr std::uint64_t usual_steps = 10000;

// Depths up to 99 and up to a million million steps: far more than any run has.
PctSchedule::Options pct_options(const std::string& choice) {
    static const std::regex form("pct:([1-9][0-9]?)(:([1-9][0-9]{0,11}))?");
    std::smatch parts;
    if (!std::regex_match(choice, parts, form)) {
        throw std::runtime_error("expected pct:D or pct:D:K with a depth D from 1 to 99 and K steps, found '" +
                                 choice + "'");
    }
    PctSchedule::Options options;
    options.depth = std::stoi(parts[1]);
    options.steps = parts[3].matched ? std::stoull(parts[3]) : usual_steps;
    return options;
}

}  // namespace

std::unique_ptr<SchedulePolicy> make_schedule(const std::string& choice, std::uint64_t seed, double preempt) {
    if (choice == random_choice) return std::make_unique<RandomSchedule>(seed, preempt);
    if (preempt > 0) throw std::runtime_error("--preempt goes with the random schedule only");
    if (choice.rfind(pct_prefix, 0) == 0) return std::make_unique<PctSchedule>(seed, pct_options(choice));
    std::error_code none;
    if (!std::filesystem::exists(choice, none)) {
        throw std::runtime_error("expected random, pct:D, pct:D:K or a file, found no file '" + choice + "'");
    }
    return std::make_unique<PlayedSchedule>(choice);
}

bool is_schedule_file(const std::string& choice) {
    return choice != random_choice && choice.rfind(pct_prefix, 0) != 0;
}

}  // namespace vp
