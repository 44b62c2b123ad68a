/* A host that comes to no end by itself, in the one way it is told to. In C, with static functions only:
   nothing but the program's own symbols says where it stands. */
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include "ovrafocus/ovrafocus.h"

static pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
static pthread_cond_t never_signalled = PTHREAD_COND_INITIALIZER;
static volatile int flag;
static volatile int inside;

static app_callback_table callbacks;

static int start_library(void) {
    app_callback_init(&callbacks);
    return ovrafocus_init() == 0 && ovra_sys_param_init() == 0 && ovra_gsensor_init() == 0 &&
           ovra_akaf_init() == 0;
}

static long long microseconds(void) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000000LL + now.tv_nsec / 1000;
}

static void* sleep_in_steps(void* unused) {
    for (;;) usleep(1500000);
    return unused;
}

static void* wait_for_nothing(void* unused) {
    sleep(1);
    pthread_mutex_lock(&lock);
    for (;;) pthread_cond_wait(&never_signalled, &lock);
    return unused;
}

static void read_all(int descriptor) {
    char byte;
    while (read(descriptor, &byte, 1) == 1) {
    }
}

/* Three threads, each at something of its own. */
static int wait_in_many_ways(void) {
    int ends[2];
    pthread_t threads[2];
    if (pipe(ends) != 0) return 1;
    pthread_create(&threads[0], NULL, sleep_in_steps, NULL);
    pthread_create(&threads[1], NULL, wait_for_nothing, NULL);
    read_all(ends[0]);
    return 0;
}

static int run_library(void) {
    if (!start_library()) return 1;
    varnel_autofocus();
    sleep(20);
    printf("done\n");
    return 0;
}

static int pause_beside_library(void) {
    if (!start_library()) return 1;
    pause();
    return 0;
}

static int wait_beside_library(void) {
    if (!start_library()) return 1;
    wait_for_nothing(NULL);
    return 0;
}

static int await_key_beside_library(const char* node) {
    char event[64];
    const long long before = microseconds();
    const int descriptor = open(node, O_RDONLY);
    if (!start_library() || descriptor < 0) return 1;
    if (read(descriptor, event, sizeof event) <= 0) return 1;
    printf("a key after %lld s\n", (microseconds() - before) / 1000000);
    return 0;
}

/* The kernel's own waiting, past the C library. */
static int block_in_kernel(void) {
    char byte;
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) return 1;
    sleep(3);
    return (int)syscall(SYS_recvfrom, ends[0], &byte, 1, 0, NULL, NULL);
}

static void compute(void) {
    while (!flag) {
    }
}

static int compute_for_ever(void) {
    sleep(3);
    compute();
    return 0;
}

static int block_beside_library(void) { return start_library() ? block_in_kernel() : 1; }

static void* set_flag_later(void* unused) {
    sleep(30);
    flag = 1;
    return unused;
}

static int compute_until_set(void) {
    pthread_t setter;
    const long long before = microseconds();
    pthread_create(&setter, NULL, set_flag_later, NULL);
    compute();
    printf("%lld us went by\n", microseconds() - before);
    return 0;
}

/* True: another thread was in here, too. */
static int be_alone(void) {
    volatile int i;
    if (inside) return 1;
    inside = 1;
    for (i = 0; i < 20000; ++i) {
    }
    inside = 0;
    return 0;
}

static void* take_turns(void* found) {
    int i;
    for (i = 0; i < 500; ++i) {
        *(int*)found += be_alone();
        usleep(2000);
    }
    return found;
}

static int compute_and_take_turns(void) {
    pthread_t setter, other;
    long long before;
    int met = 0, met_by_other = 0;
    pthread_create(&setter, NULL, set_flag_later, NULL);
    compute();
    pthread_join(setter, NULL);
    before = microseconds();
    pthread_create(&other, NULL, take_turns, &met_by_other);
    take_turns(&met);
    pthread_join(other, NULL);
    printf("met %d times in %lld us\n", met + met_by_other, microseconds() - before);
    return 0;
}

/* Long for the others, and less than what costs a thread its turn. True: something was set meanwhile. */
static int compute_and_watch(const volatile int* variable) {
    volatile int i;
    int seen = 0;
    for (i = 0; i < 30000000; ++i) seen |= *variable;
    return seen;
}

static volatile int has_ended;
static volatile int is_done;
static int exits_after_computing;

static void note_end(void* unused) {
    (void)unused;
    has_ended = 1;
}

static void* compute_and_end(void* key) {
    pthread_setspecific(*(pthread_key_t*)key, key);
    compute();
    return NULL;
}

static void* compute_and_call_board(void* unused) {
    int (*const call)(void) = (int (*)(void))dlsym(RTLD_DEFAULT, "usb_eth_config");
    compute();
    (void)call();
    has_ended = 1;
    return unused;
}

/* Whether the thread, whose turn is gone, goes on while this one has it. */
static int have_turn_beside(void* (*entry)(void*), void* argument) {
    int came_early;
    pthread_t thread;
    pthread_create(&thread, NULL, entry, argument);
    sleep(30);
    flag = 1;
    came_early = compute_and_watch(&has_ended);
    pthread_join(thread, NULL);
    printf("%s\n", came_early ? "without its turn" : "in its turn");
    return 0;
}

static int have_turn_beside_end(void) {
    pthread_key_t key;
    pthread_key_create(&key, note_end);
    return have_turn_beside(compute_and_end, &key);
}

static void* set_flag_and_compute(void* unused) {
    sleep(30);
    flag = 1;
    (void)compute_and_watch(&flag);
    is_done = 1;
    return unused;
}

/* When all that belongs to the run has come to its end. */
__attribute__((destructor)) static void tell_whether_done(void) {
    if (exits_after_computing) printf("%s\n", is_done ? "in its turn" : "without its turn");
}

static int compute_and_exit(void) {
    pthread_t setter;
    pthread_create(&setter, NULL, set_flag_and_compute, NULL);
    exits_after_computing = 1;
    compute();
    return 0;
}

static int end_by_alarm(void) {
    alarm(3);
    pause();
    return 0;
}

int main(int argc, char** argv) {
    const char* const what = argc > 1 ? argv[1] : "";
    if (strcmp(what, "many ways") == 0) return wait_in_many_ways();
    if (strcmp(what, "library") == 0) return run_library();
    if (strcmp(what, "library, pause") == 0) return pause_beside_library();
    if (strcmp(what, "library, wait") == 0) return wait_beside_library();
    if (strcmp(what, "library, key") == 0 && argc > 2) return await_key_beside_library(argv[2]);
    if (strcmp(what, "kernel") == 0) return block_in_kernel();
    if (strcmp(what, "compute") == 0) return compute_for_ever();
    if (strcmp(what, "library, kernel") == 0) return block_beside_library();
    if (strcmp(what, "compute until set") == 0) return compute_until_set();
    if (strcmp(what, "compute and take turns") == 0) return compute_and_take_turns();
    if (strcmp(what, "compute, thread ends") == 0) return have_turn_beside_end();
    if (strcmp(what, "compute, board call") == 0) return have_turn_beside(compute_and_call_board, NULL);
    if (strcmp(what, "compute, exit") == 0) return compute_and_exit();
    if (strcmp(what, "alarm") == 0) return end_by_alarm();
    return 99;
}
