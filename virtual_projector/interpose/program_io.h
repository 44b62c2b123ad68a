// Reading, writing, accepting and connecting where a call would wait: pipes, sockets, terminals, event
// descriptors, message queues.
//
// The call is made when it need not wait; until then the thread waits in virtual time. Results are counts of 0
// and more or negated errnos; nothing at all means that the C library is to answer, at once.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_PROGRAM_IO_H
#define VIRTUAL_PROJECTOR_INTERPOSE_PROGRAM_IO_H

#include <sys/socket.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <utility>

#include "virtual_projector/clock/clock.h"
#include "virtual_projector/interpose/descriptor_kinds.h"
#include "virtual_projector/interpose/descriptor_waits.h"
#include "virtual_projector/interpose/program_waits.h"

struct aiocb;
struct iovec;

namespace vp {

/// sendmsg of what stands behind the first `done` bytes of a message; -1 and errno.
ssize_t send_rest(int socket, const msghdr& message, std::size_t done, int flags);

class ProgramIo {
public:
    ProgramIo(Clock& clock, ProgramWaits& waits, DescriptorKinds& kinds, DescriptorWaits& descriptors,
              ProgramChildren& children, Recorder& recorder);

    /// Waits until a call that reads (POLLIN) or writes (POLLOUT) need not. Nothing: the call may be made; else
    /// a negated errno. With `deadline` in place of the socket's own.
    std::optional<long> await(int descriptor, short events);
    std::optional<long> await(int descriptor, short events, Microseconds deadline);

    std::optional<long> write(int descriptor, const void* buffer, std::size_t count);
    std::optional<long> write(int descriptor, const iovec* pieces, int count);

    /// `call` is made with MSG_DONTWAIT. `whole`: until all of `wanted` bytes have come or gone.
    std::optional<long> receive(int socket, int flags, std::size_t wanted,
                                const std::function<long(std::size_t done, int flags)>& call);
    std::optional<long> send(int socket, int flags, std::size_t wanted,
                             const std::function<long(std::size_t done, int flags)>& call);
    std::optional<long> connect(int socket, const sockaddr* address, socklen_t length);
    /// Tries until it need not wait: `attempt` gives -EAGAIN or -EWOULDBLOCK as long as it would.
    long retry(const char* what, Microseconds deadline, const std::function<long()>& attempt);
    std::pair<long, WaitEnd> attempt_until(const char* what, Microseconds deadline,
                                           const std::function<long()>& attempt);
    /// The same of something that a child may hold: while one runs, time stands.
    long retry_beside_children(const char* what, const std::function<long()>& attempt);

    /// aio_suspend. What needs no one else, as on files, is done in real time while simulated time stands.
    std::optional<long> await_requests(const aiocb* const* requests, int count, const timespec* length,
                                       bool all = false);

    /// The kernel is to send a signal when a message comes (mq_notify).
    void note_queue_signal(bool expected) { expects_queue_signal_ = expected; }
    bool expects_queue_signal() const { return expects_queue_signal_; }

    /// open of a FIFO, which waits for the other end.
    std::optional<long> open_fifo(const char* path, int flags);

private:
    Microseconds socket_deadline(int descriptor, short events);
    bool is_nonblocking(int descriptor) const;
    Microseconds terminal_limit(int descriptor, short events);
    long write_without_waiting(int descriptor, const char* bytes, std::size_t count);
    long write_in_pieces(int descriptor, const char* bytes, std::size_t count);

    Clock& clock_;
    ProgramWaits& waits_;
    DescriptorKinds& kinds_;
    DescriptorWaits& descriptors_;
    ProgramChildren& children_;
    Recorder& recorder_;
    bool expects_queue_signal_ = false;
    std::uint64_t writes_ = 0;  // to what may wait, by the program
};

}  // namespace vp

#endif
