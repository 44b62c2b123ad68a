#include "ovrafocus/display_keystone.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>

#include "base/descriptor.h"
#include "base/log.h"
#include "focusctrl/trapezoid.h"
#include "ovrafocus/host_interface.h"
#include "platform/board_display.h"

namespace ovra {
namespace {

constexpr const char* display_path = "/dev/dis";
constexpr const char* frame_buffer_path = "/dev/fb0";

constexpr unsigned long request_screen_info = 0xC00C0E0CUL;
constexpr unsigned long request_keystone_widths = 0x801C0E10UL;
constexpr unsigned long request_rectangle_transform = 0xC0140E29UL;

constexpr uint32_t main_layer = 1;
constexpr int16_t default_panel_width = 1280;
constexpr int32_t no_width_yet = -1;  // below every width, so that the first request counts as a widening

// The user interface is drawn at this size, whatever the panel's own is.
constexpr uint16_t picture_width = 1280;
constexpr uint16_t picture_height = 720;

constexpr useconds_t step_pause_us = 1000;  // lets the driver take a step over before the next one

// ---- Records of the display driver ----------------------------------------------------------------------

static_assert(sizeof(ovra_screen_info) == 12);
static_assert(offsetof(ovra_screen_info, layer) == 0);
static_assert(offsetof(ovra_screen_info, reserved) == 4);
static_assert(offsetof(ovra_screen_info, width_px) == 8);
static_assert(offsetof(ovra_screen_info, height_px) == 10);

struct __attribute__((packed)) KeystoneWidths {
    uint32_t layer;
    uint8_t enable;
    uint8_t padding[3];
    int32_t bottom;
    int32_t top;
    uint8_t reserved[12];
};
static_assert(sizeof(KeystoneWidths) == 28);
static_assert(offsetof(KeystoneWidths, layer) == 0);
static_assert(offsetof(KeystoneWidths, enable) == 4);
static_assert(offsetof(KeystoneWidths, padding) == 5);
static_assert(offsetof(KeystoneWidths, bottom) == 8);
static_assert(offsetof(KeystoneWidths, top) == 12);
static_assert(offsetof(KeystoneWidths, reserved) == 16);

struct __attribute__((packed)) RectangleTransform {
    uint32_t layer;
    uint16_t source_x, source_y, source_width, source_height;
    uint16_t x, y, width, height;
};
static_assert(sizeof(RectangleTransform) == 20);
static_assert(offsetof(RectangleTransform, layer) == 0);
static_assert(offsetof(RectangleTransform, source_x) == 4);
static_assert(offsetof(RectangleTransform, source_y) == 6);
static_assert(offsetof(RectangleTransform, source_width) == 8);
static_assert(offsetof(RectangleTransform, source_height) == 10);
static_assert(offsetof(RectangleTransform, x) == 12);
static_assert(offsetof(RectangleTransform, y) == 14);
static_assert(offsetof(RectangleTransform, width) == 16);
static_assert(offsetof(RectangleTransform, height) == 18);

static_assert(sizeof(fbdev_viewport) == 16);
static_assert(offsetof(fbdev_viewport, x) == 0);
static_assert(offsetof(fbdev_viewport, y) == 4);
static_assert(offsetof(fbdev_viewport, width) == 8);
static_assert(offsetof(fbdev_viewport, height) == 10);
static_assert(offsetof(fbdev_viewport, flags) == 12);

// ---- State ----------------------------------------------------------------------------------------------

// Shared by all entry points, without a lock: see the header for who may call when.
struct Display {
    int fd = -1;  // opened by whoever needs it first, kept for the life of the process
    int16_t screen_width = default_panel_width;  // upper limit of both widths; 0: not known, ask the driver
    int16_t stepped_top = default_panel_width;   // current widths of the step interface
    int16_t stepped_bottom = default_panel_width;
    Trapezoid requested{no_width_yet, no_width_yet};  // the last one applied by set_keystone_api()
    const app_callback_table* callbacks = nullptr;
};
Display display;

bool display_open() {
    if (display.fd < 0) display.fd = ::open(display_path, O_RDWR);
    return display.fd >= 0;
}

// ---- Requests -------------------------------------------------------------------------------------------

bool read_screen_info(int fd, ovra_screen_info& info) {
    info.layer = main_layer;
    return ::ioctl(fd, request_screen_info, &info) == 0;
}

KeystoneWidths widths_record(const Trapezoid& trapezoid, bool enable) {
    KeystoneWidths record{};
    record.layer = main_layer;
    record.enable = enable ? 1 : 0;
    record.bottom = trapezoid.bottom;
    record.top = trapezoid.top;
    return record;
}

// The driver's answer is ignored throughout: there is nothing better to send.
void send_widths(const Trapezoid& trapezoid, bool enable) {
    KeystoneWidths record = widths_record(trapezoid, enable);
    ::ioctl(display.fd, request_keystone_widths, &record);
}

// Asks where the picture's rectangle has gone within the trapezoid.
bool transform_picture(RectangleTransform& record) {
    constexpr const char* name = "keystone_rect_transform_api";
    record = {main_layer, 0, 0, picture_width, picture_height, 0, 0, 0, 0};
    log_bare("ovra: %s(), before: %d %d %d %d\n", name, record.source_x, record.source_y, record.source_width,
             record.source_height);
    if (::ioctl(display.fd, request_rectangle_transform, &record) < 0) {
        std::perror("ioctl(get key stone rect)");
        return false;
    }
    log_bare("ovra: %s(), after: %d %d %d %d\n", name, record.x, record.y, record.width, record.height);
    return true;
}

void set_viewport(const RectangleTransform& picture) {
    fbdev_viewport viewport{picture.x, picture.y, picture.width, picture.height, {0, 1, 1, 0}};
    fbdev_set_viewport(&viewport);
    log_bare("viewport: %d %d %d %d\n", viewport.x, viewport.y, viewport.width, viewport.height);
}

// ---- Applying a trapezoid -------------------------------------------------------------------------------

bool handed_over_to_host(const Trapezoid& asked) {
    if (display.callbacks == nullptr || display.callbacks->host_set_keystone == nullptr) return false;
    log_bare("ovra: %s, top=%d, bottom=%d\n", "set_keystone_api", asked.top, asked.bottom);
    display.callbacks->host_set_keystone(asked.top, asked.bottom);
    return true;
}

void tell_host_of_update() {
    if (display.callbacks != nullptr && display.callbacks->keystone_updated != nullptr)
        display.callbacks->keystone_updated();
}

void ask_for_unknown_screen_width() {
    if (display.screen_width != 0) return;
    ovra_screen_info info{};
    if (read_screen_info(display.fd, info)) display.screen_width = static_cast<int16_t>(info.width_px);
}

// A wider picture is shown only after the frame buffer and the host have followed; a narrower one at once, so
// that nothing is drawn outside it meanwhile.
void send_in_order_of_change(const Trapezoid& asked) {
    if (widens_or_stays(asked, display.requested)) {
        send_widths(asked, false);
        keystone_fb_viewport_scale_api();
        tell_host_of_update();
        send_widths(asked, true);
    } else {
        send_widths(asked, true);
        keystone_fb_viewport_scale_api();
        tell_host_of_update();
    }
}

void apply(const Trapezoid& asked) {
    send_widths(asked, false);
    keystone_fb_viewport_scale_api();
    log_bare("top_w=%d, top_w_bak = %d, bottom_w=%d, bottom_w_bak = %d\n", asked.top, display.requested.top,
             asked.bottom, display.requested.bottom);
    send_in_order_of_change(asked);
    // The values follow the driver record's order, bottom first, not the labels: log readers expect it so.
    log_bare("ovra: %s(), top width:\t%d, bottom width: %d\n", "set_keystone_api", asked.bottom, asked.top);
    display.requested = asked;
}

}  // namespace
}  // namespace ovra

using ovra::display;
using ovra::log_bare;

int32_t keystone_api_init() {
    if (display.fd >= 0) return display.fd;
    if (!ovra::display_open()) return -1;
    ovra_screen_info info{};
    if (!ovra::read_screen_info(display.fd, info)) log_bare("ioctl(get screeninfo) fail.\n");
    log_bare("ovra: dis_info, w:%d, h::%d\n", info.width_px, info.height_px);
    display.screen_width = static_cast<int16_t>(info.width_px);
    display.stepped_top = display.screen_width;
    display.stepped_bottom = display.screen_width;
    display.callbacks = get_app_callback();
    return static_cast<int32_t>(reinterpret_cast<intptr_t>(display.callbacks));
}

int32_t get_screen_info_api(ovra_screen_info* info) {
    const ovra::Descriptor screen(ovra::display_path, O_WRONLY);
    if (!screen.is_open()) return -1;
    ovra::read_screen_info(screen.get(), *info);
    return 0;
}

int32_t keystone_fb_viewport_scale_api() {
    constexpr int message_line = 118;
    // Nothing is done with the frame buffer here; without one, there is no viewport to set.
    const ovra::Descriptor frame_buffer(ovra::frame_buffer_path, O_RDWR);
    if (!frame_buffer.is_open()) {
        log_bare("ovra: %s(), line:%d. open device: %s error!\n", "keystone_fb_viewport_scale_api",
                 message_line, ovra::frame_buffer_path);
        return -1;
    }
    if (!ovra::display_open()) return -1;
    ovra::RectangleTransform picture{};
    if (ovra::transform_picture(picture)) ovra::set_viewport(picture);
    return 0;
}

int32_t set_keystone_api(int32_t top, int32_t bottom) {
    constexpr const char* name = "set_keystone_api";
    if (ovra::overflows({top, bottom})) {
        log_bare("ovra: %s, top=%d, bottom=%d overflow error\n", name, top, bottom);
        return -1;
    }
    const ovra::Trapezoid asked = ovra::limited_to({top, bottom}, display.screen_width);
    if (ovra::handed_over_to_host(asked)) return 0;
    if (!ovra::display_open()) {
        log_bare("ovra: %s, open /dev/dis error\n", name);
        return -1;
    }
    // A width learnt only now limits the next request, not this one.
    ovra::ask_for_unknown_screen_width();
    if (display.screen_width != 0 && ovra::too_small(asked)) {
        log_bare("ovra: %s, top=%d, bottom=%d too small\n", name, asked.top, asked.bottom);
        return -1;
    }
    ovra::apply(asked);
    return 0;
}

int32_t set_keystone_offset_api(int32_t dir, int32_t step) {
    log_bare("ovra:dir:  %d, step: %d\n", dir, step);
    const ovra::Trapezoid now{display.stepped_top, display.stepped_bottom};
    const ovra::Trapezoid next = ovra::stepped(now, dir, step);
    display.screen_width = static_cast<int16_t>(ovra::wider_edge(now));
    display.stepped_top = static_cast<int16_t>(next.top);
    display.stepped_bottom = static_cast<int16_t>(next.bottom);
    log_bare("ovra:top width:  %d, bottom width: %d\n", next.top, next.bottom);
    ovra::send_widths(next, true);
    ::usleep(ovra::step_pause_us);
    return 0;
}
