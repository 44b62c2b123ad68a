#include "virtual_projector/launcher/run_files.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "virtual_projector/files/output_file.h"
#include "virtual_projector/launcher/executable.h"
#include "virtual_projector/launcher/packed_trace.h"
#include "virtual_projector/launcher/run_schedule.h"
#include "virtual_projector/world/tof_calibration.h"
#include "virtual_projector/world/unit_record.h"

namespace vp {
namespace {

namespace fs = std::filesystem;

struct NamedFile {
    std::string option;
    std::string path;
};

std::vector<NamedFile> outputs_of(const RunOptions& run) {
    std::vector<NamedFile> outputs;
    for (const NamedFile& output :
         {NamedFile{"--trace", run.trace}, NamedFile{"--summary", run.summary},
          NamedFile{"--record-schedule", run.record_schedule}, NamedFile{"--flash", run.flash},
          NamedFile{"--flash", tof_memory_file(run.flash)}}) {
        if (!output.path.empty()) outputs.push_back(output);
    }
    return outputs;
}

std::vector<NamedFile> inputs_of(const CommandLine& line) {
    std::vector<NamedFile> inputs = {{"PROGRAM", file_of_command(line.program.command[0])}};
    for (const NamedFile& input :
         {NamedFile{"--scenario", line.run.scenario}, NamedFile{"--world", line.run.world},
          NamedFile{"--unit", line.run.unit},
          NamedFile{"--schedule", is_schedule_file(line.run.schedule) ? line.run.schedule : ""},
          NamedFile{"--library-log", line.library_log}}) {
        if (!input.path.empty()) inputs.push_back(input);
    }
    return inputs;
}

bool takes_everything(const std::string& path) {
    return path == standard_output || (fs::exists(path) && !fs::is_regular_file(path));
}

// By another name, through a link or another folder, it is still the same file.
bool are_same(const std::string& a, const std::string& b) {
    std::error_code none;
    if (fs::exists(a, none) && fs::exists(b, none)) return fs::equivalent(a, b, none);
    return fs::weakly_canonical(a, none) == fs::weakly_canonical(b, none);
}

std::vector<std::string> touched_by(const std::string& path) {
    const OutputPlace place = output_place(path);
    return place.is_beside() ? std::vector<std::string>{place.file, place.written}
                             : std::vector<std::string>{place.file};
}

// The file of `output` that is also `other`; empty: none.
std::string shared_file(const NamedFile& output, const std::vector<std::string>& others) {
    for (const std::string& own : touched_by(output.path)) {
        for (const std::string& other : others) {
            if (are_same(own, other)) return own;
        }
    }
    return {};
}

std::string say_shared(const NamedFile& output, const std::string& file, const NamedFile& other) {
    return output.option + " " + output.path + ": would write over " + file + ", which is " + other.option +
           " " + other.path + " as well";
}

std::string check_shared(const CommandLine& line) {
    std::vector<NamedFile> earlier;
    for (const NamedFile& output : outputs_of(line.run)) {
        if (takes_everything(output.path)) continue;
        for (const NamedFile& input : inputs_of(line)) {
            const std::string file = shared_file(output, {input.path});
            if (!file.empty()) return say_shared(output, file, input);
        }
        for (const NamedFile& other : earlier) {
            const std::string file = shared_file(output, touched_by(other.path));
            if (!file.empty()) return say_shared(output, file, other);
        }
        earlier.push_back(output);
    }
    return {};
}

// A file that is to be written can be: its beginning is there afterwards, empty, beside its place.
std::string check_writable(const char* option, const std::string& path) {
    if (path.empty() || path == standard_output) return "";
    const std::string subject = std::string(option) + " " + path + ": ";
    if (fs::is_directory(path)) return subject + "expected a file to write, found a folder";
    if (fs::exists(path) && !fs::is_regular_file(path))
        return access(path.c_str(), W_OK) == 0 ? "" : subject + "cannot write it: " + std::strerror(errno);
    if (OutputFile::open(path) != nullptr) return "";
    return subject + "cannot write it: " + std::strerror(errno);
}

// A memory's file comes into being with the first write; one that is there must have the memory's size.
std::string check_memory(const std::string& path, std::uintmax_t size) {
    const std::string subject = "--flash " + path + ": ";
    const fs::path folder = fs::absolute(output_place(path).file).parent_path();
    const bool there = access(path.c_str(), F_OK) == 0;
    // Written beside its place, it needs the folder in any case.
    if ((there && access(path.c_str(), W_OK) != 0) || access(folder.c_str(), W_OK) != 0)
        return subject + "cannot write it: " + std::strerror(errno);
    if (there && !fs::is_regular_file(path))
        return subject + "expected a file of " + std::to_string(size) + " bytes, found something else";
    if (there && fs::file_size(path) != size) {
        return subject + "expected a file of " + std::to_string(size) + " bytes, found " +
               std::to_string(fs::file_size(path));
    }
    return "";
}

std::string check_flash(const std::string& path) {
    if (path.empty()) return "";
    if (path == standard_output) return "--flash -: expected a file, which is read as well";
    const std::string mistake = check_memory(path, record_size);
    return mistake.empty() ? check_memory(tof_memory_file(path), calibration_size) : mistake;
}

// Nobody could play it from anything else.
std::string check_recording(const std::string& path) {
    if (path == standard_output || (fs::exists(path) && !fs::is_regular_file(path)))
        return "--record-schedule " + path + ": expected a file to write, found something else";
    return check_writable("--record-schedule", path);
}

void remove_unfinished(const std::string& path) {
    if (path.empty()) return;
    const OutputPlace place = output_place(path);
    if (place.is_beside()) static_cast<void>(unlink(place.written.c_str()));
}

// Trace and schedule are complete line by line.
void keep_unfinished(const std::string& path, bool is_complete) {
    if (path.empty() || !is_complete) return;
    const OutputPlace place = output_place(path);
    if (place.is_beside() && access(place.written.c_str(), F_OK) == 0)
        static_cast<void>(complete_output(place));
}

}  // namespace

std::string check_files(const CommandLine& line) try {
    const RunOptions& run = line.run;
    const std::string shared = check_shared(line);
    if (!shared.empty()) return shared;
    for (const std::string& mistake :
         {check_flash(run.flash), check_packed_trace(run.trace), check_writable("--trace", run.trace),
          check_writable("--summary", run.summary), check_recording(run.record_schedule)}) {
        if (mistake.empty()) continue;
        for (const std::string& path : {run.trace, run.summary, run.record_schedule}) remove_unfinished(path);
        return mistake;
    }
    return "";
} catch (const fs::filesystem_error& error) {
    return error.path1().string() + ": " + error.code().message();
}

void make_files_absolute(RunOptions& run) {
    for (std::string* const path : {&run.scenario, &run.world, &run.unit, &run.trace, &run.summary, &run.flash,
                                    &run.record_schedule, &run.schedule}) {
        const bool is_file = path != &run.schedule || is_schedule_file(*path);
        if (!path->empty() && *path != standard_output && is_file) *path = fs::absolute(*path).string();
    }
}

void tidy_files(const RunOptions& run, const RunState& state) {
    remove_unfinished(run.summary);
    if (!state.has_begun()) {
        for (const std::string& path : {run.trace, run.record_schedule}) remove_unfinished(path);
        return;
    }
    keep_unfinished(run.trace, state.is_complete(RunFile::trace));
    keep_unfinished(run.record_schedule, state.is_complete(RunFile::schedule));
}

}  // namespace vp
