#include "virtual_projector/launcher/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>

#include <ovra_version.h>
#include "virtual_projector/launcher/scenario.h"
#include "virtual_projector/world/parameters.h"
#include "virtual_projector/world/text.h"

namespace vp {
namespace {

constexpr std::size_t help_width = 80;
constexpr const char* usage = "virtual-projector [OPTIONS] [--] PROGRAM [ARGUMENTS...]";

class Help : public CLI::Formatter {
public:
    std::string make_usage(const CLI::App*, std::string) const override {
        return std::string("\nUsage: ") + usage + "\n";
    }
    // The value's name and default. What an option excludes is said in its description.
    std::string make_option_opts(const CLI::Option* option) const override {
        if (option->get_type_size() == 0) return "";
        const std::string standard = option->get_default_str();
        return " " + option->get_type_name() + (standard.empty() ? "" : "=" + standard);
    }
};

// As a scenario's seed.
constexpr std::uint64_t max_seed = std::numeric_limits<std::int64_t>::max();
// As a scenario's last event: ten days.
constexpr double max_limit_s = 864000;

const std::vector<std::pair<std::string, TraceDetail>> trace_details = {
    {"events", TraceDetail::events},
    {"changes", TraceDetail::changes},
    {"calls", TraceDetail::calls},
};

const std::vector<std::pair<std::string, bool>> ways_with_the_outside = {{"wait", false}, {"skip", true}};

// A range lets it through: no comparison with it holds.
std::string refuse_nan(const std::string& number) {
    return std::isnan(std::strtod(number.c_str(), nullptr)) ? "expected a number, found " + number : "";
}

// One of several names; no other text means the same.
template <typename Value>
CLI::Option* add_choice(CLI::App& app, const std::string& name, Value& value,
                        const std::vector<std::pair<std::string, Value>>& choices, const std::string& about) {
    return app.add_option(name, value, about)
        ->transform(CLI::Transformer(choices).description(""))
        ->transform(CLI::IsMember(choices).description(""));  // comes before
}

CLI::Option* add_limit(CLI::App& app, const std::string& name, double& value, const std::string& about) {
    return app.add_option(name, value, about)
        ->check(CLI::Range(0.0, max_limit_s).description(""))
        ->check(refuse_nan)
        ->type_name("SECONDS");
}

void describe_run(CLI::App& app, CommandLine& line) {
    app.add_option("--scenario", line.run.scenario, "what the unit and the room are like, and what happens")
        ->type_name("FILE");
    app.add_option("--seed", line.run.seed,
                   "seed of noise and of ties between threads (scenario's own, else 1)")
        ->check(CLI::Range(std::uint64_t{0}, max_seed).description(""))
        ->type_name("N");
    app.add_option("--world", line.run.world, "what the room is like (scenario's own, else laboratory)")
        ->type_name("NAME|FILE");
    app.add_option("--unit-seed", line.run.unit_seed,
                   "draw a unit's manufacturing spread by this seed (scenario's own, else the standard unit)")
        ->check(CLI::Range(std::uint64_t{0}, max_seed).description(""))
        ->type_name("N");
    app.add_option("--unit", line.run.unit, "the spread that it is drawn from (scenario's own, else standard)")
        ->type_name("NAME|FILE");
    app.add_option("--set", line.settings, "set a parameter after the scenario's; may be repeated")
        ->type_name("NAME=VALUE")
        ->expected(1)
        ->take_all();
    app.add_flag("--print-settings", line.print_settings,
                 "print every parameter's value at the start and where it comes from, and exit; without "
                 "PROGRAM, too");
    app.add_option("--trace", line.run.trace,
                   "write what happened, one JSON record a line, compressed where FILE ends in .gz or .zst; - "
                   "is standard "
                   "output, for --summary too")
        ->type_name("FILE");
    add_choice(app, "--trace-detail", line.run.trace_detail, trace_details,
               "events; changes: and what changes the board; calls: all")
        ->type_name("LEVEL")
        ->default_str("calls");
    app.add_option("--flash", line.run.flash,
                   "keep the permanent record in this file from run to run, the ToF sensor's own calibration "
                   "in FILE.tof")
        ->type_name("FILE");
    app.add_option("--summary", line.run.summary, "write the run's figures (times, stacks) as JSON")
        ->type_name("FILE");
    app.add_flag("--exact-stacks", line.run.exact_stacks,
                 "leave the virtual projector's own use out of the summary's stacks; slow");
}

void describe_ends(CLI::App& app, RunOptions& run) {
    add_limit(app, "--limit", run.limit_s, "end the run after so much simulated time, with exit code 121");
    add_limit(
        app, "--real-limit", run.real_limit_s,
        "end it after so much real time in which the simulation gets no further, with exit code 122; 0: never")
        ->default_str("60");
    add_choice(
        app, "--outside", run.outside_skip, ways_with_the_outside,
        "while PROGRAM waits for something outside of it (a terminal, a child, another process's socket): "
        "wait, simulated time stands still; skip, it goes on")
        ->type_name("wait|skip")
        ->default_str("wait");
}

void describe_schedule(CLI::App& app, RunOptions& run) {
    app.add_flag("--real-time", run.real_time,
                 "run on the wall clock, without the scheduler; not with the three below");
    app.add_option("--preempt", run.preempt, "probability that a thread loses its turn at a call")
        ->check(CLI::Range(0.0, 1.0).description(""))
        ->check(refuse_nan)
        ->excludes("--real-time")
        ->type_name("P");
    app.add_option(
           "--schedule", run.schedule,
           "who runs next: random, by the seed; pct:D or pct:D:K, by random priorities that change at D-1 of "
           "about K points (10000); FILE, as it was recorded")
        ->excludes("--real-time")
        ->type_name("random|pct:D|FILE");
    app.add_option("--record-schedule", run.record_schedule, "write down who ran next, for --schedule FILE")
        ->excludes("--real-time")
        ->type_name("FILE");
}

void describe_story(CLI::App& app, CommandLine& line) {
    app.add_flag("--story", line.story, "tell at the end what happened, in words");
    app.add_flag("--full", line.story_options.full, "with --story: everything, and nothing drawn together")
        ->needs("--story");
    app.add_flag("--log", line.story_options.log, "with --story: the library's own log lines in their places")
        ->needs("--story");
    app.add_option("--library-log", line.library_log,
                   "where PROGRAM writes the library's log, for the story of a trace without it")
        ->type_name("FILE");
    app.add_option(
           "--emulator", line.emulator,
           "run PROGRAM, and the virtual projector in it, by this user-mode emulator of another processor: "
           "its command in one argument, such as 'qemu-mipsel -L /usr/mipsel-linux-gnu'")
        ->type_name("COMMAND");
}

void describe_live(CLI::App& app, CommandLine& line) {
    constexpr int max_port = 65535;
    app.add_option_function<std::string>(
           "--live", [&line](const std::string& port) { line.live_port = port.empty() ? 0 : std::stoi(port); },
           "serve a page on which the run is watched and people have a hand in it, at the PC's own pace; on "
           "this "
           "port of the loopback address, --live=PORT, else on a free one; not with the others that change "
           "whose time it is")
        ->expected(0, 1)
        ->type_name("[PORT]")
        ->check(CLI::Range(0, max_port).description(""))
        ->excludes("--real-time")
        ->excludes("--story")
        ->excludes("--print-settings")
        ->excludes("--emulator");
}

void describe_tools(CLI::App& app, CommandLine& line) {
    std::vector<std::string> before = {"--emulator", "--live"};
    for (const auto& [tool, name, about] : tools) {
        CLI::Option* const flag = app.add_flag_function(
            std::string("--") + name, [&line, chosen = tool](std::int64_t) { line.program.tool = chosen; },
            about);
        for (const std::string& other : before) flag->excludes(other);
        before.push_back(std::string("--") + name);
    }
    app.add_option(
           "--tool-options", line.tool_options,
           "more words for the command of gdb, valgrind, perf or strace, in one argument; quotes keep words "
           "together: '-batch -ex \"info threads\"'")
        ->type_name("WORDS");
}

void describe(CLI::App& app, CommandLine& line) {
    app.formatter(std::make_shared<Help>());
    app.description(
        "Runs PROGRAM, any dynamically linked host program with libovrafocus.so, on a simulated board, lens, "
        "room and wall, in virtual time, and returns PROGRAM's exit code. Others: 128 and the signal when one "
        "ended it, 2 when the command line or the scenario is wrong, 120 when no thread can go on, 121 and 122 "
        "when --limit and --real-limit are reached, 123 when PROGRAM ended with 0 and a file of the run could "
        "not be written, 127 when it cannot run.\n");
    app.set_version_flag("--version",
                         std::string("virtual-projector " OVRA_VERSION " (commit " OVRA_COMMIT ")"),
                         "Print version and commit and exit");
    describe_run(app, line);
    describe_ends(app, line.run);
    describe_schedule(app, line.run);
    describe_story(app, line);
    describe_live(app, line);
    describe_tools(app, line);
    app.footer(std::string(scenario_format()) + "\nParameters (name, default and unit, range, meaning):\n" +
               describe_parameters());
}

std::vector<std::string> words_of(const std::string& command) {
    std::istringstream words(command);
    return {std::istream_iterator<std::string>(words), std::istream_iterator<std::string>()};
}

// From PROGRAM on everything is the program's, whatever it looks like; "--" before it makes that plain.
void parse(CLI::App& app, CommandLine& line, int argc, char** argv) {
    char** const own_end = std::find(argv + 1, argv + argc, std::string_view("--"));
    app.prefix_command();
    app.parse(static_cast<int>(own_end - argv), argv);
    line.program.command = app.remaining();
    if (!line.program.command.empty() && line.program.command[0].rfind('-', 0) == 0)
        throw CLI::ExtrasError({line.program.command[0]});
    const bool is_programs_own = !line.program.command.empty() || own_end == argv + argc;
    line.program.command.insert(line.program.command.end(), is_programs_own ? own_end : own_end + 1,
                                argv + argc);
    if (line.program.command.empty() && !line.print_settings)
        throw std::runtime_error(std::string("expected a program to run: ") + usage);
    line.program.emulator = words_of(line.emulator);
    line.program.tool_options = CLI::detail::split_up(line.tool_options);
}

}  // namespace

std::optional<CommandLine> parse_command_line(int argc, char** argv) {
    CommandLine line;
    line.run.version = OVRA_VERSION;
    line.run.commit = OVRA_COMMIT;
    CLI::App app;
    describe(app, line);
    try {
        parse(app, line, argc, argv);
        return line;
    } catch (const CLI::CallForHelp&) {
        std::printf("%s", wrap_lines(app.help(), help_width).c_str());
    } catch (const CLI::CallForVersion& version) {
        std::printf("%s\n", version.what());
    } catch (const CLI::ParseError& error) {
        throw std::runtime_error(std::string(error.what()) + " (see --help)");
    }
    return std::nullopt;
}

}  // namespace vp
