// The host's commands by name.
#ifndef OVRA_HOST_COMMANDS_H
#define OVRA_HOST_COMMANDS_H

#include <string>
#include <vector>

namespace host {

enum class Outcome {
    done,     // go on with the next command
    failed,   // the command could not be carried out; a script stops here
    misused,  // the command or its arguments are wrong
    refused,  // the same, and it has been said how it would be right
    quit,
};

using Arguments = std::vector<std::string>;  // the words after the command's name

struct Command {
    const char* name;
    const char* arguments;  // as shown by `help`
    const char* purpose;
    std::size_t min_arguments;
    std::size_t max_arguments;
    bool needs_library;  // refused before `init`
    Outcome (*run)(const Arguments&);
};

/// Every command, in the order `help` shows them.
const std::vector<Command>& commands();

/// The factory's part of them.
const std::vector<Command>& factory_commands();

/// Carries out one line: a command and its arguments. Empty lines and lines that begin with # do nothing.
Outcome run_line(const std::string& line);

/// Reads a duration such as "250ms", "1.5s", "2min" or "8h"; a bare number counts seconds. False when the
/// text is anything else, or longer than eleven days.
bool parse_duration_ms(const std::string& text, long& milliseconds);

/// Reads a whole number; false when the text is anything else.
bool parse_int(const std::string& text, int& value);

}  // namespace host

#endif
