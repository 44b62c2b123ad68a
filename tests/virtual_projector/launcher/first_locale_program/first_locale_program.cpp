// Makes so many calls that each further one costs simulated time, then uses a locale for the first time, which
// sets up the C++ library; prints what that took. Without streams, which would have done so before.
#include <time.h>

#include <cstdio>
#include <locale>

namespace {

long now_ns() {
    timespec now{};
    (void)clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1'000'000'000 + now.tv_nsec;
}

}  // namespace

int main() {
    constexpr int more_than_the_free_calls = 2000;
    for (int i = 0; i < more_than_the_free_calls; ++i) (void)now_ns();
    const long begin = now_ns();
    const long look = now_ns() - begin;
    const long before = now_ns();
    const std::locale first;
    const long length = now_ns() - before;
    std::printf("a look at the clock takes %ld ns, the first locale %ld ns more\n", look, length - look);
    return first == std::locale::classic() ? 0 : 1;
}
