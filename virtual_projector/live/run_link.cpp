#include "virtual_projector/live/run_link.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace vp {
namespace {

// Several seconds of what a run tells.
constexpr int buffer_bytes = 1 << 20;

// Where programs hardly reach: the numbers of their own descriptors do not change by it.
constexpr int programs_place = 901;

void require(bool success) {
    if (!success) throw std::runtime_error(std::string("no connection to the run: ") + std::strerror(errno));
}

}  // namespace

RunLink::RunLink(Listener listener) : listener_(std::move(listener)) {
    std::array<int, 2> ends{};
    require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) == 0);
    channel_ = std::make_unique<LineChannel>(ends[0]);
    (void)::setsockopt(ends[1], SOL_SOCKET, SO_SNDBUF, &buffer_bytes, sizeof buffer_bytes);
    programs_socket_ = ::fcntl(ends[1], F_DUPFD, programs_place);
    if (programs_socket_ < 0) programs_socket_ = ::dup(ends[1]);
    (void)::close(ends[1]);
    require(programs_socket_ >= 0);
    stop_ = ::eventfd(0, EFD_CLOEXEC);
    require(stop_ >= 0);
    thread_ = std::thread([this] { listen(); });
}

RunLink::~RunLink() {
    const std::uint64_t one = 1;
    if (::write(stop_, &one, sizeof one) == static_cast<ssize_t>(sizeof one)) thread_.join();
    (void)::close(stop_);
    (void)::close(programs_socket_);
}

void RunLink::send(const std::string& line) {
    const std::lock_guard<std::mutex> lock(lock_);
    channel_->send(line);
}

// What was sent before the program's end is still there when the run is over.
void RunLink::listen() {
    for (bool is_over = false; !is_over;) {
        std::array<pollfd, 2> sources{{{stop_, POLLIN, 0}, {channel_->descriptor(), POLLIN, 0}}};
        constexpr int unsent_look_ms = 100;
        (void)::poll(sources.data(), sources.size(), unsent_look_ms);
        is_over = sources[0].revents != 0;
        hear();
    }
}

void RunLink::hear() {
    std::vector<std::string> lines;
    {
        const std::lock_guard<std::mutex> lock(lock_);
        channel_->flush();
        lines = channel_->receive();
    }
    for (const std::string& line : lines) listener_(line);
}

}  // namespace vp
