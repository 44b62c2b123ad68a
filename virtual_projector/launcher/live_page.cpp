#include "virtual_projector/launcher/live_page.h"

#include <dlfcn.h>

#include <stdexcept>
#include <string>

#include "virtual_projector/launcher/own_libraries.h"

namespace vp {
namespace {

using LiveEntry = int (*)(const LiveProgram&);

std::string find_live_library() {
    try {
        return find_own_library(live_library);
    } catch (const std::runtime_error& missing) {
        throw std::runtime_error(std::string("--live: ") + missing.what() +
                                 ": it is built where cpp-httplib is there");
    }
}

}  // namespace

int serve_live_page(const LiveProgram& program) {
    // Never unloaded: the launcher ends after it.
    void* const library = dlopen(find_live_library().c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) throw std::runtime_error(std::string("--live: ") + dlerror());
    const auto entry = reinterpret_cast<LiveEntry>(dlsym(library, live_entry));
    if (entry == nullptr) throw std::runtime_error(std::string("--live: ") + dlerror());
    return entry(program);
}

}  // namespace vp
