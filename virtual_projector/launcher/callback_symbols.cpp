// Two of the library's own functions, which a host calls with its table of callbacks: the library gets ours.
#include <dlfcn.h>

#include <cstdint>

#include "virtual_projector/interpose/ask_machine.h"
#include "virtual_projector/interpose/host_tables.h"
#include "virtual_projector/interpose/watched_library.h"

namespace {

// The library's own, however it was loaded; null without a library.
void* library_function(const char* name) {
    const vp::WatchedLibrary* const library = vp::WatchedLibrary::loaded();
    return library != nullptr ? library->find(name) : dlsym(RTLD_NEXT, name);
}

bool are_recorded() {
    vp::Machine* const machine = vp::Machine::active();
    return machine != nullptr && machine->watches_library();
}

constexpr std::int32_t failed = -1;

}  // namespace

extern "C" {

std::int32_t app_callback_init(const void* table);
const void* get_app_callback();

std::int32_t app_callback_init(const void* table) {
    const auto own = reinterpret_cast<decltype(&app_callback_init)>(library_function("app_callback_init"));
    if (own == nullptr) return failed;
    return own(are_recorded() ? vp::stand_in_for(table) : table);
}

const void* get_app_callback() {
    const auto own = reinterpret_cast<decltype(&get_app_callback)>(library_function("get_app_callback"));
    return own == nullptr ? nullptr : vp::host_table_behind(own());
}

}  // extern "C"
