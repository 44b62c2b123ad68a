// The flags of an open in words: their numbers are another processor's others.
#ifndef VIRTUAL_PROJECTOR_TRACE_OPEN_FLAGS_H
#define VIRTUAL_PROJECTOR_TRACE_OPEN_FLAGS_H

#include <cstdint>
#include <string>

namespace vp {

/// As a program writes them: "O_WRONLY|O_CREAT|O_TRUNC". Flags that matter to no node are left out.
std::string open_flags_in_words(std::int64_t flags);

}  // namespace vp

#endif
