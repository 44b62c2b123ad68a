#include "virtual_projector/interpose/thread_run.h"

#include <pthread.h>

// With exceptions the C library's cleanup would be a destructor.
#ifdef __EXCEPTIONS
#error "this file is compiled with -fno-exceptions"
#endif

namespace vp {

void* run_to_its_end(void* (*function)(void*), void (*end)(void*), void* argument) {
    void* result = nullptr;
    pthread_cleanup_push(end, argument);
    result = function(argument);
    pthread_cleanup_pop(1);
    return result;
}

}  // namespace vp
