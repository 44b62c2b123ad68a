#include <signal.h>
#include <uv.h>

#include "tests/event_loops/loop_work.h"

static uv_async_t refresh_arrived;
static uv_timer_t ticks;
static uv_timer_t length;
static uv_idle_t next_round;
static uv_poll_t pipe_watch;
static uv_signal_t signals;

static void deferred(uv_idle_t* idle) {
    uv_idle_stop(idle);
    work_deferred();
}

static void tick(uv_timer_t* timer) {
    (void)timer;
    work_tick();
    uv_idle_start(&next_round, deferred);
}

static void readable(uv_poll_t* poll, int status, int events) {
    (void)status;
    (void)events;
    if (!work_readable()) uv_poll_stop(poll);
}

static void signalled(uv_signal_t* handle, int number) {
    (void)handle;
    (void)number;
    work_signal();
}

static void show_refresh(uv_async_t* async) {
    (void)async;
    work_refresh();
}

static void refreshed(void) { uv_async_send(&refresh_arrived); }

static void end(uv_timer_t* timer) { uv_stop(timer->loop); }

int main(void) {
    uv_loop_t* const loop = uv_default_loop();
    int pipe_end;
    uv_async_init(loop, &refresh_arrived, show_refresh);
    pipe_end = work_begin(refreshed);
    if (pipe_end < 0) return 1;
    uv_idle_init(loop, &next_round);
    uv_signal_init(loop, &signals);
    uv_signal_start(&signals, signalled, SIGUSR1);
    uv_poll_init(loop, &pipe_watch, pipe_end);
    uv_poll_start(&pipe_watch, UV_READABLE, readable);
    uv_timer_init(loop, &ticks);
    uv_timer_start(&ticks, tick, work_tick_ms, work_tick_ms);
    uv_timer_init(loop, &length);
    uv_timer_start(&length, end, work_length_ms, 0);
    uv_run(loop, UV_RUN_DEFAULT);
    return work_end();
}
