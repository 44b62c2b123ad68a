// A keyboard for the program: a pipe in the place of its standard input, into which the scenario types. Nobody
// outside of the run is at its other end, so simulated time goes on while the program waits for a line.
#ifndef VIRTUAL_PROJECTOR_LAUNCHER_TYPED_INPUT_H
#define VIRTUAL_PROJECTOR_LAUNCHER_TYPED_INPUT_H

#include <string>

namespace vp {

class TypedInput {
public:
    /// Puts the pipe in standard input's place. Throws std::runtime_error when the system refuses.
    TypedInput();
    ~TypedInput();
    TypedInput(const TypedInput&) = delete;
    TypedInput& operator=(const TypedInput&) = delete;

    /// False when the program has left so much unread that there is no room for the text.
    bool type(const std::string& text) const;

    /// The end that is typed into: the program must not close it.
    int descriptor() const { return keyboard_; }

private:
    int keyboard_;
};

/// The same descriptor under a number that programs hardly reach, closed when another program is executed: the
/// numbers that the program's own get do not change by it.
int move_out_of_the_way(int descriptor);

}  // namespace vp

#endif
