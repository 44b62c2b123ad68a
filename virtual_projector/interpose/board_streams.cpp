#include "virtual_projector/interpose/board_streams.h"

#include <fcntl.h>

#include <cstring>
#include <memory>

namespace vp {
namespace {

struct Cookie {
    int descriptor;
    DescriptorCalls calls;
};

ssize_t read_cookie(void* cookie, char* buffer, std::size_t count) {
    const Cookie& stream = *static_cast<Cookie*>(cookie);
    return stream.calls.read(stream.descriptor, buffer, count);
}

// The stream knows a failed write by a count of 0, not by -1.
ssize_t write_cookie(void* cookie, const char* buffer, std::size_t count) {
    const Cookie& stream = *static_cast<Cookie*>(cookie);
    const ssize_t written = stream.calls.write(stream.descriptor, buffer, count);
    return written < 0 ? 0 : written;
}

int close_cookie(void* cookie) {
    const std::unique_ptr<Cookie> stream(static_cast<Cookie*>(cookie));
    return stream->calls.close(stream->descriptor);
}

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

FILE* stream_on(int descriptor, const char* mode, const DescriptorCalls& calls) {
    const cookie_io_functions_t functions = {read_cookie, write_cookie, nullptr, close_cookie};
    auto cookie = std::make_unique<Cookie>(Cookie{descriptor, calls});
    FILE* stream = ::fopencookie(cookie.get(), mode, functions);
    if (stream != nullptr) (void)cookie.release();  // closing the stream deletes it
    return stream;
}

}  // namespace vp
