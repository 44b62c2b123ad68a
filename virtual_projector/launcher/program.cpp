#include "virtual_projector/launcher/program.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "virtual_projector/launcher/executable.h"

namespace vp {
namespace {

constexpr const char* preload_name = "libvirtual-projector.so";
constexpr const char* installed_preload_folder = VP_PRELOAD_FROM_PROGRAM;
constexpr int cannot_start = 127;
constexpr int signal_base = 128;

std::string own_directory() {
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    if (length <= 0) return ".";
    const std::string own(path, static_cast<std::size_t>(length));
    return own.substr(0, own.rfind('/'));
}

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

// An emulator is itself a program of this computer, which cannot load what is meant for the other processor:
// it is told what the program's environment is to have.
std::vector<std::string> words_to_run(const Program& program, const std::string& preload) {
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
    setenv(run_options_variable, to_text(options).c_str(), 1);
    const std::vector<std::string> words = words_to_run(program, preload);
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    // What an emulator says of a program that is not there is its own.
    const std::string& command = program.command[0];
    if (!program.emulator.empty() && access(command.c_str(), X_OK) != 0)
        cannot_run(command, std::strerror(errno));
    // It would run, and meet the PC in place of the board.
    if (is_statically_linked(file_of_command(command)))
        cannot_run(command, "it is statically linked; expected a program that loads its libraries");
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

}  // namespace

std::string find_preload_library() {
    const std::string own = own_directory();
    for (const std::string& folder : {own, own + "/" + installed_preload_folder}) {
        const std::string candidate = folder + "/" + preload_name;
        if (access(candidate.c_str(), R_OK) == 0) return candidate;
    }
    return "";
}

int run_program(const Program& program, const RunOptions& options, const std::string& preload) {
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) become(program, options, preload);
    if (child < 0) {
        std::fprintf(stderr, "virtual-projector: cannot start a process: %s\n", std::strerror(errno));
        return cannot_start;
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) return cannot_start;
    }
    return exit_code_of(status);
}

}  // namespace vp
