#include "virtual_projector/storykit/story_run.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <sstream>

namespace storykit {
namespace {

constexpr double min_sharpness = 0.98;
constexpr double dead_band_tmr = 4;
constexpr double reading_noise_tmr = 3 * 0.6;  // three standard deviations of one reading
constexpr double max_side_deg = 0.3;

std::int64_t microseconds_of(double time_s) { return std::llround(time_s * 1e6); }

int times_in(const std::string& text, const std::string& part) {
    int times = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size()))
        ++times;
    return times;
}

}  // namespace

nlohmann::json StoryResult::summary() const { return nlohmann::json::parse(summary_text, nullptr, false); }

const vp::TruthAt& StoryResult::at(double time_s) const {
    const std::int64_t t_us = microseconds_of(time_s);
    const auto later = std::find_if(trace.truths.begin() + 1, trace.truths.end(),
                                    [t_us](const vp::TruthAt& truth) { return truth.t_us > t_us; });
    return *(later - 1);
}

bool StoryResult::printed(const std::string& text_of_the_host) const {
    return times_printed(text_of_the_host) > 0;
}

int StoryResult::times_printed(const std::string& text_of_the_host) const {
    return times_in(words, text_of_the_host);
}

int StoryResult::times_logged(const std::string& text_of_the_library) const {
    return times_in(library_log, text_of_the_library);
}

bool StoryResult::happened(const std::string& event) const {
    return std::any_of(trace.events.begin(), trace.events.end(),
                       [&event](const vp::EventAt& each) { return each.what == event; });
}

int StoryResult::lens_moves_after(double time_s) const {
    return static_cast<int>(std::count_if(
        trace.lens_moves.begin(), trace.lens_moves.end(),
        [t_us = microseconds_of(time_s)](const vp::LensMoveAt& move) { return move.t_us >= t_us; }));
}

std::vector<long> StoryResult::results_of(const std::string& function) const {
    std::vector<long> results;
    for (const vp::LibraryCallAt& call : trace.library_calls) {
        if (call.function == function) results.push_back(call.result);
    }
    return results;
}

Story::Story(const std::string& name)
    : scenario_(project_file("scenarios/" + name + ".json")),
      program_({host_program, "--script", project_file("scenarios/" + name + ".host")}) {}

Story& Story::commands(const std::vector<std::string>& lines) {
    program_ = {host_program};
    program_.insert(program_.end(), lines.begin(), lines.end());
    return *this;
}

Story& Story::scenario(const std::string& path) {
    scenario_ = path;
    return *this;
}

Story& Story::detail(const std::string& level) {
    detail_ = level;
    return *this;
}

Story& Story::with(const std::vector<std::string>& options) {
    options_.insert(options_.end(), options.begin(), options.end());
    return *this;
}

StoryResult Story::run() const {
    const ScratchFolder folder;
    std::vector<std::string> options = {"--scenario",     scenario_, "--trace",   folder.file("trace"),
                                        "--trace-detail", detail_,   "--summary", folder.file("summary")};
    options.insert(options.end(), options_.begin(), options_.end());
    std::vector<std::string> program = program_;
    program.insert(program.begin() + 1, {"--library-log", folder.file("log")});

    const Finished finished = launch_projector(options, program);
    StoryResult result;
    result.exit_code = finished.exit_code;
    result.words = finished.words;
    result.complaints = finished.complaints;
    result.library_log = contents_of(folder.file("log"));
    result.trace_text = contents_of(folder.file("trace"));
    result.trace = vp::read_trace(folder.file("trace"));
    result.summary_text = contents_of(folder.file("summary"));
    if (result.trace.truths.empty()) result.trace.truths.emplace_back();  // a run that never began
    return result;
}

std::string flaws_in_focus(const vp::TruthAt& truth) {
    std::ostringstream flaws;
    if (truth.sharpness < min_sharpness) flaws << "sharpness is " << truth.sharpness << "; ";
    if (std::abs(truth.lens_error_tmr) > dead_band_tmr + reading_noise_tmr) {
        flaws << "the lens is " << truth.lens_error_tmr << " TMR units off; ";
    }
    return flaws.str();
}

std::string flaws_in_keystone(const vp::TruthAt& truth) {
    std::ostringstream flaws;
    if (!truth.on_wall) flaws << "the picture is not on the wall; ";
    if (truth.worst_side_deg() > max_side_deg) {
        flaws << "a side is " << truth.worst_side_deg() << " degrees from upright; ";
    }
    return flaws.str();
}

std::string flaws(const vp::TruthAt& truth) { return flaws_in_focus(truth) + flaws_in_keystone(truth); }

}  // namespace storykit
