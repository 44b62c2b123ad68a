#include "virtual_projector/files/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <utility>

namespace vp {
namespace {

namespace fs = std::filesystem;

constexpr const char* unfinished_ending = ".part";
constexpr mode_t permission_bits = 07777;
// The program may close or replace its own standard output; a copy of it stands well above the descriptors that
// a program counts on.
constexpr int lowest_copy = 100;

// Also through a link that leads to a file which does not exist yet.
fs::path follow_links(fs::path path) {
    constexpr int max_links = 40;
    for (int links = 0; fs::is_symlink(fs::symlink_status(path)); ++links) {
        if (links == max_links) {
            throw fs::filesystem_error("cannot follow", path,
                                       std::make_error_code(std::errc::too_many_symbolic_link_levels));
        }
        path = path.parent_path() / fs::read_symlink(path);
    }
    return path;
}

// What takes the place of a file is as open to others as that was.
void keep_permissions(const OutputPlace& place, std::FILE* stream) {
    struct stat before {};
    if (place.is_beside() && stat(place.file.c_str(), &before) == 0)
        static_cast<void>(fchmod(fileno(stream), before.st_mode & permission_bits));
}

std::FILE* copy_of_standard_output() {
    const int copy = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, lowest_copy);
    if (copy < 0) return nullptr;
    std::FILE* const stream = fdopen(copy, "w");
    if (stream == nullptr) close(copy);
    return stream;
}

// Renaming would take away a file that nobody may write to.
bool may_be_replaced(const OutputPlace& place) {
    return access(place.file.c_str(), W_OK) == 0 || errno == ENOENT;
}

}  // namespace

std::string incomplete_output(const std::string& path) {
    return (path == standard_output ? "standard output" : path) + ": not all of it could be written";
}

OutputPlace output_place(const std::string& path) {
    if (path == standard_output || (fs::exists(path) && !fs::is_regular_file(path))) return {path, path};
    const std::string file = follow_links(path).string();
    return {file, file + unfinished_ending};
}

bool complete_output(const OutputPlace& place) {
    return !place.is_beside() || std::rename(place.written.c_str(), place.file.c_str()) == 0;
}

std::unique_ptr<OutputFile> OutputFile::open(const std::string& path) try {
    OutputPlace place = output_place(path);
    if (path == standard_output) {
        std::FILE* const stream = copy_of_standard_output();
        return stream == nullptr ? nullptr
                                 : std::unique_ptr<OutputFile>(new OutputFile(std::move(place), stream));
    }
    if (!may_be_replaced(place)) return nullptr;
    // What somebody else still writes there is not to get into this one.
    if (place.is_beside()) static_cast<void>(unlink(place.written.c_str()));
    std::FILE* const stream = std::fopen(place.written.c_str(), "we");
    if (stream == nullptr) return nullptr;
    keep_permissions(place, stream);
    return std::unique_ptr<OutputFile>(new OutputFile(std::move(place), stream));
} catch (const fs::filesystem_error& error) {
    errno = error.code().value();
    return nullptr;
}

OutputFile::OutputFile(OutputPlace place, std::FILE* stream) : place_(std::move(place)), stream_(stream) {}

OutputFile::~OutputFile() { static_cast<void>(close()); }

// True when everything that was given to the stream is in the file.
bool OutputFile::close() {
    if (stream_ == nullptr) return complete_;
    complete_ = std::ferror(stream_) == 0;
    if (std::fclose(std::exchange(stream_, nullptr)) != 0) complete_ = false;
    return complete_;
}

bool OutputFile::finish() {
    const bool open = stream_ != nullptr;
    if (!close()) return false;
    if (open) complete_ = complete_output(place_);
    return complete_;
}

void OutputFile::discard() {
    static_cast<void>(close());
    if (place_.is_beside()) static_cast<void>(unlink(place_.written.c_str()));
}

bool write_output(const std::string& path, const void* bytes, std::size_t size) {
    const std::unique_ptr<OutputFile> file = OutputFile::open(path);
    if (file == nullptr) return false;
    static_cast<void>(std::fwrite(bytes, 1, size, file->stream()));
    if (file->finish()) return true;
    file->discard();
    return false;
}

}  // namespace vp
