#include "virtual_projector/devices/memory.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <utility>

#include "virtual_projector/files/output_file.h"

namespace vp {
namespace {

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

// Empty unless the file has exactly `size` bytes.
std::vector<std::uint8_t> load(const std::string& name, std::size_t size) {
    if (name.empty()) return {};
    const File file(std::fopen(name.c_str(), "rb"));
    if (!file) return {};
    std::vector<std::uint8_t> bytes(size + 1);
    bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file.get()));
    return bytes.size() == size ? bytes : std::vector<std::uint8_t>{};
}

}  // namespace

Memory::Memory(std::string file, std::vector<std::uint8_t> initial)
    : file_(std::move(file)), bytes_(std::move(initial)) {
    std::vector<std::uint8_t> kept = load(file_, bytes_.size());
    if (!kept.empty()) bytes_ = std::move(kept);
}

bool Memory::write(std::size_t offset, const std::uint8_t* data, std::size_t size) {
    if (offset > bytes_.size() || size > bytes_.size() - offset) return false;
    std::copy(data, data + size, bytes_.begin() + static_cast<std::ptrdiff_t>(offset));
    return true;
}

bool Memory::read(std::size_t offset, std::uint8_t* data, std::size_t size) const {
    if (offset > bytes_.size() || size > bytes_.size() - offset) return false;
    std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(offset), size, data);
    return true;
}

bool save_memory(const std::string& name, const std::vector<std::uint8_t>& bytes) {
    return name.empty() || write_output(name, bytes.data(), bytes.size());
}

}  // namespace vp
