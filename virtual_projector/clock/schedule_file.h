// A schedule in a file, so that a run's course can be kept, looked at and repeated.
//
//     virtual-projector schedule 1
//     4 2 keystonefocus_thread
//     9 1 main
//
// A step is a point at which two threads or more could run; steps rise. A line names a step, by its number, and
// the thread that ran next, by number and name. Steps at which a thread made a call and went on are left out.
#ifndef VIRTUAL_PROJECTOR_CLOCK_SCHEDULE_FILE_H
#define VIRTUAL_PROJECTOR_CLOCK_SCHEDULE_FILE_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "virtual_projector/files/output_file.h"

namespace vp {

struct ScheduleStep {
    std::uint64_t step = 0;  // counted from 1
    int thread = 0;
    std::string name;  // may be empty
};

/// Throws std::runtime_error with one line, which names the file, when it cannot be read or is no schedule.
std::vector<ScheduleStep> read_schedule(const std::string& path);

/// Writes beside the file's place, each step at once: a run that crashes leaves what it came to in FILE.part.
class ScheduleWriter {
public:
    /// Throws std::runtime_error with one line when the file cannot be made.
    explicit ScheduleWriter(const std::string& path);

    void write(const ScheduleStep& step);

    /// Puts the file in its place. Empty, or one line that says what went wrong.
    std::string finish();

private:
    std::string path_;
    std::unique_ptr<OutputFile> file_;
};

}  // namespace vp

#endif
