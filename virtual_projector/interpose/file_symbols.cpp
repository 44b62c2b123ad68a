// Entry points of the C library: files and stdio. Symbols only: each asks the machine and, when the call is not
// for it, the C library.
#undef _FORTIFY_SOURCE
#include <fcntl.h>
#include <poll.h>
#include <stdarg.h>
#include <stdio.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cwchar>
#include <optional>

#include "virtual_projector/interpose/ask_machine.h"
#include "virtual_projector/interpose/descriptor_calls.h"
#include "virtual_projector/interpose/process_role.h"
#include "virtual_projector/interpose/program_streams.h"
#include "virtual_projector/interpose/real_calls.h"

namespace real = vp::real;
using vp::answer;
using vp::ask_machine;
using vp::Machine;
using vp::made;
using vp::with_errno;

namespace {

const vp::DescriptorCalls stream_calls = {::read, ::write, ::close};

// What the machine gives for a path; nothing when the C library is to open it.
std::optional<long> open_ours(const char* path, int flags) {
    if (!vp::may_open(path)) return -ENODEV;
    return ask_machine([&](Machine& m) -> std::optional<long> {
        if (path == nullptr) return std::nullopt;
        const auto node = m.files().open(path, flags);
        return node ? node : m.io().open_fifo(path, flags);
    });
}

// `real` opens what is not the machine's.
template <typename Real>
int open_descriptor(const char* path, int flags, Real real) {
    const std::optional<long> ours = open_ours(path, flags);
    if (ours) return static_cast<int>(with_errno(*ours));
    const int descriptor = made(real());
    if (descriptor >= 0 && vp::ProgramChance::is_source(path)) {
        (void)vp::ask_in_virtual_time([&](Machine& m) {
            m.chance().note_source(descriptor);
            return std::optional<long>();
        });
    }
    return descriptor;
}

// True when a stream on it is one of ours: its reader may have to wait.
bool is_streamed_here(int descriptor) {
    return ask_machine([&](Machine& m) {
               if (!m.is_virtual() && !m.files().is_boards(descriptor)) return std::optional<long>();
               const vp::DescriptorKind kind =
                   m.is_virtual() ? m.kinds().kind_of(descriptor) : vp::DescriptorKinds::look_at(descriptor);
               const bool may_wait =
                   kind != vp::DescriptorKind::never_waits && kind != vp::DescriptorKind::unknown;
               return may_wait ? std::optional<long>(1) : std::nullopt;
           })
        .has_value();
}

// True of a device of the board, which gives whole records only.
bool reads_records(int descriptor) {
    return ask_machine([&](Machine& m) {
               return m.files().is_device(descriptor) ? std::optional<long>(1) : std::nullopt;
           })
        .has_value();
}

bool needs_our_stream(const char* path) {
    if (!vp::may_open(path)) return true;
    return ask_machine([&](Machine& m) {
               return path != nullptr && m.needs_stream(path) ? std::optional<long>(1) : std::nullopt;
           })
        .has_value();
}

FILE* open_stream(const char* path, const char* mode) {
    const std::optional<int> flags = mode == nullptr ? std::nullopt : vp::flags_of_mode(mode);
    if (!flags) {
        errno = EINVAL;
        return nullptr;
    }
    constexpr mode_t permissions = 0666;
    const int descriptor = open_descriptor(path, *flags, [&] { return real::open(path, *flags, permissions); });
    if (descriptor < 0) return nullptr;
    FILE* stream = vp::stream_on(descriptor, mode, stream_calls);
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

void copied(int from, int to) {
    if (to < 0) return;
    (void)ask_machine([&](Machine& m) {
        m.copy_descriptor(from, to);
        return std::optional<long>();
    });
}

bool is_protected(int descriptor) {
    return ask_machine(
               [&](Machine& m) { return m.is_protected(descriptor) ? std::optional<long>(1) : std::nullopt; })
        .has_value();
}

}  // namespace

extern "C" {

// Asked for by name when a program is linked: the other names may be found elsewhere first.
extern const char vp_interposed_file_calls[];
const char vp_interposed_file_calls[] = "interposed calls of the virtual projector: file";

int open(const char* path, int flags, ...) {
    VP_PERMISSIONS(flags, flags)
    return open_descriptor(path, flags, [&] { return real::open(path, flags, permissions); });
}

int open64(const char* path, int flags, ...) {
    VP_PERMISSIONS(flags, flags)
    return open_descriptor(path, flags, [&] { return real::open64(path, flags, permissions); });
}

int openat(int directory, const char* path, int flags, ...) {
    VP_PERMISSIONS(flags, flags)
    return open_descriptor(path, flags, [&] { return real::openat(directory, path, flags, permissions); });
}

int openat64(int directory, const char* path, int flags, ...) {
    VP_PERMISSIONS(flags, flags)
    return open_descriptor(path, flags, [&] { return real::openat64(directory, path, flags, permissions); });
}

// What programs built with buffer checks call.
int __open_2(const char* path, int flags) { return open(path, flags); }
int __open64_2(const char* path, int flags) { return open64(path, flags); }
int __openat_2(int directory, const char* path, int flags) { return openat(directory, path, flags); }
int __openat64_2(int directory, const char* path, int flags) { return openat64(directory, path, flags); }

FILE* fopen(const char* path, const char* mode) {
    return needs_our_stream(path) ? open_stream(path, mode) : real::fopen(path, mode);
}

FILE* fopen64(const char* path, const char* mode) {
    return needs_our_stream(path) ? open_stream(path, mode) : real::fopen64(path, mode);
}

FILE* fdopen(int descriptor, const char* mode) noexcept {
    return is_streamed_here(descriptor) ? vp::stream_on(descriptor, mode, stream_calls)
                                        : real::fdopen(descriptor, mode);
}

int fileno(FILE* stream) noexcept {
    const std::optional<int> ours = vp::descriptor_of(stream);
    return ours ? *ours : real::fileno(stream);
}

int setvbuf(FILE* stream, char* buffer, int mode, size_t size) noexcept {
    const bool keeps_buffer = mode == _IONBF && vp::is_read_only(stream) && reads_records(fileno(stream));
    return keeps_buffer ? 0 : real::setvbuf(stream, buffer, mode, size);
}

void setbuf(FILE* stream, char* buffer) noexcept {
    (void)setvbuf(stream, buffer, buffer == nullptr ? _IONBF : _IOFBF, BUFSIZ);
}

int fileno_unlocked(FILE* stream) noexcept { return fileno(stream); }

// The C library's streams with functions of their own know no wide characters.
wint_t fgetwc(FILE* stream) {
    if (!vp::descriptor_of(stream)) return real::fgetwc(stream);
    std::mbstate_t state{};
    for (;;) {
        const int byte = ::fgetc(stream);
        if (byte == EOF) return WEOF;
        const char text = static_cast<char>(byte);
        wchar_t character = 0;
        const std::size_t taken = std::mbrtowc(&character, &text, 1, &state);
        if (taken == static_cast<std::size_t>(-1)) return WEOF;
        if (taken != static_cast<std::size_t>(-2)) return static_cast<wint_t>(character);
    }
}

wint_t getwc(FILE* stream) { return fgetwc(stream); }

// Who kept the pointer to standard input reads by these.
int getc(FILE* stream) { return real::getc(vp::actual_stream(stream)); }
int ungetc(int character, FILE* stream) { return real::ungetc(character, vp::actual_stream(stream)); }
size_t fread(void* buffer, size_t size, size_t count, FILE* stream) {
    return real::fread(buffer, size, count, vp::actual_stream(stream));
}

ssize_t read(int descriptor, void* buffer, size_t count) {
    return answer<ssize_t>(
        [&](Machine& m) {
            const auto node = m.files().read(descriptor, buffer, count);
            if (node || !m.is_virtual()) return node;
            if (m.chance().is_source(descriptor)) return m.chance().fill(buffer, count);
            constexpr size_t counter = 8;  // less is refused at once
            if (count < counter && m.kinds().kind_of(descriptor) == vp::DescriptorKind::other)
                return std::optional<long>();
            return m.io().await(descriptor, POLLIN);
        },
        [&] { return real::read(descriptor, buffer, count); });
}

ssize_t __read_chk(int descriptor, void* buffer, size_t count, size_t room) {
    if (count > room) abort();
    return read(descriptor, buffer, count);
}

ssize_t readv(int descriptor, const iovec* pieces, int count) {
    return answer<ssize_t>(
        [&](Machine& m) -> std::optional<long> {
            if (!m.files().is_boards(descriptor)) return m.io().await(descriptor, POLLIN);
            return vp::move_pieces(pieces, count, [&](void* bytes, std::size_t length) {
                return *m.files().read(descriptor, bytes, length);
            });
        },
        [&] { return real::readv(descriptor, pieces, count); });
}

ssize_t write(int descriptor, const void* buffer, size_t count) {
    return answer<ssize_t>(
        [&](Machine& m) {
            const auto node = m.files().write(descriptor, buffer, count);
            return node ? node : m.io().write(descriptor, buffer, count);
        },
        [&] { return real::write(descriptor, buffer, count); });
}

ssize_t writev(int descriptor, const iovec* pieces, int count) {
    return answer<ssize_t>(
        [&](Machine& m) -> std::optional<long> {
            if (!m.files().is_boards(descriptor)) return m.io().write(descriptor, pieces, count);
            return vp::move_pieces(pieces, count, [&](const void* bytes, std::size_t length) {
                return *m.files().write(descriptor, bytes, length);
            });
        },
        [&] { return real::writev(descriptor, pieces, count); });
}

ssize_t preadv2(int descriptor, const iovec* pieces, int count, off_t place, int flags) {
    return answer<ssize_t>(
        [&](Machine& m) { return place == -1 ? m.io().await(descriptor, POLLIN) : std::nullopt; },
        [&] { return real::preadv2(descriptor, pieces, count, place, flags); });
}

// Both ends have to be ready; what has been awaited stays so.
ssize_t splice(int in, off64_t* in_place, int out, off64_t* out_place, size_t count, unsigned flags) {
    return answer<ssize_t>(
        [&](Machine& m) {
            if ((flags & SPLICE_F_NONBLOCK) != 0) return std::optional<long>();
            const auto failure = m.io().await(in, POLLIN);
            return failure ? failure : m.io().await(out, POLLOUT);
        },
        [&] { return real::splice(in, in_place, out, out_place, count, flags); });
}

ssize_t tee(int in, int out, size_t count, unsigned flags) {
    return answer<ssize_t>(
        [&](Machine& m) {
            if ((flags & SPLICE_F_NONBLOCK) != 0) return std::optional<long>();
            const auto failure = m.io().await(in, POLLIN);
            return failure ? failure : m.io().await(out, POLLOUT);
        },
        [&] { return real::tee(in, out, count, flags); });
}

int eventfd_read(int descriptor, eventfd_t* count) {
    return read(descriptor, count, sizeof *count) == sizeof *count ? 0 : -1;
}

int eventfd_write(int descriptor, eventfd_t count) {
    return write(descriptor, &count, sizeof count) == sizeof count ? 0 : -1;
}

int close(int descriptor) {
    return answer<int>(
        [&](Machine& m) -> std::optional<long> {
            if (m.is_protected(descriptor)) return -EBADF;
            m.forget_descriptor(descriptor);
            return m.files().close(descriptor);
        },
        [&] { return real::close(descriptor); });
}

int close_range(unsigned first, unsigned last, int flags) noexcept {
    return answer<int>(
        [&](Machine& m) -> std::optional<long> {
            return (flags & CLOSE_RANGE_CLOEXEC) != 0 ? std::nullopt : m.close_all(first, last);
        },
        [&] { return real::close_range(first, last, flags); });
}

void closefrom(int first) noexcept {
    const unsigned from = first < 0 ? 0 : static_cast<unsigned>(first);
    if (!ask_machine([&](Machine& m) { return m.close_all(from, ~0U); })) real::closefrom(first);
}

int dup(int descriptor) noexcept {
    const int copy = real::dup(descriptor);
    copied(descriptor, copy);
    return copy;
}

// A copy onto one of the board's descriptors closes that.
int dup2(int descriptor, int copy) noexcept {
    if (is_protected(copy)) {
        errno = EBADF;
        return -1;
    }
    const int result = real::dup2(descriptor, copy);
    if (descriptor != copy) copied(descriptor, result);
    return result;
}

int dup3(int descriptor, int copy, int flags) noexcept {
    if (is_protected(copy)) {
        errno = EBADF;
        return -1;
    }
    const int result = real::dup3(descriptor, copy, flags);
    copied(descriptor, result);
    return result;
}

int fcntl(int descriptor, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    return vp::control_descriptor(descriptor, command, argument,
                                  [&](int asked) { return real::fcntl(descriptor, asked, argument); });
}

int fcntl64(int descriptor, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    return vp::control_descriptor(descriptor, command, argument,
                                  [&](int asked) { return real::fcntl64(descriptor, asked, argument); });
}

int flock(int descriptor, int operation) noexcept {
    return answer<int>(
        [&](Machine& m) -> std::optional<long> {
            if (!m.is_virtual() || (operation & LOCK_NB) != 0) return std::nullopt;
            return m.io().retry_beside_children("file lock", [&]() -> long {
                return real::flock(descriptor, operation | LOCK_NB) == 0 ? 0 : -errno;
            });
        },
        [&] { return real::flock(descriptor, operation); });
}

int lockf(int descriptor, int command, off_t length) {
    return answer<int>(
        [&](Machine& m) -> std::optional<long> {
            if (!m.is_virtual() || command != F_LOCK) return std::nullopt;
            return m.io().retry_beside_children("file lock", [&]() -> long {
                const int result = real::lockf(descriptor, F_TLOCK, length);
                return result == 0 ? 0 : (errno == EACCES ? -EAGAIN : -errno);
            });
        },
        [&] { return real::lockf(descriptor, command, length); });
}

int pipe(int ends[2]) noexcept { return pipe2(ends, 0); }

int pipe2(int ends[2], int flags) noexcept {
    const int result = real::pipe2(ends, flags);
    if (result != 0) return result;
    (void)made(ends[0]);
    (void)made(ends[1]);
    return result;
}

int eventfd(unsigned count, int flags) noexcept { return made(real::eventfd(count, flags)); }

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
