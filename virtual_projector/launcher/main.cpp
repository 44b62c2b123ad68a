// virtual-projector: runs an unchanged host program, with the unchanged library, on a simulated projector.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "virtual_projector/files/output_file.h"
#include "virtual_projector/launcher/command_line.h"
#include "virtual_projector/launcher/data_files.h"
#include "virtual_projector/launcher/live_page.h"
#include "virtual_projector/launcher/own_libraries.h"
#include "virtual_projector/launcher/packed_trace.h"
#include "virtual_projector/launcher/program.h"
#include "virtual_projector/launcher/run_files.h"
#include "virtual_projector/launcher/run_schedule.h"
#include "virtual_projector/launcher/run_settings.h"
#include "virtual_projector/launcher/run_state.h"
#include "virtual_projector/launcher/scenario.h"
#include "virtual_projector/report/story.h"
#include "virtual_projector/world/parameters.h"

namespace {

constexpr int exit_usage = 2;
// A file of the run could not be written, and the program itself ended well.
constexpr int exit_incomplete = 123;
// The loader takes LD_PRELOAD apart at these, and would run the program on the plain PC.
constexpr const char* preload_separators = " :";

int complain(const std::string& what) {
    std::fprintf(stderr, "virtual-projector: %s\n", what.c_str());
    return exit_usage;
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

std::string check_schedule(const vp::RunOptions& run) {
    try {
        (void)vp::make_schedule(run.schedule, 0, run.preempt);
    } catch (const std::runtime_error& mistake) {
        return std::string("--schedule: ") + mistake.what();
    }
    return "";
}

// The story is made of both, after the run.
std::string check_story(const vp::CommandLine& line) {
    for (const std::string& path : {line.run.trace, line.run.summary}) {
        if (line.story && path == vp::standard_output)
            return "--story: expected files for --trace and --summary, found standard output";
    }
    return "";
}

// Everything that can be wrong is found before the program starts, and files are touched last.
std::string check(vp::CommandLine& line, vp::Scenario& scenario) {
    for (const std::string& setting : line.settings) {
        const std::string mistake = take_setting(setting, line.run.parameters);
        if (!mistake.empty()) return "--set " + setting + ": " + mistake;
    }
    for (const std::string& mistake : {check_schedule(line.run), check_story(line)}) {
        if (!mistake.empty()) return mistake;
    }
    if (!line.run.scenario.empty()) scenario = vp::read_scenario(line.run.scenario);
    vp::find_world_and_unit(line.run, scenario);
    (void)vp::make_world(line.run, scenario);
    return line.print_settings ? "" : vp::check_files(line);
}

// Files that nobody asked to keep.
class ScratchFolder {
public:
    ScratchFolder() : path_((std::filesystem::temp_directory_path() / "virtual-projector-XXXXXX").string()) {
        if (mkdtemp(path_.data()) == nullptr)
            throw std::runtime_error("cannot make the folder " + path_ + ": " + std::strerror(errno));
    }
    ~ScratchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    std::string file(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

int run_program(vp::CommandLine& line, const std::string& preload) {
    const std::unique_ptr<vp::RunState> state = vp::RunState::create();
    if (state == nullptr)
        throw std::runtime_error(std::string("no memory for the run: ") + std::strerror(errno));
    line.run.state = state->path();
    line.run.under_tool = line.program.tool != vp::Tool::none;
    line.run.plain_stacks = line.program.tool == vp::Tool::valgrind;
    if (line.run.under_tool) line.run.real_limit_s = 0;
    vp::make_files_absolute(line.run);
    vp::PackedTrace packed(line.run.trace);
    const int code = vp::run_program(line.program, line.run, *state, preload);
    vp::tidy_files(line.run, *state);
    const bool all_complete = packed.finish() && state->all_complete();
    return code == 0 && !all_complete ? exit_incomplete : code;
}

int run_with_story(vp::CommandLine& line, const std::string& title, const std::string& preload) {
    const ScratchFolder scratch;
    if (line.run.trace.empty()) {
        line.run.trace = scratch.file("trace.jsonl");
        line.run.trace_detail = vp::TraceDetail::changes;
    }
    if (line.run.summary.empty()) line.run.summary = scratch.file("summary.json");
    const int code = run_program(line, preload);
    const vp::StorySources sources{title, line.run.trace, line.library_log, line.run.summary};
    for (const std::string& words : vp::format_story(sources, line.story_options))
        std::printf("%s\n", words.c_str());
    return code;
}

int print_settings(const vp::RunOptions& run, const vp::Scenario& scenario) {
    const vp::RunSettings start = vp::make_world(run, scenario);
    const std::string text = vp::format_settings(vp::run_record(run, scenario, start.settings), start.settings);
    if (std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0) return 0;
    std::fprintf(stderr, "virtual-projector: the settings could not be written: %s\n", std::strerror(errno));
    return exit_incomplete;
}

int run_live(vp::CommandLine& line, const vp::RunOptions& given, const std::string& title,
             const std::string& preload) {
    vp::LiveProgram program;
    program.port = *line.live_port;
    program.given = given;
    program.story = title;
    program.command = line.program.command;
    program.run = [&](int socket) {
        line.run.live = socket;
        return run_program(line, preload);
    };
    program.await_ending_signal = vp::await_ending_signal;
    program.was_told_to_end = vp::was_told_to_end;
    return vp::serve_live_page(program);
}

int run(vp::CommandLine& line, const vp::RunOptions& given, const std::string& title) {
    const std::string preload = vp::find_own_library(vp::preload_library);
    if (preload.find_first_of(preload_separators) != std::string::npos)
        return complain(preload + ": a path with a blank or a colon cannot be preloaded");
    vp::hold_signals();
    if (line.live_port) return run_live(line, given, title, preload);
    return line.story ? run_with_story(line, title, preload) : run_program(line, preload);
}

}  // namespace

int main(int argc, char** argv) {
    try {
        std::optional<vp::CommandLine> line = vp::parse_command_line(argc, argv);
        if (!line) return 0;
        vp::Scenario scenario;
        vp::RunOptions given = line->run;  // names, before they become files
        const std::string mistake = check(*line, scenario);
        given.parameters = line->run.parameters;
        if (!mistake.empty()) return complain(mistake);
        return line->print_settings ? print_settings(line->run, scenario) : run(*line, given, scenario.story);
    } catch (const std::exception& error) {
        return complain(error.what());
    }
}
