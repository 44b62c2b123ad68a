// The threads of C11, which are tried in C.
#include "tests/hosts/c11_ways.h"

#include "tests/hosts/ways.h"

namespace {

using namespace ways;

void runs(const char* name, int (*way)(timespec)) {
    takes_the_wait(name,
                   [&] { same("the line in ways_c11.c that went wrong", way(to_timespec(wait_ns())), 0); });
}

}  // namespace

WAY(c11_thrd_sleep) { runs("thrd_sleep", c11_sleep); }
WAY(c11_thrd_join) { runs("thrd_join", c11_join); }
WAY(c11_thrd_yield) { runs("thrd_yield", c11_yield); }
WAY(c11_mtx_lock) { runs("mtx_lock", c11_mutex); }
WAY(c11_mtx_timedlock) { runs("mtx_timedlock", c11_timedlock); }
WAY(c11_cnd_wait) { runs("cnd_wait", c11_condition); }
WAY(c11_cnd_timedwait) { runs("cnd_timedwait", c11_condition_times_out); }
WAY(c11_call_once) { runs("call_once", c11_call_once); }
WAY(c11_tss) { runs("tss", c11_thread_storage); }
