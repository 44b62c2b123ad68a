// Running a story of the scenarios folder with the host program, as `./dev demo` does, and looking at it.
#ifndef VIRTUAL_PROJECTOR_STORYKIT_STORY_RUN_H
#define VIRTUAL_PROJECTOR_STORYKIT_STORY_RUN_H

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "virtual_projector/report/trace_reader.h"
#include "virtual_projector/storykit/launched_program.h"

namespace storykit {

/// One run that has ended.
struct StoryResult {
    int exit_code = -1;
    std::string words;       // the host's
    std::string complaints;  // on standard error
    std::string library_log;
    std::string trace_text;
    vp::TraceContents trace;
    std::string summary_text;

    nlohmann::json summary() const;
    const vp::TruthAt& at_the_start() const { return trace.truths.front(); }
    const vp::TruthAt& at_the_end() const { return trace.truths.back(); }
    /// The truth that held at this time.
    const vp::TruthAt& at(double time_s) const;

    bool printed(const std::string& text_of_the_host) const;
    int times_printed(const std::string& text_of_the_host) const;
    int times_logged(const std::string& text_of_the_library) const;
    bool happened(const std::string& event) const;
    int lens_moves_after(double time_s) const;
    /// The results of a function of the board's libraries, in the order of the calls.
    std::vector<long> results_of(const std::string& function) const;
};

class Story {
public:
    /// The story scenarios/NAME.json with its script scenarios/NAME.host.
    explicit Story(const std::string& name);
    /// Other commands in place of the script.
    Story& commands(const std::vector<std::string>& lines);
    /// Another scenario file.
    Story& scenario(const std::string& path);
    /// Another detail of the trace than "changes".
    Story& detail(const std::string& level);
    /// More options of the launcher, such as "--seed", "2".
    Story& with(const std::vector<std::string>& options);
    /// One parameter other than in the scenario.
    Story& set(const std::string& name_and_value) { return with({"--set", name_and_value}); }

    StoryResult run() const;

private:
    std::string scenario_;
    std::string detail_ = "changes";
    std::vector<std::string> program_;
    std::vector<std::string> options_;
};

/// What is wrong with a picture that should be sharp and square; empty when nothing is.
///
/// Sharp: sharpness at least 0.98, and the true lens error within the fine loop's dead band of 4 TMR units
/// and what the sensor's noise (0.6 units) may add to the one reading that ended the loop.
/// Square: both sides within 0.3 degree of upright.
std::string flaws_in_focus(const vp::TruthAt& truth);
std::string flaws_in_keystone(const vp::TruthAt& truth);
std::string flaws(const vp::TruthAt& truth);

}  // namespace storykit

#endif
