// ovrafocus-host: the reference integration of libovrafocus.so. It registers its callbacks, starts the
// library in the order it wants, and takes commands from its arguments, a script or standard input.
#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "host/commands.h"
#include "host/console.h"
#include "host/host_session.h"

namespace {

constexpr int exit_success = 0;
constexpr int exit_request_failed = 1;
constexpr int exit_usage = 2;

struct Options {
    std::vector<std::string> commands;
    std::string script;
    std::string library_log;
};

int outcome_exit_code(host::Outcome outcome) {
    if (outcome == host::Outcome::misused) return exit_usage;
    if (outcome == host::Outcome::failed) return exit_request_failed;
    return host::last_request_succeeded() ? exit_success : exit_request_failed;
}

int run_arguments(const std::vector<std::string>& lines) {
    host::Outcome outcome = host::Outcome::done;
    for (const std::string& line : lines) {
        outcome = host::run_line(line);
        if (outcome != host::Outcome::done) break;
    }
    return outcome_exit_code(outcome);
}

// A script stops at the first failing step and says which.
int run_stream(std::istream& stream, const std::string& name) {
    std::string line;
    for (int number = 1; std::getline(stream, line); ++number) {
        const host::Outcome outcome = host::run_line(line);
        if (outcome == host::Outcome::quit) break;
        if (outcome != host::Outcome::done) {
            host::say("%s:%d: stopped at '%s'", name.c_str(), number, line.c_str());
            return outcome_exit_code(outcome);
        }
    }
    return outcome_exit_code(host::Outcome::done);
}

int run_script(const std::string& path) {
    std::ifstream script(path);
    if (!script) {
        std::cerr << "ovrafocus-host: cannot read " << path << ": " << std::strerror(errno) << "\n";
        return exit_usage;
    }
    return run_stream(script, path);
}

// At a prompt a mistake is only told: the person tries again.
int run_standard_input() {
    std::string line;
    while (std::getline(std::cin, line)) {
        if (host::run_line(line) == host::Outcome::quit) break;
    }
    return outcome_exit_code(host::Outcome::done);
}

int run(const Options& options) {
    if (!options.library_log.empty() && !host::send_library_log_to(options.library_log)) {
        std::cerr << "ovrafocus-host: cannot write " << options.library_log << ": " << std::strerror(errno)
                  << "\n";
        return exit_usage;
    }
    int code = exit_success;
    if (!options.script.empty()) {
        code = run_script(options.script);
    } else if (!options.commands.empty()) {
        code = run_arguments(options.commands);
    } else {
        code = run_standard_input();
    }
    host::stop_library();
    return code;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    CLI::App app{"Drives libovrafocus.so: 'ovrafocus-host help' lists the commands."};
    app.footer(
        "Each COMMAND is one argument: ovrafocus-host init akaf \"wait idle\" status\n"
        "Exit code: 0 the last request succeeded, 1 it failed, 2 the command line or a command was wrong.");
    app.add_option("COMMAND", options.commands, "commands to carry out; without any: standard input");
    app.add_option("--script", options.script, "take the commands from this file; stops at the first failure")
        ->type_name("FILE");
    app.add_option("--library-log", options.library_log, "write the library's own log to this file")
        ->type_name("FILE");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? exit_success : exit_usage;
    }
    return run(options);
}
