#include "virtual_projector/interpose/call_stack.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <unwind.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

namespace vp {
namespace {

constexpr std::array<const char*, 8> passed_over = {"libvirtual-projector.so",
                                                    "libc.so",
                                                    "libstdc++.so",
                                                    "libpthread.so",
                                                    "libgcc_s",
                                                    "ld-linux",
                                                    "libm.so",
                                                    "ld.so"};

const char* file_name_of(const char* path) {
    const char* const slash = std::strrchr(path, '/');
    return slash == nullptr ? path : slash + 1;
}

bool is_passed_over(const char* path) {
    const char* const name = file_name_of(path);
    for (const char* const other : passed_over) {
        if (std::strncmp(name, other, std::strlen(other)) == 0) return true;
    }
    return false;
}

std::string readable(const char* name) {
    if (std::strncmp(name, "_Z", 2) != 0) return name;  // C's own; some would be names of types
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> text(abi::__cxa_demangle(name, nullptr, nullptr, &status),
                                                           &std::free);
    return status == 0 ? text.get() : name;
}

// The function at a place of a file, by its full table of symbols; empty when that has been stripped.
std::string function_in_file(const std::string& path, std::uintptr_t place) {
    std::ifstream stream(path, std::ios::binary);
    const std::vector<char> file{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    const auto at = [&file](std::size_t offset, std::size_t size) -> const char* {
        return offset <= file.size() && size <= file.size() - offset ? file.data() + offset : nullptr;
    };
    ElfW(Ehdr) header{};
    if (file.size() < sizeof header || std::memcmp(file.data(), ELFMAG, SELFMAG) != 0) return "";
    std::memcpy(&header, file.data(), sizeof header);
    std::vector<ElfW(Shdr)> sections(header.e_shnum);
    const std::size_t table_size = sections.size() * sizeof(ElfW(Shdr));
    const char* const table = at(header.e_shoff, table_size);
    if (table == nullptr || sections.empty()) return "";
    std::memcpy(sections.data(), table, table_size);
    for (const ElfW(Shdr) & section : sections) {
        if (section.sh_type != SHT_SYMTAB || section.sh_link >= sections.size()) continue;
        const ElfW(Shdr)& names = sections[section.sh_link];
        const char* const symbols = at(section.sh_offset, section.sh_size);
        const char* const text = at(names.sh_offset, names.sh_size);
        if (symbols == nullptr || text == nullptr || names.sh_size == 0 || text[names.sh_size - 1] != 0)
            return "";
        for (std::size_t i = 0; (i + 1) * sizeof(ElfW(Sym)) <= section.sh_size; ++i) {
            ElfW(Sym) symbol;
            std::memcpy(&symbol, symbols + i * sizeof symbol, sizeof symbol);
            const bool is_function = (symbol.st_info & 0xf) == STT_FUNC && symbol.st_name < names.sh_size;
            if (is_function && place >= symbol.st_value && place < symbol.st_value + symbol.st_size)
                return readable(text + symbol.st_name);
        }
    }
    return "";
}

std::string describe(std::uintptr_t address, const Dl_info& info) {
    const auto base = reinterpret_cast<std::uintptr_t>(info.dli_fbase);
    const auto* const header = static_cast<const ElfW(Ehdr)*>(info.dli_fbase);
    const std::uintptr_t place = header->e_type == ET_EXEC ? address : address - base;
    const bool is_program = *info.dli_fname == '\0' || std::strchr(info.dli_fname, '/') == nullptr;
    const std::string found = function_in_file(is_program ? "/proc/self/exe" : info.dli_fname, place);
    const std::string file = std::string(" (") + file_name_of(info.dli_fname) + ")";
    if (!found.empty()) return found + file;
    if (info.dli_sname != nullptr) return readable(info.dli_sname) + file;
    char text[32];
    std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(place));
    return text + file;
}

struct Search {
    std::string found;
};

_Unwind_Reason_Code look_at_frame(_Unwind_Context* context, void* search) {
    int is_exact = 0;  // where a signal struck, and not after a call
    const std::uintptr_t address = _Unwind_GetIPInfo(context, &is_exact) - (is_exact != 0 ? 0 : 1);
    Dl_info info{};
    if (::dladdr(reinterpret_cast<void*>(address), &info) == 0 || info.dli_fname == nullptr ||
        is_passed_over(info.dli_fname))
        return _URC_NO_REASON;
    static_cast<Search*>(search)->found = describe(address, info);
    return _URC_END_OF_STACK;
}

}  // namespace

std::string innermost_function() {
    Search search;
    (void)_Unwind_Backtrace(look_at_frame, &search);
    return search.found;
}

}  // namespace vp
