// What a command of the host is, and how its words are read.
#ifndef OVRA_HOST_COMMAND_H
#define OVRA_HOST_COMMAND_H

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

/// Reads a duration such as "250ms", "1.5s", "2min" or "8h"; a bare number counts seconds. False when the
/// text is anything else, or longer than eleven days.
bool parse_duration_ms(const std::string& text, long& milliseconds);

/// Reads a whole number; false when the text is anything else.
bool parse_int(const std::string& text, int& value);

}  // namespace host

#endif
