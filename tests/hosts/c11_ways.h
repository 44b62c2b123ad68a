/* Ways that are written in C: each returns 0, or the line that went wrong. */
#ifndef TESTS_HOSTS_C11_WAYS_H
#define TESTS_HOSTS_C11_WAYS_H

#include <time.h>

#ifdef __cplusplus
extern "C" {
#endif

int c11_sleep(struct timespec length);
int c11_join(struct timespec length);
int c11_yield(struct timespec length);
int c11_mutex(struct timespec length);
int c11_timedlock(struct timespec length);
int c11_condition(struct timespec length);
int c11_condition_times_out(struct timespec length);
int c11_call_once(struct timespec length);
int c11_thread_storage(struct timespec length);

#ifdef __cplusplus
}
#endif

#endif
