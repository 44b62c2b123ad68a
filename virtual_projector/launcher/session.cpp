#include "virtual_projector/launcher/session.h"

#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <optional>
#include <set>
#include <stdexcept>
#include <utility>

#include "virtual_projector/boardlibs/boardlibs.h"
#include "virtual_projector/clock/real_clock.h"
#include "virtual_projector/clock/recording_schedule.h"
#include "virtual_projector/clock/reentrancy_guard.h"
#include "virtual_projector/clock/virtual_clock.h"
#include "virtual_projector/devices/board.h"
#include "virtual_projector/devices/build_board.h"
#include "virtual_projector/interpose/callback_records.h"
#include "virtual_projector/interpose/machine.h"
#include "virtual_projector/interpose/program_streams.h"
#include "virtual_projector/launcher/run_ends.h"
#include "virtual_projector/launcher/run_progress.h"
#include "virtual_projector/launcher/run_schedule.h"
#include "virtual_projector/launcher/run_settings.h"
#include "virtual_projector/launcher/run_summary.h"
#include "virtual_projector/launcher/scenario_events.h"
#include "virtual_projector/launcher/truth_trace.h"
#include "virtual_projector/launcher/typed_input.h"
#include "virtual_projector/live/live_run.h"
#include "virtual_projector/live/live_sink.h"
#include "virtual_projector/trace/json_trace.h"

namespace vp {
namespace {

struct RunClock {
    std::unique_ptr<Clock> clock;
    TurnScheduler* turns;  // null on the wall clock
};

RunClock make_clock(const RunOptions& options, std::uint64_t seed) {
    if (options.real_time) return {std::make_unique<RealClock>(), nullptr};
    std::unique_ptr<SchedulePolicy> schedule = make_schedule(options.schedule, seed, options.preempt);
    if (!options.record_schedule.empty())
        schedule = std::make_unique<RecordingSchedule>(std::move(schedule), options.record_schedule);
    auto clock = std::make_unique<VirtualClock>(std::move(schedule));
    TurnScheduler& turns = clock->scheduler();
    return {std::move(clock), &turns};
}

std::unique_ptr<JsonTrace> make_trace(const RunOptions& options) {
    if (options.trace.empty()) return nullptr;
    std::unique_ptr<JsonTrace> trace = JsonTrace::to_file(options.trace, options.trace_detail);
    if (trace == nullptr) throw std::runtime_error(options.trace + ": " + std::strerror(errno));
    return trace;
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

void complain(const std::string& what) { std::fprintf(stderr, "virtual-projector: %s\n", what.c_str()); }

// The virtual projector's own: those that were not open before it began.
std::vector<int> made_since(const std::vector<int>& before) {
    std::vector<int> made;
    for (const int descriptor : open_descriptors()) {
        if (std::find(before.begin(), before.end(), descriptor) == before.end()) made.push_back(descriptor);
    }
    return made;
}

// Whether who reads standard input may have to wait for it in virtual time: unless it is a file. A program that
// is given nothing to read may put a pipe of its own in that place.
bool may_wait(Machine& machine) {
    struct stat status {};
    return machine.is_virtual() && ::fstat(STDIN_FILENO, &status) == 0 && !S_ISREG(status.st_mode);
}

// Keeps account of which of the run's files are complete, and says once of each that it is not.
class FileAccount {
public:
    explicit FileAccount(RunState* state) : state_(state) {}
    void note(RunFile file, const std::string& path, bool complete) {
        if (state_ != nullptr) state_->set_complete(file, complete);
        if (!complete && told_.insert(file).second) complain(incomplete_output(path));
    }

private:
    RunState* state_;
    std::set<RunFile> told_;
};

nlohmann::ordered_json json_of(const boardlibs::Bytes& bytes) { return hexadecimal(bytes.content); }
template <typename Value>
nlohmann::ordered_json json_of(const Value& value) {
    return value;
}

nlohmann::ordered_json json_of(const boardlibs::Values& values) {
    nlohmann::ordered_json json;
    for (const auto& [name, value] : values)
        json[name] = std::visit([](const auto& held) { return json_of(held); }, value);
    return json;
}

}  // namespace

struct Session::Parts {
    Parts(const RunOptions& given, RunState* state)
        : options(given),
          account(state),
          scenario(given.scenario.empty() ? Scenario{} : read_scenario(given.scenario)),
          start(make_world(given, scenario)),
          world(start.world),
          run_clock(make_clock(given, world.seed())),
          clock(run_clock.clock.get()),
          board(world, *clock, {given.flash, tof_memory_file(given.flash)}),
          faults(world.seed()),
          file_trace(make_trace(given)) {
        if (given.live >= 0) live = std::make_unique<LiveRun>(move_out_of_the_way(given.live));
        if (live) live_sink = std::make_unique<LiveSink>(file_trace.get(), *live);
        if (TraceSink* const whole = sink()) {
            trace = std::make_unique<TruthTrace>(*whole, [this] { return truth(); });
            trace->follow_lens(
                {[this] { return lens_bends(); }, [this](Microseconds at) { return truth_at(at); }});
        }
        machine = std::make_unique<Machine>(*clock, nodes, faults, trace.get());
        summary = std::make_unique<RunSummary>(given.summary, *clock, *machine);
        if (file_trace) file_trace->on_failure([this] { account.note(RunFile::trace, options.trace, false); });
        board.on_saved([this](const std::string& file, bool complete) {
            account.note(file == options.flash ? RunFile::flash : RunFile::tof_memory, file, complete);
        });
        if (options.plain_stacks) machine->threads().use_plain_stacks();
        if (options.exact_stacks) machine->threads().measure_stacks_exactly();
    }

    TraceSink* sink() const {
        if (live_sink) return live_sink.get();
        return file_trace.get();
    }

    Truth truth() {
        return board.with_world([](World& now) { return now.truth(); });
    }

    std::vector<Microseconds> lens_bends() {
        return board.with_world([](const World& now) { return now.lens_bends(); });
    }

    // The world may stand at an earlier time than the clock, until somebody looks at it.
    Truth truth_at(Microseconds at) {
        const WorldLock lock(*clock);
        world.advance_to(at);
        return world.truth();
    }

    WearAccount wear() {
        return board.with_world([](const World& now) { return now.wear(); });
    }

    void connect_board() {
        build_board(board, nodes);
        boardlibs::Installation installation;
        installation.board = &board;
        installation.fault = [this](std::string_view function) { return begin_library_call(function); };
        installation.wants_values = trace != nullptr;
        installation.now = [this] { return clock->now(); };
        installation.called = [this](const boardlibs::CallDone& call) {
            record_library_call(call);
            machine->threads().call_ends();
            clock->scheduler().leave_call();
        };
        boardlibs::install(std::move(installation));
    }

    void record_library_call(const boardlibs::CallDone& call) {
        if (!machine->recorder().is_on()) return;
        const nlohmann::ordered_json arguments = json_of(call.values.arguments);
        const nlohmann::ordered_json outputs = json_of(call.values.outputs);
        machine->recorder().record_library_call(
            call.function, call.result, arguments.empty() ? nullptr : &arguments,
            outputs.empty() ? nullptr : &outputs, {call.began_us, call.effect});
    }

    // The stand-ins run on the stack of the thread that calls them, as the machine's answers do.
    FaultEffect begin_library_call(std::string_view function) {
        take_turn();
        machine->threads().call_begins();
        {
            const ReentrancyGuard guard;
            machine->catch_up();
        }
        FaultEffect effect;
        {
            const WorldLock lock(*clock);
            effect = faults.effect_on("call", function);
        }
        if (effect.delay_us > 0) clock->sleep_until(clock->now() + effect.delay_us);
        return effect;
    }

    // A thread that has computed for too long has lost it, and may touch nothing before it has it again.
    void take_turn() {
        const ReentrancyGuard guard;
        if (clock->scheduler().knows_current_thread()) clock->scheduler().enter_call();
    }

    void schedule_events() {
        event_targets = std::make_shared<const EventTargets>(EventTargets{
            [this](Microseconds at, std::function<void()> event) { clock->at(at, std::move(event)); },
            [this](const std::function<void(World&)>& change) {
                if (trace) trace->before_change(clock->now());
                board.with_world(change);
            },
            faults,
            [this](Microseconds at, const std::string& what) {
                if (trace) trace->record_event(at, what);
            },
            // Stands after the truth of its time, which it does not change.
            [this](Microseconds at, const std::string& what) {
                if (!trace) return;
                trace->time_is(clock->now());
                trace->record_event(at, what);
            },
            [this](const std::string& text) { type(text); }});
        schedule(scenario, event_targets);
    }

    void type(const std::string& text) {
        if (!keyboard || !keyboard->type(text)) complain("the program reads no standard input; lost: " + text);
    }

    // What stood in this place when the process was started leads outside; the keyboard does not.
    void begin_typing() {
        if (!scenario.types() && !live) return;
        keyboard = std::make_unique<TypedInput>();
        machine->protect({keyboard->descriptor()});
        machine->forget_descriptor(STDIN_FILENO);
        if (scenario.standard_input) type(*scenario.standard_input);
    }

    void begin_live() {
        if (!live) return;
        machine->protect({live->descriptor()});
        LiveRun::Run run;
        run.now = [this] { return clock->now(); };
        run.world = [this] { return world; };
        run.schedule = [this](const ScenarioEvent& event) { schedule_event(event, event_targets); };
        run.end_at = [this](Microseconds time) { ends->end_at(time); };
        run.signals = machine->signals()->noted_descriptor();
        live->begin(std::move(run));
        run_clock.turns->before_advance([this](std::optional<Microseconds> next) { return live->hold(next); });
    }

    void record_run() {
        if (sink() != nullptr) sink()->record_run(run_record(options, scenario, start.settings));
    }

    void follow_time() {
        clock->on_advance([this](Microseconds now) {
            if (trace) trace->time_is(now);
            summary->time_is(now);
            progress.time_is(now);
        });
    }

    RunOptions options;
    FileAccount account;
    Scenario scenario;
    RunSettings start;
    World& world;
    RunClock run_clock;
    Clock* clock;
    Board board;
    DeviceTable nodes;
    FaultPlan faults;
    std::unique_ptr<TypedInput> keyboard;
    std::unique_ptr<LiveRun> live;
    std::unique_ptr<JsonTrace> file_trace;
    std::unique_ptr<LiveSink> live_sink;
    std::unique_ptr<TruthTrace> trace;
    std::unique_ptr<Machine> machine;
    std::unique_ptr<RunSummary> summary;
    RunProgress progress{stderr};
    std::shared_ptr<const EventTargets> event_targets;
    std::unique_ptr<RunEnds> ends;
    std::atomic_flag finished = ATOMIC_FLAG_INIT;
};

Session::Session(const RunOptions& options, RunState* state) {
    const ReentrancyGuard guard;
    if (!options.real_time) stay_on_this_processor();
    const std::vector<int> programs_own = open_descriptors();
    parts_ = std::make_unique<Parts>(options, state);
    for (const auto& [name, value] : bench_variables(parts_->world)) setenv(name.c_str(), value.c_str(), 0);
    if (state != nullptr) state->set_begun();
    parts_->connect_board();
    {
        // On the wall clock the scenario's first events happen on a thread of the clock's own, and time goes by
        // meanwhile: what follows it comes last, so that the trace begins with what is so at the start.
        const WorldLock lock(*parts_->clock);
        parts_->record_run();
        parts_->schedule_events();
        if (parts_->trace) parts_->trace->record_now(0);
        parts_->follow_time();
    }
    parts_->ends = std::make_unique<RunEnds>(parts_->options, *parts_->clock, parts_->run_clock.turns,
                                             *parts_->machine, [this] { finish(); });
    if (LiveRun* const live = parts_->live.get()) parts_->ends->excuse([live] { return live->is_holding(); });
    Machine& machine = *parts_->machine;
    if (parts_->trace) {
        record_host_calls();
        machine.watch_library();
    }
    machine.install();
    machine.protect(made_since(programs_own));
    machine.chance().set_seed(parts_->world.seed());
    if (options.outside_skip) machine.descriptors().skip_outside();
    parts_->begin_typing();
    parts_->begin_live();
    if (may_wait(machine)) take_over_standard_input({::read, ::write, ::close});
    parts_->ends->watch();
}

void Session::finish() {
    parts_->take_turn();
    if (parts_->finished.test_and_set()) return;
    const ReentrancyGuard guard;
    parts_->machine->catch_up();
    parts_->machine->record_unended_waits();
    parts_->machine->uninstall();
    if (parts_->trace) {
        const WorldLock lock(*parts_->clock);
        if (parts_->file_trace) parts_->file_trace->record_wear(parts_->clock->now(), json_of(parts_->wear()));
        parts_->trace->record_now(parts_->clock->now());
    }
    if (parts_->live) parts_->live->finish();
    parts_->progress.finish();
    FileAccount& account = parts_->account;
    const RunOptions& options = parts_->options;
    if (parts_->file_trace) account.note(RunFile::trace, options.trace, parts_->file_trace->finish());
    account.note(RunFile::summary, options.summary,
                 parts_->summary->write(record_of(parts_->truth()), parts_->wear()));
    const std::string misfit = parts_->clock->scheduler().end_schedule();
    if (misfit == incomplete_output(options.record_schedule))
        account.note(RunFile::schedule, options.record_schedule, false);
    else if (!misfit.empty())
        complain(misfit);
}

void Session::abandon() {
    if (parts_->finished.test_and_set()) return;
    const ReentrancyGuard guard;
    parts_->machine->uninstall();
}

Session::~Session() {
    finish();
    // The program's other threads are still there, standing at their waits: what they stand on stays.
    static const Parts* ended_run = nullptr;
    ended_run = parts_.release();
    static_cast<void>(ended_run);
}

}  // namespace vp
