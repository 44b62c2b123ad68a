// The open descriptors of the board's nodes, and the calls on them.
//
// Each descriptor is a real one (an event descriptor that is readable when the node is), so that its number
// never meets one of the process's own, and poll, epoll, fcntl and the like take it for what it stands for.
// Results are counts of 0 and more or negated errnos; nothing at all means that the path or descriptor is not
// the board's.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_BOARD_FILES_H
#define VIRTUAL_PROJECTOR_INTERPOSE_BOARD_FILES_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "virtual_projector/clock/clock.h"
#include "virtual_projector/devices/device.h"
#include "virtual_projector/devices/fault_plan.h"
#include "virtual_projector/interpose/program_waits.h"
#include "virtual_projector/interpose/recorder.h"

namespace vp {

class BoardFiles {
public:
    BoardFiles(Clock& clock, ProgramWaits& waits, DeviceTable& devices, FaultPlan& faults, Recorder& recorder);

    std::optional<long> open(const char* path, int flags);
    std::optional<long> read(int descriptor, void* buffer, std::size_t count);
    std::optional<long> write(int descriptor, const void* buffer, std::size_t count);
    std::optional<long> request(int descriptor, std::uint32_t number, void* argument);
    std::optional<long> close(int descriptor);

    /// Whether there is a node at that path: 0 or -ENOENT; nothing when it is none of the board's.
    std::optional<long> look_up(const char* path) const;
    /// True of a path to an attribute, a file; false: to a device.
    static bool is_attribute(const char* path);

    bool is_device(int descriptor);
    bool is_boards(int descriptor) { return find(descriptor).has_value(); }
    /// The board's descriptor `from` has got a copy, as dup makes it, or `to` has been replaced by another's.
    void copy(int from, int to);
    void forget(int descriptor);
    /// The machine goes: what is still open leads nowhere from now on, whatever is done with it.
    void let_go();
    /// Brings what poll sees of the descriptors up to date.
    void show_readiness();
    /// The board's descriptors from `first` to `last`.
    std::vector<int> descriptors_in(int first, int last) const;

    /// The node behind a descriptor; empty when it is none of the board's.
    std::string path_of(int descriptor) const;
    /// Paths of what is open now, in the order of the descriptors' numbers.
    std::vector<std::string> open_paths() const;

private:
    struct Entry {
        std::string path;
        std::shared_ptr<OpenFile> file;
        bool shown_readable = true;
    };

    std::optional<Entry> find(int descriptor);
    CallCourse enter(const char* operation, const std::string& path);
    long open_device(const std::string& path, int flags);
    long read_device(const Entry& entry, void* buffer, std::size_t count);
    long read_with(const FaultEffect& effect, const Entry& entry, char* buffer, std::size_t count);
    RequestBytes bytes_before(const FaultEffect& effect, const Entry& entry, std::uint32_t number,
                              const void* argument) const;
    long request_with(const FaultEffect& effect, const Entry& entry, std::uint32_t number, void* argument);
    long deliver(const std::string& bytes, char* buffer, std::size_t count);
    template <typename Question>
    long ask(const std::string& path, Question question);
    long read_file(const Entry& entry, void* buffer, std::size_t count);
    bool has_copies(const Entry& entry) const;
    bool is_nonblocking(const Entry& entry) const;

    Clock& clock_;
    ProgramWaits& waits_;
    DeviceTable& devices_;
    FaultPlan& faults_;
    Recorder& recorder_;
    std::map<int, Entry> open_;
    std::map<std::string, std::string> last_read_;  // what stale reads deliver
};

}  // namespace vp

#endif
