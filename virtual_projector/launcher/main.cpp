// virtual-projector: runs an unchanged host program, with the unchanged library, on a simulated projector.
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "virtual_projector/launcher/located_json.h"
#include "virtual_projector/launcher/program.h"
#include "virtual_projector/launcher/run_options.h"
#include "virtual_projector/report/story.h"
#include "virtual_projector/world/parameters.h"

namespace {

constexpr int exit_usage = 2;

struct CommandLine {
    vp::RunOptions run;
    std::vector<std::string> settings;  // NAME=VALUE
    std::string detail = "calls";
    bool story = false;
    std::string title;  // the scenario's
    std::string library_log;
    std::vector<std::string> program;
};

int complain(const std::string& what) {
    std::fprintf(stderr, "virtual-projector: %s\n", what.c_str());
    return exit_usage;
}

void describe(CLI::App& app, CommandLine& line) {
    app.description(
        "Runs PROGRAM, any dynamically linked host program with libovrafocus.so, on a simulated board, lens, "
        "room\n"
        "and wall, in virtual time, and returns PROGRAM's exit code (128 and the signal when one ended it).\n\n"
        "  virtual-projector [OPTIONS] -- PROGRAM [ARGUMENTS...]");
    app.add_option("--scenario", line.run.scenario, "what the unit and the room are like, and what happens")
        ->type_name("FILE");
    app.add_option("--seed", line.run.seed,
                   "seed of noise and of ties between threads (scenario's own, else 1)")
        ->type_name("N");
    app.add_option("--set", line.settings, "set a parameter behind the scenario's; may be repeated")
        ->type_name("NAME=VALUE")
        ->expected(1)
        ->take_all();
    app.add_option("--trace", line.run.trace, "write what happened, one JSON record a line")->type_name("FILE");
    app.add_option("--trace-detail", line.detail, "events; changes: and what changes the board; calls: all")
        ->check(CLI::IsMember({"events", "changes", "calls"}))
        ->type_name("LEVEL")
        ->capture_default_str();
    app.add_option("--flash", line.run.flash, "keep the permanent record in this file from run to run")
        ->type_name("FILE");
    app.add_option("--summary", line.run.summary, "write the run's figures (times, stacks) as JSON")
        ->type_name("FILE");
    app.add_flag("--real-time", line.run.real_time, "run on the wall clock, without the scheduler");
    app.add_option("--preempt", line.run.preempt, "probability that a thread loses its turn at a call")
        ->check(CLI::Range(0.0, 1.0))
        ->type_name("P");
    app.add_flag("--story", line.story, "tell at the end what happened, in words");
    app.add_option("--library-log", line.library_log, "where PROGRAM writes the library's log, for the story")
        ->type_name("FILE");
    app.add_option("PROGRAM", line.program, "the program and its arguments");
    app.footer("Parameters (name, default and unit, range, meaning):\n" + vp::describe_parameters());
}

// Everything that can be wrong is found before the program starts.
std::string check(CommandLine& line) {
    for (const std::string& setting : line.settings) {
        const std::size_t equals = setting.find('=');
        if (equals == std::string::npos) return "--set " + setting + ": expected NAME=VALUE";
        const std::string name = setting.substr(0, equals);
        double value = 0;
        const std::string mistake = vp::parse_parameter_value(name, setting.substr(equals + 1), value);
        if (!mistake.empty()) return "--set " + setting + ": " + mistake;
        line.run.parameters.emplace_back(name, value);
    }
    if (line.program.empty())
        return "expected a program to run: virtual-projector [OPTIONS] -- PROGRAM [ARGUMENTS...]";
    if (!line.run.scenario.empty()) line.title = vp::read_scenario(line.run.scenario).story;
    return "";
}

vp::TraceDetail detail_named(const std::string& name) {
    if (name == "events") return vp::TraceDetail::events;
    return name == "changes" ? vp::TraceDetail::changes : vp::TraceDetail::calls;
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
    line.run.trace_detail = detail_named(line.detail);
    if (!line.story) return vp::run_program(line.program, line.run, preload);

    const ScratchFolder scratch;
    if (line.run.trace.empty()) {
        line.run.trace = scratch.file("trace.jsonl");
        line.run.trace_detail = vp::TraceDetail::changes;
    }
    if (line.run.summary.empty()) line.run.summary = scratch.file("summary.json");
    const int code = vp::run_program(line.program, line.run, preload);
    for (const std::string& words :
         vp::tell_story({line.title, line.run.trace, line.library_log, line.run.summary})) {
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
        app.parse(argc, argv);
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
