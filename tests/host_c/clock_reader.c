/* A host whose own gettimeofday takes the C library's place and counts. Lying on its side and without a
 * distance sensor, it has the keystone fail: with auto-focus off the run ends with it, at once. */
#include <ovrafocus/ovrafocus.h>
#include <stdio.h>
#include <sys/time.h>
#include <time.h>

static int readings;

int gettimeofday(struct timeval* restrict shown, void* restrict zone) {
    struct timespec now;
    (void)zone;
    ++readings;
    clock_gettime(CLOCK_REALTIME, &now);
    shown->tv_sec = now.tv_sec;
    shown->tv_usec = (suseconds_t)(now.tv_nsec / 1000);
    return 0;
}

int main(void) {
    int sample;
    acc_init_set();
    for (sample = 0; sample < 100; ++sample) acc_event_read();
    varnel_set_osd_settings(1, 0);
    readings = 0;
    const int32_t result = varnel_thread_autofocus();
    const int of_a_run_that_ends_at_once = readings;
    readings = 0;
    varnel_set_osd_settings(1, 1);
    varnel_thread_autofocus();
    fprintf(stderr, "result %d, the clock was read %d times, with auto-focus %d times\n", (int)result,
            of_a_run_that_ends_at_once, readings);
    return 0;
}
