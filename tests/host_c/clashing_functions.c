/* Functions of a host that are named like the library's and do something else. The host is not compiled
   against headers that declare them, as its author never heard of the library's. */
#include <stddef.h>

#include "tests/host_c/own_functions.h"

enum { own_functions = 5 };

static int calls;

const char* itoa(int value) {
    ++calls;
    return value < 0 ? "negative" : "positive";
}

int read_file(void) {
    ++calls;
    return 71;
}

int write_file(void) {
    ++calls;
    return 72;
}

int read_int(void) {
    ++calls;
    return 73;
}

void setmove(int* place) {
    ++calls;
    *place = 74;
}

const char* own_functions_state(void) {
    int place = 0;
    const int called_by_others = calls;
    const char* const word = itoa(-1);
    const int sum = read_file() + write_file() + read_int();
    setmove(&place);
    if (called_by_others != 0) return "somebody else has called them";
    return word[0] == 'n' && sum == 216 && place == 74 && calls == own_functions ? "the host's own"
                                                                                 : "not the host's";
}
