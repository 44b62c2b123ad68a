// Starting the library's threads.
#ifndef OVRA_BASE_THREAD_H
#define OVRA_BASE_THREAD_H

#include <pthread.h>

namespace ovra {

using ThreadBody = void* (*)(void*);

/// Starts a detached thread with the small stack that the board's memory allows (8192 bytes). Where the
/// platform's minimum is larger the request is refused, the default size is kept and the start goes on.
/// Returns 0, or pthread_create's error.
int start_small_detached_thread(ThreadBody body);

/// Starts a thread with default attributes and detaches it. `thread` becomes its identifier. Returns 0, or
/// pthread_create's error.
int start_default_detached_thread(ThreadBody body, pthread_t& thread);

}  // namespace ovra

#endif
