#include "base/thread.h"

#include <cstddef>

namespace ovra {
namespace {

constexpr std::size_t small_stack_bytes = 8192;

}  // namespace

int start_small_detached_thread(ThreadBody body) {
    pthread_attr_t attributes;
    const int no_attributes = pthread_attr_init(&attributes);
    if (no_attributes != 0) return no_attributes;
    // A refused size leaves the attribute at its default, which is what is wanted then.
    (void)pthread_attr_setstacksize(&attributes, small_stack_bytes);
    (void)pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread;
    const int failure = pthread_create(&thread, &attributes, body, nullptr);
    pthread_attr_destroy(&attributes);
    return failure;
}

int start_default_detached_thread(ThreadBody body, pthread_t& thread) {
    const int failure = pthread_create(&thread, nullptr, body, nullptr);
    if (failure == 0) pthread_detach(thread);
    return failure;
}

}  // namespace ovra
