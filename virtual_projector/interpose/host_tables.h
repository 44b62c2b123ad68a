// Stands between the library and its host's callbacks, so that each of them can be told of.
//
// The library is given a table of our own in place of the host's, which hands each call on to what the host has
// in its slot at that time, if anything.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_HOST_TABLES_H
#define VIRTUAL_PROJECTOR_INTERPOSE_HOST_TABLES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "virtual_projector/clock/wait.h"
#include "virtual_projector/interpose/watched_library.h"

namespace vp {

/// One call from the library to its host.
struct HostCall {
    const char* name = "";  // of the slot
    int slot = 0;
    std::vector<std::int32_t> arguments;
    std::string means;  // in words
};

/// Who is told of them, on the thread that makes the call.
class HostCallObserver {
public:
    virtual ~HostCallObserver() = default;
    /// Before the host runs. The time at which it begins; negative: nothing is to be told of its end.
    virtual Microseconds begins(const HostCall& call) = 0;
    /// `result` is null where the slot returns nothing.
    virtual void ends(const char* name, int slot, Microseconds began_us, const std::int32_t* result) = 0;
};

/// Null: nobody. It must outlive the process's last call.
void set_host_call_observer(HostCallObserver* observer);

/// The table to give to the library for one of the host's; for more tables than there are of our own, or for
/// none, what was given.
const void* stand_in_for(const void* host_table);

/// The host's table behind one of ours; any other as it is.
const void* host_table_behind(const void* table);

/// A host can reach the library past us.
class HostTables {
public:
    /// Puts our tables where the library holds the host's, and brings them up to date. Not on two threads at
    /// once.
    void follow(const WatchedLibrary& library);

private:
    static constexpr std::size_t holders = 3;
    const WatchedLibrary* library_ = nullptr;
    std::array<const void**, holders> places_{};  // where the library holds a table; null: nowhere
};

}  // namespace vp

#endif
