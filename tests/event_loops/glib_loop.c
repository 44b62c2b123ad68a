#include <glib-unix.h>
#include <glib.h>
#include <signal.h>

#include "tests/event_loops/loop_work.h"

static gboolean deferred(gpointer unused) {
    (void)unused;
    work_deferred();
    return G_SOURCE_REMOVE;
}

static gboolean tick(gpointer unused) {
    (void)unused;
    work_tick();
    g_idle_add(deferred, NULL);
    return G_SOURCE_CONTINUE;
}

static gboolean readable(gint descriptor, GIOCondition condition, gpointer unused) {
    (void)descriptor;
    (void)condition;
    (void)unused;
    return work_readable() ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
}

static gboolean signalled(gpointer unused) {
    (void)unused;
    work_signal();
    return G_SOURCE_CONTINUE;
}

static gboolean show_refresh(gpointer unused) {
    (void)unused;
    work_refresh();
    return G_SOURCE_REMOVE;
}

static void refreshed(void) { g_idle_add(show_refresh, NULL); }

static gboolean end(gpointer loop) {
    g_main_loop_quit(loop);
    return G_SOURCE_REMOVE;
}

int main(void) {
    GMainLoop* const loop = g_main_loop_new(NULL, FALSE);
    const int pipe_end = work_begin(refreshed);
    if (pipe_end < 0) return 1;
    g_unix_signal_add(SIGUSR1, signalled, NULL);
    g_unix_fd_add(pipe_end, G_IO_IN | G_IO_HUP, readable, NULL);
    g_timeout_add(work_tick_ms, tick, NULL);
    g_timeout_add(work_length_ms, end, loop);
    g_main_loop_run(loop);
    g_main_loop_unref(loop);
    return work_end();
}
