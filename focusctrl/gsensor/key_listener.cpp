#include "ovrafocus/key_listener.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>

#include "base/descriptor.h"
#include "base/log.h"
#include "base/shared_flag.h"
#include "ovrafocus/config.h"

namespace ovra {
namespace {

constexpr const char* key_device = "/dev/input/event6";
constexpr const char* key_device_name = "adc-keys";

// After an event that could not be read. A device that is missing at boot may come later; a person does not
// notice a tenth of a second.
constexpr useconds_t pause_after_failure_us = 100'000;

constexpr std::int32_t no_key_yet = -1;
constexpr std::int32_t key_was_pressed = 0;

// One event of a 32-bit board, whatever the width of the machine that builds this.
struct __attribute__((packed)) KeyEvent {
    std::uint32_t seconds;
    std::uint32_t microseconds;
    std::uint16_t type;
    std::uint16_t code;
    std::int32_t value;  // 0: released; 1: pressed; 2: repeated
};
static_assert(sizeof(KeyEvent) == 16, "the driver's record");
static_assert(offsetof(KeyEvent, microseconds) == 4, "the driver's record");
static_assert(offsetof(KeyEvent, type) == 8, "the driver's record");
static_assert(offsetof(KeyEvent, code) == 10, "the driver's record");
static_assert(offsetof(KeyEvent, value) == 12, "the driver's record");

std::int32_t key_state = no_key_yet;

void take_note_of(const KeyEvent& event) {
    log_focus("headset %04x %04x %08x \n", unsigned{event.type}, unsigned{event.code},
              static_cast<unsigned>(event.value));
    if (event.value != 0) store(key_state, key_was_pressed);
}

// True when a whole event was read. The node is opened for each event and closed again: a listener
// that kept every descriptor would run out of them after a thousand keys.
bool listen_once() {
    log_focus("%s ", "headset_event_init_read");
    const Descriptor device(key_device, O_RDONLY | O_CLOEXEC);
    if (!device.is_open()) {
        log_focus("headset_event_init_read: %s failed\n", key_device_name);
        return false;
    }
    KeyEvent event{};
    if (::read(device.get(), &event, sizeof event) != static_cast<ssize_t>(sizeof event)) {
        log_focus("could not get input event");
        return false;
    }
    take_note_of(event);
    return true;
}

}  // namespace
}  // namespace ovra

void* sensor_main(void* /*unused*/) {
    ovra::log_focus("sensor_main");
    ovra_focus_config config;
    get_focus_configs(&config);
    ovra::log_focus("sensor_main is_system_on %d\n", static_cast<int>(config.system_state.is_system_on));
    headset_mainloop();
    return nullptr;
}

void headset_mainloop(void) {
    ovra::log_focus("headset_mainloop");
    for (;;) {
        if (!ovra::listen_once()) ::usleep(ovra::pause_after_failure_us);
    }
}

void headset_event_init_read(void) { ovra::listen_once(); }

int32_t get_key_state(void) {
    const int32_t state = ovra::load(ovra::key_state);
    ovra::log_focus("keystate = %d", state);
    return state;
}
