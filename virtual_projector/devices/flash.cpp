#include "virtual_projector/devices/flash.h"

#include <cerrno>

#include "virtual_projector/world/noise.h"

namespace vp {
namespace {

constexpr std::uint32_t record_area = 2;

}  // namespace

long Flash::open(std::uint32_t& handle) {
    return board_.with_world([&](World& world) -> long {
        if (world.settings().board.flash_works == 0) return -EIO;
        handle = next_handle_++;
        open_.insert(handle);
        return 0;
    });
}

long Flash::close(std::uint32_t handle) {
    return board_.with_world([&](World&) -> long { return open_.erase(handle) == 1 ? 0 : -EBADF; });
}

long Flash::check(std::uint32_t handle, std::uint32_t area) const {
    if (open_.count(handle) == 0) return -EBADF;
    return area == record_area ? 0 : -EINVAL;
}

long Flash::read_uid(std::uint32_t handle, std::array<std::uint8_t, 16>& uid) {
    return board_.with_world([&](World& world) -> long {
        if (open_.count(handle) == 0) return -EBADF;
        const Noise noise(world.seed(), Stream::serial_number);
        for (std::size_t i = 0; i < uid.size(); ++i) {
            uid.at(i) = static_cast<std::uint8_t>(noise.bits(static_cast<std::int64_t>(i)));
        }
        return 0;
    });
}

long Flash::read(std::uint32_t handle, std::uint32_t area, std::uint32_t offset, std::uint8_t* data,
                 std::uint32_t size) {
    return board_.with_world([&](World&) -> long {
        const long status = check(handle, area);
        if (status < 0) return status;
        return board_.flash().read(offset, data, size) ? 0 : -EINVAL;
    });
}

long Flash::write(std::uint32_t handle, std::uint32_t area, std::uint32_t offset, const std::uint8_t* data,
                  std::uint32_t size) {
    return board_.with_world([&](World& world) -> long {
        const long status = check(handle, area);
        if (status < 0) return status;
        Memory& memory = board_.flash();
        if (!memory.write(offset, data, size)) return -EINVAL;
        board_.save_later(memory);
        world.count_record_write();
        return 0;
    });
}

std::size_t Flash::open_handles() {
    return board_.with_world([&](World&) { return open_.size(); });
}

}  // namespace vp
