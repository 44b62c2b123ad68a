// The display driver and the frame buffer.
//
// Widths that come with enable 0 are taken but not shown; enable 1 shows them. The rectangle transform
// answers with the part of the source that the trapezoid last taken, shown or not, can cover.

#include <algorithm>
#include <cerrno>

#include "virtual_projector/devices/drivers.h"
#include "virtual_projector/devices/request_device.h"

namespace vp {
namespace {

constexpr std::uint32_t get_screen = 0xC00C0E0C;
constexpr std::uint32_t set_widths = 0x801C0E10;
constexpr std::uint32_t transform_rectangle = 0xC0140E29;
constexpr std::uint32_t picture_layer = 1;

#pragma pack(push, 1)
struct Screen {
    std::uint32_t layer;
    std::uint32_t reserved;
    std::uint16_t width;
    std::uint16_t height;
};
struct Widths {
    std::uint32_t layer;
    std::uint8_t enable;
    std::uint8_t padding[3];
    std::int32_t bottom;
    std::int32_t top;
    std::uint8_t reserved[12];
};
struct Rectangle {
    std::uint16_t x;
    std::uint16_t y;
    std::uint16_t width;
    std::uint16_t height;
};
struct Transform {
    std::uint32_t layer;
    Rectangle source;
    Rectangle result;
};
#pragma pack(pop)
static_assert(sizeof(Screen) == 12 && sizeof(Widths) == 28 && sizeof(Transform) == 20);

struct DisplayDriver {
    int top = panel_width;
    int bottom = panel_width;
};

bool is_width(std::int32_t width) { return width >= 1 && width <= panel_width; }

bool fits_panel(const Rectangle& r) {
    return r.width >= 1 && r.height >= 1 && r.x + r.width <= panel_width && r.y + r.height <= panel_height;
}

class DisplayFile : public OpenFile {
public:
    DisplayFile(Board& board, std::shared_ptr<DisplayDriver> driver)
        : board_(board), driver_(std::move(driver)) {}

    Answer request(std::uint32_t number, void* argument) override {
        if (number != get_screen && number != set_widths && number != transform_rectangle) {
            return Answer::error(ENOTTY);
        }
        if (argument == nullptr) return Answer::error(EFAULT);
        if (fetch<std::uint32_t>(argument) != picture_layer) return Answer::error(EINVAL);
        return board_.with_world([&](World& world) {
            if (number == get_screen) return screen(argument);
            return number == set_widths ? widths(world, argument) : transform(argument);
        });
    }

    std::size_t request_size(std::uint32_t number) const override {
        if (number == get_screen) return sizeof(Screen);
        if (number == set_widths) return sizeof(Widths);
        return number == transform_rectangle ? sizeof(Transform) : 0;
    }

    RequestKind request_kind(std::uint32_t number) const override {
        if (number == get_screen) return {"get_screen", true, true};
        if (number == set_widths) return {"set_widths", true, false};
        return number == transform_rectangle ? RequestKind{"transform_rectangle", true, true} : RequestKind{};
    }

private:
    static Answer screen(void* argument) {
        auto record = fetch<Screen>(argument);
        record.width = panel_width;
        record.height = panel_height;
        deliver(argument, record);
        return Answer::done(0);
    }

    Answer widths(World& world, const void* argument) {
        const auto record = fetch<Widths>(argument);
        if (record.enable > 1 || !is_width(record.top) || !is_width(record.bottom))
            return Answer::error(EINVAL);
        world.count_width_write();
        driver_->top = record.top;
        driver_->bottom = record.bottom;
        if (record.enable == 1) {
            world.display().top_width = record.top;
            world.display().bottom_width = record.bottom;
        }
        return Answer::done(0);
    }

    Answer transform(void* argument) {
        auto record = fetch<Transform>(argument);
        if (!fits_panel(record.source)) return Answer::error(EINVAL);
        const int wider = std::max(driver_->top, driver_->bottom);
        const int width = record.source.width * wider / panel_width;
        record.result = record.source;
        record.result.x = static_cast<std::uint16_t>(record.source.x + (record.source.width - width) / 2);
        record.result.width = static_cast<std::uint16_t>(width);
        deliver(argument, record);
        return Answer::done(0);
    }

    Board& board_;
    std::shared_ptr<DisplayDriver> driver_;
};

}  // namespace

void add_display(Board& board, DeviceTable& nodes) {
    const Presence has_display = [](const Settings& s) { return s.board.has_display != 0; };
    const Presence has_frame_buffer = [](const Settings& s) { return s.board.has_frame_buffer != 0; };
    const auto driver = std::make_shared<DisplayDriver>();
    nodes.add("/dev/dis", make_request_device(board, has_display, [&board, driver](int) {
                  return std::make_unique<DisplayFile>(board, driver);
              }));
    nodes.add("/dev/fb0",
              make_request_device(board, has_frame_buffer, [](int) { return std::make_unique<OpenFile>(); }));
}

}  // namespace vp
