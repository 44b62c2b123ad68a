// A file of the run that appears under its name only when it is complete.
//
// It is written beside its place, as FILE.part in the same folder, and renamed at the end: whatever goes wrong,
// what stood there before is still there. A link is followed first. What is no regular file, such as a device,
// a pipe or standard output ("-"), is written straight.
#ifndef VIRTUAL_PROJECTOR_FILES_OUTPUT_FILE_H
#define VIRTUAL_PROJECTOR_FILES_OUTPUT_FILE_H

#include <cstdio>
#include <memory>
#include <string>

namespace vp {

/// The path that means standard output.
constexpr const char* standard_output = "-";

/// What is said of a file that could not be written, by its name.
std::string incomplete_output(const std::string& path);

struct OutputPlace {
    std::string file;     // what the path leads to in the end, links followed
    std::string written;  // what is written: `file` itself, or the file beside it
    bool is_beside() const { return written != file; }
};

/// Where a path's file stands and where it is written meanwhile. Throws std::filesystem::filesystem_error for a
/// link that leads in a circle.
OutputPlace output_place(const std::string& path);

/// Gives what was written beside a file its name; true also when nothing was to be renamed.
bool complete_output(const OutputPlace& place);

class OutputFile {
public:
    /// Null when the file cannot be made; errno tells why.
    static std::unique_ptr<OutputFile> open(const std::string& path);
    ~OutputFile();  // an unfinished file stays beside its place
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    std::FILE* stream() { return stream_; }

    /// Closes the file, which takes its place if all of it has been written; else it stays beside it, and
    /// false.
    bool finish();
    /// Closes the file and removes what stands beside its place.
    void discard();

private:
    OutputFile(OutputPlace place, std::FILE* stream);
    bool close();

    OutputPlace place_;
    std::FILE* stream_;
    bool complete_ = true;
};

/// The whole of a file at once. False when it could not be written: what stood there is still there.
bool write_output(const std::string& path, const void* bytes, std::size_t size);

}  // namespace vp

#endif
