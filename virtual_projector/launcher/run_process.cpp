#include "virtual_projector/launcher/run_process.h"

#include <dlfcn.h>
#include <errno.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <sstream>
#include <utility>

#include "virtual_projector/boardlibs/boardlibs.h"
#include "virtual_projector/clock/reentrancy_guard.h"
#include "virtual_projector/launcher/executable.h"

namespace vp {
namespace {

constexpr int cannot_begin = 2;
constexpr int cannot_start = 127;
constexpr const char* preload_variable = "LD_PRELOAD";
constexpr const char* preload_separators = " :";
// A function of the library that every host calls; the board's own stand-ins have none of this name.
constexpr const char* library_function = "varnel_thread_autofocus";
constexpr const char* library_file = "libovrafocus.so";

void complain(const std::string& what) { std::fprintf(stderr, "virtual-projector: %s\n", what.c_str()); }

[[noreturn]] void end_with(int code, const std::string& what) {
    complain(what);
    std::fflush(stdout);
    _exit(code);
}

// Linked or loaded for all to see, built into the program, or loaded by one library for itself alone.
bool has_library() {
    const bool for_all = dlsym(RTLD_DEFAULT, library_function) != nullptr;
    void* const library = for_all ? nullptr : dlopen(library_file, RTLD_LAZY | RTLD_NOLOAD);
    if (library != nullptr) dlclose(library);
    static_cast<void>(dlerror());  // the program did not ask
    return for_all || library != nullptr;
}

std::string own_file() {
    Dl_info info{};
    return dladdr(reinterpret_cast<const void*>(&has_library), &info) == 0 ? "" : info.dli_fname;
}

std::ptrdiff_t running_threads() {
    std::error_code none;
    return std::distance(std::filesystem::directory_iterator("/proc/self/task", none), {});
}

std::vector<std::string> preloaded_libraries(const std::string& list) {
    std::vector<std::string> libraries;
    std::size_t begin = 0;
    while (begin < list.size()) {
        const std::size_t end = std::min(list.find_first_of(preload_separators, begin), list.size());
        if (end > begin) libraries.push_back(list.substr(begin, end - begin));
        begin = end + 1;
    }
    return libraries;
}

std::string without(const std::string& list, const std::string& library) {
    std::string rest;
    for (const std::string& each : preloaded_libraries(list)) {
        if (each != library) rest += (rest.empty() ? "" : ":") + each;
    }
    return rest;
}

// The value of a variable; null when it is not there.
const char* value_in(char* const* environment, const std::string& name) {
    for (; environment != nullptr && *environment != nullptr; ++environment) {
        if (std::strncmp(*environment, name.c_str(), name.size()) == 0 && (*environment)[name.size()] == '=')
            return *environment + name.size() + 1;
    }
    return nullptr;
}

}  // namespace

RunProcess::RunProcess(std::string options)
    : text_(std::move(options)),
      options_(run_options_from(text_)),
      state_(options_.state.empty() ? nullptr : RunState::open(options_.state)),
      preload_(own_file()),
      process_(getpid()) {}

bool RunProcess::is_child() const { return getpid() != process_; }

// --- Beginning and end -----------------------------------------------------------------------------------

void RunProcess::start() {
    const bool first = state_ == nullptr || state_->is_first(process_);
    if (has_library()) claim_or_end();
    if (owner_ || first) begin_session();
}

void RunProcess::begin_session() {
    try {
        session_ = std::make_unique<Session>(options_, state_.get());
    } catch (const std::exception& error) {
        end_with(cannot_begin, error.what());
    }
}

void RunProcess::end() {
    if (is_child() || session_ == nullptr) return;
    const bool anothers = state_ != nullptr && state_->owner() != 0 && state_->owner() != process_;
    if (anothers)
        session_->abandon();
    else
        session_->finish();
}

void RunProcess::continue_as_child() {
    if (session_ == nullptr) {
        process_ = getpid();  // it may come to use the board, as any other
        return;
    }
    session_->abandon();
    boardlibs::uninstall();
}

// --- Whose the board is ----------------------------------------------------------------------------------

// The owner's children live on the plain PC.
bool RunProcess::claim() {
    if (owner_) return true;
    if (state_ != nullptr && !state_->claim(process_, program_invocation_short_name)) return false;
    owner_ = true;
    unsetenv(run_options_variable);
    const char* const list = std::getenv(preload_variable);
    const std::string rest = list == nullptr ? "" : without(list, preload_);
    if (rest.empty())
        unsetenv(preload_variable);
    else
        setenv(preload_variable, rest.c_str(), 1);
    return true;
}

std::string RunProcess::owned_by() const {
    return "the board of this run belongs to process " + std::to_string(state_->owner()) + " (" +
           state_->owner_name() + "); " + program_invocation_short_name + " cannot have it as well";
}

void RunProcess::claim_or_end() {
    if (!claim()) end_with(cannot_begin, owned_by());
}

bool RunProcess::may_use_board() {
    const ReentrancyGuard guard;
    if (!is_child() && claim()) {
        libraries_changed();
        return true;
    }
    if (!std::exchange(said_, true)) {
        complain(is_child() ? "process " + std::to_string(getpid()) + ", forked off by " +
                                  program_invocation_short_name + ", cannot use the board: it stays process " +
                                  std::to_string(process_) + "'s"
                            : owned_by());
    }
    return false;
}

void RunProcess::libraries_changed() {
    if (session_ != nullptr && owner_) return;
    const ReentrancyGuard guard;
    if (!owner_ && !has_library()) return;
    if (is_child())
        end_with(cannot_begin, "process " + std::to_string(getpid()) + ", forked off by " +
                                   program_invocation_short_name + ", cannot load libovrafocus.so in this run");
    claim_or_end();
    if (session_ != nullptr) return;
    if (running_threads() > 1)
        end_with(cannot_begin, std::string(program_invocation_short_name) +
                                   " needs the board with other threads running already; expected it to load "
                                   "libovrafocus.so before it starts threads");
    begin_session();
}

// --- Executing other programs ----------------------------------------------------------------------------

void RunProcess::before_execution(const std::string& name) {
    const std::string file = file_of_command(name);
    if (owner_) {
        // The program replaces itself: this is its end, if the system lets it.
        if (!is_child() && session_ != nullptr && access(file.c_str(), X_OK) == 0) session_->finish();
        return;
    }
    if (options_.under_tool || access(file.c_str(), X_OK) != 0) return;
    const std::string reason = reason_not_to_preload(file);
    if (reason.empty()) return;
    const bool is_first = state_ == nullptr || (!is_child() && session_ != nullptr);
    if (is_first) end_with(cannot_start, "cannot run " + name + ": " + reason);
    complain(name + " runs outside of the virtual projector: " + reason);
}

std::vector<std::string> RunProcess::needed_in_environment(char* const* environment) const {
    if (owner_) return {};
    const char* const list = value_in(environment, preload_variable);
    const std::string others = list == nullptr ? "" : without(list, preload_);
    return {std::string(preload_variable) + "=" + preload_ + (others.empty() ? "" : ":" + others),
            std::string(run_options_variable) + "=" + text_};
}

}  // namespace vp
