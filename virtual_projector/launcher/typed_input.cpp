#include "virtual_projector/launcher/typed_input.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace vp {
namespace {

[[noreturn]] void fail() {
    throw std::runtime_error(std::string("standard input cannot be the scenario's: ") + std::strerror(errno));
}

}  // namespace

int move_out_of_the_way(int descriptor) {
    constexpr int far_away = 900;  // below what a process may have by habit, 1024
    const int moved = ::fcntl(descriptor, F_DUPFD_CLOEXEC, far_away);
    if (moved < 0) return descriptor;
    (void)::close(descriptor);
    return moved;
}

TypedInput::TypedInput() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) fail();
    keyboard_ = move_out_of_the_way(ends[1]);
    (void)::fcntl(keyboard_, F_SETFL, O_NONBLOCK);
    if (::dup2(ends[0], STDIN_FILENO) < 0) fail();
    if (ends[0] != STDIN_FILENO) (void)::close(ends[0]);
}

TypedInput::~TypedInput() { (void)::close(keyboard_); }

// A pipe takes a short line as a whole or not at all.
bool TypedInput::type(const std::string& text) const {
    return ::write(keyboard_, text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

}  // namespace vp
