// Reading what the library's threads write.
#ifndef OVRA_HOST_PEEK_H
#define OVRA_HOST_PEEK_H

namespace host {

/// One of the library's shared variables, as it stands now: in one piece, and possibly already out of date.
template <typename T>
T peek(const T& shared) {
    T value;
    __atomic_load(&shared, &value, __ATOMIC_RELAXED);
    return value;
}

}  // namespace host

#endif
