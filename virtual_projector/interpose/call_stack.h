// Where in the program a thread is, in words.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_CALL_STACK_H
#define VIRTUAL_PROJECTOR_INTERPOSE_CALL_STACK_H

#include <string>

namespace vp {

/// The innermost function of the program or of the library that the calling thread is in: "wait_for_end
/// (host)". What belongs to the virtual projector and to the C and C++ libraries is passed over. By the
/// program's table of symbols; without, the place in its file. Empty: none is found.
std::string innermost_function();

}  // namespace vp

#endif
