// The figures of a run: its times, its turns, how deep its stacks went, whether what it holds grows, and what
// is so in the end.
#ifndef VIRTUAL_PROJECTOR_LAUNCHER_RUN_SUMMARY_H
#define VIRTUAL_PROJECTOR_LAUNCHER_RUN_SUMMARY_H

#include <chrono>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "virtual_projector/clock/clock.h"
#include "virtual_projector/interpose/machine.h"
#include "virtual_projector/trace/records.h"
#include "virtual_projector/world/wear.h"

namespace vp {

/// The wear as it stands in a summary and in a trace: of the run and in total, with three decimals.
nlohmann::ordered_json json_of(const WearAccount& wear);

class RunSummary {
public:
    /// The run begins now. An empty file name: nothing will be written.
    RunSummary(std::string file, Clock& clock, Machine& machine);

    /// To be called as time goes by; looks at what the process holds once a simulated hour.
    void time_is(Microseconds now);

    /// False when not all of the file could be written.
    bool write(const TruthRecord& truth, const WearAccount& wear) const;

private:
    struct Holding {
        Microseconds time = 0;
        std::size_t heap_bytes = 0;  // of the whole process
        std::size_t open_nodes = 0;
    };

    std::chrono::steady_clock::time_point started_;
    std::string file_;
    Clock& clock_;
    Machine& machine_;
    std::vector<Holding> holdings_;
    Microseconds next_holding_;
};

}  // namespace vp

#endif
