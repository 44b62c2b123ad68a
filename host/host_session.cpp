#include "host/host_session.h"

#include <unistd.h>

#include <atomic>
#include <mutex>

#include "host/console.h"
#include "host/peek.h"
#include "host/toast_words.h"
#include "ovrafocus/ovrafocus.h"

namespace host {
namespace {

constexpr int poll_ms = 50;

// Written by the library's threads through the callbacks, read by the command loop.
std::atomic<bool> started{false};
std::atomic<RequestState> request_state{RequestState::none};

// Whether g_osd_state_autofocus tells of runs. It is 1 from load on until the first run ends, whether one has
// begun or not.
std::atomic<bool> run_state_tells{false};
std::mutex run_state_mutex;

std::atomic<bool> focus_step_has_ended{false};
std::atomic<bool> display_is_missing{false};

// Nobody has waited for the end of the last request yet.
std::atomic<bool> open_request{false};

enum class FirstRun { asked_for, not_yet_asked_for };

// From the first request on the library's 1 is true, or about to be; before it nothing runs, and it is made 0.
void let_run_state_tell(FirstRun first_run) {
    if (run_state_tells) return;
    const std::lock_guard<std::mutex> lock(run_state_mutex);
    if (!run_state_tells && first_run == FirstRun::not_yet_asked_for)
        poke(g_osd_state_autofocus, std::uint8_t{0});
    run_state_tells = true;
}

bool run_is_in_progress() { return run_state_tells && varnel_get_state_autofocus() != 0; }

// The library asks for it at the end of each focus step, and after a movement that it has dropped: that is no
// run's end.
void on_refresh() {
    if (run_is_in_progress()) focus_step_has_ended = true;
}

// The library asks each time before it judges whether the unit was moved, and only such a movement makes it run
// without a request: the first time, nothing has run that the host did not ask for.
std::int32_t on_question_for_factory_test() {
    let_run_state_tell(FirstRun::not_yet_asked_for);
    return 0;
}

void on_toast(std::int32_t code) {
    if (toast_is_failure(code)) note_request_failed();
    say("toast %d: %s", static_cast<int>(code), toast_words(code));
}

// The codes count quarter turns the other way round than the display does.
void on_rotation(std::int32_t code) {
    constexpr int full_turn_deg = 360;
    const int turn_deg = (full_turn_deg - 90 * static_cast<int>(code)) % full_turn_deg;
    say("the picture is turned by %d degrees from now on (rotation code %d)", turn_deg, static_cast<int>(code));
}

app_callback_table make_callbacks() {
    app_callback_table table{};
    table.refresh_ui = on_refresh;
    table.toast = on_toast;
    table.is_factory_test = on_question_for_factory_test;
    table.rotation_changed = on_rotation;
    return table;
}

// The library keeps the pointer, so the table lives as long as the process.
app_callback_table callbacks = make_callbacks();

bool something_is_pending() {
    if (peek(g_run_once_AKAF) != 0 || peek(g_run_once_keystone) != 0) return true;
    if (peek(project_acc_angle_changed) != 0 || peek(project_tof_dist_changed) != 0) return true;
    return run_is_in_progress();
}

bool step(const char* name, int result, bool good) {
    if (!good) say("%s failed with %d", name, result);
    return good;
}

}  // namespace

bool library_is_started() { return started; }

bool start_library() {
    if (started) {
        say("the library is already started");
        return true;
    }
    bool good = step("app_callback_init", app_callback_init(&callbacks), true);
    int result = ovrafocus_init();
    good = step("ovrafocus_init", result, result == 0) && good;
    display_is_missing = keystone_api_init() == -1;  // open by now, or tried once more
    result = ovra_sys_param_init();
    good = step("ovra_sys_param_init", result, result == 0) && good;
    result = ovra_gsensor_init();
    good = step("ovra_gsensor_init", result, result == 0) && good;
    result = ovra_akaf_init();
    good = step("ovra_akaf_init", result, result == 0) && good;
    started = true;
    say("the library is started; auto-keystone is %s, auto-focus is %s",
        varnel_get_osd_settings_keystone() != 0 ? "on" : "off",
        varnel_get_osd_settings_autofocus() != 0 ? "on" : "off (no ToF sensor, or the lens is not calibrated)");
    return good;
}

void stop_library() {
    if (!started) return;
    started = false;
    if (ovrafocus_deinit() != 0) say("ovrafocus_deinit failed");
}

void begin_request(bool auto_focus) {
    request_state = RequestState::succeeded;
    open_request = true;
    if (auto_focus) let_run_state_tell(FirstRun::asked_for);
}

bool wait_until_idle(int timeout_ms) {
    // Between taking a request and showing that it runs, the worker looks idle for a moment: ask twice.
    int quiet_polls = 0;
    for (int waited_ms = 0; waited_ms <= timeout_ms; waited_ms += poll_ms) {
        quiet_polls = something_is_pending() ? 0 : quiet_polls + 1;
        if (quiet_polls == 2) {
            open_request = false;
            return true;
        }
        usleep(poll_ms * 1000);
    }
    return false;
}

bool request_is_open() { return started && open_request; }

bool a_focus_step_has_ended() { return focus_step_has_ended; }

bool there_is_a_display() { return !display_is_missing; }

RequestState last_request() { return request_state; }

void note_request_failed() { request_state = RequestState::failed; }

const char* last_request_words() {
    if (request_is_open() && something_is_pending()) return "the last request is being carried out";
    switch (last_request()) {
        case RequestState::none:
            return "nothing has been requested";
        case RequestState::failed:
            return "the last request failed";
        default:
            return "the last request succeeded";
    }
}

}  // namespace host
