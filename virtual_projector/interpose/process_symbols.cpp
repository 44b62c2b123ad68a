// The C library's entry points by which a process becomes another program, ends at once or loads a library.
// Symbols only: each asks what the process is in the run.
#include <dlfcn.h>
#include <fcntl.h>
#include <stdarg.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "virtual_projector/clock/reentrancy_guard.h"
#include "virtual_projector/interpose/library_search.h"
#include "virtual_projector/interpose/machine.h"
#include "virtual_projector/interpose/process_role.h"
#include "virtual_projector/interpose/real_calls.h"
#include "virtual_projector/interpose/watched_library.h"

using vp::ProcessRole;

namespace {

vp::real::Call<int(const char*, char* const*, char* const*)> real_execve{"execve"};
vp::real::Call<int(const char*, char* const*, char* const*)> real_execvpe{"execvpe"};
vp::real::Call<int(int, char* const*, char* const*)> real_fexecve{"fexecve"};
vp::real::Call<int(int, const char*, char* const*, char* const*, int)> real_execveat{"execveat"};
vp::real::Call<void(int)> real_exit{"_exit"};
vp::real::Call<void*(const char*, int)> real_dlopen{"dlopen"};
vp::real::Call<int(void*)> real_dlclose{"dlclose"};

void look_for_watched_library() {
    vp::Machine* const machine = vp::Machine::active();
    if (machine != nullptr && machine->watches_library()) vp::WatchedLibrary::look_for();
}

// The name's part of NAME=VALUE, with the "=".
std::string name_of(const std::string& setting) { return setting.substr(0, setting.find('=') + 1); }

// An environment with some values in place of what it has of their names.
class Environment {
public:
    Environment(char* const* given, const std::vector<std::string>& needed) {
        for (const std::string& setting : needed) values_.push_back(const_cast<char*>(setting.c_str()));
        for (; given != nullptr && *given != nullptr; ++given) {
            if (!is_replaced(*given, needed)) values_.push_back(*given);
        }
        values_.push_back(nullptr);
    }
    char* const* get() const { return values_.data(); }

private:
    static bool is_replaced(const std::string& setting, const std::vector<std::string>& needed) {
        for (const std::string& other : needed) {
            const std::string name = name_of(other);
            if (setting.compare(0, name.size(), name) == 0) return true;
        }
        return false;
    }
    std::vector<char*> values_;
};

// Runs the program in `file` by `execute`, which gets the environment that it is to have.
template <typename Execute>
int execute_in_run(const std::string& file, char* const* environment, Execute execute) {
    ProcessRole* const role = ProcessRole::current();
    if (role == nullptr || vp::ReentrancyGuard::is_active()) return execute(environment);
    int failure = 0;
    {
        const vp::ReentrancyGuard guard;
        role->before_execution(file);
        const std::vector<std::string> needed = role->needed_in_environment(environment);
        const Environment with_needed(environment, needed);
        (void)execute(with_needed.get());
        failure = errno;  // which the guard takes back
    }
    errno = failure;
    return -1;
}

// A name without a folder is looked for in PATH by some calls only.
std::string in_this_folder(const char* path) {
    const std::string file = path == nullptr ? "" : path;
    return file.find('/') == std::string::npos ? "./" + file : file;
}

std::string of_descriptor(int descriptor) { return "/proc/self/fd/" + std::to_string(descriptor); }

std::string below_descriptor(int folder, const char* path, int flags) {
    const std::string file = path == nullptr ? "" : path;
    if (file.empty() && (flags & AT_EMPTY_PATH) != 0) return of_descriptor(folder);
    if (folder == AT_FDCWD || file.rfind('/', 0) == 0) return in_this_folder(path);
    return of_descriptor(folder) + "/" + file;
}

// The words of a call that has them one after the other, up to the null at their end.
std::vector<char*> words_of(const char* first, va_list& more) {
    std::vector<char*> words = {const_cast<char*>(first)};
    while (words.back() != nullptr) words.push_back(va_arg(more, char*));
    return words;
}

}  // namespace

extern "C" {

int execve(const char* path, char* const words[], char* const environment[]) noexcept {
    return execute_in_run(in_this_folder(path), environment,
                          [&](char* const* with) { return real_execve(path, words, with); });
}

int execv(const char* path, char* const words[]) noexcept { return execve(path, words, environ); }

int execvpe(const char* file, char* const words[], char* const environment[]) noexcept {
    return execute_in_run(file, environment,
                          [&](char* const* with) { return real_execvpe(file, words, with); });
}

int execvp(const char* file, char* const words[]) noexcept { return execvpe(file, words, environ); }

int execl(const char* path, const char* word, ...) noexcept {
    va_list more;
    va_start(more, word);
    const std::vector<char*> words = words_of(word, more);
    va_end(more);
    return execve(path, words.data(), environ);
}

int execlp(const char* file, const char* word, ...) noexcept {
    va_list more;
    va_start(more, word);
    const std::vector<char*> words = words_of(word, more);
    va_end(more);
    return execvpe(file, words.data(), environ);
}

int execle(const char* path, const char* word, ...) noexcept {
    va_list more;
    va_start(more, word);
    const std::vector<char*> words = words_of(word, more);
    char* const* const environment = va_arg(more, char* const*);
    va_end(more);
    return execve(path, words.data(), environment);
}

int fexecve(int descriptor, char* const words[], char* const environment[]) noexcept {
    return execute_in_run(of_descriptor(descriptor), environment,
                          [&](char* const* with) { return real_fexecve(descriptor, words, with); });
}

int execveat(int folder, const char* path, char* const words[], char* const environment[], int flags) noexcept {
    return execute_in_run(below_descriptor(folder, path, flags), environment,
                          [&](char* const* with) { return real_execveat(folder, path, words, with, flags); });
}

void _exit(int code) {
    ProcessRole* const role = ProcessRole::current();
    if (role != nullptr && !vp::ReentrancyGuard::is_active()) role->before_end();
    real_exit(code);
    __builtin_unreachable();
}

void _Exit(int code) noexcept { _exit(code); }

void* dlopen(const char* name, int flags) noexcept {
    const bool is_own = vp::ReentrancyGuard::is_active();
    // The loader would look for it as if this library had asked.
    const std::string file = vp::library_for(name, __builtin_return_address(0));
    void* const library = real_dlopen(file.empty() ? name : file.c_str(), flags);
    ProcessRole* const role = ProcessRole::current();
    if (!is_own && role != nullptr && library != nullptr) role->libraries_changed();
    if (library != nullptr) look_for_watched_library();
    return library;
}

int dlclose(void* library) noexcept {
    if (!vp::ReentrancyGuard::is_active()) vp::WatchedLibrary::let_go();
    const int result = real_dlclose(library);
    look_for_watched_library();
    return result;
}

}  // extern "C"
