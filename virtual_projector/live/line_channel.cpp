#include "virtual_projector/live/line_channel.h"

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace vp {
namespace {

bool is_for_later() { return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR; }

}  // namespace

LineChannel::~LineChannel() { (void)::close(socket_); }

std::vector<std::string> LineChannel::receive() {
    std::array<char, 65536> bytes{};
    while (is_open_) {
        const ssize_t count = ::recv(socket_, bytes.data(), bytes.size(), MSG_DONTWAIT);
        if (count <= 0) {
            is_open_ = count < 0 && is_for_later();
            break;
        }
        received_.append(bytes.data(), static_cast<std::size_t>(count));
    }
    std::vector<std::string> lines;
    std::size_t begin = 0;
    for (std::size_t end = received_.find('\n'); end != std::string::npos; end = received_.find('\n', begin)) {
        lines.push_back(received_.substr(begin, end - begin));
        begin = end + 1;
    }
    received_.erase(0, begin);
    return lines;
}

void LineChannel::send(const std::string& line) {
    if (!is_open_) return;
    unsent_ += line + "\n";
    flush();
}

void LineChannel::flush() {
    std::size_t done = 0;
    while (is_open_ && done < unsent_.size()) {
        const ssize_t count =
            ::send(socket_, unsent_.data() + done, unsent_.size() - done, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (count < 0) {
            is_open_ = is_for_later();
            break;
        }
        done += static_cast<std::size_t>(count);
    }
    unsent_.erase(0, done);
}

}  // namespace vp
