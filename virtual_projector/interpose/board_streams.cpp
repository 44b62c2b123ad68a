#include "virtual_projector/interpose/board_streams.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>

namespace vp {
namespace {

// The descriptor is the cookie. The calls below are the ones that stand in for the C library's, so that a
// stream's reads and writes go the way of all others.
int descriptor_of(void* cookie) { return static_cast<int>(reinterpret_cast<std::intptr_t>(cookie)); }

ssize_t read_cookie(void* cookie, char* buffer, std::size_t count) {
    return ::read(descriptor_of(cookie), buffer, count);
}

// The stream knows a failed write by a count of 0, not by -1.
ssize_t write_cookie(void* cookie, const char* buffer, std::size_t count) {
    const ssize_t written = ::write(descriptor_of(cookie), buffer, count);
    return written < 0 ? 0 : written;
}

int close_cookie(void* cookie) { return ::close(descriptor_of(cookie)); }

}  // namespace

std::optional<int> flags_of_mode(const char* mode) {
    int flags = 0;
    switch (mode[0]) {
        case 'r':
            break;
        case 'w':
            flags = O_CREAT | O_TRUNC;
            break;
        case 'a':
            flags = O_CREAT | O_APPEND;
            break;
        default:
            return std::nullopt;
    }
    const bool both_ways = std::strchr(mode, '+') != nullptr;
    if (std::strchr(mode, 'x') != nullptr) flags |= O_EXCL;
    if (std::strchr(mode, 'e') != nullptr) flags |= O_CLOEXEC;
    if (both_ways) return flags | O_RDWR;
    return flags | (mode[0] == 'r' ? O_RDONLY : O_WRONLY);
}

FILE* stream_on(int descriptor, const char* mode) {
    const cookie_io_functions_t functions = {read_cookie, write_cookie, nullptr, close_cookie};
    return ::fopencookie(reinterpret_cast<void*>(static_cast<std::intptr_t>(descriptor)), mode, functions);
}

}  // namespace vp
