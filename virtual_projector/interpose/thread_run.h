// A thread's function, called so that its end is noticed whichever way it ends.
#ifndef VP_INTERPOSE_THREAD_RUN_H
#define VP_INTERPOSE_THREAD_RUN_H

namespace vp {

/// Calls `function` with `argument` and gives its result; calls `end` with `argument` when that has returned,
/// and also when the thread ends in it, by pthread_exit() or a cancellation. So it does where functions of the
/// program have no tables for unwinding, as those in C on some processors, where destructors are left out.
void* run_to_its_end(void* (*function)(void*), void (*end)(void*), void* argument);

}  // namespace vp

#endif
