// A host in C++: every callback of the library arrives in one queue of the host's own, the main thread works on
// them, and the state of the projector is printed whenever something has happened.
#include <ovrafocus/ovrafocus.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <iostream>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Work = std::function<void()>;

// What the library's threads have for the main thread. They never wait for the host.
class Mailbox {
public:
    void post(Work work) {
        const std::lock_guard<std::mutex> held(mutex_);
        works_.push_back(std::move(work));
        arrived_.notify_one();
    }

    // Carries out what has arrived, or arrives within `longest`.
    void serve(Clock::duration longest) {
        std::unique_lock<std::mutex> held(mutex_);
        arrived_.wait_for(held, longest, [this] { return !works_.empty(); });
        const std::deque<Work> all = std::exchange(works_, {});
        held.unlock();
        for (const Work& work : all) work();
    }

private:
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<Work> works_;
};

// Never destroyed: the library's gravity threads go on until the process has ended, and call back.
Mailbox& mailbox = *new Mailbox;
bool failed = false;

const char* meaning(std::int32_t toast) {
    switch (toast) {
        case OVRA_TOAST_KEYSTONE_FAILED:
            return "the keystone could not be computed";
        case OVRA_TOAST_LENS_FAILED:
            return "the lens did not get to its place";
        case OVRA_TOAST_NO_DISTANCE:
            return "no wall in range: move the projector";
        case OVRA_TOAST_BOTH_OFF:
            return "auto-keystone and auto-focus are switched off";
        case OVRA_TOAST_FOCUS_OFF:
            return "auto-focus is off, or the lens is not calibrated";
        default:
            return "the lens is at a limit";
    }
}

void on_toast(std::int32_t code) {
    mailbox.post([code] {
        failed = true;
        std::cerr << "toast " << code << ": " << meaning(code) << '\n';
    });
}

void on_refresh() {
    mailbox.post([] { std::cerr << "the menu is to be drawn again\n"; });
}

void on_rotation(std::int32_t quarter_turns) {
    mailbox.post(
        [quarter_turns] { std::cerr << "the picture was turned: rotation code " << quarter_turns << '\n'; });
}

// A run goes to its widths in steps.
void on_keystone() {
    mailbox.post([] { std::cerr << "the keystone made a step\n"; });
}

app_callback_table make_callbacks() {
    app_callback_table table{};
    table.refresh_ui = on_refresh;
    table.toast = on_toast;
    table.rotation_changed = on_rotation;
    table.keystone_updated = on_keystone;
    return table;
}

const app_callback_table callbacks = make_callbacks();  // the library keeps the pointer

void check(const char* call, std::int32_t result) {
    if (result != 0) throw std::runtime_error(std::string(call) + " failed with " + std::to_string(result));
}

// The library, from its start to its end.
class Library {
public:
    Library() {
        app_callback_init(&callbacks);
        check("ovrafocus_init", ovrafocus_init());
        check("ovra_sys_param_init", ovra_sys_param_init());
        check("ovra_gsensor_init", ovra_gsensor_init());
        check("ovra_akaf_init", ovra_akaf_init());
    }
    ~Library() { ovrafocus_deinit(); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
};

// Serves the mailbox until `reached`, or until the time is over.
bool serve_until(bool (*reached)(), Clock::duration longest) {
    const Clock::time_point end = Clock::now() + longest;
    while (!reached() && Clock::now() < end) mailbox.serve(100ms);
    mailbox.serve(0ms);
    return reached();
}

const char* on_or_off(std::int32_t value) { return value != 0 ? "on" : "off"; }

void print_state() {
    std::int32_t tmr = 0;
    std::cerr << "auto-keystone " << on_or_off(varnel_get_osd_settings_keystone()) << ", auto-focus "
              << on_or_off(varnel_get_osd_settings_autofocus()) << "; rotation " << 90 * get_device_direction()
              << " degrees\n"
              << "widths " << preUpW << " at the top, " << preDownW << " at the bottom, of " << width
              << " pixels\n";
    if (motor_tmr_x_dir_read(&tmr) == 0) {
        std::cerr << "lens at TMR " << tmr << ", limits " << g_limitLeft << " and " << g_limitRight << '\n';
    }
}

bool run_once() {
    if (!serve_until([] { return acc_get_init_status() == 1; }, 2s))
        std::cerr << "there is no gravity sensor\n";
    print_state();
    varnel_autofocus();
    // The state is 1 from the load of the library on, until the first run has ended.
    if (!serve_until([] { return varnel_get_state_autofocus() == 0; }, 60s)) {
        throw std::runtime_error("the run does not end");
    }
    print_state();
    const bool focused = !failed && varnel_get_osd_settings_autofocus() != 0;
    if (focused) std::cerr << "in focus at " << lastDistance << " mm\n";
    return focused;
}

}  // namespace

int main() {
    try {
        const Library library;
        return run_once() ? 0 : 1;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
