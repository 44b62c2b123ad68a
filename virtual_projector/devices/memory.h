// A small memory that can outlive the program in a file.
#ifndef VIRTUAL_PROJECTOR_DEVICES_MEMORY_H
#define VIRTUAL_PROJECTOR_DEVICES_MEMORY_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vp {

class Memory {
public:
    /// Begins with the file's contents when there is a file of exactly this size, else with `initial`.
    Memory(std::string file, std::vector<std::uint8_t> initial);

    const std::vector<std::uint8_t>& bytes() const { return bytes_; }

    /// False when the range does not lie within the memory; nothing is changed then.
    bool write(std::size_t offset, const std::uint8_t* data, std::size_t size);
    bool read(std::size_t offset, std::uint8_t* data, std::size_t size) const;

    const std::string& file() const { return file_; }

private:
    std::string file_;
    std::vector<std::uint8_t> bytes_;
};

/// Writes a memory's file; false when it cannot be written: it is then as it was before. An empty name is no
/// file: true.
bool save_memory(const std::string& file, const std::vector<std::uint8_t>& bytes);

}  // namespace vp

#endif
