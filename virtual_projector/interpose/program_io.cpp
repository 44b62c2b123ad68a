#include "virtual_projector/interpose/program_io.h"

#include <aio.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <utility>
#include <vector>

#include "virtual_projector/interpose/program_time.h"
#include "virtual_projector/interpose/real_calls.h"

namespace vp {
namespace {

constexpr Microseconds retry_interval_us = 1000;
constexpr long aio_settling_ns = 50'000'000;  // far more than a page of a file takes

bool is_ready(int descriptor, short events) {
    if (descriptor < 0) return true;  // poll would overlook it; the call itself refuses it
    pollfd one = {descriptor, events, 0};
    return real::poll(&one, 1, 0) != 0;
}

// Who reads what the program says decides nothing of the run as long as they are not long about it: it takes
// the same course with words that go into a file.
bool is_taken_soon(int descriptor) {
    constexpr int patience_ms = 1000;
    pollfd one = {descriptor, POLLOUT, 0};
    return real::poll(&one, 1, patience_ms) > 0;
}

// What a pipe that takes anything takes at once.
long write_piece(int descriptor, const char* bytes, std::size_t count) {
    const ssize_t written = real::write(descriptor, bytes, std::min(count, std::size_t{PIPE_BUF}));
    return written < 0 ? -errno : written;
}

bool would_wait(long result) { return result == -EAGAIN || result == -EWOULDBLOCK; }

// Who waited for a peer that goes away learns of that, and only the next call of the broken pipe.
long pending_error_or(int socket, long result) {
    char byte = 0;
    const ssize_t seen = real::recv(socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
    return seen < 0 && !would_wait(-errno) ? -errno : result;
}

bool has_own_writer(const struct stat& fifo) {
    for (const int descriptor : open_descriptors()) {
        struct stat status {};
        if (::fstat(descriptor, &status) != 0 || status.st_dev != fifo.st_dev || status.st_ino != fifo.st_ino)
            continue;
        if ((real::fcntl(descriptor, F_GETFL) & O_ACCMODE) != O_RDONLY) return true;
    }
    return false;
}

}  // namespace

ProgramIo::ProgramIo(Clock& clock, ProgramWaits& waits, DescriptorKinds& kinds, DescriptorWaits& descriptors,
                     ProgramChildren& children, Recorder& recorder)
    : clock_(clock),
      waits_(waits),
      kinds_(kinds),
      descriptors_(descriptors),
      children_(children),
      recorder_(recorder) {}

bool ProgramIo::is_nonblocking(int descriptor) const {
    const int flags = real::fcntl(descriptor, F_GETFL);
    return flags >= 0 && (flags & O_NONBLOCK) != 0;
}

Microseconds ProgramIo::socket_deadline(int descriptor, short events) {
    if (kinds_.kind_of(descriptor) != DescriptorKind::socket) return no_deadline;
    timeval time{};
    socklen_t length = sizeof time;
    const int option = (events & POLLIN) != 0 ? SO_RCVTIMEO : SO_SNDTIMEO;
    if (::getsockopt(descriptor, SOL_SOCKET, option, &time, &length) != 0) return no_deadline;
    const Microseconds limit = static_cast<Microseconds>(time.tv_sec) * microseconds_per_second + time.tv_usec;
    return limit == 0 ? no_deadline : clock_.now() + limit;
}

// --- Waiting ---------------------------------------------------------------------------------------------

std::optional<long> ProgramIo::await(int descriptor, short events) {
    if (!clock_.is_virtual() || kinds_.kind_of(descriptor) == DescriptorKind::never_waits) return std::nullopt;
    if (is_ready(descriptor, events) && !descriptors_.may_lead_outside({{descriptor, events, 0}}))
        return std::nullopt;
    const Microseconds limit = terminal_limit(descriptor, events);
    if (limit == no_deadline) return await(descriptor, events, socket_deadline(descriptor, events));
    const auto failure = await(descriptor, events, clock_.now() + limit);
    return failure && *failure == -EAGAIN ? std::optional<long>(0) : failure;
}

// A terminal that gives up after a time of its own (VTIME, without VMIN) gives nothing then.
Microseconds ProgramIo::terminal_limit(int descriptor, short events) {
    termios settings{};
    if ((events & POLLIN) == 0 || kinds_.kind_of(descriptor) != DescriptorKind::terminal ||
        ::tcgetattr(descriptor, &settings) != 0 || (settings.c_lflag & ICANON) != 0 || settings.c_cc[VMIN] != 0)
        return no_deadline;
    constexpr Microseconds tenth_of_a_second = microseconds_per_second / 10;
    return settings.c_cc[VTIME] * tenth_of_a_second;
}

std::optional<long> ProgramIo::await(int descriptor, short events, Microseconds deadline) {
    if (!clock_.is_virtual()) return std::nullopt;
    clock_.scheduler().touch();
    if (is_nonblocking(descriptor)) return std::nullopt;  // the kernel says that it would wait
    const bool is_outside = descriptors_.may_lead_outside({{descriptor, events, 0}});
    if (is_outside && events == POLLOUT && kinds_.leads_outside(descriptor) && is_taken_soon(descriptor))
        return std::nullopt;
    bool has_waited = !is_outside;
    while (!has_waited || !is_ready(descriptor, events)) {
        has_waited = true;
        const WaitEnd end = descriptors_.wait({{descriptor, events, 0}}, deadline);
        if (end == WaitEnd::timed_out && !is_ready(descriptor, events)) return -EAGAIN;
        const bool restarts = waits_.is_to_restart() && deadline == no_deadline;
        if (end == WaitEnd::interrupted && !restarts) return -EINTR;
    }
    if (is_outside && kinds_.leads_outside(descriptor))
        recorder_.record_outside(kinds_.recorded_name_of(descriptor));
    return std::nullopt;
}

// --- Writing ---------------------------------------------------------------------------------------------

// A pipe that takes anything takes a page, which the kernel writes as a whole; a terminal takes what it takes.
std::optional<long> ProgramIo::write(int descriptor, const void* buffer, std::size_t count) {
    if (!clock_.is_virtual()) return std::nullopt;
    const DescriptorKind kind = kinds_.kind_of(descriptor);
    if (kind != DescriptorKind::never_waits) ++writes_;
    const auto* bytes = static_cast<const char*>(buffer);
    switch (kind) {
        case DescriptorKind::pipe:
            if (count > PIPE_BUF && !is_nonblocking(descriptor))
                return write_in_pieces(descriptor, bytes, count);
            return await(descriptor, POLLOUT);
        case DescriptorKind::socket:
            descriptors_.note_use(descriptor);
            return send(descriptor, 0, count, [=](std::size_t done, int flags) -> long {
                const ssize_t sent = real::send(descriptor, bytes + done, count - done, flags);
                return sent < 0 ? -errno : sent;
            });
        case DescriptorKind::terminal:
            descriptors_.note_terminal_write();
            if (is_nonblocking(descriptor) || kinds_.leads_outside(descriptor)) return std::nullopt;
            return write_without_waiting(descriptor, bytes, count);
        case DescriptorKind::other:
            return await(descriptor, POLLOUT);
        case DescriptorKind::never_waits:
        case DescriptorKind::unknown:
            break;
    }
    return std::nullopt;
}

// The other end is the program's own: nobody else sees the flag.
long ProgramIo::write_without_waiting(int descriptor, const char* bytes, std::size_t count) {
    std::size_t done = 0;
    while (done < count) {
        const int flags = real::fcntl(descriptor, F_GETFL);
        (void)real::fcntl(descriptor, F_SETFL, flags | O_NONBLOCK);
        const ssize_t written = real::write(descriptor, bytes + done, count - done);
        const long result = written < 0 ? -errno : written;
        (void)real::fcntl(descriptor, F_SETFL, flags);
        if (result >= 0) done += static_cast<std::size_t>(result);
        const auto failure = would_wait(result) ? await(descriptor, POLLOUT) : std::nullopt;
        const long end = failure ? *failure : (would_wait(result) ? 0 : result);
        if (end < 0) return done > 0 ? static_cast<long>(done) : end;
        descriptors_.note_terminal_write();
    }
    return static_cast<long>(done);
}

long ProgramIo::write_in_pieces(int descriptor, const char* bytes, std::size_t count) {
    std::size_t done = 0;
    while (done < count) {
        const std::optional<long> failure = await(descriptor, POLLOUT);
        const long result = failure ? *failure : write_piece(descriptor, bytes + done, count - done);
        if (result < 0) return done > 0 ? static_cast<long>(done) : result;
        done += static_cast<std::size_t>(result);
    }
    return static_cast<long>(done);
}

std::optional<long> ProgramIo::write(int descriptor, const iovec* pieces, int count) {
    if (!clock_.is_virtual() || kinds_.kind_of(descriptor) == DescriptorKind::never_waits) return std::nullopt;
    std::size_t whole = 0;
    for (int i = 0; i < count; ++i) whole += pieces[i].iov_len;
    const bool is_stream = kinds_.kind_of(descriptor) == DescriptorKind::pipe;
    if (!is_stream || whole <= PIPE_BUF || is_nonblocking(descriptor)) {
        descriptors_.note_use(descriptor);
        return await(descriptor, POLLOUT);
    }
    long done = 0;
    for (int i = 0; i < count; ++i) {
        const long result =
            write_in_pieces(descriptor, static_cast<const char*>(pieces[i].iov_base), pieces[i].iov_len);
        if (result < 0) return done > 0 ? done : result;
        done += result;
        if (static_cast<std::size_t>(result) < pieces[i].iov_len) break;
    }
    return done;
}

// --- Sockets ---------------------------------------------------------------------------------------------

std::optional<long> ProgramIo::receive(int socket, int flags, std::size_t wanted,
                                       const std::function<long(std::size_t, int)>& call) {
    if (!clock_.is_virtual()) return std::nullopt;
    const bool at_once = (flags & MSG_DONTWAIT) != 0 || is_nonblocking(socket);
    const bool whole = (flags & MSG_WAITALL) != 0 && (flags & MSG_PEEK) == 0;
    const Microseconds deadline = at_once ? no_deadline : socket_deadline(socket, POLLIN);
    std::size_t done = 0;
    for (;;) {
        const long result = call(done, (flags & ~MSG_WAITALL) | MSG_DONTWAIT);
        if (result > 0) done += static_cast<std::size_t>(result);
        if (result > 0 && whole && !at_once && done < wanted) continue;
        if (result >= 0) return done > 0 ? static_cast<long>(done) : result;
        if (!would_wait(result)) return done > 0 ? static_cast<long>(done) : result;
        if (at_once) {
            clock_.scheduler().touch();
            return done > 0 ? static_cast<long>(done) : result;
        }
        if (const auto failure = await(socket, POLLIN, deadline)) {
            return done > 0 ? static_cast<long>(done) : *failure;
        }
    }
}

std::optional<long> ProgramIo::send(int socket, int flags, std::size_t wanted,
                                    const std::function<long(std::size_t, int)>& call) {
    if (!clock_.is_virtual()) return std::nullopt;
    descriptors_.note_use(socket);
    const bool at_once = (flags & MSG_DONTWAIT) != 0 || is_nonblocking(socket);
    const Microseconds deadline = at_once ? no_deadline : socket_deadline(socket, POLLOUT);
    std::size_t done = 0;
    bool has_waited = false;
    for (;;) {
        const long result = call(done, flags | MSG_DONTWAIT);
        if (result > 0) done += static_cast<std::size_t>(result);
        if (result >= 0 && (at_once || done >= wanted || result == 0)) return static_cast<long>(done);
        if (result >= 0) continue;
        if (!would_wait(result) || at_once) {
            if (at_once) clock_.scheduler().touch();
            if (done > 0) return static_cast<long>(done);
            return has_waited && result == -EPIPE ? pending_error_or(socket, result) : result;
        }
        has_waited = true;
        if (const auto failure = await(socket, POLLOUT, deadline)) {
            return done > 0 ? static_cast<long>(done) : *failure;
        }
    }
}

std::optional<long> ProgramIo::connect(int socket, const sockaddr* address, socklen_t length) {
    if (!clock_.is_virtual() || is_nonblocking(socket)) return std::nullopt;
    const int flags = real::fcntl(socket, F_GETFL);
    if (flags < 0) return -errno;
    (void)real::fcntl(socket, F_SETFL, flags | O_NONBLOCK);
    const Microseconds deadline = socket_deadline(socket, POLLOUT);
    long result = retry("connection", deadline,
                        [&]() -> long { return real::connect(socket, address, length) == 0 ? 0 : -errno; });
    (void)real::fcntl(socket, F_SETFL, flags);
    if (result != -EINPROGRESS) return result;
    if (const auto failure = await(socket, POLLOUT, deadline)) {
        return *failure == -EAGAIN ? -EINPROGRESS : *failure;
    }
    // Asked once more, the kernel says how it went.
    const long how = real::connect(socket, address, length) == 0 ? 0 : -errno;
    return how == -EISCONN ? 0 : how;
}

long ProgramIo::retry(const char* what, Microseconds deadline, const std::function<long()>& attempt) {
    const Microseconds begin = clock_.now();
    const auto [result, end] = attempt_until(what, deadline, attempt);
    recorder_.record_wait(Wait::Kind::descriptor, what, begin, end);
    return result;
}

std::pair<long, WaitEnd> ProgramIo::attempt_until(const char* what, Microseconds deadline,
                                                  const std::function<long()>& attempt) {
    const Microseconds begin = clock_.now();
    for (;;) {
        const long result = attempt();
        if (!would_wait(result)) return {result, WaitEnd::woken};
        const Microseconds now = clock_.now();
        if (deadline != no_deadline && now >= deadline) return {result, WaitEnd::timed_out};
        const Microseconds next = now + retry_interval_us;
        const WaitEnd end = waits_.wait({Wait::Kind::descriptor, nullptr, what, std::nullopt, begin},
                                        deadline == no_deadline ? next : std::min(next, deadline));
        if (end == WaitEnd::interrupted && !waits_.is_to_restart()) return {-EINTR, end};
    }
}

ssize_t send_rest(int socket, const msghdr& message, std::size_t done, int flags) {
    std::vector<iovec> pieces;
    for (std::size_t i = 0; i < static_cast<std::size_t>(message.msg_iovlen); ++i) {
        const iovec& piece = message.msg_iov[i];
        const std::size_t skipped = std::min(done, piece.iov_len);
        done -= skipped;
        pieces.push_back({static_cast<char*>(piece.iov_base) + skipped, piece.iov_len - skipped});
    }
    msghdr rest{};
    rest.msg_iov = pieces.data();
    rest.msg_iovlen = pieces.size();
    return real::sendmsg(socket, &rest, flags);
}

long ProgramIo::retry_beside_children(const char* what, const std::function<long()>& attempt) {
    long result = attempt();
    while (would_wait(result) && !children_.running().empty()) {
        const auto is_over = [&] { return !would_wait(result = attempt()) || children_.running().empty(); };
        const WaitEnd end = descriptors_.wait_for_child(what, is_over);
        if (end == WaitEnd::interrupted && would_wait(result) && !waits_.is_to_restart()) return -EINTR;
    }
    return would_wait(result) ? retry(what, no_deadline, attempt) : result;
}

// --- Asynchronous requests -------------------------------------------------------------------------------

namespace {

struct Requests {
    std::vector<const aiocb*> missing;
    bool is_one_over = false;
    bool is_under_way = false;  // what one of the missing ones waits for is there
};

Requests state_of(const aiocb* const* requests, int count) {
    Requests state;
    for (const aiocb* const* next = requests; next != requests + count; ++next) {
        if (*next == nullptr) continue;
        if (::aio_error(*next) != EINPROGRESS) {
            state.is_one_over = true;
            continue;
        }
        state.missing.push_back(*next);
        const short events = (*next)->aio_lio_opcode == LIO_WRITE ? POLLOUT : POLLIN;
        state.is_under_way = state.is_under_way || is_ready((*next)->aio_fildes, events);
    }
    return state;
}

bool is_one_over_soon(const std::vector<const aiocb*>& requests) {
    const timespec a_while = {0, aio_settling_ns};
    return real::aio_suspend(requests.data(), static_cast<int>(requests.size()), &a_while) == 0;
}

}  // namespace

std::optional<long> ProgramIo::await_requests(const aiocb* const* requests, int count, const timespec* length,
                                              bool all) {
    if (!clock_.is_virtual()) return std::nullopt;
    clock_.scheduler().touch();
    std::uint64_t writes_seen = writes_;
    const auto look = [&]() -> long {
        for (;;) {
            const Requests now = state_of(requests, count);
            if (all ? now.missing.empty() : now.is_one_over) return 0;
            // What was written since may be with the thread that carries the request out.
            const bool is_under_way = now.is_under_way || std::exchange(writes_seen, writes_) != writes_;
            if (!is_under_way || !is_one_over_soon(now.missing)) return -EAGAIN;
        }
    };
    const Microseconds deadline =
        length == nullptr ? no_deadline : clock_.now() + ProgramTime::microseconds_of(*length);
    return retry("asynchronous request", deadline, look);
}

// --- FIFOs -----------------------------------------------------------------------------------------------

// The kernel lets a reader in at once when it asks so, and a writer when there is a reader. A reader then waits
// until a writer of the program's own has come, or the bytes of another's.
std::optional<long> ProgramIo::open_fifo(const char* path, int flags) {
    struct stat status {};
    const int access = flags & O_ACCMODE;
    if (!clock_.is_virtual() || (flags & (O_NONBLOCK | O_PATH)) != 0 || access == O_RDWR) return std::nullopt;
    if (::stat(path, &status) != 0 || !S_ISFIFO(status.st_mode)) return std::nullopt;
    clock_.scheduler().touch();
    const long opened = retry("FIFO's reader", no_deadline, [&]() -> long {
        const int descriptor = real::open(path, flags | O_NONBLOCK);
        if (descriptor >= 0) return descriptor;
        return errno == ENXIO ? -EAGAIN : -errno;
    });
    if (opened < 0) return opened;
    const int end = static_cast<int>(opened);
    (void)real::fcntl(end, F_SETFL, flags & ~(O_CREAT | O_EXCL | O_TRUNC | O_NOCTTY));
    kinds_.forget(end);
    if (access == O_WRONLY) return end;
    const long met = retry("FIFO's writer", no_deadline, [&]() -> long {
        return has_own_writer(status) || is_ready(end, POLLIN) ? 0 : -EAGAIN;
    });
    if (met == 0) return end;
    (void)real::close(end);
    return met;
}

}  // namespace vp
