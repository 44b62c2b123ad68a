#include "virtual_projector/launcher/run_summary.h"

#include <malloc.h>

#include <cmath>
#include <cstdint>
#include <utility>

#include "virtual_projector/files/output_file.h"

namespace vp {
namespace {

// A run of hours shows in these whether memory or open nodes grow.
constexpr Microseconds holding_interval = 3600 * microseconds_per_second;

nlohmann::ordered_json json_of(const std::vector<StackUse>& stacks) {
    nlohmann::ordered_json json = nlohmann::ordered_json::array();
    for (const StackUse& stack : stacks) {
        json.push_back({{"thread", stack.thread},
                        {"name", stack.name},
                        {"size", stack.size},
                        {"deepest_use", stack.deepest_use}});
    }
    return json;
}

nlohmann::ordered_json json_of(const Wear& wear) {
    constexpr double scale = 1000;
    nlohmann::ordered_json json;
    for (const WearFigure& figure : wear_figures()) {
        const double value = wear.*figure.member;
        if (figure.whole) {
            json[std::string(figure.name)] = static_cast<std::int64_t>(value);
        } else {
            json[std::string(figure.name)] = std::round(value * scale) / scale;
        }
    }
    return json;
}

}  // namespace

nlohmann::ordered_json json_of(const WearAccount& wear) {
    nlohmann::ordered_json json;
    json[record_key::run] = json_of(wear.run);
    json[record_key::total] = json_of(wear.total);
    return json;
}

RunSummary::RunSummary(std::string file, Clock& clock, Machine& machine)
    : started_(std::chrono::steady_clock::now()),
      file_(std::move(file)),
      clock_(clock),
      machine_(machine),
      next_holding_(holding_interval) {}

void RunSummary::time_is(Microseconds now) {
    if (now < next_holding_) return;
    holdings_.push_back({now, mallinfo2().uordblks, machine_.files().open_paths().size()});
    next_holding_ = now + holding_interval;
}

bool RunSummary::write(const TruthRecord& truth, const WearAccount& wear) const {
    if (file_.empty()) return true;
    const auto real = std::chrono::steady_clock::now() - started_;
    nlohmann::ordered_json summary;
    summary["simulated_us"] = clock_.now();
    summary["real_us"] = std::chrono::duration_cast<std::chrono::microseconds>(real).count();
    if (clock_.is_virtual()) {
        const ThreadScheduler::Figures figures = clock_.scheduler().figures();
        summary["switches"] = figures.switches;
        summary["scheduling_points"] = figures.points;
    }
    summary["stacks"] = json_of(machine_.threads().stack_uses());
    summary["holdings"] = nlohmann::ordered_json::array();
    for (const Holding& holding : holdings_) {
        summary["holdings"].push_back(
            {{"t_us", holding.time}, {"heap_bytes", holding.heap_bytes}, {"open_nodes", holding.open_nodes}});
    }
    summary["open_nodes"] = machine_.files().open_paths();
    summary[record_key::truth] = json_of(truth);
    summary["wear"] = json_of(wear);
    const std::string text = summary.dump() + "\n";
    return write_output(file_, text.data(), text.size());
}

}  // namespace vp
