#include "virtual_projector/devices/device.h"

#include <array>
#include <cerrno>
#include <string_view>
#include <utility>

namespace vp {
namespace {

constexpr std::array<std::string_view, 6> board_directories = {
    "/sys/class/motor/",   "/sys/class/nd_tof/", "/sys/class/tof/",
    "/sys/class/sensors/", "/sys/class/dlp/",    "/sys/devices/platform/pwm-fan/",
};

constexpr std::array<std::string_view, 5> board_nodes = {
    "/dev/nds01", "/dev/gsensor_daemon", "/dev/dis", "/dev/fb0", "/dev/input/event6",
};

bool begins_with(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

}  // namespace

Answer OpenFile::read(void* /*buffer*/, std::size_t /*count*/) { return Answer::error(EINVAL); }
Answer OpenFile::write(const void* /*buffer*/, std::size_t /*count*/) { return Answer::error(EINVAL); }
Answer OpenFile::request(std::uint32_t /*number*/, void* /*argument*/) { return Answer::error(ENOTTY); }
std::size_t OpenFile::request_size(std::uint32_t /*number*/) const { return 0; }
RequestKind OpenFile::request_kind(std::uint32_t /*number*/) const { return {}; }
WrittenCommand OpenFile::written_command(std::string_view /*bytes*/, long /*result*/) const { return {}; }
Answer OpenFile::close() { return Answer::done(0); }
bool OpenFile::is_readable() { return true; }

void DeviceTable::add(const std::string& path, std::shared_ptr<Device> device) {
    devices_[path] = std::move(device);
}

void DeviceTable::remove(const std::string& path) { devices_.erase(path); }

Device* DeviceTable::find(const std::string& path) const {
    const auto found = devices_.find(path);
    return found == devices_.end() ? nullptr : found->second.get();
}

bool DeviceTable::is_board_path(const std::string& path) {
    for (const std::string_view directory : board_directories) {
        if (begins_with(path, directory)) return true;
    }
    for (const std::string_view node : board_nodes) {
        if (path == node) return true;
    }
    return false;
}

}  // namespace vp
