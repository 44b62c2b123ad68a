// Entry points of the C library: files and stdio. Symbols only: each asks the machine and, when the call is not
// for it, the C library.
#undef _FORTIFY_SOURCE
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <optional>

#include "virtual_projector/interpose/ask_machine.h"
#include "virtual_projector/interpose/board_streams.h"
#include "virtual_projector/interpose/real_calls.h"

namespace real = vp::real;
using vp::ask_machine;
using vp::Machine;
using vp::with_errno;

namespace {

int open_node(const char* path, int flags, bool& ours) {
    const std::optional<long> result = ask_machine([&](Machine& m) { return m.files().open(path, flags); });
    ours = result.has_value();
    return ours ? static_cast<int>(with_errno(*result)) : -1;
}

FILE* open_stream(const char* path, const char* mode, bool& ours) {
    ours = false;
    const std::optional<int> flags = mode == nullptr ? std::nullopt : vp::flags_of_mode(mode);
    if (!flags) return nullptr;
    const int descriptor = open_node(path, *flags, ours);
    if (!ours || descriptor < 0) return nullptr;
    // A stream's reads and writes go the way of all others.
    FILE* stream = vp::stream_on(descriptor, mode, {::read, ::write, ::close});
    if (stream == nullptr) ::close(descriptor);
    return stream;
}

bool needs_permissions(int flags) { return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE; }

// The third argument of open, there only when the flags say so.
#define VP_PERMISSIONS(last, flags)                                     \
    mode_t permissions = 0;                                             \
    if (needs_permissions(flags)) {                                     \
        va_list arguments;                                              \
        va_start(arguments, last);                                      \
        permissions = static_cast<mode_t>(va_arg(arguments, unsigned)); \
        va_end(arguments);                                              \
    }

}  // namespace

extern "C" {

// Asked for by name when a program is linked: the other names may be found elsewhere first.
extern const char vp_interposed_file_calls[];
const char vp_interposed_file_calls[] = "interposed calls of the virtual projector: file";

int open(const char* path, int flags, ...) {
    VP_PERMISSIONS(flags, flags)
    bool ours = false;
    const int descriptor = open_node(path, flags, ours);
    return ours ? descriptor : real::open(path, flags, permissions);
}

int open64(const char* path, int flags, ...) {
    VP_PERMISSIONS(flags, flags)
    bool ours = false;
    const int descriptor = open_node(path, flags, ours);
    return ours ? descriptor : real::open64(path, flags, permissions);
}

int openat(int directory, const char* path, int flags, ...) {
    VP_PERMISSIONS(flags, flags)
    bool ours = false;
    const int descriptor = open_node(path, flags, ours);
    return ours ? descriptor : real::openat(directory, path, flags, permissions);
}

int openat64(int directory, const char* path, int flags, ...) {
    VP_PERMISSIONS(flags, flags)
    bool ours = false;
    const int descriptor = open_node(path, flags, ours);
    return ours ? descriptor : real::openat64(directory, path, flags, permissions);
}

// What programs built with buffer checks call.
int __open_2(const char* path, int flags) { return open(path, flags); }
int __open64_2(const char* path, int flags) { return open64(path, flags); }
int __openat_2(int directory, const char* path, int flags) { return openat(directory, path, flags); }
int __openat64_2(int directory, const char* path, int flags) { return openat64(directory, path, flags); }

FILE* fopen(const char* path, const char* mode) {
    bool ours = false;
    FILE* stream = open_stream(path, mode, ours);
    return ours ? stream : real::fopen(path, mode);
}

FILE* fopen64(const char* path, const char* mode) {
    bool ours = false;
    FILE* stream = open_stream(path, mode, ours);
    return ours ? stream : real::fopen64(path, mode);
}

ssize_t read(int descriptor, void* buffer, size_t count) {
    const auto result = ask_machine([&](Machine& m) { return m.files().read(descriptor, buffer, count); });
    return result ? with_errno(*result) : real::read(descriptor, buffer, count);
}

ssize_t __read_chk(int descriptor, void* buffer, size_t count, size_t room) {
    if (count > room) abort();
    return read(descriptor, buffer, count);
}

ssize_t write(int descriptor, const void* buffer, size_t count) {
    const auto result = ask_machine([&](Machine& m) { return m.files().write(descriptor, buffer, count); });
    return result ? with_errno(*result) : real::write(descriptor, buffer, count);
}

int close(int descriptor) {
    const auto result = ask_machine([&](Machine& m) { return m.files().close(descriptor); });
    return result ? static_cast<int>(with_errno(*result)) : real::close(descriptor);
}

int ioctl(int descriptor, unsigned long number, ...) noexcept {
    va_list arguments;
    va_start(arguments, number);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    // Request numbers have 32 bits; a negative int arrives sign-extended.
    const auto request = static_cast<std::uint32_t>(number);
    const auto result =
        ask_machine([&](Machine& m) { return m.files().request(descriptor, request, argument); });
    return result ? static_cast<int>(with_errno(*result)) : real::ioctl(descriptor, number, argument);
}

}  // extern "C"
