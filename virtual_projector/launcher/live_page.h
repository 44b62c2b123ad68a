// The live page, loaded when one is asked for.
#ifndef VIRTUAL_PROJECTOR_LAUNCHER_LIVE_PAGE_H
#define VIRTUAL_PROJECTOR_LAUNCHER_LIVE_PAGE_H

#include "virtual_projector/live/live_launcher.h"

namespace vp {

/// run_live() of the library that has it. Throws std::runtime_error as that does, and where this virtual
/// projector was built without it.
int serve_live_page(const LiveProgram& program);

}  // namespace vp

#endif
