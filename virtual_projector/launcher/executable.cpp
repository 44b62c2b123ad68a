#include "virtual_projector/launcher/executable.h"

#include <elf.h>
#include <unistd.h>

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

// A program that needs its libraries loaded names its loader in a segment of its own.
template <typename Header, typename Segment>
bool is_program_without_loader(std::istream& file) {
    Header header{};
    if (!read_at(file, 0, header) || header.e_type != ET_EXEC) return false;
    for (unsigned i = 0; i < header.e_phnum; ++i) {
        Segment segment{};
        if (!read_at(file, header.e_phoff + std::uint64_t{i} * sizeof segment, segment)) return false;
        if (segment.p_type == PT_INTERP) return false;
    }
    return true;
}

}  // namespace

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

bool is_statically_linked(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    unsigned char identity[EI_NIDENT] = {};
    if (!read_at(file, 0, identity) || std::memcmp(identity, ELFMAG, SELFMAG) != 0) return false;
    if (identity[EI_DATA] != ELFDATA2LSB) return false;  // neither this computer's nor the board's
    return identity[EI_CLASS] == ELFCLASS64 ? is_program_without_loader<Elf64_Ehdr, Elf64_Phdr>(file)
                                            : is_program_without_loader<Elf32_Ehdr, Elf32_Phdr>(file);
}

}  // namespace vp
