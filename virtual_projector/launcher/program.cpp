#include "virtual_projector/launcher/program.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>

#include "virtual_projector/launcher/executable.h"

namespace vp {
namespace {

constexpr int cannot_start = 127;
constexpr int signal_base = 128;
// What the machine ends a run with: from a run that is stuck to one that has reached its real limit.
constexpr int stuck_exit_code = 120;
constexpr int real_limit_exit_code = 122;

std::string with_others_to_preload(const std::string& library) {
    const char* const others = std::getenv("LD_PRELOAD");
    return others == nullptr || *others == '\0' ? library : library + ":" + others;
}

[[maybe_unused]] void add_option(const char* variable, const std::string& option) {
    const char* const given = std::getenv(variable);
    setenv(variable, (given == nullptr ? option : std::string(given) + ":" + option).c_str(), 1);
}

// A sanitized build brings its runtime along after the preloaded library. AddressSanitizer would refuse that.
// ThreadSanitizer looks up the names in a report by calls that the virtual projector answers, with locks of its
// own held: it shows places in files instead, which addr2line names.
void accept_sanitizer_after_preload() {
#ifdef __SANITIZE_ADDRESS__
    add_option("ASAN_OPTIONS", "verify_asan_link_order=0");
#endif
#ifdef __SANITIZE_THREAD__
    add_option("TSAN_OPTIONS", "symbolize=0");
#endif
}

// An emulator is itself a program of this computer, which cannot load what is meant for the other processor: it
// is told what the program's environment is to have. A tool would be simulated itself.
std::vector<std::string> words_to_run(const Program& program, const std::string& options,
                                      const std::string& preload) {
    if (program.tool != Tool::none) {
        return tool_command(program.tool, program.tool_options,
                            {"LD_PRELOAD=" + with_others_to_preload(preload),
                             std::string(run_options_variable) + "=" + options},
                            program.command);
    }
    setenv(run_options_variable, options.c_str(), 1);
    if (program.emulator.empty()) {
        setenv("LD_PRELOAD", with_others_to_preload(preload).c_str(), 1);
        return program.command;
    }
    std::vector<std::string> words = program.emulator;
    words.insert(words.end(), {"-E", "LD_PRELOAD=" + preload});
    words.insert(words.end(), program.command.begin(), program.command.end());
    return words;
}

[[noreturn]] void cannot_run(const std::string& program, const std::string& why) {
    std::fprintf(stderr, "virtual-projector: cannot run %s: %s\n", program.c_str(), why.c_str());
    _exit(cannot_start);
}

[[noreturn]] void become(const Program& program, const RunOptions& options, const std::string& preload) {
    accept_sanitizer_after_preload();
    const std::vector<std::string> words = words_to_run(program, to_text(options), preload);
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    // What another says of a program that is not there is its own.
    const std::string& command = program.command[0];
    const std::string file = file_of_command(command);
    const bool by_another = !program.emulator.empty() || program.tool != Tool::none;
    if (by_another && access(file.c_str(), X_OK) != 0) cannot_run(command, std::strerror(errno));
    // It would run, and meet the PC in place of the board.
    const std::string reason = reason_not_to_preload(file);
    if (access(file.c_str(), X_OK) == 0 && !reason.empty()) cannot_run(command, reason);
    execvp(arguments[0], arguments.data());
    cannot_run(words[0], std::strerror(errno));
}

int exit_code_of(int status) {
    if (WIFEXITED(status)) return WEXITSTATUS(status);
    const int signal = WTERMSIG(status);
    std::fprintf(stderr, "virtual-projector: the program was ended by signal %d (%s)\n", signal,
                 strsignal(signal));
    return signal_base + signal;
}

// --- Watching over the run -------------------------------------------------------------------------------

using RealTime = std::chrono::steady_clock;

constexpr std::chrono::seconds time_to_end{5};
// How often a process that is no child of this one is looked at.
constexpr std::chrono::milliseconds look_interval{20};
constexpr int ending_signals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

sigset_t mask_before;
sigset_t held_signals;
bool told_to_end = false;

bool is_ignored(int signal) {
    struct sigaction action {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

bool is_there(pid_t process) { return kill(process, 0) == 0; }

timespec timespec_of(std::chrono::nanoseconds time) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    return {static_cast<time_t>(seconds.count()), static_cast<long>((time - seconds).count())};
}

// Everything that descends from this process and has lost its own parent is its child, as a subreaper's.
std::vector<pid_t> own_children() {
    std::vector<pid_t> children;
    std::error_code none;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", none)) {
        std::ifstream stat(entry.path() / "stat");
        std::string line;
        // The name, in parentheses, may have anything in it; state and parent follow.
        if (!std::getline(stat, line) || line.rfind(')') == std::string::npos) continue;
        std::istringstream after(line.substr(line.rfind(')') + 1));
        char state = 0;
        pid_t parent = 0;
        if (after >> state >> parent && parent == getpid()) children.push_back(std::stoi(line));
    }
    return children;
}

void end_all_processes() {
    do {
        for (const pid_t child : own_children()) kill(child, SIGKILL);
    } while (waitpid(-1, nullptr, 0) > 0 || errno != ECHILD);
}

// One run's processes: the one that was started and, when that is a wrapper, the one that has the board.
class Watch {
public:
    Watch(pid_t started, const RunState& state, bool has_terminal)
        : started_(started), state_(state), has_terminal_(has_terminal) {}

    /// The end of the process that was started, as waitpid() tells it.
    int status() const { return status_; }
    bool was_told_to_end() const { return kill_at_.has_value(); }

    void until_the_end() {
        while (!is_over()) {
            siginfo_t info{};
            const timespec time = timespec_of(time_to_look());
            const int signal = sigtimedwait(&held_signals, &info, &time);
            if (signal > 0 && signal != SIGCHLD) pass_on(signal, info);
            if (kill_at_ && RealTime::now() >= *kill_at_) send(SIGKILL, info);
        }
    }

private:
    bool is_over() {
        if (!has_ended_ && waitpid(started_, &status_, WNOHANG) != 0) has_ended_ = true;
        return has_ended_ && !other_owner();
    }

    // 0: none, or it has ended.
    pid_t other_owner() const {
        const pid_t owner = state_.owner();
        if (owner == 0 || owner == started_ || waitpid(owner, nullptr, WNOHANG) == owner) return 0;
        return is_there(owner) ? owner : 0;
    }

    RealTime::duration time_to_look() const {
        if (has_ended_) return look_interval;
        if (kill_at_) return std::max<RealTime::duration>(*kill_at_ - RealTime::now(), look_interval);
        return std::chrono::hours(1);
    }

    // A debugger has the terminal, and its user's interrupts are for the program alone.
    void pass_on(int signal, const siginfo_t& info) {
        if (signal == SIGINT && has_terminal_) return;
        if (!kill_at_) kill_at_ = RealTime::now() + time_to_end;
        send(signal, info);
    }

    void send(int signal, const siginfo_t& info) {
        if (!has_ended_) send_to(started_, signal, info);
        const pid_t owner = other_owner();
        if (owner != 0) send_to(owner, signal, info);
    }

    // What a terminal sends has reached the whole process group already.
    static void send_to(pid_t process, int signal, const siginfo_t& info) {
        const bool has_it = info.si_code == SI_KERNEL && getpgid(process) == getpgrp();
        if (!has_it || signal == SIGKILL) kill(process, signal);
    }

    pid_t started_;
    const RunState& state_;
    bool has_terminal_;
    bool has_ended_ = false;
    int status_ = 0;
    std::optional<RealTime::time_point> kill_at_;
};

bool is_cut_off(int status) {
    if (!WIFEXITED(status)) return true;
    const int code = WEXITSTATUS(status);
    return code >= stuck_exit_code && code <= real_limit_exit_code;
}

}  // namespace

void hold_signals() {
    sigemptyset(&held_signals);
    sigaddset(&held_signals, SIGCHLD);
    for (const int signal : ending_signals) {
        if (!is_ignored(signal)) sigaddset(&held_signals, signal);
    }
    std::signal(SIGCHLD, SIG_DFL);
    sigprocmask(SIG_BLOCK, &held_signals, &mask_before);
}

bool await_ending_signal(std::chrono::milliseconds longest) {
    const timespec time = timespec_of(longest);
    const int signal = sigtimedwait(&held_signals, nullptr, &time);
    return signal > 0 && signal != SIGCHLD;
}

bool was_told_to_end() { return told_to_end; }

int run_program(const Program& program, const RunOptions& options, const RunState& state,
                const std::string& preload) {
    std::fflush(nullptr);
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    const pid_t launcher = getpid();
    const pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != launcher) _exit(cannot_start);
        sigprocmask(SIG_SETMASK, &mask_before, nullptr);
        become(program, options, preload);
    }
    if (child < 0) {
        std::fprintf(stderr, "virtual-projector: cannot start a process: %s\n", std::strerror(errno));
        return cannot_start;
    }
    Watch watch(child, state, program.tool == Tool::gdb);
    watch.until_the_end();
    told_to_end = watch.was_told_to_end();
    if (watch.was_told_to_end() || is_cut_off(watch.status())) end_all_processes();
    return exit_code_of(watch.status());
}

}  // namespace vp
