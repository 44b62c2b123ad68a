// A run in words, for a person: all that happened in one list in order of time, grouped by request, and what it
// was like before and after.
#ifndef VIRTUAL_PROJECTOR_REPORT_STORY_H
#define VIRTUAL_PROJECTOR_REPORT_STORY_H

#include <memory>
#include <string>
#include <vector>

#include "virtual_projector/report/trace_reader.h"

namespace vp {

struct StoryOptions {
    bool full = false;  // everything, each thing on a line of its own
    bool log = false;   // the library's own log lines in their places
};

/// All but the trace may be empty.
struct StorySources {
    std::string title;        // the scenario's one line
    std::string trace;        // file
    std::string library_log;  // file; is only read for a trace without log lines
    std::string summary;      // file with the run's times
};

/// Takes in a trace's records as they pass by, and tells the story.
class StoryTeller : public TraceVisitor {
public:
    explicit StoryTeller(const StoryOptions& options = {});
    ~StoryTeller() override;

    void take_run(const RunRecord& run) override;
    void take_truth(const TruthAt& truth) override;
    void take_event(const EventAt& event) override;
    void take_wear(std::int64_t t_us, const WearAccount& wear) override;
    void take_call(const CallAt& call) override;
    void take_callback(const CallbackLine& callback) override;
    void take_state(const StateLine& state) override;
    void take_log(const LogLine& log) override;

    /// The lines, none wider than 80 columns. Unless they are to be full, there are at most 40 of them: what
    /// matters less is drawn together or left out, and a line says how much; but an event of the scenario is
    /// never left out, and where there are many of those, a dozen lines stand for what came of them. The
    /// library's own lines come on top.
    std::vector<std::string> tell(const StorySources& sources);

private:
    class Work;
    std::unique_ptr<Work> work_;
};

/// The story of the trace file. Of one that is cut off or garbled it tells what stands before that, and says
/// so.
std::vector<std::string> format_story(const StorySources& sources, const StoryOptions& options = {});

}  // namespace vp

#endif
