/* A host on a libuv loop: has the picture squared and focused once, on the loop's timer, and ends. What the
   library calls on its own threads wakes the loop; Ctrl-C ends it too. */
#include <ovrafocus/ovrafocus.h>
#include <signal.h>
#include <stdatomic.h>
#include <stdio.h>
#include <uv.h>

enum { poll_ms = 100, sensor_wait_polls = 20, run_wait_polls = 600 };

/* Never closed: the library may call back until the process has ended. */
static uv_async_t toast_arrived;
static atomic_int toast; /* what has not been shown yet; 0: none */

static uv_timer_t timer;
static uv_signal_t interrupt;
static int polls; /* since the start, or since the request */
static int failed;

/* On a thread of the library's: the loop's own thread shows it. */
static void on_toast(int32_t code) {
    toast = code;
    uv_async_send(&toast_arrived);
}

/* The library keeps the pointer: the table lives as long as the process. */
static const app_callback_table callbacks = {.toast = on_toast};

static void fail(const char* why) {
    fprintf(stderr, "%s\n", why);
    failed = 1;
}

static int good(const char* call, int result) {
    if (result != 0) fprintf(stderr, "%s failed with %d\n", call, result);
    return result == 0;
}

static void show_toast(uv_async_t* unused) {
    const int code = atomic_exchange(&toast, 0);
    (void)unused;
    if (code == 0) return;
    fprintf(stderr, "toast %d\n", code);
    failed = 1;
}

/* Without these two the loop has nothing left to do, and ends. */
static void end(void) {
    uv_close((uv_handle_t*)&timer, NULL);
    uv_close((uv_handle_t*)&interrupt, NULL);
}

static void poll_run(uv_timer_t* unused) {
    (void)unused;
    if (varnel_get_state_autofocus() != 0 && ++polls < run_wait_polls) return;
    show_toast(&toast_arrived); /* the last one may not have woken the loop yet */
    if (polls == run_wait_polls) fail("the run does not end");
    if (varnel_get_osd_settings_autofocus() == 0) {
        fail("auto-focus is off: there is no ToF sensor, or the lens is not calibrated");
    }
    end();
}

/* Before the first block of the gravity sensor a steep tilt would be taken as level. */
static void poll_gravity(uv_timer_t* unused) {
    (void)unused;
    if (acc_get_init_status() != 1 && ++polls < sensor_wait_polls) return;
    polls = 0;
    varnel_autofocus();
    uv_timer_start(&timer, poll_run, poll_ms, poll_ms);
}

static void on_interrupt(uv_signal_t* unused, int number) {
    (void)unused;
    (void)number;
    fail("interrupted");
    end();
}

static int start_loop(uv_loop_t* loop) {
    const int good_so_far = good("uv_async_init", uv_async_init(loop, &toast_arrived, show_toast)) &&
                            good("uv_timer_init", uv_timer_init(loop, &timer)) &&
                            good("uv_timer_start", uv_timer_start(&timer, poll_gravity, poll_ms, poll_ms)) &&
                            good("uv_signal_init", uv_signal_init(loop, &interrupt)) &&
                            good("uv_signal_start", uv_signal_start(&interrupt, on_interrupt, SIGINT));
    if (good_so_far) uv_unref((uv_handle_t*)&toast_arrived);
    return good_so_far;
}

static int start_library(void) {
    app_callback_init(&callbacks);
    return good("ovrafocus_init", ovrafocus_init()) && good("ovra_sys_param_init", ovra_sys_param_init()) &&
           good("ovra_gsensor_init", ovra_gsensor_init()) && good("ovra_akaf_init", ovra_akaf_init());
}

int main(void) {
    uv_loop_t* const loop = uv_default_loop();
    if (!start_loop(loop) || !start_library()) return 1;
    uv_run(loop, UV_RUN_DEFAULT);
    if (!failed) {
        fprintf(stderr, "in focus at %d mm, squared for a tilt of %d degrees\n", (int)lastDistance,
                (int)get_current_keystone_angle());
    }
    return good("ovrafocus_deinit", ovrafocus_deinit()) && !failed ? 0 : 1;
}
