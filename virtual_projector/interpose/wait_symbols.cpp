// Entry points of the C library: waiting for descriptors. Symbols only.
#undef _FORTIFY_SOURCE
#include <poll.h>
#include <sys/select.h>

#include <optional>

#include "virtual_projector/interpose/ask_machine.h"
#include "virtual_projector/interpose/real_calls.h"

namespace real = vp::real;
using vp::ask_machine;
using vp::Machine;
using vp::with_errno;

extern "C" {

// Asked for by name when a program is linked: the other names may be found elsewhere first.
extern const char vp_interposed_wait_calls[];
const char vp_interposed_wait_calls[] = "interposed calls of the virtual projector: wait";

int poll(pollfd* descriptors, nfds_t count, int milliseconds) {
    const auto result =
        ask_machine([&](Machine& m) { return m.polls().poll(descriptors, count, milliseconds); });
    return result ? static_cast<int>(with_errno(*result)) : real::poll(descriptors, count, milliseconds);
}

int select(int count, fd_set* readable, fd_set* writable, fd_set* exceptional, timeval* length) {
    const auto result = ask_machine(
        [&](Machine& m) { return m.polls().select(count, readable, writable, exceptional, length); });
    return result ? static_cast<int>(with_errno(*result))
                  : real::select(count, readable, writable, exceptional, length);
}

}  // extern "C"
