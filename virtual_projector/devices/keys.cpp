// The projector's keys, as an input device: each descriptor gets every event since it was opened.

#include <cerrno>

#include "virtual_projector/devices/drivers.h"
#include "virtual_projector/devices/request_device.h"

namespace vp {
namespace {

constexpr std::uint16_t key_event_type = 1;

#pragma pack(push, 1)
struct InputEvent {  // of a 32-bit system
    std::int32_t seconds;
    std::int32_t microseconds;
    std::uint16_t type;
    std::uint16_t code;
    std::int32_t value;
};
#pragma pack(pop)
static_assert(sizeof(InputEvent) == 16);

InputEvent to_record(const KeyEvent& key) {
    return {static_cast<std::int32_t>(key.time / microseconds_per_second),
            static_cast<std::int32_t>(key.time % microseconds_per_second), key_event_type, key.code, key.value};
}

class KeyFile : public OpenFile {
public:
    KeyFile(Board& board, std::size_t next) : board_(board), next_(next) {}

    // As many whole events as there are and fit. Without one the reader waits for somebody to press a key.
    Answer read(void* buffer, std::size_t count) override {
        if (count < sizeof(InputEvent)) return Answer::error(EINVAL);
        return board_.with_world([&](World& world) {
            const std::vector<KeyEvent>& keys = world.keys();
            std::size_t moved = 0;
            while (next_ < keys.size() && count - moved >= sizeof(InputEvent)) {
                deliver(static_cast<char*>(buffer) + moved, to_record(keys.at(next_)));
                moved += sizeof(InputEvent);
                ++next_;
            }
            return moved > 0 ? Answer::done(static_cast<long>(moved)) : Answer::wait_for_event();
        });
    }

    bool is_readable() override {
        return board_.with_world([this](World& world) { return next_ < world.keys().size(); });
    }

private:
    Board& board_;
    std::size_t next_;
};

}  // namespace

void add_keys(Board& board, DeviceTable& nodes) {
    const Presence present = [](const Settings& s) { return s.board.has_keys != 0; };
    nodes.add("/dev/input/event6", make_request_device(board, present, [&board](int) {
                  const std::size_t pressed =
                      board.with_world([](World& world) { return world.keys().size(); });
                  return std::make_unique<KeyFile>(board, pressed);
              }));
}

}  // namespace vp
