/* What a host may have of its own. */
#ifndef TESTS_HOST_C_OWN_FUNCTIONS_H
#define TESTS_HOST_C_OWN_FUNCTIONS_H

/* In words: whether they are there, and whether anybody but the host itself has called them. */
const char* own_functions_state(void);

#endif
