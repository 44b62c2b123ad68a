// ovrafocus-host: the reference integration of libovrafocus.so. It registers its callbacks, starts the
// library in the order it wants, and takes commands from its arguments, a script or standard input.
#include <ovra_version.h>
#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "host/console.h"
#include "host/host_session.h"
#include "host/script.h"

namespace {

struct Options {
    std::vector<std::string> commands;
    std::optional<std::string> script;
    std::string library_log;
};

void complain(const std::string& what) {
    std::cerr << "ovrafocus-host: " << what << ": " << std::strerror(errno) << "\n";
}

// The exit code of a program that prints nothing more.
int unless_words_are_lost(int code) {
    std::cout.flush();
    if (std::cout.good() && host::all_is_written()) return code;
    std::cerr << "ovrafocus-host: what it printed could not be written\n";
    return host::exit_output_lost;
}

int run_script_file(const std::string& path) {
    std::ifstream script(path);
    script.peek();  // a folder can be opened; only reading tells
    if (!script.is_open() || script.bad()) {
        complain("cannot read " + path);
        return host::exit_usage;
    }
    return host::run_script(script, path);
}

int run_all(const Options& options) {
    if (options.script) return run_script_file(*options.script);
    return options.commands.empty() ? host::run_dialogue(std::cin) : host::run_commands(options.commands);
}

int run(const Options& options) {
    if (!options.library_log.empty() && !host::send_library_log_to(options.library_log)) {
        complain("cannot write " + options.library_log);
        return host::exit_output_lost;
    }
    const int code = run_all(options);
    host::stop_library();
    return unless_words_are_lost(code);
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    CLI::App app{"Drives libovrafocus.so: 'ovrafocus-host help' lists the commands."};
    app.footer(
        "Each COMMAND is one argument: ovrafocus-host init akaf \"wait idle\" status\n"
        "Those of the command line or a script are carried out until one fails.\n"
        "Exit code: 0 all was carried out and the last request succeeded; 1 a request or\n"
        "a command could not be carried out; 2 the command line, its script or a command\n"
        "is wrong; 3 what the program or the library printed could not be written.");
    CLI::Option* const commands =
        app.add_option("COMMAND", options.commands, "what to do; without any: standard input");
    app.add_option("--script", options.script, "take the commands from this file")
        ->type_name("FILE")
        ->excludes(commands);
    app.add_option("--library-log", options.library_log, "write the library's own log to this file")
        ->type_name("FILE");
    app.set_version_flag("--version", "ovrafocus-host " OVRA_VERSION " (commit " OVRA_COMMIT ")",
                         "print version and commit, and exit");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? unless_words_are_lost(host::exit_success) : host::exit_usage;
    }
    return run(options);
}
