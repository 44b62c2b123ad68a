#include "virtual_projector/interpose/object_names.h"

#include <dlfcn.h>

namespace vp {

std::string name_of_object(const void* object) {
    Dl_info info{};
    if (::dladdr(object, &info) == 0 || info.dli_saddr != object || info.dli_sname == nullptr) return {};
    return info.dli_sname;
}

}  // namespace vp
