// Which of the program's threads the calling one is.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_CURRENT_THREAD_H
#define VIRTUAL_PROJECTOR_INTERPOSE_CURRENT_THREAD_H

#include <string>

namespace vp {

struct ThreadIdentity {
    int number = 0;    // in the order of creation, 1 is the one that started
    std::string name;  // of the entry function; empty when it has no symbol
};

/// The calling thread's own; null when it was not started by the program.
const ThreadIdentity* current_thread_identity();

/// Says who the calling thread is, until it is said again. The identity must last as long.
void set_current_thread_identity(const ThreadIdentity* identity);

}  // namespace vp

#endif
