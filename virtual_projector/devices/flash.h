// The flash chip, as the board's flash library sees it: handles, a unique identifier and one area of 227
// bytes that can be written many times.
#ifndef VIRTUAL_PROJECTOR_DEVICES_FLASH_H
#define VIRTUAL_PROJECTOR_DEVICES_FLASH_H

#include <array>
#include <cstdint>
#include <set>

#include "virtual_projector/devices/board.h"

namespace vp {

class Flash {
public:
    explicit Flash(Board& board) : board_(board) {}

    /// All return 0, or a negated errno: EIO when the flash does not work, EBADF for a handle that is not
    /// open, EINVAL for another area than 2 or a range beyond its end.
    long open(std::uint32_t& handle);
    long close(std::uint32_t handle);
    long read_uid(std::uint32_t handle, std::array<std::uint8_t, 16>& uid);
    long read(std::uint32_t handle, std::uint32_t area, std::uint32_t offset, std::uint8_t* data,
              std::uint32_t size);
    long write(std::uint32_t handle, std::uint32_t area, std::uint32_t offset, const std::uint8_t* data,
               std::uint32_t size);

    /// Handles that are open now.
    std::size_t open_handles();

private:
    long check(std::uint32_t handle, std::uint32_t area) const;

    Board& board_;
    std::set<std::uint32_t> open_;
    std::uint32_t next_handle_ = 1;
};

}  // namespace vp

#endif
