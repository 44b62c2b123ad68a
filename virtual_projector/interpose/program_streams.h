// stdio streams whose reads and writes the machine is to see: on the board's nodes, and on pipes, sockets and
// terminals, whose readers wait in virtual time.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_BOARD_STREAMS_H
#define VIRTUAL_PROJECTOR_INTERPOSE_BOARD_STREAMS_H

#include <sys/types.h>

#include <cstddef>
#include <cstdio>
#include <optional>

namespace vp {

/// open(2)'s flags for fopen's mode; nothing for a mode that fopen refuses with EINVAL.
std::optional<int> flags_of_mode(const char* mode);

/// What a stream does with its descriptor.
struct DescriptorCalls {
    ssize_t (*read)(int descriptor, void* buffer, std::size_t count);
    ssize_t (*write)(int descriptor, const void* buffer, std::size_t count);
    int (*close)(int descriptor);
};

/// A stream over an open descriptor of a node, which it closes at its end. errno after a failed read, write
/// or close is the node's. Null when there is no memory.
FILE* stream_on(int descriptor, const char* mode, const DescriptorCalls& calls);

/// The descriptor of such a stream; nothing for another.
std::optional<int> descriptor_of(FILE* stream);

/// True of one that is only read. Read without a buffer it would be asked for single bytes, which a node
/// refuses.
bool is_read_only(FILE* stream);

/// Lets reads from standard input go this way, too, also those of whoever kept the pointer from before.
void take_over_standard_input(const DescriptorCalls& calls);
/// The stream that is to be read in place of this one.
FILE* actual_stream(FILE* stream);

}  // namespace vp

#endif
