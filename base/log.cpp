#include "base/log.h"

#include <cstdarg>
#include <cstdio>

#include "base/shared_flag.h"
#include "ovrafocus/log_level.h"

namespace ovra {
namespace {

constexpr const char* focus_tag = "[ovra_focus]";
constexpr const char* tof_tag = "[ovra_tof]";

// Holds standard output for one line.
class StreamLock {
public:
    StreamLock() { flockfile(stdout); }
    ~StreamLock() { funlockfile(stdout); }
    StreamLock(const StreamLock&) = delete;
    StreamLock& operator=(const StreamLock&) = delete;
};

__attribute__((format(printf, 2, 0))) void print_tagged(const char* tag, const char* format,
                                                        va_list arguments) {
    const StreamLock lock;
    std::printf("%s  ", tag);
    std::vprintf(format, arguments);
    std::putchar('\n');
}

}  // namespace

void log_focus(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    print_tagged(focus_tag, format, arguments);
    va_end(arguments);
}

void log_focus_at(int level, const char* format, ...) {
    if (load(ovra_log_level) < level) return;
    va_list arguments;
    va_start(arguments, format);
    print_tagged(focus_tag, format, arguments);
    va_end(arguments);
}

void log_tof(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    print_tagged(tof_tag, format, arguments);
    va_end(arguments);
}

// One call of the C library, which holds the stream for it by itself.
void log_bare(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::vprintf(format, arguments);
    va_end(arguments);
}

void log_located(const Location& where, const char* format, ...) {
    const StreamLock lock;
    std::printf("%s  %s | %s [line=%d] ", focus_tag, where.function, where.room, where.line);
    va_list arguments;
    va_start(arguments, format);
    std::vprintf(format, arguments);
    va_end(arguments);
    std::putchar('\n');
}

}  // namespace ovra
