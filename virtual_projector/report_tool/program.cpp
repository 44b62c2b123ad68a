#include "virtual_projector/report_tool/program.h"

#include <cstdio>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "virtual_projector/report/differences.h"
#include "virtual_projector/report/story.h"
#include "virtual_projector/report_tool/command_line.h"
#include "virtual_projector/report_tool/outputs.h"

namespace vp {
namespace {

constexpr int exit_same = 0;
constexpr int exit_different = 1;
constexpr int exit_trouble = 2;

int complain(const std::string& what) {
    std::fprintf(stderr, "virtual-projector-report: %s\n", what.c_str());
    return exit_trouble;
}

// Of a cut trace the beginning, where that is enough.
void read(const ReportOptions& options, TraceVisitor& visitor) {
    try {
        read_trace(options.trace, visitor);
    } catch (const TraceError& error) {
        if (!options.partial || error.kind() != TraceError::Kind::cut) throw;
        std::fprintf(stderr, "virtual-projector-report: %s; what stands before is shown\n", error.what());
    }
}

void print(const std::vector<std::string>& lines) {
    for (const std::string& line : lines) std::printf("%s\n", line.c_str());
}

bool wants_run(const ReportOptions& options) {
    return options.story || !options.page.empty() || !options.data.empty() || !options.perfetto.empty() ||
           !options.csv.empty();
}

// What the page and the story are called: by the user, else by the trace's file.
std::string title_of(const ReportOptions& options) {
    if (!options.title.empty() || options.trace == "-") return options.title;
    const std::filesystem::path file(options.trace);
    return file.stem().extension() == ".jsonl" ? file.stem().stem().string() : file.stem().string();
}

void show_run(const ReportOptions& options) {
    RunCollector collector(!options.perfetto.empty());
    StoryTeller teller;
    collector.add(teller);
    read(options, collector);
    const RunData run = collector.finish();
    StorySources sources;
    sources.title = options.title;
    const std::vector<std::string> story = teller.tell(sources, {options.full, options.log});
    write_outputs(run, title_of(options), story, options);
    if (options.story) print(story);
}

int compare(const ReportOptions& options) {
    const Differences differences = compare_traces(options.trace, options.other, options.ignored);
    print(differences.words);
    return differences.is_same ? exit_same : exit_different;
}

int run(const ReportOptions& options) {
    int code = exit_same;
    if (wants_run(options)) show_run(options);
    if (!options.other.empty()) code = compare(options);
    return std::fflush(stdout) == 0 ? code : complain("standard output: not all of it could be written");
}

}  // namespace

int run_report(int argc, const char* const* argv) {
    try {
        const std::optional<ReportOptions> options = parse_report_line(argc, argv);
        return options ? run(*options) : exit_same;
    } catch (const std::exception& error) {
        return complain(error.what());
    }
}

}  // namespace vp
