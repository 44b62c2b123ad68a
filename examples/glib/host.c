/* A host on a GLib main loop: has the picture squared and focused once, on the loop's timers, and ends. What
   the library calls on its own threads is handed to the loop; Ctrl-C ends it too. */
#include <glib-unix.h>
#include <glib.h>
#include <ovrafocus/ovrafocus.h>
#include <signal.h>

enum { poll_ms = 100, sensor_wait_polls = 20, run_wait_polls = 600 };

typedef struct Host {
    GMainLoop* loop;
    int polls; /* since the start, or since the request */
    gboolean requested;
    gboolean failed;
} Host;

static Host host;

static gboolean show_toast(gpointer code) {
    g_printerr("toast %d\n", GPOINTER_TO_INT(code));
    host.failed = TRUE;
    return G_SOURCE_REMOVE;
}

/* On a thread of the library's: the loop's own thread shows it. */
static void on_toast(int32_t code) { g_idle_add(show_toast, GINT_TO_POINTER(code)); }

/* The library keeps the pointer: the table lives as long as the process. */
static const app_callback_table callbacks = {.toast = on_toast};

static gboolean good(const char* call, int32_t result) {
    if (result != 0) g_printerr("%s failed with %d\n", call, (int)result);
    return result == 0;
}

static gboolean start_library(void) {
    app_callback_init(&callbacks);
    return good("ovrafocus_init", ovrafocus_init()) && good("ovra_sys_param_init", ovra_sys_param_init()) &&
           good("ovra_gsensor_init", ovra_gsensor_init()) && good("ovra_akaf_init", ovra_akaf_init());
}

static gboolean end(gpointer why) {
    if (why != NULL) g_printerr("%s\n", (const char*)why);
    host.failed = host.failed || why != NULL;
    g_main_loop_quit(host.loop);
    return G_SOURCE_REMOVE;
}

/* What waits in the loop ends it in turn, so that the run's toasts come first. */
static gboolean poll_run(gpointer unused) {
    char* const endless = "the run does not end";
    char* const focus_off = "auto-focus is off: there is no ToF sensor, or the lens is not calibrated";
    (void)unused;
    if (varnel_get_state_autofocus() == 0) {
        g_idle_add(end, varnel_get_osd_settings_autofocus() == 0 ? focus_off : NULL);
    } else if (++host.polls == run_wait_polls) {
        g_idle_add(end, endless);
    } else {
        return G_SOURCE_CONTINUE;
    }
    return G_SOURCE_REMOVE;
}

/* Before the first block of the gravity sensor a steep tilt would be taken as level. */
static gboolean poll_gravity(gpointer unused) {
    (void)unused;
    if (acc_get_init_status() != 1 && ++host.polls < sensor_wait_polls) return G_SOURCE_CONTINUE;
    host.polls = 0;
    varnel_autofocus();
    g_timeout_add(poll_ms, poll_run, NULL);
    return G_SOURCE_REMOVE;
}

int main(void) {
    if (!start_library()) return 1;
    host.loop = g_main_loop_new(NULL, FALSE);
    g_unix_signal_add(SIGINT, end, "interrupted");
    g_timeout_add(poll_ms, poll_gravity, NULL);
    g_main_loop_run(host.loop);
    g_main_loop_unref(host.loop);
    if (!host.failed) {
        g_printerr("in focus at %d mm, squared for a tilt of %d degrees\n", (int)lastDistance,
                   (int)get_current_keystone_angle());
    }
    return good("ovrafocus_deinit", ovrafocus_deinit()) && !host.failed ? 0 : 1;
}
