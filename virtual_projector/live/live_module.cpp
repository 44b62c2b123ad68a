// The live page as a library of its own, which the launcher loads.
#include "virtual_projector/live/live_launcher.h"

// NOLINTNEXTLINE(readability-identifier-naming): named as symbols are
extern "C" __attribute__((visibility("default"))) int vp_run_live(const vp::LiveProgram& program) {
    return vp::run_live(program);
}
