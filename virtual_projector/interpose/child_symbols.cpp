// Entry points of the C library: the program's children. Symbols only.
#undef _FORTIFY_SOURCE
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <optional>

#include "virtual_projector/interpose/ask_machine.h"
#include "virtual_projector/interpose/program_streams.h"
#include "virtual_projector/interpose/real_calls.h"

namespace real = vp::real;
using vp::answer;
using vp::ask_machine;
using vp::Machine;

namespace {

pid_t note(pid_t child) {
    if (child > 0) {
        (void)ask_machine([&](Machine& m) {
            m.children().note(child);
            return std::optional<long>();
        });
    }
    return child;
}

}  // namespace

extern "C" {

// Asked for by name when a program is linked: the other names may be found elsewhere first.
extern const char vp_interposed_child_calls[];
const char vp_interposed_child_calls[] = "interposed calls of the virtual projector: child";

pid_t fork() noexcept { return note(real::fork()); }

// The child runs beside the parent, as vfork's may.
pid_t vfork() noexcept { return note(real::fork()); }

int posix_spawn(pid_t* child, const char* path, const posix_spawn_file_actions_t* actions,
                const posix_spawnattr_t* attributes, char* const arguments[], char* const environment[]) {
    pid_t started = 0;
    const int failure = real::posix_spawn(&started, path, actions, attributes, arguments, environment);
    if (failure == 0) (void)note(started);
    if (failure == 0 && child != nullptr) *child = started;
    return failure;
}

int posix_spawnp(pid_t* child, const char* file, const posix_spawn_file_actions_t* actions,
                 const posix_spawnattr_t* attributes, char* const arguments[], char* const environment[]) {
    pid_t started = 0;
    const int failure = real::posix_spawnp(&started, file, actions, attributes, arguments, environment);
    if (failure == 0) (void)note(started);
    if (failure == 0 && child != nullptr) *child = started;
    return failure;
}

pid_t wait(int* status) { return wait4(-1, status, 0, nullptr); }
pid_t waitpid(pid_t child, int* status, int options) { return wait4(child, status, options, nullptr); }
pid_t wait3(int* status, int options, rusage* use) noexcept { return wait4(-1, status, options, use); }

pid_t wait4(pid_t child, int* status, int options, rusage* use) noexcept {
    return answer<pid_t>([&](Machine& m) { return m.children().wait4(child, status, options, use); },
                         [&] { return real::wait4(child, status, options, use); });
}

int waitid(idtype_t type, id_t id, siginfo_t* info, int options) {
    return answer<int>([&](Machine& m) { return m.children().waitid(type, id, info, options); },
                       [&] { return real::waitid(type, id, info, options); });
}

int pidfd_open(pid_t process, unsigned flags) noexcept {
    const int descriptor = vp::made(real::pidfd_open(process, flags));
    if (descriptor >= 0) {
        (void)vp::ask_in_virtual_time([&](Machine& m) {
            m.kinds().note_child_descriptor(descriptor);
            return std::optional<long>();
        });
    }
    return descriptor;
}

int system(const char* command) {
    return answer<int>([&](Machine& m) { return m.children().run_shell(command); },
                       [&] { return real::system(command); });
}

FILE* popen(const char* command, const char* mode) {
    int descriptor = -1;
    const auto result =
        ask_machine([&](Machine& m) { return m.children().open_shell(command, mode, descriptor); });
    if (!result) return real::popen(command, mode);
    if (vp::with_errno(*result) < 0) return nullptr;
    FILE* const stream = vp::stream_on(descriptor, mode, {::read, ::write, ::close});
    (void)ask_machine([&](Machine& m) {
        m.children().note_stream(stream, static_cast<pid_t>(*result));
        return std::optional<long>();
    });
    return stream;
}

int pclose(FILE* stream) {
    const auto child = ask_machine([&](Machine& m) { return m.children().forget_stream(stream); });
    if (!child) return real::pclose(stream);
    (void)::fclose(stream);
    int status = 0;
    pid_t ended = 0;
    do {
        ended = ::waitpid(static_cast<pid_t>(*child), &status, 0);
    } while (ended < 0 && errno == EINTR);
    return ended < 0 ? -1 : status;
}

}  // extern "C"
