// The command line of virtual-projector.
#ifndef VIRTUAL_PROJECTOR_LAUNCHER_COMMAND_LINE_H
#define VIRTUAL_PROJECTOR_LAUNCHER_COMMAND_LINE_H

#include <optional>
#include <string>
#include <vector>

#include "virtual_projector/launcher/program.h"
#include "virtual_projector/launcher/run_options.h"
#include "virtual_projector/report/story.h"

namespace vp {

struct CommandLine {
    RunOptions run;
    std::vector<std::string> settings;  // NAME=VALUE
    bool print_settings = false;        // in place of a run; there may be no program then
    bool story = false;
    StoryOptions story_options;
    std::string library_log;
    std::string emulator;
    std::optional<int> live_port;  // 0: any; none: nobody watches
    std::string tool_options;
    Program program;
};

/// What the words of the command line ask for; nothing when they asked for help or the version, which has been
/// printed. Throws std::runtime_error with one line when they are wrong.
std::optional<CommandLine> parse_command_line(int argc, char** argv);

}  // namespace vp

#endif
