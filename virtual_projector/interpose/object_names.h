// Names of the program's objects, for the table of waiting threads.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_OBJECT_NAMES_H
#define VIRTUAL_PROJECTOR_INTERPOSE_OBJECT_NAMES_H

#include <string>

namespace vp {

/// That of a global object; empty when it has none that the program exports.
std::string name_of_object(const void* object);

}  // namespace vp

#endif
