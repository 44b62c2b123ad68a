// What the program's descriptors are: whether a call on them can wait, and whether somebody outside the program
// is at their other end. Looked at once for each descriptor; whoever makes or closes one lets go of what was
// known of its number.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_DESCRIPTOR_KINDS_H
#define VIRTUAL_PROJECTOR_INTERPOSE_DESCRIPTOR_KINDS_H

#include <poll.h>
#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace vp {

enum class DescriptorKind : std::uint8_t {
    unknown,
    never_waits,  // files, folders
    pipe,         // and FIFOs
    socket,
    terminal,
    other,  // event descriptors, queues and everything else that can be polled
};

class DescriptorKinds {
public:
    /// Notes what the process was started with: pipes, sockets and terminals lead outside.
    void note_inherited();

    DescriptorKind kind_of(int descriptor);
    /// What it is now; nothing is kept.
    static DescriptorKind look_at(int descriptor);
    void forget(int descriptor);
    void forget_all();

    /// Two sockets that are each other's ends, both the program's.
    void note_pair(int a, int b);
    void note_child_descriptor(int descriptor);  // that of a process, as pidfd_open makes it

    /// True when what makes the descriptor ready comes from another process.
    bool leads_outside(int descriptor);
    /// True when it is that of a child, or one of `children` holds its other end.
    bool leads_to_child(int descriptor, const std::vector<pid_t>& children);

    // The members of epoll sets.
    void add_member(int epoll, int descriptor);
    void remove_member(int epoll, int descriptor);
    /// The descriptor itself, or, of an epoll set, its members.
    std::vector<int> members_of(int descriptor) const;

    /// For a line to a person: "standard input (pipe)".
    std::string describe(int descriptor);
    /// For a trace, which tells no descriptors' numbers: "pipe", or the board's node.
    std::string recorded_name_of(int descriptor);
    /// The same of several, and of the members of epoll sets, each once: "/dev/input/event0, pipe".
    std::string recorded_names_of(const std::vector<pollfd>& descriptors);
    /// `node_of` gives the board's node; empty: it is none.
    void name_nodes_by(std::function<std::string(int)> node_of) { node_of_ = std::move(node_of); }

private:
    struct Known {
        DescriptorKind kind = DescriptorKind::unknown;
        bool outside_known = false;
        bool outside = false;
        bool child = false;
    };
    Known& known(int descriptor);
    const char* kind_in_words(int descriptor);
    bool find_whether_outside(int descriptor);
    bool has_own_peer(int socket) const;

    std::function<std::string(int)> node_of_;
    std::vector<Known> known_;
    std::set<std::string> inherited_;               // "pipe:[4711]"
    std::map<std::string, std::string> other_end_;  // of sockets made in pairs
    std::map<int, std::set<int>> epoll_members_;
};

/// The process's open descriptors, by the kernel's list.
std::vector<int> open_descriptors();

/// What a descriptor leads to, as the kernel names it: "pipe:[4711]", "/dev/pts/0".
std::string target_of_descriptor(const std::string& process, int descriptor);

}  // namespace vp

#endif
