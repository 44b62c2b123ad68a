#include "virtual_projector/clock/schedule_file.h"

#include <cerrno>
#include <cinttypes>
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

std::string partial_schedule(const std::string& path) { return path + ".part"; }

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

ScheduleWriter::ScheduleWriter(const std::string& path)
    : path_(path), stream_(std::fopen(partial_schedule(path).c_str(), "we")) {
    if (stream_ == nullptr) throw std::runtime_error(partial_schedule(path) + ": " + std::strerror(errno));
    std::fprintf(stream_, "%s\n", first_line);
}

ScheduleWriter::~ScheduleWriter() {
    if (stream_ != nullptr) std::fclose(stream_);
}

void ScheduleWriter::write(const ScheduleStep& step) {
    if (stream_ == nullptr) return;
    std::fprintf(stream_, "%" PRIu64 " %d%s%s\n", step.step, step.thread, step.name.empty() ? "" : " ",
                 step.name.c_str());
    std::fflush(stream_);
}

std::string ScheduleWriter::finish() {
    if (stream_ == nullptr) return {};
    const bool written = std::ferror(stream_) == 0;
    const bool closed = std::fclose(stream_) == 0;
    stream_ = nullptr;
    if (written && closed && std::rename(partial_schedule(path_).c_str(), path_.c_str()) == 0) return {};
    return path_ + ": not all of it could be written";
}

}  // namespace vp
