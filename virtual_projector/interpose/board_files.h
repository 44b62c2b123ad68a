// The open descriptors of the board's nodes, and the calls on them.
//
// Each descriptor is a real one (of /dev/null), so that its number never meets one of the process's own and
// dup, fcntl and the like do no harm. Results are counts of 0 and more or negated errnos; nothing at all means
// that the path or descriptor is not the board's.
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
#include "virtual_projector/interpose/recorder.h"

namespace vp {

class BoardFiles {
public:
    BoardFiles(Clock& clock, DeviceTable& devices, FaultPlan& faults, Recorder& recorder);

    std::optional<long> open(const char* path, int flags);
    std::optional<long> read(int descriptor, void* buffer, std::size_t count);
    std::optional<long> write(int descriptor, const void* buffer, std::size_t count);
    std::optional<long> request(int descriptor, std::uint32_t number, void* argument);
    std::optional<long> close(int descriptor);

    /// Paths of what is open now, in the order of the descriptors' numbers.
    std::vector<std::string> open_paths() const;

private:
    struct Entry {
        std::string path;
        std::shared_ptr<OpenFile> file;
    };

    std::optional<Entry> find(int descriptor);
    FaultEffect enter(const char* operation, const std::string& path);
    long open_device(const std::string& path, int flags);
    long read_device(const Entry& entry, void* buffer, std::size_t count);
    long read_with(const FaultEffect& effect, const Entry& entry, char* buffer, std::size_t count);
    long request_with(const FaultEffect& effect, const Entry& entry, std::uint32_t number, void* argument);
    long deliver(const std::string& bytes, char* buffer, std::size_t count);
    template <typename Question>
    long ask(const std::string& path, Question question);

    Clock& clock_;
    DeviceTable& devices_;
    FaultPlan& faults_;
    Recorder& recorder_;
    std::map<int, Entry> open_;
    std::map<std::string, std::string> last_read_;  // what stale reads deliver
};

}  // namespace vp

#endif
