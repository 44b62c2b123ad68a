#include "ovrafocus/platform_utils.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/descriptor.h"
#include "base/elapsed_time.h"
#include "base/log.h"

using ovra::Descriptor;

namespace ovra {
namespace {

constexpr const char* room = "focusctrl/platform_utils";

constexpr const char* fan_auto_node = "/sys/devices/platform/pwm-fan/fan_auto_ctrl";
constexpr const char* fan_speed_node = "/sys/devices/platform/pwm-fan/target_speed";
constexpr int fan_manual = 0;

// Sizes in bytes. They are the contract of these helpers: what lies after them in a node is not looked at.
constexpr std::size_t short_write_limit = 32;  // a text and its terminator
constexpr std::size_t number_limit = 20;       // a decimal number of 32 bits, with room to spare
constexpr std::size_t short_number_limit = 4;
constexpr int text_limit = 72;  // one ToF frame of nine words

constexpr int buffer_too_long_line = 214;
constexpr unsigned microseconds_per_millisecond = 1000;

// Reads once into `text`, which is zeroed and keeps a terminator of its own after `size - 1` bytes.
// Returns read's result.
ssize_t read_text(const Descriptor& node, char* text, std::size_t size) {
    std::memset(text, 0, size);
    errno = 0;  // an empty node is a failure without an error: it is logged as "Success"
    return ::read(node.get(), text, size - 1);
}

int32_t refuse(const char* function) {
    log_focus("%s,invalid\n", function);
    return -1;
}

bool open_or_report(const Descriptor& node, const char* direction, const char* path) {
    if (!node.is_open()) log_focus("[%s] file(%s) open fail:%s", direction, path, std::strerror(errno));
    return node.is_open();
}

ssize_t read_or_report(const Descriptor& node, const char* path, char* text, std::size_t size) {
    const ssize_t count = read_text(node, text, size);
    if (count < 1) log_focus("[read] file(%s) read fail:%s", path, std::strerror(errno));
    return count;
}

int32_t write_or_report(const Descriptor& node, const char* path, const void* bytes, std::size_t length) {
    const ssize_t written = ::write(node.get(), bytes, length);
    if (written >= 0) return 0;
    log_focus("[write] file(%s) write fail:%s", path, std::strerror(errno));
    return static_cast<int32_t>(written);
}

// Writes a text quietly. A text that does not fit is a fault of the caller that no result could report in
// time: it would leave the node with half a command. Therefore the process ends.
int32_t write_short_text(const Descriptor& node, const char* text) {
    if (!node.is_open()) return -errno;
    const std::size_t length = std::strlen(text);
    if (length >= short_write_limit) std::abort();
    // The result is made before the descriptor closes, because closing may change errno.
    return ::write(node.get(), text, length) == -1 ? -errno : 0;
}

}  // namespace
}  // namespace ovra

char* itoa(int32_t value, char* buf, uint32_t base) {
    char* digits = buf;
    uint32_t rest = static_cast<uint32_t>(value);
    if (base == 10 && value < 0) {
        *digits++ = '-';
        rest = 0U - rest;  // unsigned, so that the most negative value comes out right
    }
    char* end = digits;
    do {
        *end++ = "0123456789ABCDEF"[rest % base];
        rest /= base;
    } while (rest != 0);
    *end = '\0';
    std::reverse(digits, end);
    return buf;
}

int32_t write_int(const char* path, int32_t value) {
    char text[ovra::short_write_limit];
    std::snprintf(text, sizeof text, "%d\n", value);
    return ovra::write_short_text(Descriptor(path, O_RDWR), text);
}

// Write-only, unlike write_int, so that it reaches nodes that nobody may read.
int32_t write_str(const char* path, const char* text) {
    return ovra::write_short_text(Descriptor(path, O_WRONLY), text);
}

int32_t read_int(const char* path) {
    const Descriptor node(path, O_RDONLY);
    if (!node.is_open()) return -errno;
    char text[ovra::short_number_limit + 1];
    ovra::read_text(node, text, sizeof text);  // an unreadable node leaves the text empty, which reads as 0
    int value = 0;
    std::sscanf(text, "%d", &value);
    return value;
}

int32_t write_file(const char* path, int32_t value) {
    if (path == nullptr) return ovra::refuse(__func__);
    const Descriptor node(path, O_RDWR);
    if (!ovra::open_or_report(node, "write", path)) return -1;
    char text[ovra::number_limit] = {};
    const int length = std::snprintf(text, sizeof text, "%d\n", value);
    return ovra::write_or_report(node, path, text, static_cast<std::size_t>(length));
}

int32_t read_file(const char* path) {
    if (path == nullptr) return ovra::refuse(__func__);
    const Descriptor node(path, O_RDONLY);
    if (!ovra::open_or_report(node, "read", path)) return -1;
    char text[ovra::number_limit + 1];
    return ovra::read_or_report(node, path, text, sizeof text) < 1 ? -1 : std::atoi(text);
}

int32_t read_file_buf(const char* path, char* buf, int32_t len) {
    if (path == nullptr || buf == nullptr) return ovra::refuse(__func__);
    if (len > ovra::text_limit)
        ovra::log_located({__func__, ovra::room, ovra::buffer_too_long_line}, "buf too long");
    const Descriptor node(path, O_RDONLY);
    if (!ovra::open_or_report(node, "read", path)) return -1;
    char text[ovra::text_limit + 1];
    const ssize_t count = ovra::read_or_report(node, path, text, sizeof text);
    if (count < 1) return -1;
    // By the caller's length, not by what was read: after a short text the caller gets zero bytes.
    std::memcpy(buf, text, static_cast<std::size_t>(std::clamp(len, 0, ovra::text_limit)));
    return static_cast<int32_t>(count);
}

int32_t write_file_buf(const char* path, const void* buf, uint32_t len) {
    if (path == nullptr) return ovra::refuse(__func__);
    const Descriptor node(path, O_RDWR);
    if (!ovra::open_or_report(node, "write", path)) return -1;
    return ovra::write_or_report(node, path, buf, len);
}

int32_t SleepMs(uint32_t ms) { return ::usleep(ms * ovra::microseconds_per_millisecond); }

void wait_ms(timeval start, int32_t ms) {
    int64_t elapsed = 0;
    while (elapsed < ms) {
        elapsed = ovra::elapsed_ms(start, ovra::wall_clock());
        SleepMs(1);
    }
}

int32_t fan_target_speed_write(int32_t speed) {
    ovra::log_focus("%s speed:%d", __func__, speed);
    int32_t result =
        write_file(ovra::fan_auto_node, ovra::fan_manual);  // a controlled fan would ignore the speed
    if (result == 0) result = write_file(ovra::fan_speed_node, speed);
    if (result != 0) ovra::log_focus("%s  fail.", __func__);
    return result;
}
