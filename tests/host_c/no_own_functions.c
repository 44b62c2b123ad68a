#include "tests/host_c/own_functions.h"

const char* own_functions_state(void) { return "none"; }
