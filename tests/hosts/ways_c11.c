/* The threads of C11. */
#include <stdatomic.h>
#include <stdlib.h>
#include <threads.h>
#include <time.h>

#include "tests/hosts/c11_ways.h"

#define EXPECT(condition)                  \
    do {                                   \
        if (!(condition)) return __LINE__; \
    } while (0)

static struct timespec wait_length;
static mtx_t lock;
static cnd_t changed;
static atomic_int done;
static atomic_int runs;
static once_flag once = ONCE_FLAG_INIT;
static tss_t storage;
static atomic_int destroyed;

static int sleep_it(void* value) {
    (void)value;
    thrd_sleep(&wait_length, NULL);
    return 12;
}

static int set_done_later(void* value) {
    (void)value;
    thrd_sleep(&wait_length, NULL);
    mtx_lock(&lock);
    atomic_store(&done, 1);
    cnd_broadcast(&changed);
    mtx_unlock(&lock);
    return 0;
}

static int hold_lock(void* value) {
    (void)value;
    mtx_lock(&lock);
    atomic_store(&done, 1);
    thrd_sleep(&wait_length, NULL);
    mtx_unlock(&lock);
    return 0;
}

static void run_once(void) {
    thrd_sleep(&wait_length, NULL);
    atomic_fetch_add(&runs, 1);
}

static int run_it_once(void* value) {
    (void)value;
    call_once(&once, run_once);
    return 0;
}

static struct timespec moment_after(struct timespec length) {
    struct timespec moment;
    timespec_get(&moment, TIME_UTC);
    moment.tv_sec += length.tv_sec;
    moment.tv_nsec += length.tv_nsec;
    if (moment.tv_nsec >= 1000000000) {
        moment.tv_nsec -= 1000000000;
        ++moment.tv_sec;
    }
    return moment;
}

int c11_sleep(struct timespec length) {
    struct timespec left;
    EXPECT(thrd_sleep(&length, &left) == 0);
    return 0;
}

int c11_join(struct timespec length) {
    thrd_t thread;
    int result = 0;
    wait_length = length;
    EXPECT(thrd_create(&thread, sleep_it, NULL) == thrd_success);
    EXPECT(thrd_join(thread, &result) == thrd_success);
    EXPECT(result == 12);
    return 0;
}

int c11_yield(struct timespec length) {
    thrd_t thread;
    wait_length = length;
    EXPECT(mtx_init(&lock, mtx_plain) == thrd_success);
    EXPECT(cnd_init(&changed) == thrd_success);
    EXPECT(thrd_create(&thread, set_done_later, NULL) == thrd_success);
    while (!atomic_load(&done)) thrd_yield();
    EXPECT(thrd_join(thread, NULL) == thrd_success);
    return 0;
}

int c11_mutex(struct timespec length) {
    thrd_t thread;
    wait_length = length;
    EXPECT(mtx_init(&lock, mtx_plain) == thrd_success);
    EXPECT(thrd_create(&thread, hold_lock, NULL) == thrd_success);
    while (!atomic_load(&done)) thrd_yield();
    EXPECT(mtx_trylock(&lock) == thrd_busy);
    EXPECT(mtx_lock(&lock) == thrd_success);
    EXPECT(mtx_unlock(&lock) == thrd_success);
    EXPECT(thrd_join(thread, NULL) == thrd_success);
    mtx_destroy(&lock);
    return 0;
}

int c11_timedlock(struct timespec length) {
    thrd_t thread;
    struct timespec moment;
    wait_length = length;
    wait_length.tv_sec += length.tv_sec + 10;
    EXPECT(mtx_init(&lock, mtx_timed) == thrd_success);
    EXPECT(thrd_create(&thread, hold_lock, NULL) == thrd_success);
    while (!atomic_load(&done)) thrd_yield();
    moment = moment_after(length);
    EXPECT(mtx_timedlock(&lock, &moment) == thrd_timedout);
    EXPECT(thrd_detach(thread) == thrd_success);
    return 0;
}

int c11_condition(struct timespec length) {
    thrd_t thread;
    wait_length = length;
    EXPECT(mtx_init(&lock, mtx_plain) == thrd_success);
    EXPECT(cnd_init(&changed) == thrd_success);
    EXPECT(thrd_create(&thread, set_done_later, NULL) == thrd_success);
    EXPECT(mtx_lock(&lock) == thrd_success);
    while (!atomic_load(&done)) EXPECT(cnd_wait(&changed, &lock) == thrd_success);
    EXPECT(mtx_unlock(&lock) == thrd_success);
    EXPECT(thrd_join(thread, NULL) == thrd_success);
    return 0;
}

int c11_condition_times_out(struct timespec length) {
    const struct timespec moment = moment_after(length);
    EXPECT(mtx_init(&lock, mtx_plain) == thrd_success);
    EXPECT(cnd_init(&changed) == thrd_success);
    EXPECT(mtx_lock(&lock) == thrd_success);
    EXPECT(cnd_timedwait(&changed, &lock, &moment) == thrd_timedout);
    EXPECT(cnd_signal(&changed) == thrd_success);
    EXPECT(mtx_unlock(&lock) == thrd_success);
    cnd_destroy(&changed);
    return 0;
}

int c11_call_once(struct timespec length) {
    thrd_t thread;
    wait_length = length;
    EXPECT(thrd_create(&thread, run_it_once, NULL) == thrd_success);
    call_once(&once, run_once);
    EXPECT(atomic_load(&runs) == 1);
    EXPECT(thrd_join(thread, NULL) == thrd_success);
    return 0;
}

static void destroy(void* value) {
    if (value == &storage) atomic_fetch_add(&destroyed, 1);
}

static int store(void* value) {
    (void)value;
    EXPECT(tss_set(storage, &storage) == thrd_success);
    thrd_sleep(&wait_length, NULL);
    EXPECT(tss_get(storage) == &storage);
    thrd_exit(12);
}

int c11_thread_storage(struct timespec length) {
    thrd_t thread;
    int result = 0;
    wait_length = length;
    EXPECT(tss_create(&storage, destroy) == thrd_success);
    EXPECT(thrd_create(&thread, store, NULL) == thrd_success);
    EXPECT(thrd_join(thread, &result) == thrd_success);
    EXPECT(result == 12);
    EXPECT(tss_get(storage) == NULL);
    EXPECT(atomic_load(&destroyed) == 1);
    return 0;
}
