#include "virtual_projector/clock/process_end.h"

#include <unistd.h>

#include <cstdio>

namespace vp {

void end_process(const std::string& text, int exit_code) {
    std::fflush(stdout);
    std::fputs(text.c_str(), stderr);
    std::fflush(stderr);
    ::_exit(exit_code);
}

}  // namespace vp
