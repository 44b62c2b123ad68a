// Entry points of the C library: what there is at a path. Symbols only.
#undef _FORTIFY_SOURCE
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>

#include "virtual_projector/interpose/ask_machine.h"
#include "virtual_projector/interpose/real_calls.h"

namespace real = vp::real;
using vp::answer;
using vp::Machine;

namespace {

real::Call<int(const char*, int)> real_access{"access"};
real::Call<int(int, const char*, int, int)> real_faccessat{"faccessat"};
real::Call<int(const char*, struct stat*)> real_stat{"stat"};
real::Call<int(const char*, struct stat*)> real_lstat{"lstat"};
real::Call<int(int, const char*, struct stat*, int)> real_fstatat{"fstatat"};
real::Call<int(const char*, struct stat64*)> real_stat64{"stat64"};
real::Call<int(const char*, struct stat64*)> real_lstat64{"lstat64"};
real::Call<int(int, const char*, struct stat64*, int)> real_fstatat64{"fstatat64"};

// 0 or a negated errno of a node of the board; nothing for another path.
std::optional<long> find_node(Machine& machine, const char* path) {
    return path == nullptr ? std::nullopt : machine.files().look_up(path);
}

template <typename Status>
std::optional<long> node_status(Machine& machine, const char* path, Status* status) {
    const auto found = find_node(machine, path);
    if (!found || *found < 0) return found;
    *status = {};
    constexpr unsigned permissions = 0660;
    status->st_mode = permissions | (vp::BoardFiles::is_attribute(path) ? S_IFREG : S_IFCHR);
    status->st_nlink = 1;
    return 0;
}

}  // namespace

extern "C" {

// Asked for by name when a program is linked: the other names may be found elsewhere first.
extern const char vp_interposed_status_calls[];
const char vp_interposed_status_calls[] = "interposed calls of the virtual projector: status";

int access(const char* path, int mode) noexcept {
    return answer<int>([&](Machine& m) { return find_node(m, path); }, [&] { return real_access(path, mode); });
}

int faccessat(int folder, const char* path, int mode, int flags) noexcept {
    return answer<int>([&](Machine& m) { return find_node(m, path); },
                       [&] { return real_faccessat(folder, path, mode, flags); });
}

int stat(const char* path, struct stat* status) noexcept {
    return answer<int>([&](Machine& m) { return node_status(m, path, status); },
                       [&] { return real_stat(path, status); });
}

int lstat(const char* path, struct stat* status) noexcept {
    return answer<int>([&](Machine& m) { return node_status(m, path, status); },
                       [&] { return real_lstat(path, status); });
}

int fstatat(int folder, const char* path, struct stat* status, int flags) noexcept {
    return answer<int>([&](Machine& m) { return node_status(m, path, status); },
                       [&] { return real_fstatat(folder, path, status, flags); });
}

int stat64(const char* path, struct stat64* status) noexcept {
    return answer<int>([&](Machine& m) { return node_status(m, path, status); },
                       [&] { return real_stat64(path, status); });
}

int lstat64(const char* path, struct stat64* status) noexcept {
    return answer<int>([&](Machine& m) { return node_status(m, path, status); },
                       [&] { return real_lstat64(path, status); });
}

int fstatat64(int folder, const char* path, struct stat64* status, int flags) noexcept {
    return answer<int>([&](Machine& m) { return node_status(m, path, status); },
                       [&] { return real_fstatat64(folder, path, status, flags); });
}

}  // extern "C"
