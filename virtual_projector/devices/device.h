// What a simulated device node looks like to the calls that reach it.
#ifndef VIRTUAL_PROJECTOR_DEVICES_DEVICE_H
#define VIRTUAL_PROJECTOR_DEVICES_DEVICE_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "virtual_projector/world/microseconds.h"

namespace vp {

/// What a device says to one request: done with a result, or "ask again at time `until`".
struct Answer {
    long result = 0;          // a count or result of 0 and more, or a negated errno
    bool wait = false;        // true: nothing yet, the calling thread has to wait
    Microseconds until = -1;  // when to ask again; -1: whenever something changes (an event, an unplug)

    static Answer done(long result) { return {result, false, -1}; }
    static Answer error(int error_number) { return {-static_cast<long>(error_number), false, -1}; }
    static Answer wait_until(Microseconds time) { return {0, true, time}; }
    static Answer wait_for_event() { return {0, true, -1}; }
};

/// What a request is, beside its number.
struct RequestKind {
    const char* name = "";  // the driver's own
    bool gives = false;     // the driver reads the argument
    bool returns = false;   // the driver fills it
};

/// A command within the bytes of a write, and what lies behind the addresses in it.
struct WrittenCommand {
    const char* name = "";
    std::string given;
    std::string returned;
};

/// One open descriptor of a device.
class OpenFile {
public:
    virtual ~OpenFile() = default;
    virtual Answer read(void* buffer, std::size_t count);          // default: -EINVAL
    virtual Answer write(const void* buffer, std::size_t count);   // default: -EINVAL
    virtual Answer request(std::uint32_t number, void* argument);  // ioctl; default: -ENOTTY
    /// Bytes of the argument that a request fills or reads. The board's numbers do not say it: two of them
    /// encode a pointer's size. Default: 0, for a request that the driver does not know.
    virtual std::size_t request_size(std::uint32_t number) const;
    virtual RequestKind request_kind(std::uint32_t number) const;  // default: none
    /// What has been written with this result. Default: nothing; text needs no telling.
    virtual WrittenCommand written_command(std::string_view bytes, long result) const;
    virtual Answer close();  // default: 0
    /// What poll sees: false while a read would wait. Default: true.
    virtual bool is_readable();
};

/// One node of the board.
class Device {
public:
    virtual ~Device() = default;

    /// Opens the node with open(2)'s flags. Returns null and sets `error_number` when the driver refuses.
    virtual std::unique_ptr<OpenFile> open(int flags, int& error_number) = 0;
};

/// The nodes of the board by path. Paths that look like the board's (see is_board_path) but have no device
/// do not exist: opening them gives ENOENT.
class DeviceTable {
public:
    void add(const std::string& path, std::shared_ptr<Device> device);
    void remove(const std::string& path);
    Device* find(const std::string& path) const;  // null when there is none

    /// True for every path that belongs to the board and must never reach the PC's own kernel:
    /// /sys/class/motor/, /sys/class/nd_tof/, /sys/class/tof/, /sys/class/sensors/, /sys/class/dlp/,
    /// /sys/devices/platform/pwm-fan/, /dev/nds01, /dev/gsensor_daemon, /dev/dis, /dev/fb0, /dev/input/event6.
    static bool is_board_path(const std::string& path);

private:
    std::map<std::string, std::shared_ptr<Device>> devices_;
};

}  // namespace vp

#endif
