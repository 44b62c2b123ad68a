// An order to the lens in words.
#ifndef VIRTUAL_PROJECTOR_REPORT_LENS_WORDS_H
#define VIRTUAL_PROJECTOR_REPORT_LENS_WORDS_H

#include <string>

#include "virtual_projector/report/trace_reader.h"

namespace vp {

/// "lens: 11 full steps to the left"
inline std::string lens_words(const LensMoveAt& move) {
    return "lens: " + std::to_string(move.steps) + (move.half_steps ? " half step" : " full step") +
           (move.steps == 1 ? "" : "s") + " to the " + side_name(move.side);
}

}  // namespace vp

#endif
