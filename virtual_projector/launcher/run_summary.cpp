#include "virtual_projector/launcher/run_summary.h"

#include <malloc.h>

#include <nlohmann/json.hpp>
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

}  // namespace

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

bool RunSummary::write() const {
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
    const std::string text = summary.dump() + "\n";
    return write_output(file_, text.data(), text.size());
}

}  // namespace vp
