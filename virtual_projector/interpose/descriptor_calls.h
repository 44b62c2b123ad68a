// What several entry points on descriptors share.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_DESCRIPTOR_CALLS_H
#define VIRTUAL_PROJECTOR_INTERPOSE_DESCRIPTOR_CALLS_H

#include <fcntl.h>
#include <sys/uio.h>

#include <optional>

#include "virtual_projector/interpose/ask_machine.h"

namespace vp {

/// readv and writev on a node: piece by piece, to the first that is not moved as a whole.
template <typename Move>
long move_pieces(const iovec* pieces, int count, Move move) {
    long moved = 0;
    for (int i = 0; i < count; ++i) {
        const long result = move(pieces[i].iov_base, pieces[i].iov_len);
        if (result < 0) return moved > 0 ? moved : result;
        moved += result;
        if (static_cast<std::size_t>(result) < pieces[i].iov_len) break;
    }
    return moved;
}

/// The command that asks for a lock without waiting; nothing for one that never waits.
inline std::optional<int> without_waiting(int command) {
    if (command == F_SETLKW) return F_SETLK;
#ifdef F_OFD_SETLKW
    if (command == F_OFD_SETLKW) return F_OFD_SETLK;
#endif
    return std::nullopt;
}

/// fcntl: `real` makes the call with a command.
template <typename Real>
int control_descriptor(int descriptor, int command, const void* /*argument*/, Real real) {
    if (const std::optional<int> at_once = without_waiting(command)) {
        return answer<int>(
            [&](Machine& m) -> std::optional<long> {
                if (!m.is_virtual()) return std::nullopt;
                return m.io().retry_beside_children("file lock", [&]() -> long {
                    const int result = real(*at_once);
                    return result == 0 ? 0 : (errno == EACCES ? -EAGAIN : -errno);
                });
            },
            [&] { return real(command); });
    }
    const int result = real(command);
    if ((command == F_DUPFD || command == F_DUPFD_CLOEXEC) && result >= 0) {
        (void)ask_machine([&](Machine& m) {
            m.copy_descriptor(descriptor, result);
            return std::optional<long>();
        });
    }
    return result;
}

}  // namespace vp

#endif
