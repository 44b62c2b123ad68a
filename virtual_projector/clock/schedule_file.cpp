#include "virtual_projector/clock/schedule_file.h"

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>

namespace vp {
namespace {

constexpr const char* first_line = "virtual-projector schedule 1";

// Nothing when the line is no step, or one that does not come after the step before it.
std::optional<ScheduleStep> parse_step(const std::string& line, std::uint64_t step_before) {
    std::istringstream words(line);
    ScheduleStep step;
    std::int64_t number = 0;
    if (!(words >> number >> step.thread) || number <= 0) return std::nullopt;
    step.step = static_cast<std::uint64_t>(number);
    words >> step.name;
    std::string more;
    if (step.step <= step_before || words >> more) return std::nullopt;
    return step;
}

}  // namespace

std::vector<ScheduleStep> read_schedule(const std::string& path) {
    std::ifstream file(path);
    if (!file) throw std::runtime_error(path + ": " + std::strerror(errno));
    std::string line;
    if (!std::getline(file, line) || line != first_line)
        throw std::runtime_error(path + ": expected a schedule, which begins with '" + first_line + "'");
    std::vector<ScheduleStep> steps;
    while (std::getline(file, line)) {
        const std::optional<ScheduleStep> step = parse_step(line, steps.empty() ? 0 : steps.back().step);
        if (!step) {
            throw std::runtime_error(path + ": line " + std::to_string(steps.size() + 2) +
                                     ": expected a later step, a thread's number and its name");
        }
        steps.push_back(*step);
    }
    return steps;
}

ScheduleWriter::ScheduleWriter(const std::string& path) : path_(path), file_(OutputFile::open(path)) {
    if (file_ == nullptr) throw std::runtime_error(path + ": " + std::strerror(errno));
    std::fprintf(file_->stream(), "%s\n", first_line);
}

void ScheduleWriter::write(const ScheduleStep& step) {
    if (file_->stream() == nullptr) return;
    std::fprintf(file_->stream(), "%" PRIu64 " %d%s%s\n", step.step, step.thread, step.name.empty() ? "" : " ",
                 step.name.c_str());
    std::fflush(file_->stream());
}

std::string ScheduleWriter::finish() { return file_->finish() ? "" : incomplete_output(path_); }

}  // namespace vp
