#include "virtual_projector/interpose/child_calls.h"

#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "virtual_projector/interpose/real_calls.h"

namespace vp {

void ChildCalls::note(pid_t child) {
    if (!clock_.is_virtual()) return;
    children_.note(child);
    if (child > 0) descriptors_.note_child_start();
}

// `look` gives 0 as long as no child has changed as it is asked for.
long ChildCalls::until_over(const std::function<long()>& look) {
    clock_.scheduler().touch();
    long result = 0;
    const auto is_over = [&] { return result != 0 || (result = look()) != 0; };
    // Also when it is over already, which depends on the child's speed.
    do {
        const WaitEnd end = descriptors_.wait_for_child("", is_over);
        if (end == WaitEnd::interrupted && !waits_.is_to_restart() && !is_over()) return -EINTR;
    } while (!is_over());
    recorder_.record_outside("child process");
    return result;
}

std::optional<long> ChildCalls::wait4(pid_t child, int* status, int options, rusage* use) {
    if (!clock_.is_virtual() || (options & WNOHANG) != 0) return std::nullopt;
    return until_over([=]() -> long {
        const pid_t ended = real::wait4(child, status, options | WNOHANG, use);
        return ended < 0 ? -errno : ended;
    });
}

std::optional<long> ChildCalls::waitid(idtype_t type, id_t id, siginfo_t* info, int options) {
    if (!clock_.is_virtual() || (options & WNOHANG) != 0) return std::nullopt;
    const long result = until_over([=]() -> long {
        siginfo_t found{};
        if (real::waitid(type, id, &found, options | WNOHANG) != 0) return -errno;
        if (found.si_pid == 0) return 0;
        if (info != nullptr) *info = found;
        return 1;
    });
    return result > 0 ? 0 : result;
}

// --- Shells ----------------------------------------------------------------------------------------------

namespace {

constexpr const char* shell = "/bin/sh";

// A shell as system and popen start it; `from` becomes its descriptor `to`. A negated errno, or its number.
long start_shell(const char* command, int from, int to, const sigset_t& ignored_here) {
    char name[] = "sh";
    char option[] = "-c";
    std::string text = command;
    char* const arguments[] = {name, option, text.data(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    (void)::posix_spawn_file_actions_init(&actions);
    (void)::posix_spawnattr_init(&attributes);
    if (from >= 0) (void)::posix_spawn_file_actions_adddup2(&actions, from, to);
    sigset_t mask;
    (void)real::pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    (void)::posix_spawnattr_setsigmask(&attributes, &mask);
    (void)::posix_spawnattr_setsigdefault(&attributes, &ignored_here);
    (void)::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    pid_t child = 0;
    const int failure = real::posix_spawn(&child, shell, &actions, &attributes, arguments, environ);
    (void)::posix_spawn_file_actions_destroy(&actions);
    (void)::posix_spawnattr_destroy(&attributes);
    return failure != 0 ? -failure : child;
}

}  // namespace

// While the shell runs, the signals of the terminal are its alone.
std::optional<long> ChildCalls::run_shell(const char* command) {
    if (!clock_.is_virtual()) return std::nullopt;
    if (command == nullptr) return 1;
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    struct sigaction interrupt_before {};
    struct sigaction quit_before {};
    sigset_t ending;
    ::sigemptyset(&ending);
    ::sigaddset(&ending, SIGINT);
    ::sigaddset(&ending, SIGQUIT);
    (void)signals_.set_action(SIGINT, &ignore, &interrupt_before);
    (void)signals_.set_action(SIGQUIT, &ignore, &quit_before);
    const long child = start_shell(command, -1, -1, ending);
    int status = 0;
    long ended = child;
    if (child > 0) {
        note(static_cast<pid_t>(child));
        do {
            ended = *wait4(static_cast<pid_t>(child), &status, 0, nullptr);
        } while (ended == -EINTR);
    }
    (void)signals_.set_action(SIGINT, &interrupt_before, nullptr);
    (void)signals_.set_action(SIGQUIT, &quit_before, nullptr);
    return ended < 0 ? ended : status;
}

std::optional<long> ChildCalls::open_shell(const char* command, const char* mode, int& descriptor) {
    if (!clock_.is_virtual()) return std::nullopt;
    if (mode == nullptr || (mode[0] != 'r' && mode[0] != 'w')) return -EINVAL;
    const bool reads = mode[0] == 'r';
    int ends[2];
    if (real::pipe2(ends, O_CLOEXEC) != 0) return -errno;
    const int own = reads ? ends[0] : ends[1];
    const int others = reads ? ends[1] : ends[0];
    sigset_t none;
    ::sigemptyset(&none);
    const long child = start_shell(command, others, reads ? STDOUT_FILENO : STDIN_FILENO, none);
    (void)real::close(others);
    if (child < 0) {
        (void)real::close(own);
        return child;
    }
    note(static_cast<pid_t>(child));
    descriptor = own;
    return child;
}

std::optional<long> ChildCalls::forget_stream(const FILE* stream) {
    const auto found = streams_.find(stream);
    if (found == streams_.end()) return std::nullopt;
    const pid_t child = found->second;
    streams_.erase(found);
    return child;
}

}  // namespace vp
