// What is made of a trace that has been read.
#ifndef VIRTUAL_PROJECTOR_REPORT_TOOL_OUTPUTS_H
#define VIRTUAL_PROJECTOR_REPORT_TOOL_OUTPUTS_H

#include <string>
#include <vector>

#include "virtual_projector/report/run_data.h"
#include "virtual_projector/report_tool/command_line.h"

namespace vp {

/// All outputs that were asked for. Throws std::runtime_error with one line.
void write_outputs(const RunData& run, const std::string& title, const std::vector<std::string>& story,
                   const ReportOptions& options);

}  // namespace vp

#endif
