#include "ovrafocus/lens_position.h"

int32_t g_limitLeft = -500;
int32_t g_limitRight = 500;
int32_t leftIdle = 1;
int32_t rightIdle = 1;
