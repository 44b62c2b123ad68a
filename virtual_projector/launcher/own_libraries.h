// The launcher's own libraries, which no linker names.
#ifndef VIRTUAL_PROJECTOR_LAUNCHER_OWN_LIBRARIES_H
#define VIRTUAL_PROJECTOR_LAUNCHER_OWN_LIBRARIES_H

#include <string>

namespace vp {

/// What a program that is run gets loaded before everything else.
constexpr const char* preload_library = "libvirtual-projector.so";
/// The live page's server, with all that it needs of others: no other run pays for loading it.
constexpr const char* live_library = "libvirtual-projector-live.so";

/// The path of one of them, beside the launcher or where it is installed with it. Throws std::runtime_error
/// when it is in neither place.
std::string find_own_library(const std::string& name);

}  // namespace vp

#endif
