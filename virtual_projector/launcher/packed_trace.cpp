#include "virtual_projector/launcher/packed_trace.h"

#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "virtual_projector/compression/compression.h"
#include "virtual_projector/files/output_file.h"

namespace vp {
namespace {

constexpr const char* plain_ending = ".plain";

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using InputFile = std::unique_ptr<std::FILE, CloseFile>;

// False when the lines cannot be read to their end.
bool pack_into(std::FILE* lines, Compressor& compressor, std::FILE* packed) {
    const auto write = [packed](const std::string& bytes) {
        static_cast<void>(std::fwrite(bytes.data(), 1, bytes.size(), packed));
    };
    std::vector<char> piece(std::size_t{1} << 20);
    while (const std::size_t count = std::fread(piece.data(), 1, piece.size(), lines))
        write(compressor.pack({piece.data(), count}));
    write(compressor.finish());
    return std::ferror(lines) == 0;
}

}  // namespace

std::string check_packed_trace(const std::string& path) {
    const Compression compression = compression_of_name(path);
    if (compression == Compression::none || make_compressor(compression) != nullptr) return "";
    return "--trace " + path + ": this program was built without " + compression_name(compression) +
           ": expected a name without this ending";
}

PackedTrace::PackedTrace(std::string& path) : path_(path) {
    if (path != standard_output && compression_of_name(path) != Compression::none) {
        packed_ = path;
        path_ += plain_ending;
    }
}

bool PackedTrace::pack() const {
    const std::string plain = packed_ + plain_ending;
    const InputFile lines(std::fopen(plain.c_str(), "re"));
    const std::unique_ptr<OutputFile> packed = OutputFile::open(packed_);
    if (packed == nullptr) return lines == nullptr;
    if (lines == nullptr) {  // the run has left none
        packed->discard();
        return true;
    }
    if (pack_into(lines.get(), *make_compressor(compression_of_name(packed_)), packed->stream()) &&
        packed->finish()) {
        return unlink(plain.c_str()) == 0;
    }
    packed->discard();
    return false;
}

bool PackedTrace::finish() {
    if (packed_.empty()) return true;
    const bool is_packed = pack();
    if (is_packed) {
        path_ = packed_;
    } else {
        std::fprintf(stderr, "virtual-projector: %s; its plain lines stand in %s\n",
                     incomplete_output(packed_).c_str(), path_.c_str());
    }
    packed_.clear();
    return is_packed;
}

}  // namespace vp
