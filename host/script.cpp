#include "host/script.h"

#include <cctype>
#include <cstdlib>

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

bool is_name(const std::string& text) {
    bool good = !text.empty() && std::isdigit(static_cast<unsigned char>(text[0])) == 0;
    for (const char c : text) good = good && (std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_');
    return good;
}

// What stands between the braces: NAME, or NAME:-VALUE for when it is not set. False: there is no value.
bool value_of(const std::string& inside, std::string& value) {
    const std::size_t colon = inside.find(":-");
    const std::string name = inside.substr(0, colon);
    if (!is_name(name)) {
        say("'${%s}' is no variable; expected ${NAME} or ${NAME:-VALUE}", inside.c_str());
        return false;
    }
    const char* const set = std::getenv(name.c_str());
    if (set == nullptr && colon == std::string::npos) {
        say("%s is not set; expected it in the environment, or ${%s:-VALUE}", name.c_str(), name.c_str());
        return false;
    }
    value = set != nullptr ? set : inside.substr(colon + 2);
    return true;
}

bool is_remark(const std::string& line) {
    const std::size_t first = line.find_first_not_of(" \t");
    return first != std::string::npos && line[first] == '#';
}

// Puts the environment's values in their places.
bool fill_in(std::string& line) {
    if (is_remark(line)) return true;
    std::size_t at = 0;
    while ((at = line.find("${", at)) != std::string::npos) {
        const std::size_t end = line.find('}', at);
        if (end == std::string::npos) {
            say("'%s' has no end; expected a '}'", line.substr(at).c_str());
            return false;
        }
        std::string value;
        if (!value_of(line.substr(at + 2, end - at - 2), value)) return false;
        line.replace(at, end + 1 - at, value);
        at += value.size();
    }
    return true;
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
        const Outcome outcome = fill_in(line) ? run_line(line) : Outcome::refused;
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
