#include "virtual_projector/launcher/executable.h"

#include <elf.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

namespace vp {
namespace {

template <typename Record>
bool read_at(std::istream& file, std::uint64_t place, Record& record) {
    file.seekg(static_cast<std::streamoff>(place));
    return static_cast<bool>(file.read(reinterpret_cast<char*>(&record), sizeof record));
}

struct Elf32 {
    using Header = Elf32_Ehdr;
    using Segment = Elf32_Phdr;
    using Entry = Elf32_Dyn;
};

struct Elf64 {
    using Header = Elf64_Ehdr;
    using Segment = Elf64_Phdr;
    using Entry = Elf64_Dyn;
};

// What tells a program without a loader from a shared library, and from the loader itself: both of those have a
// name for others to ask for them by.
struct Dynamics {
    bool needs_libraries = false;
    bool has_name = false;
    bool is_program = false;
};

template <typename Elf>
Dynamics dynamics_of(std::istream& file, const typename Elf::Segment& segment) {
    Dynamics dynamics;
    for (std::uint64_t place = 0; place < segment.p_filesz; place += sizeof(typename Elf::Entry)) {
        typename Elf::Entry entry{};
        if (!read_at(file, segment.p_offset + place, entry) || entry.d_tag == DT_NULL) break;
        if (entry.d_tag == DT_NEEDED) dynamics.needs_libraries = true;
        if (entry.d_tag == DT_SONAME) dynamics.has_name = true;
        if (entry.d_tag == DT_FLAGS_1) dynamics.is_program = (entry.d_un.d_val & DF_1_PIE) != 0;
    }
    return dynamics;
}

// A program that needs its libraries loaded names its loader in a segment of its own. One at no fixed place
// looks like a shared library but for its dynamic entries.
template <typename Elf>
bool is_program_without_loader(std::istream& file) {
    typename Elf::Header header{};
    if (!read_at(file, 0, header) || (header.e_type != ET_EXEC && header.e_type != ET_DYN)) return false;
    Dynamics dynamics;
    for (unsigned i = 0; i < header.e_phnum; ++i) {
        typename Elf::Segment segment{};
        if (!read_at(file, header.e_phoff + std::uint64_t{i} * sizeof segment, segment)) return false;
        if (segment.p_type == PT_INTERP) return false;
        if (segment.p_type == PT_DYNAMIC) dynamics = dynamics_of<Elf>(file, segment);
    }
    if (header.e_type == ET_EXEC) return true;
    const bool is_library = dynamics.has_name || dynamics.needs_libraries || header.e_entry == 0;
    return dynamics.is_program || !is_library;
}

bool is_statically_linked(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    unsigned char identity[EI_NIDENT] = {};
    if (!read_at(file, 0, identity) || std::memcmp(identity, ELFMAG, SELFMAG) != 0) return false;
    if (identity[EI_DATA] != ELFDATA2LSB) return false;  // neither this computer's nor the board's
    return identity[EI_CLASS] == ELFCLASS64 ? is_program_without_loader<Elf64>(file)
                                            : is_program_without_loader<Elf32>(file);
}

// The loader takes no library from whoever starts a program with rights that he does not have.
std::string other_rights(const std::string& path) {
    struct stat file {};
    if (stat(path.c_str(), &file) != 0) return {};
    if ((file.st_mode & S_ISUID) != 0 && file.st_uid != getuid()) return "set-user-id";
    if ((file.st_mode & S_ISGID) != 0 && (file.st_mode & S_IXGRP) != 0 && file.st_gid != getgid())
        return "set-group-id";
    if (geteuid() != 0 && getxattr(path.c_str(), "security.capability", nullptr, 0) > 0)
        return "given capabilities";
    return {};
}

// Of a script; empty for another file.
std::string interpreter_of(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string mark(2, '\0');
    std::string line;
    if (!file.read(mark.data(), 2) || mark != "#!" || !std::getline(file, line)) return {};
    std::string interpreter;
    std::istringstream(line) >> interpreter;
    return interpreter;
}

}  // namespace

std::string own_folder() {
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    if (length <= 0) return ".";
    const std::string own(path, static_cast<std::size_t>(length));
    return own.substr(0, own.rfind('/'));
}

std::string file_of_command(const std::string& command) {
    const char* const folders = std::getenv("PATH");
    if (folders == nullptr || command.find('/') != std::string::npos) return command;
    std::istringstream list(folders);
    for (std::string folder; std::getline(list, folder, ':');) {
        const std::string file = (folder.empty() ? "." : folder) + "/" + command;
        if (access(file.c_str(), X_OK) == 0) return file;
    }
    return command;
}

std::string reason_not_to_preload(const std::string& path) {
    std::string file = path;
    constexpr int max_interpreters = 5;  // as many as the kernel follows
    for (int i = 0; i < max_interpreters; ++i) {
        const std::string interpreter = interpreter_of(file);
        if (interpreter.empty()) break;
        file = interpreter;
    }
    const std::string itself = file == path ? "it is " : "its interpreter " + file + " is ";
    if (is_statically_linked(file))
        return itself + "statically linked; expected a program that loads its libraries";
    const std::string rights = other_rights(file);
    return rights.empty() ? "" : itself + rights + "; the loader does not preload a library into it";
}

}  // namespace vp
