// A character device that is asked by requests (ioctl), and what its drivers share.
#ifndef VIRTUAL_PROJECTOR_DEVICES_REQUEST_DEVICE_H
#define VIRTUAL_PROJECTOR_DEVICES_REQUEST_DEVICE_H

#include <cstring>
#include <functional>
#include <memory>

#include "virtual_projector/devices/attribute.h"
#include "virtual_projector/devices/board.h"

namespace vp {

/// A device whose open files are made by `make_file`.
std::shared_ptr<Device> make_request_device(Board& board, Presence present,
                                            std::function<std::unique_ptr<OpenFile>(int flags)> make_file);

/// Copies a record out of, or into, the caller's memory.
template <typename Record>
Record fetch(const void* from) {
    Record record;
    std::memcpy(&record, from, sizeof record);
    return record;
}

template <typename Record>
void deliver(void* to, const Record& record) {
    std::memcpy(to, &record, sizeof record);
}

}  // namespace vp

#endif
