// Reading what the library's threads write, and writing what they read.
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

/// Changes one of the library's shared variables, in one piece.
template <typename T>
void poke(T& shared, T value) {
    __atomic_store(&shared, &value, __ATOMIC_RELAXED);
}

}  // namespace host

#endif
