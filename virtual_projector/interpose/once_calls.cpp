#include "virtual_projector/interpose/once_calls.h"

#include <linux/futex.h>
#include <sys/syscall.h>

#include <climits>

#include "virtual_projector/interpose/object_names.h"
#include "virtual_projector/interpose/real_calls.h"

namespace vp {

bool OnceCalls::begin(pthread_once_t* control) {
    scheduler_.touch();
    while (!is_done(*control)) {
        if ((__atomic_load_n(control, __ATOMIC_RELAXED) & in_progress) == 0) {
            __atomic_store_n(control, in_progress, __ATOMIC_RELAXED);
            return true;
        }
        (void)waits_.wait({Wait::Kind::once, control, name_of_object(control)}, no_deadline);
    }
    return false;
}

void OnceCalls::end(pthread_once_t* control, bool successful) {
    end_without_machine(control, successful);
    scheduler_.wake_all(control);
}

// Threads that are none of the program's wait in the C library.
void OnceCalls::end_without_machine(pthread_once_t* control, bool successful) {
    __atomic_store_n(control, successful ? done : PTHREAD_ONCE_INIT, __ATOMIC_RELEASE);
    (void)real::syscall(SYS_futex, control, FUTEX_WAKE_PRIVATE, INT_MAX, nullptr, nullptr, 0);
}

}  // namespace vp
