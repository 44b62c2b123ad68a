#include "host/script.h"

#include "host/commands.h"
#include "host/console.h"
#include "host/host_session.h"

namespace host {
namespace {

int exit_code_of(Outcome outcome) {
    if (outcome == Outcome::misused || outcome == Outcome::refused) return exit_usage;
    if (outcome == Outcome::failed) return exit_failed;
    return last_request() == RequestState::failed ? exit_failed : exit_success;
}

// The exit code tells how the last request ended, so it has to have ended.
int exit_code_at_the_end() {
    if (request_is_open()) run_line("wait idle");
    return exit_code_of(Outcome::done);
}

}  // namespace

int run_commands(const std::vector<std::string>& lines) {
    Outcome outcome = Outcome::done;
    for (const std::string& line : lines) {
        outcome = run_line(line);
        if (outcome != Outcome::done) break;
    }
    return outcome == Outcome::done || outcome == Outcome::quit ? exit_code_at_the_end()
                                                                : exit_code_of(outcome);
}

int run_script(std::istream& script, const std::string& name) {
    std::string line;
    for (int number = 1; std::getline(script, line); ++number) {
        const Outcome outcome = run_line(line);
        if (outcome == Outcome::quit) break;
        if (outcome != Outcome::done) {
            say("%s:%d: stopped at '%s'", name.c_str(), number, line.c_str());
            return exit_code_of(outcome);
        }
    }
    return exit_code_at_the_end();
}

int run_dialogue(std::istream& lines) {
    std::string line;
    while (std::getline(lines, line)) {
        if (run_line(line) == Outcome::quit) break;
    }
    return exit_code_at_the_end();
}

}  // namespace host
