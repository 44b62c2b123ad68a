#include "virtual_projector/trace/open_flags.h"

#include <fcntl.h>

#include <array>
#include <utility>

namespace vp {

std::string open_flags_in_words(std::int64_t flags) {
    constexpr std::array<std::pair<int, const char*>, 6> names = {{{O_CREAT, "O_CREAT"},
                                                                   {O_EXCL, "O_EXCL"},
                                                                   {O_TRUNC, "O_TRUNC"},
                                                                   {O_APPEND, "O_APPEND"},
                                                                   {O_NONBLOCK, "O_NONBLOCK"},
                                                                   {O_CLOEXEC, "O_CLOEXEC"}}};
    const auto bits = static_cast<int>(flags);
    const int mode = bits & O_ACCMODE;
    std::string text = mode == O_RDONLY ? "O_RDONLY" : mode == O_WRONLY ? "O_WRONLY" : "O_RDWR";
    for (const auto& [bit, name] : names) {
        if ((bits & bit) != 0) text += std::string("|") + name;
    }
    return text;
}

}  // namespace vp
