/* A program whose time_t has 64 bits on every processor. Shows how much time each way of waiting took. */
#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/select.h>
#include <sys/time.h>
#include <time.h>

_Static_assert(sizeof(time_t) == 8, "built for 64 bits of time");

static int64_t now_us(void) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (int64_t)now.tv_sec * 1000000 + now.tv_nsec / 1000;
}

static int64_t last_us;

static void tell(const char* what) {
    const int64_t now = now_us();
    printf("%s took %lld us\n", what, (long long)(now - last_us));
    last_us = now;
}

static void wait_for_nobody(void) {
    static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    static pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
    struct timespec until;
    clock_gettime(CLOCK_REALTIME, &until);
    until.tv_sec += 4000;
    pthread_mutex_lock(&mutex);
    while (pthread_cond_timedwait(&condition, &mutex, &until) == 0) {
    }
    pthread_mutex_unlock(&mutex);
}

int main(void) {
    const struct timespec length = {1000, 5000};
    struct timeval longest = {3000, 7};
    struct timespec wall_clock;
    struct timeval time_of_day;
    last_us = now_us();
    nanosleep(&length, NULL);
    tell("nanosleep");
    clock_nanosleep(CLOCK_MONOTONIC, 0, &length, NULL);
    tell("clock_nanosleep");
    select(0, NULL, NULL, NULL, &longest);
    tell("select");
    wait_for_nobody();
    tell("pthread_cond_timedwait");
    clock_gettime(CLOCK_REALTIME, &wall_clock);
    gettimeofday(&time_of_day, NULL);
    printf("the clocks %s\n",
           wall_clock.tv_sec == time_of_day.tv_sec && wall_clock.tv_sec == time(NULL) ? "agree" : "differ");
    return 0;
}
