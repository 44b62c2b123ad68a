// Where the loader would look for a library that some other library asks for.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_LIBRARY_SEARCH_H
#define VIRTUAL_PROJECTOR_INTERPOSE_LIBRARY_SEARCH_H

#include <string>

namespace vp {

/// The file of the library `name` in the folders that the caller's own file names for its libraries (RPATH or
/// RUNPATH). Empty where those say nothing of it: the loader is then to look by itself. `caller` is an address
/// in its code.
std::string library_for(const char* name, const void* caller);

}  // namespace vp

#endif
