// Entry points of the C library: sockets. Symbols only.
#undef _FORTIFY_SOURCE
#include <poll.h>
#include <stdlib.h>
#include <sys/socket.h>

#include <cerrno>
#include <numeric>
#include <optional>

#include "virtual_projector/interpose/ask_machine.h"
#include "virtual_projector/interpose/real_calls.h"

namespace real = vp::real;
using vp::answer;
using vp::ask_in_virtual_time;
using vp::Machine;
using vp::made;

namespace {

long or_errno(ssize_t result) { return result < 0 ? -errno : result; }

std::size_t length_of(const msghdr& message) {
    return std::accumulate(message.msg_iov, message.msg_iov + message.msg_iovlen, std::size_t{0},
                           [](std::size_t sum, const iovec& piece) { return sum + piece.iov_len; });
}

char* at(void* buffer, std::size_t place) { return static_cast<char*>(buffer) + place; }
const char* at(const void* buffer, std::size_t place) { return static_cast<const char*>(buffer) + place; }

}  // namespace

extern "C" {

// Asked for by name when a program is linked: the other names may be found elsewhere first.
extern const char vp_interposed_socket_calls[];
const char vp_interposed_socket_calls[] = "interposed calls of the virtual projector: socket";

int socket(int family, int type, int protocol) noexcept { return made(real::socket(family, type, protocol)); }

int socketpair(int family, int type, int protocol, int ends[2]) noexcept {
    const int result = real::socketpair(family, type, protocol, ends);
    if (result != 0) return result;
    (void)made(ends[0]);
    (void)made(ends[1]);
    (void)ask_in_virtual_time([&](Machine& m) {
        m.kinds().note_pair(ends[0], ends[1]);
        return std::optional<long>();
    });
    return result;
}

int accept(int socket, sockaddr* address, socklen_t* length) { return accept4(socket, address, length, 0); }

int accept4(int socket, sockaddr* address, socklen_t* length, int flags) {
    return answer<int>([&](Machine& m) { return m.io().await(socket, POLLIN); },
                       [&] { return made(real::accept4(socket, address, length, flags)); });
}

int connect(int socket, const sockaddr* address, socklen_t length) {
    return answer<int>([&](Machine& m) { return m.io().connect(socket, address, length); },
                       [&] { return real::connect(socket, address, length); });
}

ssize_t recv(int socket, void* buffer, size_t count, int flags) {
    return answer<ssize_t>(
        [&](Machine& m) {
            return m.io().receive(socket, flags, count, [&](std::size_t done, int how) {
                return or_errno(real::recv(socket, at(buffer, done), count - done, how));
            });
        },
        [&] { return real::recv(socket, buffer, count, flags); });
}

ssize_t __recv_chk(int socket, void* buffer, size_t count, size_t room, int flags) {
    if (count > room) abort();
    return recv(socket, buffer, count, flags);
}

ssize_t recvfrom(int socket, void* buffer, size_t count, int flags, sockaddr* address, socklen_t* length) {
    return answer<ssize_t>(
        [&](Machine& m) {
            return m.io().receive(socket, flags, count, [&](std::size_t done, int how) {
                return or_errno(real::recvfrom(socket, at(buffer, done), count - done, how, address, length));
            });
        },
        [&] { return real::recvfrom(socket, buffer, count, flags, address, length); });
}

ssize_t __recvfrom_chk(int socket, void* buffer, size_t count, size_t room, int flags, sockaddr* address,
                       socklen_t* length) {
    if (count > room) abort();
    return recvfrom(socket, buffer, count, flags, address, length);
}

// One message is taken at a time, also where all of its buffers are asked for.
ssize_t recvmsg(int socket, msghdr* message, int flags) {
    return answer<ssize_t>(
        [&](Machine& m) {
            return m.io().receive(socket, flags & ~MSG_WAITALL, 0, [&](std::size_t, int how) {
                return or_errno(real::recvmsg(socket, message, how));
            });
        },
        [&] { return real::recvmsg(socket, message, flags); });
}

ssize_t send(int socket, const void* buffer, size_t count, int flags) {
    return answer<ssize_t>(
        [&](Machine& m) {
            return m.io().send(socket, flags, count, [&](std::size_t done, int how) {
                return or_errno(real::send(socket, at(buffer, done), count - done, how));
            });
        },
        [&] { return real::send(socket, buffer, count, flags); });
}

ssize_t sendto(int socket, const void* buffer, size_t count, int flags, const sockaddr* address,
               socklen_t length) {
    return answer<ssize_t>(
        [&](Machine& m) {
            return m.io().send(socket, flags, count, [&](std::size_t done, int how) {
                return or_errno(real::sendto(socket, at(buffer, done), count - done, how, address, length));
            });
        },
        [&] { return real::sendto(socket, buffer, count, flags, address, length); });
}

// A message that did not go as a whole goes on from where it stopped, without what went beside it.
ssize_t sendmsg(int socket, const msghdr* message, int flags) {
    return answer<ssize_t>(
        [&](Machine& m) {
            return m.io().send(socket, flags, length_of(*message), [&](std::size_t done, int how) {
                if (done == 0) return or_errno(real::sendmsg(socket, message, how));
                return or_errno(vp::send_rest(socket, *message, done, how));
            });
        },
        [&] { return real::sendmsg(socket, message, flags); });
}

// Message by message: the first is waited for, the others are taken as far as they are there.
int recvmmsg(int socket, mmsghdr* messages, unsigned count, int flags, timespec* length) {
    return answer<int>(
        [&](Machine& m) -> std::optional<long> {
            if ((flags & MSG_DONTWAIT) != 0 || !m.is_virtual()) return std::nullopt;
            const vp::Microseconds until = length == nullptr
                                               ? vp::no_deadline
                                               : m.waits().now() + vp::ProgramTime::microseconds_of(*length);
            unsigned done = 0;
            while (done < count) {
                const bool waits = done == 0 || (flags & MSG_WAITFORONE) == 0;
                const auto failure = waits ? m.io().await(socket, POLLIN, until) : std::nullopt;
                if (failure) return done > 0 ? static_cast<long>(done) : *failure;
                const int taken = real::recvmmsg(socket, messages + done, 1,
                                                 (flags & ~MSG_WAITFORONE) | MSG_DONTWAIT, nullptr);
                if (taken <= 0) return done > 0 ? static_cast<long>(done) : or_errno(taken);
                ++done;
            }
            return static_cast<long>(done);
        },
        [&] { return real::recvmmsg(socket, messages, count, flags, length); });
}

int sendmmsg(int socket, mmsghdr* messages, unsigned count, int flags) {
    for (unsigned done = 0; done < count; ++done) {
        const ssize_t sent = sendmsg(socket, &messages[done].msg_hdr, flags);
        if (sent < 0) return done > 0 ? static_cast<int>(done) : -1;
        messages[done].msg_len = static_cast<unsigned>(sent);
    }
    return static_cast<int>(count);
}

}  // extern "C"
