// A checksum of 64 bits for names and files: FNV-1a (Fowler, Noll and Vo), the same on every platform.
#ifndef VIRTUAL_PROJECTOR_WORLD_FNV1A_H
#define VIRTUAL_PROJECTOR_WORLD_FNV1A_H

#include <cstdint>
#include <string_view>

namespace vp {

constexpr std::uint64_t fnv1a64(std::string_view bytes) {
    std::uint64_t sum = 0xCBF29CE484222325u;
    for (const char byte : bytes) sum = (sum ^ static_cast<std::uint8_t>(byte)) * 0x100000001B3u;
    return sum;
}

}  // namespace vp

#endif
