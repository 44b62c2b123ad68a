// Entry points of the C library: message queues and asynchronous i/o. Symbols only.
#undef _FORTIFY_SOURCE
#include <aio.h>
#include <fcntl.h>
#include <mqueue.h>
#include <poll.h>
#include <stdarg.h>

#include <optional>

#include "virtual_projector/interpose/ask_machine.h"
#include "virtual_projector/interpose/real_calls.h"

namespace real = vp::real;
using vp::answer;
using vp::Machine;
using vp::Microseconds;

namespace {

Microseconds deadline_of(Machine& m, const timespec* until) {
    return until == nullptr ? vp::no_deadline : m.time().to_virtual(CLOCK_REALTIME, *until);
}

// Nothing: the queue is ready, or says at once that it is not.
std::optional<long> await(Machine& m, mqd_t queue, short events, const timespec* until) {
    pollfd one = {queue, events, 0};
    if (real::poll(&one, 1, 0) != 0) return std::nullopt;
    const auto failure = m.io().await(queue, events, deadline_of(m, until));
    return failure && *failure == -EAGAIN ? std::optional<long>(-ETIMEDOUT) : failure;
}

// The signal that tells of a message comes from the kernel.
void message_sent() {
    (void)vp::ask_machine([](Machine& m) {
        if (m.io().expects_queue_signal()) m.descriptors().settle_signals();
        return std::optional<long>();
    });
}

// A thread of the C library's own would run the program's function beside the one that has the turn.
bool refuses_thread(const aiocb* request) {
    if (request->aio_sigevent.sigev_notify != SIGEV_THREAD) return false;
    const auto refused = vp::ask_machine([](Machine& m) {
        return m.is_virtual() ? std::optional<long>(vp::refuse("an asynchronous request with SIGEV_THREAD",
                                                               "a signal, or aio_suspend"))
                              : std::nullopt;
    });
    return refused && vp::with_errno(*refused) < 0;
}

// What is done to a file is done at once, and so is the signal's coming.
void request_made(const aiocb* request) {
    if (request->aio_sigevent.sigev_notify != SIGEV_SIGNAL) return;
    (void)vp::ask_machine([&](Machine& m) {
        if (!m.is_virtual() || m.kinds().kind_of(request->aio_fildes) != vp::DescriptorKind::never_waits)
            return std::optional<long>();
        (void)real::aio_suspend(&request, 1, nullptr);
        m.descriptors().settle_signals();
        return std::optional<long>();
    });
}

}  // namespace

extern "C" {

// Asked for by name when a program is linked: the other names may be found elsewhere first.
extern const char vp_interposed_queue_calls[];
const char vp_interposed_queue_calls[] = "interposed calls of the virtual projector: queue";

mqd_t mq_open(const char* name, int flags, ...) noexcept {
    va_list arguments;
    va_start(arguments, flags);
    const bool creates = (flags & O_CREAT) != 0;
    const mode_t permissions = creates ? static_cast<mode_t>(va_arg(arguments, unsigned)) : 0;
    mq_attr* const attributes = creates ? va_arg(arguments, mq_attr*) : nullptr;
    va_end(arguments);
    return vp::made(real::mq_open(name, flags, permissions, attributes));
}

// A thread of the C library's own would run the program's function beside the one that has the turn.
int mq_notify(mqd_t queue, const sigevent* event) noexcept {
    return answer<int>(
        [&](Machine& m) -> std::optional<long> {
            if (!m.is_virtual() || event == nullptr) return std::nullopt;
            if (event->sigev_notify == SIGEV_THREAD)
                return vp::refuse("mq_notify with SIGEV_THREAD", "a signal, or mq_receive in a thread");
            m.io().note_queue_signal(event->sigev_notify == SIGEV_SIGNAL);
            return std::nullopt;
        },
        [&] { return real::mq_notify(queue, event); });
}

ssize_t mq_receive(mqd_t queue, char* message, size_t room, unsigned* priority) {
    return answer<ssize_t>([&](Machine& m) { return await(m, queue, POLLIN, nullptr); },
                           [&] { return real::mq_receive(queue, message, room, priority); });
}

ssize_t mq_timedreceive(mqd_t queue, char* message, size_t room, unsigned* priority, const timespec* until) {
    const timespec now{};
    bool is_ours = false;
    const auto failure = vp::ask_machine([&](Machine& m) {
        is_ours = m.is_virtual();
        return await(m, queue, POLLIN, until);
    });
    if (failure) return vp::with_errno(*failure);
    return real::mq_timedreceive(queue, message, room, priority, is_ours ? &now : until);
}

int mq_send(mqd_t queue, const char* message, size_t length, unsigned priority) {
    const int result = answer<int>([&](Machine& m) { return await(m, queue, POLLOUT, nullptr); },
                                   [&] { return real::mq_send(queue, message, length, priority); });
    message_sent();
    return result;
}

int mq_timedsend(mqd_t queue, const char* message, size_t length, unsigned priority, const timespec* until) {
    const timespec now{};
    bool is_ours = false;
    const auto failure = vp::ask_machine([&](Machine& m) {
        is_ours = m.is_virtual();
        return await(m, queue, POLLOUT, until);
    });
    if (failure) return static_cast<int>(vp::with_errno(*failure));
    const int result = real::mq_timedsend(queue, message, length, priority, is_ours ? &now : until);
    message_sent();
    return result;
}

int aio_read(aiocb* request) noexcept {
    if (refuses_thread(request)) return -1;
    const int result = real::aio_read(request);
    if (result == 0) request_made(request);
    return result;
}

int aio_write(aiocb* request) noexcept {
    if (refuses_thread(request)) return -1;
    const int result = real::aio_write(request);
    if (result == 0) request_made(request);
    return result;
}

int aio_suspend(const aiocb* const requests[], int count, const timespec* length) {
    return answer<int>([&](Machine& m) { return m.io().await_requests(requests, count, length); },
                       [&] { return real::aio_suspend(requests, count, length); });
}

int lio_listio(int mode, aiocb* const requests[], int count, sigevent* event) {
    const int result = real::lio_listio(vp::Machine::active() == nullptr ? mode : LIO_NOWAIT, requests, count,
                                        mode == LIO_WAIT ? nullptr : event);
    if (result != 0 || mode != LIO_WAIT) return result;
    return answer<int>([&](Machine& m) { return m.io().await_requests(requests, count, nullptr, true); },
                       [] { return 0; });
}

}  // extern "C"
