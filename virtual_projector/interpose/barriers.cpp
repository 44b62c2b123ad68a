#include "virtual_projector/interpose/barriers.h"

#include <cstring>

#include "virtual_projector/interpose/object_names.h"
#include "virtual_projector/interpose/real_calls.h"

namespace vp {
namespace {

// Only the barrier itself says how many it is for: it may have been made before there was a machine. The C
// library keeps the number in the third word, after those that have arrived and the present round.
unsigned count_of(const pthread_barrier_t* barrier) {
    unsigned words[3];
    static_assert(sizeof words <= sizeof *barrier);
    std::memcpy(words, barrier, sizeof words);
    return words[2];
}

}  // namespace

int Barriers::wait(pthread_barrier_t* barrier) {
    scheduler_.touch();
    std::shared_ptr<Round>& present = rounds_[barrier];
    if (!present) present = std::make_shared<Round>();
    const std::shared_ptr<Round> round = present;
    if (++round->arrived >= count_of(barrier)) {
        round->is_over = true;
        rounds_.erase(barrier);
        scheduler_.wake_all(barrier);
        return PTHREAD_BARRIER_SERIAL_THREAD;
    }
    while (!round->is_over)
        (void)waits_.wait({Wait::Kind::barrier, barrier, name_of_object(barrier)}, no_deadline);
    return 0;
}

int Barriers::destroy(pthread_barrier_t* barrier) {
    scheduler_.touch();
    rounds_.erase(barrier);
    return real::pthread_barrier_destroy(barrier);
}

}  // namespace vp
