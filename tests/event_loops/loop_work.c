#include "tests/event_loops/loop_work.h"

#include <errno.h>
#include <fcntl.h>
#include <ovrafocus/ovrafocus.h>
#include <pthread.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <time.h>
#include <unistd.h>

enum { bytes_to_send = 100, send_pause_us = 250000, ticks_between_signals = 10 };

static struct {
    int ticks;
    int deferred;
    int bytes;
    int ends_of_pipe;
    int signals;
    int refreshes;
} counts;

static int ends[2];
static pthread_t sender;
static int64_t begin_ms;
static app_callback_table callbacks;

static void mark(const char* attribute) { read_file(attribute); }

static int64_t now_ms(void) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (int64_t)now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

static void* send_bytes(void* unused) {
    int sent;
    (void)unused;
    for (sent = 0; sent < bytes_to_send; ++sent) {
        usleep(send_pause_us);
        if (write(ends[1], "x", 1) != 1) perror("write");
    }
    close(ends[1]);
    return NULL;
}

static int start_library(void) {
    app_callback_init(&callbacks);
    return ovrafocus_init() == 0 && ovra_sys_param_init() == 0 && ovra_gsensor_init() == 0 &&
           ovra_akaf_init() == 0;
}

int work_begin(void (*refreshed)(void)) {
    callbacks.refresh_ui = refreshed;
    begin_ms = now_ms();
    if (!start_library() || pipe(ends) != 0 || fcntl(ends[0], F_SETFL, O_NONBLOCK) != 0) return -1;
    if (pthread_create(&sender, NULL, send_bytes, NULL) != 0) return -1;
    varnel_autofocus();
    return ends[0];
}

void work_tick(void) {
    ++counts.ticks;
    mark("/sys/class/motor/place");
    if (counts.ticks % ticks_between_signals == 0) kill(getpid(), SIGUSR1);
}

void work_deferred(void) {
    ++counts.deferred;
    mark("/sys/class/motor/pos");
}

void work_signal(void) {
    ++counts.signals;
    mark("/sys/class/motor/zero");
}

void work_refresh(void) {
    ++counts.refreshes;
    mark("/sys/class/motor/end");
}

int work_readable(void) {
    char bytes[bytes_to_send];
    const ssize_t count = read(ends[0], bytes, sizeof bytes);
    if (count < 0 && errno == EAGAIN) return 1;
    if (count <= 0) {
        if (count < 0) perror("read");
        ++counts.ends_of_pipe;
        return 0;
    }
    counts.bytes += (int)count;
    mark("/sys/class/motor/air_travel");
    return 1;
}

int work_end(void) {
    const int64_t length_ms = now_ms() - begin_ms;
    pthread_join(sender, NULL);
    fprintf(stderr, "%d ticks, %d deferred, %d bytes, %d end of the pipe, %d signals, %d refresh in %d ms\n",
            counts.ticks, counts.deferred, counts.bytes, counts.ends_of_pipe, counts.signals, counts.refreshes,
            (int)length_ms);
    return ovrafocus_deinit() == 0 ? 0 : 1;
}
