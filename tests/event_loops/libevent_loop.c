#include <event2/event.h>
#include <event2/thread.h>
#include <signal.h>
#include <stddef.h>

#include "tests/event_loops/loop_work.h"

static struct event_base* base;
static struct event* refresh_arrived;
static struct event* pipe_watch;

static void deferred(evutil_socket_t unused, short what, void* nothing) {
    (void)unused;
    (void)what;
    (void)nothing;
    work_deferred();
}

static void tick(evutil_socket_t unused, short what, void* nothing) {
    const struct timeval at_once = {0, 0};
    (void)unused;
    (void)what;
    (void)nothing;
    work_tick();
    event_base_once(base, -1, EV_TIMEOUT, deferred, NULL, &at_once);
}

static void readable(evutil_socket_t descriptor, short what, void* nothing) {
    (void)descriptor;
    (void)what;
    (void)nothing;
    if (!work_readable()) event_del(pipe_watch);
}

static void signalled(evutil_socket_t number, short what, void* nothing) {
    (void)number;
    (void)what;
    (void)nothing;
    work_signal();
}

static void show_refresh(evutil_socket_t unused, short what, void* nothing) {
    (void)unused;
    (void)what;
    (void)nothing;
    work_refresh();
}

static void refreshed(void) { event_active(refresh_arrived, 0, 0); }

int main(void) {
    const struct timeval tick_length = {0, work_tick_ms * 1000};
    const struct timeval length = {work_length_ms / 1000, work_length_ms % 1000 * 1000};
    int pipe_end;
    evthread_use_pthreads();
    base = event_base_new();
    refresh_arrived = event_new(base, -1, 0, show_refresh, NULL);
    pipe_end = work_begin(refreshed);
    if (pipe_end < 0) return 1;
    event_add(evsignal_new(base, SIGUSR1, signalled, NULL), NULL);
    pipe_watch = event_new(base, pipe_end, EV_READ | EV_PERSIST, readable, NULL);
    event_add(pipe_watch, NULL);
    event_add(event_new(base, -1, EV_PERSIST, tick, NULL), &tick_length);
    event_base_loopexit(base, &length);
    event_base_dispatch(base);
    return work_end();
}
