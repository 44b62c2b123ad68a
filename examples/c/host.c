/* The smallest host: starts the library, has the picture squared and focused once, and says what came of it.
   The library logs on standard output; this program speaks on standard error, so that the two can be told
   apart. */
#include <ovrafocus/ovrafocus.h>
#include <stdatomic.h>
#include <stdio.h>
#include <unistd.h>

enum { poll_ms = 100, sensor_wait_ms = 2000, run_wait_ms = 60000 };

static atomic_int last_toast; /* 0: none yet */

/* On a thread of the library's, which waits meanwhile: take note, and no more. */
static void take_toast(int32_t code) { last_toast = code; }

/* The library keeps the pointer: the table lives as long as the process. */
static const app_callback_table callbacks = {.toast = take_toast};

static int good(const char* call, int32_t result) {
    if (result != 0) fprintf(stderr, "%s failed with %d\n", call, (int)result);
    return result == 0;
}

static int start_library(void) {
    app_callback_init(&callbacks);
    return good("ovrafocus_init", ovrafocus_init()) && good("ovra_sys_param_init", ovra_sys_param_init()) &&
           good("ovra_gsensor_init", ovra_gsensor_init()) && good("ovra_akaf_init", ovra_akaf_init());
}

static int gravity_is_known(void) { return acc_get_init_status() == 1; }

/* True from the load of the library on, until the first run has ended. */
static int first_run_has_ended(void) { return varnel_get_state_autofocus() == 0; }

static int wait_until(int (*reached)(void), int longest_ms) {
    for (; !reached() && longest_ms > 0; longest_ms -= poll_ms) usleep(poll_ms * 1000);
    return reached();
}

static int square_and_focus(void) {
    /* Before the first block of the gravity sensor a steep tilt would be taken as level. */
    if (!wait_until(gravity_is_known, sensor_wait_ms)) fprintf(stderr, "there is no gravity sensor\n");
    varnel_autofocus();
    if (!wait_until(first_run_has_ended, run_wait_ms)) {
        fprintf(stderr, "the run does not end\n");
        return 0;
    }
    if (last_toast != 0) fprintf(stderr, "the run failed: toast %d\n", last_toast);
    return last_toast == 0;
}

int main(void) {
    if (!start_library()) return 1;
    if (varnel_get_osd_settings_autofocus() == 0) {
        fprintf(stderr, "auto-focus is off: there is no ToF sensor, or the lens is not calibrated\n");
    }
    const int done = square_and_focus() && varnel_get_osd_settings_autofocus() != 0;
    if (done) {
        fprintf(stderr, "in focus at %d mm, squared for a tilt of %d degrees\n", (int)lastDistance,
                (int)get_current_keystone_angle());
    }
    return good("ovrafocus_deinit", ovrafocus_deinit()) && done ? 0 : 1;
}
