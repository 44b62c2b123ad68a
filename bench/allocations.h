// Requests to the heap by the whole program: the bench's own malloc counts and passes on.
#ifndef BENCH_ALLOCATIONS_H
#define BENCH_ALLOCATIONS_H

namespace bench {

/// Since the program started.
long allocations();

}  // namespace bench

#endif
