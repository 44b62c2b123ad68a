#include "virtual_projector/devices/request_device.h"

#include <cerrno>
#include <utility>

namespace vp {
namespace {

class RequestDevice : public Device {
public:
    RequestDevice(Board& board, Presence present, std::function<std::unique_ptr<OpenFile>(int)> make_file)
        : board_(board), present_(std::move(present)), make_file_(std::move(make_file)) {}

    std::unique_ptr<OpenFile> open(int flags, int& error_number) override {
        const bool present = board_.with_world([&](World& world) { return present_(world.settings()); });
        error_number = present ? 0 : ENOENT;
        return present ? make_file_(flags) : nullptr;
    }

private:
    Board& board_;
    Presence present_;
    std::function<std::unique_ptr<OpenFile>(int)> make_file_;
};

}  // namespace

std::shared_ptr<Device> make_request_device(Board& board, Presence present,
                                            std::function<std::unique_ptr<OpenFile>(int flags)> make_file) {
    return std::make_shared<RequestDevice>(board, std::move(present), std::move(make_file));
}

}  // namespace vp
