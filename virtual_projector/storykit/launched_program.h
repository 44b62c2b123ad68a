// Starting a program, waiting for its end, and keeping what it printed.
#ifndef VIRTUAL_PROJECTOR_STORYKIT_LAUNCHED_PROGRAM_H
#define VIRTUAL_PROJECTOR_STORYKIT_LAUNCHED_PROGRAM_H

#include <string>
#include <vector>

#include "virtual_projector/storykit/scratch_folder.h"

namespace storykit {

std::string contents_of(const std::string& path);  // empty when it cannot be read
void write_file(const std::string& path, const std::string& contents);

struct Finished {
    int exit_code = -1;      // as a shell shows it: 128 and the signal when one ended it
    std::string words;       // standard output
    std::string complaints;  // standard error
};

/// Runs a program of this build to its end, with its arguments. `input` is its standard input.
Finished launch(const std::vector<std::string>& command, const std::string& input = "");

/// The virtual projector's launcher with these options and, after "--", this program.
Finished launch_projector(const std::vector<std::string>& options, const std::vector<std::string>& program,
                          const std::string& input = "");

/// What launch_projector() starts.
std::vector<std::string> projector_command(const std::vector<std::string>& options,
                                           const std::vector<std::string>& program);

/// Runs a program that is this computer's own in every build.
Finished launch_own(const std::vector<std::string>& command);

// Where the programs of this build stand.
extern const char* const launcher;
extern const char* const host_program;
extern const char* const report_program;

/// A file of the project.
std::string project_file(const std::string& name);

}  // namespace storykit

#endif
