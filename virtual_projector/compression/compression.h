// Compression by gzip and zstd, as streams. Where the machine has no such library there is none of that kind.
#ifndef VIRTUAL_PROJECTOR_COMPRESSION_COMPRESSION_H
#define VIRTUAL_PROJECTOR_COMPRESSION_COMPRESSION_H

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace vp {

enum class Compression { none, gzip, zstd };

const char* compression_name(Compression compression);

/// Which one a file is to be written by, by its name: .gz, .zst, or none.
Compression compression_of_name(const std::string& path);

/// How many bytes compression_of_bytes() wants to see of a file's beginning.
constexpr std::size_t compression_magic_bytes = 4;
/// Which one these bytes were written by, by what they begin with.
Compression compression_of_bytes(std::string_view start);

class Decompressor {
public:
    struct Result {
        std::size_t taken = 0;  // bytes of the input
        std::size_t given = 0;  // bytes written
        bool is_wrong = false;  // the input is not what it should be
    };
    virtual ~Decompressor() = default;
    virtual Result unpack(std::string_view input, char* output, std::size_t size) = 0;
    /// True when the input may end here.
    virtual bool is_between_frames() const = 0;
};

/// Null when the program was built without it.
std::unique_ptr<Decompressor> make_decompressor(Compression compression);

class Compressor {
public:
    virtual ~Compressor() = default;
    virtual std::string pack(std::string_view bytes) = 0;
    /// What makes all bytes so far readable, whatever comes after.
    virtual std::string flush() = 0;
    /// What ends the file.
    virtual std::string finish() = 0;
};

/// Null when the program was built without it.
std::unique_ptr<Compressor> make_compressor(Compression compression);

}  // namespace vp

#endif
