// Names of the program's objects, for the table of waiting threads and for the trace.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_OBJECT_NAMES_H
#define VIRTUAL_PROJECTOR_INTERPOSE_OBJECT_NAMES_H

#include <cstdint>
#include <map>
#include <string>
#include <tuple>

namespace vp {

/// That of a global object; empty when it has none that the program exports.
std::string name_of_object(const void* object);

/// Names for a trace, which may not tell addresses.
///
/// A variable of the program's, or of one of its libraries, that has no symbol (a static one; a global one of
/// most programs) is numbered: "mutex 1" is the first of such mutexes
/// for which a name was wanted. What is on
/// a stack or the heap has no name: at the same address there may have been something else before, and whether
/// there was depends on the PC.
class ObjectNames {
public:
    /// `kind`: what it is, as a numbered name begins. Empty: it has no name.
    std::string name_of(const void* object, const std::string& kind);

private:
    // A library may be unloaded, and loaded again at another place.
    using Place = std::tuple<std::string, std::string, std::uintptr_t>;  // kind, file, offset in it
    std::map<Place, int> numbers_;
    std::map<std::string, int> last_numbers_;  // of each kind
};

}  // namespace vp

#endif
