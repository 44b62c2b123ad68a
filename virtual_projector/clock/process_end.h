// The end of a run that cannot go on.
#ifndef VIRTUAL_PROJECTOR_CLOCK_PROCESS_END_H
#define VIRTUAL_PROJECTOR_CLOCK_PROCESS_END_H

#include <string>

namespace vp {

/// Prints the text on standard error and ends the process where it stands: nothing of the program runs any
/// more.
[[noreturn]] void end_process(const std::string& text, int exit_code);

}  // namespace vp

#endif
