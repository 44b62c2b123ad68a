// What the stand-ins for the board's libraries are connected to.
#ifndef VIRTUAL_PROJECTOR_BOARDLIBS_INSTALLATION_H
#define VIRTUAL_PROJECTOR_BOARDLIBS_INSTALLATION_H

#include <functional>
#include <string_view>

#include "virtual_projector/devices/board.h"
#include "virtual_projector/devices/fault_plan.h"

namespace vp::boardlibs {

struct Installation {
    Board* board = nullptr;

    /// Asked before each call with the function's name; may be empty. An errno becomes the negative result,
    /// a short count the result itself; garbage lies over what the function hands out. It makes a delay itself.
    std::function<FaultEffect(std::string_view function)> fault;

    /// Told after each call; may be empty.
    std::function<void(std::string_view function, long result)> called;
};

}  // namespace vp::boardlibs

#endif
