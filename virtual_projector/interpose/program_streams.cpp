#include "virtual_projector/interpose/program_streams.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <map>
#include <memory>
#include <mutex>

#include "virtual_projector/clock/reentrancy_guard.h"

namespace vp {
namespace {

struct Cookie {
    int descriptor;
    DescriptorCalls calls;
    bool is_read_only;
    FILE* stream = nullptr;
};

// The streams that are open, under a lock of their own: they are asked for on any thread.
std::mutex streams_lock;
std::map<FILE*, std::unique_ptr<Cookie>>& streams() {
    static auto* open = new std::map<FILE*, std::unique_ptr<Cookie>>;
    return *open;
}

FILE* first_standard_input = nullptr;  // as the C library made it; null: it is read as ever

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
    const Cookie stream = *static_cast<Cookie*>(cookie);
    {
        const ReentrancyGuard guard;
        const std::lock_guard<std::mutex> lock(streams_lock);
        streams().erase(stream.stream);
    }
    return stream.calls.close(stream.descriptor);
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
    const ReentrancyGuard guard;
    const bool is_read_only = mode[0] == 'r' && std::strchr(mode, '+') == nullptr;
    auto cookie = std::make_unique<Cookie>(Cookie{descriptor, calls, is_read_only});
    FILE* stream = ::fopencookie(cookie.get(), mode, functions);
    if (stream == nullptr) return nullptr;
    cookie->stream = stream;
    const std::lock_guard<std::mutex> lock(streams_lock);
    streams()[stream] = std::move(cookie);
    return stream;
}

std::optional<int> descriptor_of(FILE* stream) {
    const ReentrancyGuard guard;
    const std::lock_guard<std::mutex> lock(streams_lock);
    const auto found = streams().find(stream);
    if (found == streams().end()) return std::nullopt;
    return found->second->descriptor;
}

bool is_read_only(FILE* stream) {
    const ReentrancyGuard guard;
    const std::lock_guard<std::mutex> lock(streams_lock);
    const auto found = streams().find(stream);
    return found != streams().end() && found->second->is_read_only;
}

// A terminal's lines come one by one, and what was printed before is to be seen by then.
void take_over_standard_input(const DescriptorCalls& calls) {
    FILE* const own = stream_on(STDIN_FILENO, "r", calls);
    if (own == nullptr) return;
    if (::isatty(STDIN_FILENO) != 0) (void)::setvbuf(own, nullptr, _IOLBF, BUFSIZ);
    first_standard_input = stdin;
    stdin = own;
}

FILE* actual_stream(FILE* stream) {
    return first_standard_input != nullptr && stream == first_standard_input ? stdin : stream;
}

}  // namespace vp
