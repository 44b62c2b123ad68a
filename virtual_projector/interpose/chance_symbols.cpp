// Entry points of the C library: sources of chance. Symbols only.
#undef _FORTIFY_SOURCE
#include <stdlib.h>
#include <sys/random.h>
#include <unistd.h>

#include <cstdint>
#include <optional>
#include <random>

#include "virtual_projector/interpose/ask_machine.h"
#include "virtual_projector/interpose/real_calls.h"

namespace real = vp::real;
using vp::answer;
using vp::ask_machine;
using vp::Machine;

extern "C" {

// Asked for by name when a program is linked: the other names may be found elsewhere first.
extern const char vp_interposed_chance_calls[];
const char vp_interposed_chance_calls[] = "interposed calls of the virtual projector: chance";

ssize_t getrandom(void* buffer, size_t count, unsigned flags) {
    return answer<ssize_t>([&](Machine& m) { return m.chance().fill(buffer, count); },
                           [&] { return real::getrandom(buffer, count, flags); });
}

int getentropy(void* buffer, size_t count) {
    constexpr size_t greatest = 256;
    const auto result = ask_machine(
        [&](Machine& m) { return count > greatest ? std::nullopt : m.chance().fill(buffer, count); });
    return result ? 0 : real::getentropy(buffer, count);
}

std::uint32_t arc4random() noexcept {
    const auto result = ask_machine([&](Machine& m) { return m.chance().draw(); });
    return result ? static_cast<std::uint32_t>(*result) : real::arc4random();
}

void arc4random_buf(void* buffer, size_t count) noexcept {
    if (!ask_machine([&](Machine& m) { return m.chance().fill(buffer, count); }))
        real::arc4random_buf(buffer, count);
}

std::uint32_t arc4random_uniform(std::uint32_t bound) noexcept {
    const auto result = ask_machine([&](Machine& m) { return m.chance().draw_below(bound); });
    return result ? static_cast<std::uint32_t>(*result) : real::arc4random_uniform(bound);
}

// std::random_device::_M_getval, which asks the processor itself.
// NOLINTNEXTLINE(readability-identifier-naming): the C++ library's own name
unsigned _ZNSt13random_device9_M_getvalEv(std::random_device* device) {
    static real::Call<unsigned(std::random_device*)> next{"_ZNSt13random_device9_M_getvalEv"};
    const auto result = ask_machine([&](Machine& m) { return m.chance().draw(); });
    return result ? static_cast<unsigned>(*result) : next(device);
}

}  // extern "C"
