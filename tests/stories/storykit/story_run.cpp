#include "tests/stories/storykit/story_run.h"

#include <algorithm>
#include <cmath>
#include <sstream>

namespace storykit {
namespace {

constexpr double least_sharpness = 0.98;
constexpr double dead_band_tmr = 4;
constexpr double reading_noise_tmr = 3 * 0.6;  // three standard deviations of one reading
constexpr double most_side_deg = 0.3;

std::int64_t microseconds_of(double time_s) { return std::llround(time_s * 1e6); }

int times_in(const std::string& text, const std::string& part) {
    int times = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size()))
        ++times;
    return times;
}

}  // namespace

const vp::TruthAt& Told::at(double time_s) const {
    const std::int64_t t_us = microseconds_of(time_s);
    const auto later = std::find_if(trace.truths.begin() + 1, trace.truths.end(),
                                    [t_us](const vp::TruthAt& truth) { return truth.t_us > t_us; });
    return *(later - 1);
}

bool Told::said(const std::string& words_of_the_host) const { return times_said(words_of_the_host) > 0; }

int Told::times_said(const std::string& words_of_the_host) const { return times_in(words, words_of_the_host); }

int Told::times_logged(const std::string& text_of_the_library) const {
    return times_in(library_log, text_of_the_library);
}

bool Told::happened(const std::string& event) const {
    return std::any_of(trace.events.begin(), trace.events.end(),
                       [&event](const vp::EventAt& each) { return each.what == event; });
}

int Told::lens_moves_after(double time_s) const {
    return static_cast<int>(std::count_if(
        trace.lens_moves.begin(), trace.lens_moves.end(),
        [t_us = microseconds_of(time_s)](const vp::LensMoveAt& move) { return move.t_us >= t_us; }));
}

std::vector<long> Told::results_of(const std::string& function) const {
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

Told Story::run() const {
    const ScratchFolder folder;
    std::vector<std::string> options = {"--scenario",     scenario_, "--trace",   folder.file("trace"),
                                        "--trace-detail", detail_,   "--summary", folder.file("summary")};
    options.insert(options.end(), options_.begin(), options_.end());
    std::vector<std::string> program = program_;
    program.insert(program.begin() + 1, {"--library-log", folder.file("log")});

    const Finished finished = launch_projector(options, program);
    Told told;
    told.exit_code = finished.exit_code;
    told.words = finished.words;
    told.complaints = finished.complaints;
    told.library_log = contents_of(folder.file("log"));
    told.trace_text = contents_of(folder.file("trace"));
    told.trace = vp::read_trace(folder.file("trace"));
    told.summary = nlohmann::json::parse(contents_of(folder.file("summary")), nullptr, false);
    if (told.trace.truths.empty()) told.trace.truths.emplace_back();  // a run that never began
    return told;
}

std::string flaws_in_focus(const vp::TruthAt& truth) {
    std::ostringstream flaws;
    if (truth.sharpness < least_sharpness) flaws << "sharpness is " << truth.sharpness << "; ";
    if (std::abs(truth.lens_error_tmr) > dead_band_tmr + reading_noise_tmr) {
        flaws << "the lens is " << truth.lens_error_tmr << " TMR units off; ";
    }
    return flaws.str();
}

std::string flaws_in_keystone(const vp::TruthAt& truth) {
    std::ostringstream flaws;
    if (!truth.on_wall) flaws << "the picture is not on the wall; ";
    if (truth.worst_side_deg() > most_side_deg) {
        flaws << "a side is " << truth.worst_side_deg() << " degrees from upright; ";
    }
    return flaws.str();
}

std::string flaws(const vp::TruthAt& truth) { return flaws_in_focus(truth) + flaws_in_keystone(truth); }

}  // namespace storykit
