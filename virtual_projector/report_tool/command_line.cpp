#include "virtual_projector/report_tool/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include <ovra_version.h>
#include "virtual_projector/report/differences.h"
#include "virtual_projector/world/text.h"

namespace vp {
namespace {

constexpr std::size_t help_width = 80;

class Help : public CLI::Formatter {
public:
    std::string make_usage(const CLI::App*, std::string) const override {
        return "\nUsage: virtual-projector-report [OPTIONS] TRACE\n";
    }
    // The value's name; what an option needs is said in its description.
    std::string make_option_opts(const CLI::Option* option) const override {
        return option->get_type_size() == 0 ? "" : " " + option->get_type_name();
    }
};

void describe_outputs(CLI::App& app, ReportOptions& options) {
    app.add_option("-o,--page", options.page, "write the page of the run, one HTML file that opens from disk")
        ->type_name("FILE");
    app.add_option("--data", options.data, "write the page's data, one JSON object")->type_name("FILE");
    app.add_option("--perfetto", options.perfetto,
                   "write threads, counters and events for Perfetto's viewer (Chrome's JSON trace format)")
        ->type_name("FILE");
    app.add_option("--csv", options.csv,
                   "write tables into this folder: one for each signal, requests, flags, log")
        ->type_name("FOLDER");
    app.add_option("--title", options.title, "what the page and the story call the run")->type_name("TEXT");
}

void describe_words(CLI::App& app, ReportOptions& options) {
    CLI::Option* const story = app.add_flag("--story", options.story, "tell in words what happened");
    app.add_flag("--full", options.full, "with --story: everything")->needs(story);
    app.add_flag("--log", options.log, "with --story: the library's own log lines in their places")
        ->needs(story);
}

void describe_comparison(CLI::App& app, ReportOptions& options) {
    CLI::Option* const diff =
        app.add_option("--diff", options.other,
                       "compare with this trace: the first records that differ, then what differs in outcome")
            ->type_name("OTHER");
    app.add_option(
           "--ignore", options.ignored,
           "with --diff: kinds of records that may differ, with commas between: " + ignorable_kinds_text())
        ->delimiter(',')
        ->check(CLI::IsMember(ignorable_kinds()).description(""))
        ->needs(diff)
        ->type_name("KINDS");
}

void describe(CLI::App& app, ReportOptions& options) {
    app.formatter(std::make_shared<Help>());
    app.description(
        "Reads the trace of a run on the virtual projector and shows it. TRACE is a file of 'virtual-projector "
        "--trace', also compressed by gzip or zstd; - is standard input. Output files whose names end in .gz "
        "or "
        ".zst are written compressed; - is standard output. Exit code: 0 done (with --diff: the runs are the "
        "same), 1 the runs differ, 2 the command line or a trace is wrong, or an output could not be "
        "written.\n");
    app.set_version_flag("--version",
                         std::string("virtual-projector-report " OVRA_VERSION " (commit " OVRA_COMMIT ")"),
                         "Print version and commit and exit");
    app.add_option("TRACE", options.trace, "the trace; - is standard input")->required()->type_name("");
    describe_outputs(app, options);
    describe_words(app, options);
    describe_comparison(app, options);
    app.add_flag("--partial", options.partial,
                 "take what there is of a trace that is cut, as of a run that was killed");
}

bool is_same_file(const std::string& one, const std::string& other) {
    if (one.empty() || other.empty() || one == "-" || other == "-") return false;
    std::error_code error;  // one that is not there yet is told by its name
    return one == other || std::filesystem::equivalent(one, other, error);
}

// A trace that was overwritten is lost, and so is the first of two outputs in one file.
void check_places(const ReportOptions& options) {
    const std::pair<const char*, const std::string*> outputs[] = {
        {"-o", &options.page}, {"--data", &options.data}, {"--perfetto", &options.perfetto}};
    for (const auto& [option, file] : outputs) {
        for (const std::string& trace : {options.trace, options.other}) {
            if (is_same_file(*file, trace))
                throw std::runtime_error(std::string(option) + " " + *file +
                                         ": would overwrite the trace: expected another file");
        }
        for (const auto& [earlier, taken] : outputs) {
            if (earlier == option) break;
            if (is_same_file(*file, *taken))
                throw std::runtime_error(std::string(option) + " " + *file + ": is the file of " + earlier +
                                         ": expected another one");
        }
    }
}

void check(const ReportOptions& options) {
    const std::string* const outputs[] = {&options.page, &options.data, &options.perfetto, &options.csv,
                                          &options.other};
    const auto wanted = [](const std::string* output) { return !output->empty(); };
    if (!options.story && std::none_of(std::begin(outputs), std::end(outputs), wanted)) {
        throw std::runtime_error(
            "expected what to make of the trace: -o FILE, --data FILE, --perfetto FILE, --csv FOLDER, --story "
            "or "
            "--diff OTHER");
    }
    if (options.trace == "-" && options.other == "-")
        throw std::runtime_error("only one of the two traces can be standard input");
    if (options.csv == "-") throw std::runtime_error("--csv -: expected a folder: the tables are many files");
    const std::string* const files[] = {&options.page, &options.data, &options.perfetto};
    const auto count =
        std::count_if(std::begin(files), std::end(files), [](const std::string* file) { return *file == "-"; });
    if (count + (options.story ? 1 : 0) + (options.other.empty() ? 0 : 1) > 1 && count > 0)
        throw std::runtime_error("only one output can be standard output");
    check_places(options);
}

}  // namespace

std::optional<ReportOptions> parse_report_line(int argc, const char* const* argv) {
    ReportOptions options;
    CLI::App app;
    app.name("virtual-projector-report");
    describe(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        std::printf("%s", wrap_lines(app.help(), help_width).c_str());
        return std::nullopt;
    } catch (const CLI::CallForVersion& version) {
        std::printf("%s\n", version.what());
        return std::nullopt;
    } catch (const CLI::ParseError& error) {
        throw std::runtime_error(std::string(error.what()) + " (see --help)");
    }
    check(options);
    return options;
}

}  // namespace vp
