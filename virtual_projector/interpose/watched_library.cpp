#include "virtual_projector/interpose/watched_library.h"

#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <list>
#include <string>

#include "virtual_projector/clock/reentrancy_guard.h"
#include "virtual_projector/interpose/real_calls.h"

namespace vp {
namespace {

constexpr const char* library_name = "libovrafocus.so";

std::atomic<const WatchedLibrary*> found{nullptr};

real::Call<void*(const char*, int)> real_dlopen{"dlopen"};
real::Call<int(void*)> real_dlclose{"dlclose"};

struct Place {
    std::string file;
    std::uintptr_t code_begin = UINTPTR_MAX;
    std::uintptr_t code_end = 0;
};

int look_at(dl_phdr_info* object, std::size_t /*size*/, void* result) {
    if (object->dlpi_name == nullptr || std::strstr(object->dlpi_name, library_name) == nullptr) return 0;
    Place& place = *static_cast<Place*>(result);
    place.file = object->dlpi_name;
    for (int i = 0; i < object->dlpi_phnum; ++i) {
        const ElfW(Phdr)& segment = object->dlpi_phdr[i];
        if (segment.p_type != PT_LOAD || (segment.p_flags & PF_X) == 0) continue;
        const std::uintptr_t begin = object->dlpi_addr + segment.p_vaddr;
        place.code_begin = std::min(place.code_begin, begin);
        place.code_end = std::max(place.code_end, begin + segment.p_memsz);
    }
    return 1;
}

}  // namespace

const WatchedLibrary* WatchedLibrary::loaded() { return found.load(std::memory_order_acquire); }

void WatchedLibrary::look_for() {
    if (loaded() != nullptr) return;
    const ReentrancyGuard guard;
    Place place;
    if (::dl_iterate_phdr(look_at, &place) == 0) return;
    // Only asked for by its name: whoever loaded it keeps it, or lets it go.
    void* const handle = real_dlopen(place.file.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (handle == nullptr) return;
    (void)real_dlclose(handle);
    // Some thread may still look at one that has been let go.
    static auto* all = new std::list<WatchedLibrary>;
    all->emplace_back(handle, place.code_begin, place.code_end);
    found.store(&all->back(), std::memory_order_release);
}

void WatchedLibrary::let_go() { found.store(nullptr, std::memory_order_release); }

void* WatchedLibrary::find(const char* name) const { return ::dlsym(handle_, name); }

// A program that names a variable may have been linked with a copy of it, which the library uses then as well:
// the loader looks through the program first.
void* WatchedLibrary::find_variable(const char* name) const {
    void* const used = ::dlsym(RTLD_DEFAULT, name);
    return used != nullptr ? used : find(name);
}

}  // namespace vp
