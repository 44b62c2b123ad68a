#include "virtual_projector/interpose/library_search.h"

#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <unistd.h>

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <sstream>

#include "virtual_projector/interpose/real_calls.h"

namespace vp {
namespace {

const link_map* object_at(const void* address) {
    Dl_info info{};
    link_map* object = nullptr;
    if (::dladdr1(address, &info, reinterpret_cast<void**>(&object), RTLD_DL_LINKMAP) == 0) return nullptr;
    return object;
}

// Where the table of dynamic entries is read-only, as on MIPS, its addresses are those of the file.
const char* strings_of(const link_map& object, ElfW(Addr) address) {
    const ElfW(Addr) loaded = address < object.l_addr ? address + object.l_addr : address;
    return reinterpret_cast<const char*>(loaded);  // NOLINT(performance-no-int-to-ptr)
}

struct SearchPaths {
    std::string before_environment;  // RPATH, which counts only without RUNPATH
    std::string after_environment;   // RUNPATH
};

SearchPaths search_paths_of(const link_map& object) {
    const char* strings = nullptr;
    const ElfW(Dyn)* before = nullptr;
    const ElfW(Dyn)* after = nullptr;
    for (const ElfW(Dyn)* entry = object.l_ld; entry != nullptr && entry->d_tag != DT_NULL; ++entry) {
        if (entry->d_tag == DT_STRTAB) strings = strings_of(object, entry->d_un.d_ptr);
        if (entry->d_tag == DT_RPATH) before = entry;
        if (entry->d_tag == DT_RUNPATH) after = entry;
    }
    if (strings == nullptr) return {};
    if (after != nullptr) return {"", strings + after->d_un.d_val};
    if (before != nullptr) return {strings + before->d_un.d_val, ""};
    return {};
}

std::string folder_of(const link_map& object) {
    std::string file = object.l_name == nullptr ? "" : object.l_name;
    if (file.empty()) {  // the program itself
        char path[PATH_MAX];
        const ssize_t length = ::readlink("/proc/self/exe", path, sizeof path);
        if (length > 0) file.assign(path, static_cast<std::size_t>(length));
    }
    return file.substr(0, file.find_last_of('/') + 1) + ".";
}

std::string with_origin(std::string folder, const link_map& object) {
    for (const std::string token : {"$ORIGIN", "${ORIGIN}"}) {
        const std::size_t place = folder.find(token);
        if (place != std::string::npos) folder.replace(place, token.size(), folder_of(object));
    }
    return folder;
}

std::string found_in(const std::string& folders, const std::string& name, const link_map& object) {
    std::istringstream list(folders);
    for (std::string folder; std::getline(list, folder, ':');) {
        const std::string file = with_origin(folder, object) + "/" + name;
        if (::access(file.c_str(), R_OK) == 0) return file;
    }
    return {};
}

real::Call<void*(const char*, int)> real_dlopen{"dlopen"};

bool is_loaded(const char* name) {
    void* const library = real_dlopen(name, RTLD_LAZY | RTLD_NOLOAD);
    if (library != nullptr) ::dlclose(library);
    return library != nullptr;
}

}  // namespace

std::string library_for(const char* name, const void* caller) {
    if (name == nullptr || *name == '\0' || std::string(name).find('/') != std::string::npos) return {};
    const link_map* const object = object_at(caller);
    if (object == nullptr) return {};
    const SearchPaths paths = search_paths_of(*object);
    if ((paths.before_environment + paths.after_environment).empty() || is_loaded(name)) return {};
    std::string found = found_in(paths.before_environment, name, *object);
    if (!found.empty() || paths.after_environment.empty()) return found;
    const char* const environment = std::getenv("LD_LIBRARY_PATH");
    if (environment != nullptr && !found_in(environment, name, *object).empty()) return {};
    return found_in(paths.after_environment, name, *object);
}

}  // namespace vp
