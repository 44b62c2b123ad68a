#include "virtual_projector/clock/kernel_state.h"

#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "virtual_projector/clock/reentrancy_guard.h"

namespace vp {

// The clock's number is as pthread_getcpuclockid makes it.
double processor_time_s(int kernel_id) {
    const ReentrancyGuard guard;
    constexpr int of_a_thread = 6;
    const auto clock = static_cast<clockid_t>((~static_cast<unsigned>(kernel_id) << 3) | of_a_thread);
    timespec time{};
    if (::clock_gettime(clock, &time) != 0) return 0;
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

bool sleeps_in_kernel(int kernel_id) {
    const ReentrancyGuard guard;
    std::ifstream file("/proc/self/task/" + std::to_string(kernel_id) + "/stat");
    std::string text;
    std::getline(file, text);
    const std::size_t name_end = text.rfind(") ");  // the name may hold anything
    return name_end != std::string::npos && name_end + 2 < text.size() && text[name_end + 2] == 'S';
}

}  // namespace vp
