#include "ovrafocus/log_level.h"

int32_t ovra_log_level = 4;
