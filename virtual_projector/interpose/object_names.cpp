#include "virtual_projector/interpose/object_names.h"

#include <dlfcn.h>

namespace vp {
namespace {

bool is_named(const Dl_info& info, const void* object) {
    return info.dli_saddr == object && info.dli_sname != nullptr;
}

}  // namespace

std::string name_of_object(const void* object) {
    Dl_info info{};
    if (::dladdr(object, &info) == 0 || !is_named(info, object)) return {};
    return info.dli_sname;
}

std::string ObjectNames::name_of(const void* object, const std::string& kind) {
    Dl_info info{};
    if (::dladdr(object, &info) == 0) return {};
    if (is_named(info, object)) return info.dli_sname;
    const auto offset =
        reinterpret_cast<std::uintptr_t>(object) - reinterpret_cast<std::uintptr_t>(info.dli_fbase);
    const auto [found, is_new] = numbers_.emplace(Place{kind, info.dli_fname, offset}, 0);
    if (is_new) found->second = ++last_numbers_[kind];
    return kind + " " + std::to_string(found->second);
}

}  // namespace vp
