#include "virtual_projector/launcher/session.h"

#include <malloc.h>
#include <sched.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <stdexcept>

#include "virtual_projector/boardlibs/boardlibs.h"
#include "virtual_projector/clock/own_work.h"
#include "virtual_projector/clock/real_clock.h"
#include "virtual_projector/clock/virtual_clock.h"
#include "virtual_projector/devices/board.h"
#include "virtual_projector/interpose/machine.h"
#include "virtual_projector/launcher/scenario_events.h"
#include "virtual_projector/launcher/truth_trace.h"
#include "virtual_projector/trace/json_trace.h"

namespace vp {
namespace {

// What the process holds is looked at this often, so that a summary shows whether it grows.
constexpr Microseconds holding_interval = 3600 * microseconds_per_second;

struct Holding {
    Microseconds time = 0;
    std::size_t heap_bytes = 0;  // of the whole process
    std::size_t open_nodes = 0;
};

std::unique_ptr<Clock> make_clock(const RunOptions& options, std::uint64_t seed) {
    if (options.real_time) return std::make_unique<RealClock>();
    VirtualClock::Options scheduling;
    scheduling.seed = seed;
    scheduling.preempt = options.preempt;
    return std::make_unique<VirtualClock>(scheduling);
}

std::unique_ptr<JsonTrace> make_trace(const RunOptions& options) {
    if (options.trace.empty()) return nullptr;
    std::unique_ptr<JsonTrace> trace = JsonTrace::to_file(options.trace, options.trace_detail);
    if (trace == nullptr) throw std::runtime_error(options.trace + ": " + std::strerror(errno));
    return trace;
}

World make_world(const RunOptions& options, const Scenario& scenario) {
    World world(seed_of(options, scenario));
    if (scenario.unit_seed) world.draw_unit(*scenario.unit_seed);
    for (const auto& [name, value] : scenario.parameters) world.set(name, value);
    for (const auto& [name, value] : options.parameters) world.set(name, value);
    return world;
}

// In virtual time only one of the program's threads runs at a time, and the turn passes several times as fast
// between threads of one processor. Where this is not allowed the run is only slower.
void stay_on_this_processor() {
    const int processor = sched_getcpu();
    if (processor < 0) return;
    cpu_set_t only;
    CPU_ZERO(&only);
    CPU_SET(static_cast<unsigned>(processor), &only);
    static_cast<void>(sched_setaffinity(0, sizeof only, &only));
}

// The run itself is over and keeps its exit code.
void complain_of(const std::string& file) {
    std::fprintf(stderr, "virtual-projector: %s: not all of it could be written\n", file.c_str());
}

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

nlohmann::ordered_json json_of(const std::vector<Holding>& holdings) {
    nlohmann::ordered_json json = nlohmann::ordered_json::array();
    for (const Holding& holding : holdings) {
        json.push_back(
            {{"t_us", holding.time}, {"heap_bytes", holding.heap_bytes}, {"open_nodes", holding.open_nodes}});
    }
    return json;
}

}  // namespace

struct Session::Parts {
    explicit Parts(const RunOptions& given)
        : options(given),
          scenario(given.scenario.empty() ? Scenario{} : read_scenario(given.scenario)),
          world(make_world(given, scenario)),
          clock(make_clock(given, world.seed())),
          board(world, [this] { return clock->now(); }, {given.flash, tof_memory_file(given.flash)}),
          faults(world.seed()),
          file_trace(make_trace(given)) {
        if (file_trace) trace = std::make_unique<TruthTrace>(*file_trace, [this] { return truth(); });
        machine = std::make_unique<Machine>(*clock, nodes, faults, trace.get());
        if (options.exact_stacks) machine->threads().measure_stacks_exactly();
    }

    Truth truth() {
        return board.with_world([](World& now) { return now.truth(); });
    }

    void connect_board() {
        build_board(board, nodes);
        boardlibs::Installation installation;
        installation.board = &board;
        installation.fault = [this](std::string_view function) { return begin_library_call(function); };
        installation.called = [this](std::string_view function, long result) {
            const WorldLock lock(*clock);
            CallRecord record;
            record.call = "call";
            record.path = function;
            record.result = result;
            machine->recorder().record(record);
            machine->threads().call_ends();
        };
        boardlibs::install(std::move(installation));
    }

    // The stand-ins run on the stack of the thread that calls them, as the machine's answers do.
    FaultEffect begin_library_call(std::string_view function) {
        machine->threads().call_begins();
        FaultEffect effect;
        {
            const WorldLock lock(*clock);
            effect = faults.effect_on("call", function);
        }
        if (effect.delay_us > 0) clock->sleep_until(clock->now() + effect.delay_us);
        return effect;
    }

    void tell(Microseconds at, const std::string& what) {
        if (trace) trace->record_event(at, what);
    }

    void connect_time() {
        clock->on_advance([this](Microseconds now) {
            board.with_world([](World&) {});
            if (trace) trace->time_is(now);
            if (now >= next_holding) note_holding(now);
        });
        board.on_action([this](Microseconds at, const std::string& what) { tell(at, what); });
        schedule(scenario,
                 {world, faults,
                  [this](Microseconds at, std::function<void()> action) { clock->at(at, std::move(action)); },
                  [this](Microseconds at, const std::string& what) { tell(at, what); }});
    }

    void note_holding(Microseconds now) {
        holdings.push_back({now, mallinfo2().uordblks, machine->files().open_paths().size()});
        next_holding = now + holding_interval;
    }

    std::int64_t real_microseconds() const {
        const auto passed = std::chrono::steady_clock::now() - started;
        return std::chrono::duration_cast<std::chrono::microseconds>(passed).count();
    }

    bool write_summary() {
        if (options.summary.empty()) return true;
        nlohmann::ordered_json summary;
        summary["simulated_us"] = clock->now();
        summary["real_us"] = real_microseconds();
        if (const VirtualClock* scheduler = clock->scheduler()) summary["switches"] = scheduler->switches();
        summary["stacks"] = json_of(machine->threads().stack_uses());
        summary["holdings"] = json_of(holdings);
        summary["open_nodes"] = machine->files().open_paths();
        std::ofstream file(options.summary);
        file << summary.dump() << "\n";
        return static_cast<bool>(file.flush());
    }

    const std::chrono::steady_clock::time_point started = std::chrono::steady_clock::now();
    RunOptions options;
    Scenario scenario;
    World world;
    std::unique_ptr<Clock> clock;
    Board board;
    DeviceTable nodes;
    FaultPlan faults;
    std::unique_ptr<JsonTrace> file_trace;
    std::unique_ptr<TruthTrace> trace;
    std::unique_ptr<Machine> machine;
    std::vector<Holding> holdings;
    Microseconds next_holding = holding_interval;
};

Session::Session(const RunOptions& options) {
    const OwnWork own;
    if (!options.real_time) stay_on_this_processor();
    parts_ = std::make_unique<Parts>(options);
    parts_->connect_board();
    parts_->connect_time();
    if (parts_->trace) parts_->trace->record_now(0);
    parts_->machine->install();
}

Session::~Session() {
    const OwnWork own;
    parts_->machine->uninstall();
    if (parts_->trace) parts_->trace->record_now(parts_->clock->now());
    if (parts_->file_trace && !parts_->file_trace->flush()) complain_of(parts_->options.trace);
    if (!parts_->write_summary()) complain_of(parts_->options.summary);
    // The program's other threads are still there, standing at their waits: what they stand on stays.
    static const Parts* ended_run = nullptr;
    ended_run = parts_.release();
    static_cast<void>(ended_run);
}

}  // namespace vp
