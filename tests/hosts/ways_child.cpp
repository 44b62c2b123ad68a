// Children: other processes, for which the program waits. They live on the plain PC, in real time, and
// simulated time stands while they are waited for.
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tests/hosts/ways.h"

// The C library's header forgets to say this for C++.
extern "C" {
#include <sys/pidfd.h>
}

namespace {

using namespace ways;

constexpr std::int64_t child_ns = 300 * ns_per_ms;
constexpr int child_code = 12;
char* const shell_words[] = {const_cast<char*>("sh"), const_cast<char*>("-c"),
                             const_cast<char*>("sleep 0.3; exit 12"), nullptr};

char* const quick_words[] = {const_cast<char*>("sh"), const_cast<char*>("-c"), const_cast<char*>("exit 12"),
                             nullptr};

void expect_child_code(int status) {
    check(WIFEXITED(status) && WEXITSTATUS(status) == child_code,
          "the child's status is " + std::to_string(status));
}

// Simulated time stands meanwhile, and goes on afterwards.
template <typename Calls>
void time_stands(const char* name, Calls calls) {
    const Stopwatch watch;
    calls();
    watch.expect(name, outside_ns(child_ns));
    takes_the_wait("the sleep after it", [] { sleep_ns(wait_ns()); });
}

pid_t forked_shell() {
    const pid_t child = fork();
    if (child == 0) {
        execv("/bin/sh", shell_words);
        _exit(127);
    }
    worked("fork", child);
    return child;
}

pid_t spawned_shell() {
    pid_t child = -1;
    same("posix_spawn", posix_spawn(&child, "/bin/sh", nullptr, nullptr, shell_words, environ), 0);
    return child;
}

std::atomic<int> collected;
void on_child(int) {
    int status = 0;
    if (waitpid(-1, &status, WNOHANG) > 0) collected = status;
}

}  // namespace

WAY(child_forked_and_waited_for) {
    time_stands("waitpid", [] {
        const pid_t child = forked_shell();
        int status = 0;
        same("waitpid", waitpid(child, &status, 0), child);
        expect_child_code(status);
    });
}

// Without another program: the child only ends.
WAY(child_that_executes_nothing) {
    takes_no_time("waitpid", [] {
        const pid_t child = fork();
        if (child == 0) _exit(child_code);
        int status = 0;
        same("waitpid", waitpid(child, &status, 0), child);
        expect_child_code(status);
    });
    sleep_ns(wait_ns());
}

WAY(child_waited_for_by_wait) {
    time_stands("wait", [] {
        const pid_t child = forked_shell();
        int status = 0;
        same("wait", wait(&status), child);
        expect_child_code(status);
    });
}

WAY(child_waited_for_by_waitid) {
    time_stands("waitid", [] {
        const pid_t child = forked_shell();
        siginfo_t info{};
        worked("waitid", waitid(P_PID, static_cast<id_t>(child), &info, WEXITED));
        same("its status", info.si_status, child_code);
    });
}

WAY(child_waited_for_by_wait4) {
    time_stands("wait4", [] {
        const pid_t child = forked_shell();
        int status = 0;
        same("wait4", wait4(child, &status, 0, nullptr), child);
        expect_child_code(status);
    });
}

WAY(child_made_by_vfork) {
    time_stands("waitpid", [] {
        const pid_t child = vfork();
        if (child == 0) {
            execv("/bin/sh", shell_words);
            _exit(127);
        }
        int status = 0;
        same("waitpid", waitpid(child, &status, 0), child);
        expect_child_code(status);
    });
}

WAY(child_spawned) {
    time_stands("waitpid", [] {
        const pid_t child = spawned_shell();
        int status = 0;
        same("waitpid", waitpid(child, &status, 0), child);
        expect_child_code(status);
    });
}

WAY(child_by_system) {
    time_stands("system", [] { expect_child_code(system("sleep 0.3; exit 12")); });
}

WAY(child_by_popen_to_read) {
    time_stands("popen", [] {
        FILE* const stream = popen("sleep 0.3; echo hello; exit 12", "r");
        if (stream == nullptr) return fail("popen failed");
        char line[16];
        check(fgets(line, sizeof line, stream) != nullptr && strcmp(line, "hello\n") == 0,
              "another line has come");
        expect_child_code(pclose(stream));
    });
}

WAY(child_by_popen_to_write) {
    time_stands("popen", [] {
        FILE* const stream = popen("read line; sleep 0.3; test \"$line\" = hello && exit 12", "w");
        if (stream == nullptr) return fail("popen failed");
        fputs("hello\n", stream);
        expect_child_code(pclose(stream));
    });
}

WAY(child_that_writes_to_a_pipe) {
    time_stands("read", [] {
        Pipe pipe(O_CLOEXEC);
        posix_spawn_file_actions_t streams;
        posix_spawn_file_actions_init(&streams);
        posix_spawn_file_actions_adddup2(&streams, pipe.out, STDOUT_FILENO);
        char* const words[] = {const_cast<char*>("sh"), const_cast<char*>("-c"),
                               const_cast<char*>("sleep 0.3; echo hello"), nullptr};
        pid_t child = -1;
        same("posix_spawnp", posix_spawnp(&child, "sh", &streams, nullptr, words, environ), 0);
        posix_spawn_file_actions_destroy(&streams);
        pipe.out.close_now();
        char buffer[16];
        same("read", read(pipe.in, buffer, sizeof buffer), 6);
        same("its end", read(pipe.in, buffer, sizeof buffer), 0);
        int status = 0;
        same("waitpid", waitpid(child, &status, 0), child);
    });
}

WAY(child_looked_for_without_waiting) {
    const pid_t child = spawned_shell();
    takes_no_time("waitpid", [&] { same("waitpid", waitpid(child, nullptr, WNOHANG), 0); });
    int status = 0;
    same("waitpid", waitpid(child, &status, 0), child);
    expect_child_code(status);
    failed_with("waitpid of nobody", waitpid(-1, nullptr, 0), ECHILD);
    sleep_ns(wait_ns());
}

WAY(child_with_a_pidfd) {
    time_stands("poll", [] {
        const pid_t child = spawned_shell();
        const Descriptor process(static_cast<int>(syscall(SYS_pidfd_open, child, 0)));
        pollfd one = {process, POLLIN, 0};
        same("poll", poll(&one, 1, -1), 1);
        int status = 0;
        same("waitpid", waitpid(child, &status, 0), child);
        expect_child_code(status);
    });
}

WAY(child_tells_its_end_by_signal) {
    worked("signal", signal(SIGCHLD, on_child) == SIG_ERR ? -1 : 0);
    time_stands("pause", [] {
        const Blocked blocked(SIGCHLD);
        const pid_t child = forked_shell();
        check(child > 0, "no child");
        sigset_t none;
        sigemptyset(&none);
        while (collected == 0) sigsuspend(&none);
        expect_child_code(collected);
    });
}

WAY(child_stopped_by_its_parent) {
    takes_no_time("the child", [] {
        char* const words[] = {const_cast<char*>("sleep"), const_cast<char*>("100"), nullptr};
        pid_t child = -1;
        same("posix_spawnp", posix_spawnp(&child, "sleep", nullptr, nullptr, words, environ), 0);
        worked("kill", kill(child, SIGTERM));
        int status = 0;
        same("waitpid", waitpid(child, &status, 0), child);
        check(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM, "the child did not end by the signal");
    });
    sleep_ns(wait_ns());
}

// Two processes talk: what the child says is from outside.
WAY(child_that_answers) {
    time_stands("the talk", [] {
        Pipe there(O_CLOEXEC);
        Pipe back(O_CLOEXEC);
        posix_spawn_file_actions_t streams;
        posix_spawn_file_actions_init(&streams);
        posix_spawn_file_actions_adddup2(&streams, there.in, STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&streams, back.out, STDOUT_FILENO);
        char* const words[] = {const_cast<char*>("sh"), const_cast<char*>("-c"),
                               const_cast<char*>("read line; sleep 0.3; echo $line"), nullptr};
        pid_t child = -1;
        same("posix_spawnp", posix_spawnp(&child, "sh", &streams, nullptr, words, environ), 0);
        posix_spawn_file_actions_destroy(&streams);
        there.in.close_now();
        back.out.close_now();
        put(there.out, "hello\n");
        char buffer[16];
        same("read", read(back.in, buffer, sizeof buffer), 6);
        same("waitpid", waitpid(child, nullptr, 0), child);
    });
}

WAY(child_waited_for_by_wait3) {
    time_stands("wait3", [] {
        const pid_t child = forked_shell();
        int status = 0;
        same("wait3", wait3(&status, 0, nullptr), child);
        expect_child_code(status);
    });
}

WAY(child_with_a_pidfd_of_the_c_library) {
    time_stands("poll", [] {
        const pid_t child = spawned_shell();
        const Descriptor process(pidfd_open(child, 0));
        pollfd one = {process, POLLIN, 0};
        same("poll", poll(&one, 1, -1), 1);
        siginfo_t info{};
        worked("waitid", waitid(P_PIDFD, static_cast<id_t>(int{process}), &info, WEXITED));
        same("its status", info.si_status, child_code);
    });
}

WAY(child_that_holds_a_file_lock) {
    time_stands("lockf", [] {
        const Folder folder;
        const Descriptor file(open(folder.file("locked").c_str(), O_CREAT | O_RDWR, 0600));
        const Pipe ready;
        const pid_t child = fork();
        if (child == 0) {
            const bool good = lockf(file, F_LOCK, 0) == 0 && write(ready.out, "x", 1) == 1;
            execl("/bin/sh", "sh", "-c", "sleep 0.3", nullptr);
            _exit(good ? 127 : 126);
        }
        char byte = 0;
        same("read", read(ready.in, &byte, 1), 1);
        failed_with("trying", lockf(file, F_TLOCK, 0), EAGAIN);
        worked("lockf", lockf(file, F_LOCK, 0));
        int status = 0;
        same("waitpid", waitpid(child, &status, 0), child);
        same("its status", status, 0);
    });
}

// Each call by which a child becomes another program.
WAY(child_by_every_exec) {
    using Execute = void (*)();
    static const Execute all[] = {
        [] { execv("/bin/sh", quick_words); },
        [] { execve("/bin/sh", quick_words, environ); },
        [] { execvp("sh", quick_words); },
        [] { execvpe("sh", quick_words, environ); },
        [] { execl("/bin/sh", "sh", "-c", "exit 12", nullptr); },
        [] { execlp("sh", "sh", "-c", "exit 12", nullptr); },
        [] { execle("/bin/sh", "sh", "-c", "exit 12", nullptr, environ); },
        [] { fexecve(open("/bin/sh", O_RDONLY | O_CLOEXEC), quick_words, environ); },
        [] { execveat(AT_FDCWD, "/bin/sh", quick_words, environ, 0); },
    };
    takes_no_time("all of them", [] {
        for (const Execute execute : all) {
            const pid_t child = fork();
            if (child == 0) {
                execute();
                _Exit(127);
            }
            int status = 0;
            same("waitpid", waitpid(child, &status, 0), child);
            expect_child_code(status);
        }
    });
    failed_with("execv", execv("/no/such/program", quick_words), ENOENT);
    sleep_ns(wait_ns());
}

WAY(child_that_loads_a_library) {
    takes_no_time("dlopen", [] {
        const pid_t child = fork();
        if (child == 0) _exit(dlopen("libm.so.6", RTLD_NOW) != nullptr ? child_code : 1);
        int status = 0;
        same("waitpid", waitpid(child, &status, 0), child);
        expect_child_code(status);
        void* const library = dlopen("libm.so.6", RTLD_NOW);
        check(library != nullptr, "dlopen failed");
        same("dlclose", dlclose(library), 0);
    });
    sleep_ns(wait_ns());
}
