// Debuggers and profilers, started on the program with the virtual projector in it and not in themselves.
#ifndef VIRTUAL_PROJECTOR_LAUNCHER_TOOL_H
#define VIRTUAL_PROJECTOR_LAUNCHER_TOOL_H

#include <array>
#include <string>
#include <vector>

namespace vp {

enum class Tool { none, gdb, valgrind, perf, strace };

struct ToolOption {
    Tool tool;
    const char* option;  // without the dashes
    const char* about;
};

constexpr std::array<ToolOption, 4> tools = {{
    {Tool::gdb, "debug", "start gdb on PROGRAM; --real-limit is off, as with the three below"},
    {Tool::valgrind, "valgrind", "run PROGRAM under valgrind"},
    {Tool::perf, "perf", "record PROGRAM's run by perf, into perf.data"},
    {Tool::strace, "strace", "show PROGRAM's system calls by strace"},
}};

/// The command that runs `program` by the tool, with these variables (NAME=VALUE) in the program's environment.
std::vector<std::string> tool_command(Tool tool, const std::vector<std::string>& options,
                                      const std::vector<std::string>& variables,
                                      const std::vector<std::string>& program);

}  // namespace vp

#endif
