// The command line of virtual-projector-report.
#ifndef VIRTUAL_PROJECTOR_REPORT_TOOL_COMMAND_LINE_H
#define VIRTUAL_PROJECTOR_REPORT_TOOL_COMMAND_LINE_H

#include <optional>
#include <string>
#include <vector>

namespace vp {

struct ReportOptions {
    std::string trace;  // "-": standard input
    std::string page;   // the outputs: files, "-" for standard output; empty: not wanted
    std::string data;
    std::string perfetto;
    std::string csv;                   // a folder
    std::string other;                 // a trace to compare with
    std::vector<std::string> ignored;  // kinds of records that may differ
    std::string title;
    bool story = false;
    bool full = false;
    bool log = false;
    bool partial = false;  // the beginning of a trace that is cut is enough
};

/// Nothing when help or the version was asked for, and printed. Throws std::runtime_error with one line that
/// says what is wrong.
std::optional<ReportOptions> parse_report_line(int argc, const char* const* argv);

}  // namespace vp

#endif
