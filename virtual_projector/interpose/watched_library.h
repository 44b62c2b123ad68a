// The library under test as the loader has it: where its code is, and what it offers.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_WATCHED_LIBRARY_H
#define VIRTUAL_PROJECTOR_INTERPOSE_WATCHED_LIBRARY_H

#include <cstdint>

namespace vp {

class WatchedLibrary {
public:
    /// Null while it is not loaded, or is part of the program itself.
    static const WatchedLibrary* loaded();

    /// To be called whenever libraries may have been loaded: finds it if it is there.
    static void look_for();
    /// To be called before libraries may go. Nothing of it is looked at until it is found again.
    static void let_go();

    bool has_code_at(const void* address) const {
        const auto place = reinterpret_cast<std::uintptr_t>(address);
        return place >= code_begin_ && place < code_end_;
    }

    /// The address of a function that it offers; null when it does not.
    void* find(const char* name) const;
    /// The address of a variable that it offers, where it uses it itself; null when it does not.
    void* find_variable(const char* name) const;

    WatchedLibrary(void* handle, std::uintptr_t code_begin, std::uintptr_t code_end)
        : handle_(handle), code_begin_(code_begin), code_end_(code_end) {}

private:
    void* handle_;
    std::uintptr_t code_begin_;
    std::uintptr_t code_end_;
};

}  // namespace vp

#endif
