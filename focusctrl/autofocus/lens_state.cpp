#include "ovrafocus/lens_state.h"

pthread_mutex_t mutex_focus = PTHREAD_MUTEX_INITIALIZER;

int32_t g_limitLeft = -500;
int32_t g_limitRight = 500;
int32_t leftIdle = 1;
int32_t rightIdle = 1;
uint8_t lastDirection = 1;
int32_t direction = 0;
int32_t lastDistance = 300;

int32_t listFlash[30] = {};
int32_t elepnCalidata[25] = {};
int32_t g_flag_high_temp = 0;
int32_t g_flag_elepn_temp = 0;
int32_t g_focus_temp_adjust = 0;
