/* The smallest host: registers its callbacks, starts the library, asks for one run and waits for its end. */
#include <stdint.h>
#include <stdio.h>
#include <unistd.h>

#include "ovrafocus/ovrafocus.h"
#include "tests/host_c/own_functions.h"

static const useconds_t poll_us = 100000;
static const int longest_wait_polls = 600;
static const int32_t fan_speed = 1200; /* in the fan driver's unit */

static volatile int refreshed;

static void show_toast(int32_t code) { printf("toast %d\n", (int)code); }

static void refresh(void) { refreshed = 1; }

static app_callback_table callbacks = {.refresh_ui = refresh, .toast = show_toast};

static int started(const char* name, int32_t result) {
    if (result != 0) printf("%s failed with %d\n", name, (int)result);
    return result == 0;
}

static int start_library(void) {
    app_callback_init(&callbacks);
    if (get_app_callback() != &callbacks) return started("get_app_callback", -1);
    return started("ovrafocus_init", ovrafocus_init()) &&
           started("ovra_sys_param_init", ovra_sys_param_init()) &&
           started("ovra_gsensor_init", ovra_gsensor_init()) && started("ovra_akaf_init", ovra_akaf_init());
}

int main(void) {
    int polls = 0;
    if (!start_library()) return 1;
    varnel_autofocus();
    while (!refreshed && polls++ < longest_wait_polls) usleep(poll_us);
    printf("the run %s\n", refreshed ? "has ended" : "does not end");
    /* Inside the library these two call its own write_file and read_file. */
    fan_target_speed_write(fan_speed);
    Tof_Error_Check();
    printf("own functions: %s\n", own_functions_state());
    ovrafocus_deinit();
    return refreshed ? 0 : 1;
}
