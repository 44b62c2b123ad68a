#include "virtual_projector/interpose/descriptor_kinds.h"

#include <dirent.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "virtual_projector/interpose/real_calls.h"

namespace vp {
namespace {

constexpr int greatest_kept = 65536;
constexpr unsigned memory_devices = 1;  // /dev/null, /dev/zero and their like

// The open descriptors of a process, by the kernel's list, without the one that reads it.
std::vector<int> descriptors_of(const std::string& process) {
    std::vector<int> found;
    DIR* const folder = ::opendir(("/proc/" + process + "/fd").c_str());
    if (folder == nullptr) return found;
    const int reader = process == "self" ? ::dirfd(folder) : -1;
    while (const dirent* entry = ::readdir(folder)) {
        if (entry->d_name[0] == '.') continue;
        const int descriptor = std::atoi(entry->d_name);
        if (descriptor != reader) found.push_back(descriptor);
    }
    ::closedir(folder);
    return found;
}

bool starts_with(const std::string& text, const char* beginning) { return text.rfind(beginning, 0) == 0; }

bool is_pipe_or_socket(const std::string& target) {
    return starts_with(target, "pipe:") || starts_with(target, "socket:");
}

struct Address {
    sockaddr_storage bytes{};
    socklen_t length = sizeof bytes;

    bool operator==(const Address& other) const {
        return length == other.length && std::memcmp(&bytes, &other.bytes, length) == 0;
    }
};

bool own_address(int socket, Address& address) {
    return ::getsockname(socket, reinterpret_cast<sockaddr*>(&address.bytes), &address.length) == 0;
}

bool peer_address(int socket, Address& address) {
    return ::getpeername(socket, reinterpret_cast<sockaddr*>(&address.bytes), &address.length) == 0;
}

}  // namespace

DescriptorKind DescriptorKinds::look_at(int descriptor) {
    struct stat status {};
    if (::fstat(descriptor, &status) != 0) return DescriptorKind::unknown;
    switch (status.st_mode & S_IFMT) {
        case S_IFREG:
        case S_IFDIR:
        case S_IFBLK:
            return DescriptorKind::never_waits;
        case S_IFIFO:
            return DescriptorKind::pipe;
        case S_IFSOCK:
            return DescriptorKind::socket;
        case S_IFCHR:
            if (major(status.st_rdev) == memory_devices) return DescriptorKind::never_waits;
            return ::isatty(descriptor) != 0 ? DescriptorKind::terminal : DescriptorKind::other;
        default:
            return DescriptorKind::other;
    }
}

std::vector<int> open_descriptors() { return descriptors_of("self"); }

std::string target_of_descriptor(const std::string& process, int descriptor) {
    char target[256];
    const std::string link = "/proc/" + process + "/fd/" + std::to_string(descriptor);
    const ssize_t length = ::readlink(link.c_str(), target, sizeof target);
    return length <= 0 ? "" : std::string(target, static_cast<std::size_t>(length));
}

void DescriptorKinds::note_inherited() {
    for (const int descriptor : descriptors_of("self")) {
        const std::string target = target_of_descriptor("self", descriptor);
        if (is_pipe_or_socket(target) || kind_of(descriptor) == DescriptorKind::pipe) inherited_.insert(target);
    }
}

DescriptorKinds::Known& DescriptorKinds::known(int descriptor) {
    static thread_local Known beyond;
    if (descriptor < 0 || descriptor >= greatest_kept) return beyond = Known{};
    const auto index = static_cast<std::size_t>(descriptor);
    if (index >= known_.size()) known_.resize(index + 1);
    return known_[index];
}

DescriptorKind DescriptorKinds::kind_of(int descriptor) {
    Known& entry = known(descriptor);
    if (entry.kind == DescriptorKind::unknown) entry.kind = look_at(descriptor);
    return entry.kind;
}

void DescriptorKinds::forget(int descriptor) {
    known(descriptor) = Known{};
    if (epoll_members_.empty()) return;
    epoll_members_.erase(descriptor);
    for (auto& [epoll, members] : epoll_members_) members.erase(descriptor);
}

void DescriptorKinds::forget_all() { known_.clear(); }

void DescriptorKinds::note_pair(int a, int b) {
    const std::string first = target_of_descriptor("self", a);
    const std::string second = target_of_descriptor("self", b);
    other_end_[first] = second;
    other_end_[second] = first;
}

void DescriptorKinds::note_child_descriptor(int descriptor) { known(descriptor).child = true; }

// --- Outside ---------------------------------------------------------------------------------------------

bool DescriptorKinds::leads_outside(int descriptor) {
    Known& entry = known(descriptor);
    if (!entry.outside_known) {
        const bool is_outside = find_whether_outside(descriptor);
        Known& same = known(descriptor);
        same.outside = is_outside;
        // A socket may be connected later.
        Address peer;
        same.outside_known =
            is_outside || kind_of(descriptor) != DescriptorKind::socket || peer_address(descriptor, peer);
        return is_outside;
    }
    return entry.outside;
}

bool DescriptorKinds::find_whether_outside(int descriptor) {
    const DescriptorKind kind = kind_of(descriptor);
    if (kind == DescriptorKind::never_waits || kind == DescriptorKind::unknown) return false;
    if (kind == DescriptorKind::other) return known(descriptor).child;
    const std::string target = target_of_descriptor("self", descriptor);
    if (inherited_.count(target) != 0) return true;
    if (kind == DescriptorKind::terminal) {
        int number = 0;  // only the controlling end of a pseudo terminal has one
        const bool is_master = ::ioctl(descriptor, TIOCGPTN, &number) == 0;
        if (is_master || target == "/dev/ptmx") return false;
        for (const int other : descriptors_of("self")) {
            if (::ioctl(other, TIOCGPTN, &number) == 0 && target == "/dev/pts/" + std::to_string(number))
                return false;
        }
        return true;
    }
    return kind == DescriptorKind::socket && !has_own_peer(descriptor);
}

// An unconnected socket has no peer yet: whether it will be one of the program's own nobody knows.
bool DescriptorKinds::has_own_peer(int socket) const {
    Address peer;
    if (!peer_address(socket, peer)) return true;
    if (peer.bytes.ss_family == AF_UNIX) {
        ucred credentials{};
        socklen_t length = sizeof credentials;
        if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &length) != 0) return true;
        return credentials.pid == ::getpid() || credentials.pid == 0;
    }
    for (const int other : descriptors_of("self")) {
        Address own;
        if (other != socket && own_address(other, own) && own == peer) return true;
    }
    return false;
}

bool DescriptorKinds::leads_to_child(int descriptor, const std::vector<pid_t>& children) {
    if (known(descriptor).child) return true;
    if (children.empty()) return false;
    const std::string target = target_of_descriptor("self", descriptor);
    if (!is_pipe_or_socket(target)) return false;
    const auto pair = other_end_.find(target);
    const std::string& wanted = pair == other_end_.end() ? target : pair->second;
    for (const pid_t child : children) {
        const std::string process = std::to_string(child);
        const std::vector<int> all_held = descriptors_of(process);
        if (all_held.empty()) return true;  // it is ending, and just closes what it held
        for (const int held : all_held) {
            if (target_of_descriptor(process, held) == wanted) return true;
        }
    }
    return false;
}

// --- Epoll sets ------------------------------------------------------------------------------------------

void DescriptorKinds::add_member(int epoll, int descriptor) { epoll_members_[epoll].insert(descriptor); }

void DescriptorKinds::remove_member(int epoll, int descriptor) { epoll_members_[epoll].erase(descriptor); }

std::vector<int> DescriptorKinds::members_of(int descriptor) const {
    const auto set = epoll_members_.find(descriptor);
    if (set == epoll_members_.end()) return {descriptor};
    return {set->second.begin(), set->second.end()};
}

// --- Words -----------------------------------------------------------------------------------------------

const char* DescriptorKinds::kind_in_words(int descriptor) {
    if (known(descriptor).child) return "process";
    switch (kind_of(descriptor)) {
        case DescriptorKind::pipe:
            return "pipe";
        case DescriptorKind::socket:
            return "socket";
        case DescriptorKind::terminal:
            return "terminal";
        default:
            return "";
    }
}

std::string DescriptorKinds::describe(int descriptor) {
    const std::string text = descriptor == STDIN_FILENO ? "standard input" : std::to_string(descriptor);
    const std::string kind = kind_in_words(descriptor);
    return kind.empty() ? text : text + " (" + kind + ")";
}

std::string DescriptorKinds::recorded_name_of(int descriptor) {
    if (descriptor == STDIN_FILENO) return describe(descriptor);
    const std::string node = node_of_ ? node_of_(descriptor) : "";
    return node.empty() ? kind_in_words(descriptor) : node;
}

// By the alphabet: in an epoll set they stand by their numbers.
std::string DescriptorKinds::recorded_names_of(const std::vector<pollfd>& descriptors) {
    std::set<std::string> names;
    for (const pollfd& descriptor : descriptors) {
        if (descriptor.fd < 0) continue;
        for (const int member : members_of(descriptor.fd)) names.insert(recorded_name_of(member));
    }
    names.erase("");
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
    return text;
}

}  // namespace vp
