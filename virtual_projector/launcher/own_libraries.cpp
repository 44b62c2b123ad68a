#include "virtual_projector/launcher/own_libraries.h"

#include <unistd.h>

#include <stdexcept>

#include "virtual_projector/launcher/executable.h"

namespace vp {

std::string find_own_library(const std::string& name) {
    const std::string own = own_folder();
    for (const std::string& folder : {own, own + "/" + VP_LIBRARIES_FROM_PROGRAM}) {
        const std::string candidate = folder + "/" + name;
        if (access(candidate.c_str(), R_OK) == 0) return candidate;
    }
    throw std::runtime_error(name + " is not beside the program and not installed");
}

}  // namespace vp
