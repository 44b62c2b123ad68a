// What a viewer of the live page asks for.
//
//     {"do":"event","event":{"gesture":"shake"}}     as in a scenario, without its time
//     {"do":"pause"} {"do":"resume"} {"do":"end"} {"do":"restart"}
//     {"do":"step","ms":100}                         0.001 to 60000
//     {"do":"speed","value":10}                      0.1 to 100
#ifndef VIRTUAL_PROJECTOR_LIVE_COMMAND_H
#define VIRTUAL_PROJECTOR_LIVE_COMMAND_H

#include <cstdint>
#include <string>

namespace vp {

struct Command {
    bool is_restart = false;
    std::string line;  // for the run, if it is none
};

/// Throws LocatedError with one line when it is wrong.
Command parse_command(const std::string& text, std::int64_t id);

}  // namespace vp

#endif
