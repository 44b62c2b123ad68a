#include "virtual_projector/clock/wait.h"

namespace vp {

const char* name_of(Wait::Kind kind) {
    switch (kind) {
        case Wait::Kind::sleep:
            return "sleep";
        case Wait::Kind::mutex:
            return "mutex";
        case Wait::Kind::read_write_lock:
            return "read-write lock";
        case Wait::Kind::spin_lock:
            return "spin lock";
        case Wait::Kind::semaphore:
            return "semaphore";
        case Wait::Kind::condition:
            return "condition";
        case Wait::Kind::barrier:
            return "barrier";
        case Wait::Kind::once:
            return "first call";
        case Wait::Kind::futex:
            return "futex";
        case Wait::Kind::join:
            return "end of";
        case Wait::Kind::device:
            return "device";
        case Wait::Kind::descriptor:
            return "descriptor";
        case Wait::Kind::message_queue:
            return "message queue";
        case Wait::Kind::signal:
            return "signal";
        case Wait::Kind::child:
            return "child process";
    }
    return "";
}

const char* name_of(WaitEnd end) {
    switch (end) {
        case WaitEnd::woken:
            return "woken";
        case WaitEnd::timed_out:
            return "timed out";
        case WaitEnd::interrupted:
            return "interrupted";
    }
    return "";
}

}  // namespace vp
