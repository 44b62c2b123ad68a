// virtual-projector-report as a whole.
#ifndef VIRTUAL_PROJECTOR_REPORT_TOOL_PROGRAM_H
#define VIRTUAL_PROJECTOR_REPORT_TOOL_PROGRAM_H

namespace vp {

/// The exit code: 0, 1 when compared runs differ, 2 on trouble, which is told in one line.
int run_report(int argc, const char* const* argv);

}  // namespace vp

#endif
