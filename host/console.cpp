#include "host/console.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>

namespace host {
namespace {

// The host's words, once they part from the library's log.
std::FILE* own_words = nullptr;

bool is_written(std::FILE* stream) {
    flockfile(stream);
    const bool good = std::fflush(stream) == 0 && std::ferror(stream) == 0;
    funlockfile(stream);
    return good;
}

}  // namespace

bool send_library_log_to(const std::string& path) {
    const int log = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (log < 0) return false;
    std::fflush(stdout);
    const int terminal = dup(STDOUT_FILENO);
    std::FILE* const stream = terminal < 0 ? nullptr : fdopen(terminal, "w");
    const bool redirected = stream != nullptr && dup2(log, STDOUT_FILENO) >= 0;
    close(log);
    if (!redirected) return false;
    own_words = stream;
    return true;
}

void say(const char* format, ...) {
    std::FILE* const words = own_words != nullptr ? own_words : stdout;
    flockfile(words);
    va_list arguments;
    va_start(arguments, format);
    std::vfprintf(words, format, arguments);
    va_end(arguments);
    std::fputc('\n', words);
    std::fflush(words);
    funlockfile(words);
}

bool all_is_written() {
    const bool log_is_written = is_written(stdout);
    return (own_words == nullptr || is_written(own_words)) && log_is_written;
}

}  // namespace host
