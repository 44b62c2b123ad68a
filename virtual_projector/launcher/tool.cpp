#include "virtual_projector/launcher/tool.h"

#include <utility>

namespace vp {
namespace {

using Words = std::vector<std::string>;

Words joined(std::initializer_list<Words> parts) {
    Words all;
    for (const Words& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

// Each with an option's word before it.
Words each_after(const std::string& option, const Words& values) {
    Words all;
    for (const std::string& value : values) all.insert(all.end(), {option, value});
    return all;
}

// As one word of a shell's command.
std::string quoted(const std::string& word) {
    std::string text = "'";
    for (const char c : word) text += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return text + "'";
}

// The library is not there yet when a breakpoint in it is set. gdb starts programs by a shell, which stays
// plain.
Words gdb_commands(const Words& variables) {
    std::string wrapper = "set exec-wrapper env";
    for (const std::string& variable : variables) wrapper += " " + quoted(variable);
    return each_after("-iex", {"set breakpoint pending on", wrapper});
}

}  // namespace

Words tool_command(Tool tool, const Words& options, const Words& variables, const Words& program) {
    switch (tool) {
        case Tool::gdb:
            return joined({{"gdb", "-q"}, gdb_commands(variables), options, {"--args"}, program});
        // It is a script on some systems: the variables come only after what it starts itself.
        case Tool::valgrind:
            return joined({{"env"}, variables, {"valgrind"}, options, program});
        case Tool::perf:
            return joined({{"perf", "record"}, options, {"--", "env"}, variables, program});
        case Tool::strace:
            return joined({{"strace", "-f"}, each_after("-E", variables), options, program});
        case Tool::none:
            break;
    }
    return joined({{"env"}, variables, program});
}

}  // namespace vp
