// virtual-projector: runs an unchanged host program, with the unchanged library, on a simulated projector.
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <limits>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "virtual_projector/clock/schedule_file.h"
#include "virtual_projector/launcher/located_json.h"
#include "virtual_projector/launcher/program.h"
#include "virtual_projector/launcher/run_options.h"
#include "virtual_projector/launcher/run_schedule.h"
#include "virtual_projector/launcher/scenario.h"
#include "virtual_projector/report/story.h"
#include "virtual_projector/world/parameters.h"
#include "virtual_projector/world/tof_calibration.h"
#include "virtual_projector/world/unit_record.h"

namespace {

constexpr int exit_usage = 2;
// The loader takes LD_PRELOAD apart at these, and would run the program on the plain PC.
constexpr const char* preload_separators = " :";

struct CommandLine {
    vp::RunOptions run;
    std::vector<std::string> settings;  // NAME=VALUE
    bool story = false;
    std::string title;  // the scenario's
    std::string library_log;
    std::string emulator;
    vp::Program program;
};

class Help : public CLI::Formatter {
public:
    std::string make_usage(const CLI::App*, std::string) const override {
        return "\nUsage: virtual-projector [OPTIONS] -- PROGRAM [ARGUMENTS...]\n";
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

const std::vector<std::pair<std::string, vp::TraceDetail>> trace_details = {
    {"events", vp::TraceDetail::events},
    {"changes", vp::TraceDetail::changes},
    {"calls", vp::TraceDetail::calls},
};

int complain(const std::string& what) {
    std::fprintf(stderr, "virtual-projector: %s\n", what.c_str());
    return exit_usage;
}

// A range lets it through: no comparison with it holds.
std::string refuse_nan(const std::string& number) {
    return std::isnan(std::strtod(number.c_str(), nullptr)) ? "expected a number, found " + number : "";
}

void describe_run(CLI::App& app, CommandLine& line) {
    app.add_option("--scenario", line.run.scenario, "what the unit and the room are like, and what happens")
        ->type_name("FILE");
    app.add_option("--seed", line.run.seed,
                   "seed of noise and of ties between threads (scenario's own, else 1)")
        ->check(CLI::Range(std::uint64_t{0}, max_seed).description(""))
        ->type_name("N");
    app.add_option("--set", line.settings, "set a parameter after the scenario's; may be repeated")
        ->type_name("NAME=VALUE")
        ->expected(1)
        ->take_all();
    app.add_option("--trace", line.run.trace, "write what happened, one JSON record a line")->type_name("FILE");
    app.add_option("--trace-detail", line.run.trace_detail,
                   "events; changes: and what changes the board; calls: all")
        ->transform(CLI::Transformer(trace_details).description(""))
        ->transform(CLI::IsMember(trace_details).description(""))  // comes before: names only, no numbers
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

void describe_schedule(CLI::App& app, vp::RunOptions& run) {
    app.add_flag("--real-time", run.real_time,
                 "run on the wall clock, without the scheduler: not with the three below");
    app.add_option("--preempt", run.preempt, "probability that a thread loses its turn at a call")
        ->check(CLI::Range(0.0, 1.0).description(""))
        ->check(refuse_nan)
        ->excludes("--real-time")
        ->type_name("P");
    app.add_option("--schedule", run.schedule,
                   "who runs next: random, by the seed; pct:D or\n"
                   "pct:D:K, by random priorities that change at D-1 of\n"
                   "about K points (10000); FILE, as it was recorded")
        ->excludes("--real-time")
        ->type_name("random|pct:D|FILE");
    app.add_option("--record-schedule", run.record_schedule, "write down who ran next, for --schedule FILE")
        ->excludes("--real-time")
        ->type_name("FILE");
}

void describe_story(CLI::App& app, CommandLine& line) {
    app.add_flag("--story", line.story, "tell at the end what happened, in words");
    app.add_option("--library-log", line.library_log, "where PROGRAM writes the library's log, for the story")
        ->type_name("FILE");
    app.add_option(
           "--emulator", line.emulator,
           "run PROGRAM, and the virtual projector in it, by this user-mode emulator of another processor: "
           "its command in one argument, such as 'qemu-mipsel -L /usr/mipsel-linux-gnu'")
        ->type_name("COMMAND");
}

void describe(CLI::App& app, CommandLine& line) {
    app.formatter(std::make_shared<Help>());
    app.description(
        "Runs PROGRAM, any dynamically linked host program with libovrafocus.so, on a simulated board, lens, "
        "room\n"
        "and wall, in virtual time, and returns PROGRAM's exit code (128 and the signal when one ended it, 2 "
        "when\n"
        "the command line or the scenario is wrong, 120 when no thread can go on, 127 when it cannot run).\n");
    describe_run(app, line);
    describe_schedule(app, line.run);
    describe_story(app, line);
    app.footer(std::string(vp::scenario_format()) + "\nParameters (name, default and unit, range, meaning):\n" +
               vp::describe_parameters());
}

std::string take_setting(const std::string& setting, vp::ParameterValues& parameters) {
    const std::size_t equals = setting.find('=');
    if (equals == std::string::npos) return "expected NAME=VALUE";
    const std::string name = setting.substr(0, equals);
    double value = 0;
    const std::string mistake = vp::parse_parameter_value(name, setting.substr(equals + 1), value);
    if (!mistake.empty()) return mistake;
    parameters.emplace_back(name, value);
    vp::Settings trial = vp::standard_settings();
    return vp::set_parameter(trial, name, value);
}

// A file that is to be written can be: it is there afterwards, empty when it is new.
std::string check_writable(const char* option, const std::string& path) {
    if (path.empty()) return "";
    if (std::FILE* const file = std::fopen(path.c_str(), "ae")) {
        std::fclose(file);
        return "";
    }
    return std::string(option) + " " + path + ": cannot write it: " + std::strerror(errno);
}

// A memory's file comes into being with the first write; one that is there must have the memory's size.
std::string check_memory(const std::string& path, std::uintmax_t size) {
    const std::filesystem::path folder = std::filesystem::absolute(path).parent_path();
    const bool there = access(path.c_str(), F_OK) == 0;
    if (access(there ? path.c_str() : folder.c_str(), W_OK) != 0)
        return "--flash " + path + ": cannot write it: " + std::strerror(errno);
    if (there && !std::filesystem::is_regular_file(path))
        return "--flash " + path + ": expected a file of " + std::to_string(size) +
               " bytes, found something else";
    if (there && std::filesystem::file_size(path) != size)
        return "--flash " + path + ": expected a file of " + std::to_string(size) + " bytes, found " +
               std::to_string(std::filesystem::file_size(path));
    return "";
}

std::string check_flash(const std::string& path) {
    if (path.empty()) return "";
    const std::string mistake = check_memory(path, vp::record_size);
    return mistake.empty() ? check_memory(vp::tof_memory_file(path), vp::calibration_size) : mistake;
}

std::vector<std::string> words_of(const std::string& command) {
    std::istringstream words(command);
    return {std::istream_iterator<std::string>(words), std::istream_iterator<std::string>()};
}

// The recording stands beside the file during the run, and takes its place at the end.
std::string check_recording(const vp::RunOptions& run) {
    const std::string& path = run.record_schedule;
    if (path.empty()) return "";
    const std::string partial = vp::output_place(path).written;
    std::error_code none;
    if (std::filesystem::exists(path, none) && !std::filesystem::is_regular_file(path, none))
        return "--record-schedule " + path + ": expected a file to write, found something else";
    if (std::filesystem::equivalent(partial, run.schedule, none))
        return "--record-schedule " + path + ": would write over " + partial + ", which --schedule plays";
    return check_writable("--record-schedule", partial);
}

std::string check_schedule(const vp::RunOptions& run) {
    try {
        (void)vp::make_schedule(run.schedule, 0, run.preempt);
    } catch (const std::runtime_error& mistake) {
        return std::string("--schedule: ") + mistake.what();
    }
    return check_recording(run);
}

// Everything that can be wrong is found before the program starts.
std::string check(CommandLine& line) {
    for (const std::string& setting : line.settings) {
        const std::string mistake = take_setting(setting, line.run.parameters);
        if (!mistake.empty()) return "--set " + setting + ": " + mistake;
    }
    if (line.program.command.empty())
        return "expected a program to run: virtual-projector [OPTIONS] -- PROGRAM [ARGUMENTS...]";
    for (const std::string& mistake :
         {check_writable("--trace", line.run.trace), check_writable("--summary", line.run.summary),
          check_flash(line.run.flash), check_schedule(line.run)}) {
        if (!mistake.empty()) return mistake;
    }
    if (!line.run.scenario.empty()) line.title = vp::read_scenario(line.run.scenario).story;
    return "";
}

// Files that nobody asked to keep.
class ScratchFolder {
public:
    ScratchFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "virtual-projector-XXXXXX").string();
        if (mkdtemp(name.data()) != nullptr) path_ = name;
    }
    ~ScratchFolder() {
        std::error_code ignored;
        if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    std::string file(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

int run(CommandLine& line) {
    const std::string preload = vp::find_preload_library();
    if (preload.empty()) return complain("libvirtual-projector.so is not beside the program and not installed");
    if (preload.find_first_of(preload_separators) != std::string::npos)
        return complain(preload + ": a path with a blank or a colon cannot be preloaded");
    line.program.emulator = words_of(line.emulator);
    if (!line.story) return vp::run_program(line.program, line.run, preload);

    const ScratchFolder scratch;
    if (line.run.trace.empty()) {
        line.run.trace = scratch.file("trace.jsonl");
        line.run.trace_detail = vp::TraceDetail::changes;
    }
    if (line.run.summary.empty()) line.run.summary = scratch.file("summary.json");
    const int code = vp::run_program(line.program, line.run, preload);
    for (const std::string& words :
         vp::format_story({line.title, line.run.trace, line.library_log, line.run.summary})) {
        std::printf("%s\n", words.c_str());
    }
    return code;
}

}  // namespace

int main(int argc, char** argv) {
    CommandLine line;
    CLI::App app;
    describe(app, line);
    try {
        // After "--" everything is the program's, whatever it looks like.
        const auto own_end = std::find(argv + 1, argv + argc, std::string_view("--"));
        line.program.command.assign(own_end == argv + argc ? own_end : own_end + 1, argv + argc);
        app.parse(static_cast<int>(own_end - argv), argv);
        const std::string mistake = check(line);
        if (!mistake.empty()) return complain(mistake);
        return run(line);
    } catch (const CLI::Success& success) {
        return app.exit(success);
    } catch (const CLI::ParseError& error) {
        return complain(std::string(error.what()) + " (see --help)");
    } catch (const std::exception& error) {
        return complain(error.what());
    }
}
