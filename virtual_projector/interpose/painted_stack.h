// A thread's stack, painted before use so that its deepest use can be measured later.
//
//   low address                                                                   high address
//   | guard page | never painted, still zero ... | painted ...      | used by the thread ... |
//                                                                 ^ deepest use            ^ entry
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_PAINTED_STACK_H
#define VIRTUAL_PROJECTOR_INTERPOSE_PAINTED_STACK_H

#include <cstddef>
#include <cstdint>
#include <optional>

namespace vp {

class PaintedStack {
public:
    /// Maps a stack of at least `size` bytes. Nothing when there is no memory.
    static std::optional<PaintedStack> map(std::size_t size);

    PaintedStack(PaintedStack&& other) noexcept;
    PaintedStack& operator=(PaintedStack&& other) noexcept;
    ~PaintedStack();  // unmaps: only after the thread's very end

    void* base() const { return base_; }  // the lowest usable address, as pthread_attr_setstack wants it
    std::size_t size() const { return size_; }

    /// Where the thread's own code begins to use the stack: what lies above is the C library's. Paints the part
    /// below it that a thread is likely to use. By the thread itself, or before it runs.
    void entered_at(const void* address);

    /// Bytes between the thread's entry and the deepest place that was ever written to; 0 before the entry.
    /// That of the program alone, when its uses were noted.
    std::size_t deepest_use() const;

    // Separating the program's own use from that of the calls that the virtual projector answers in its place,
    // which run on the same stack. By the thread itself: noted when a call begins, painted over when it ends.
    // What is left of the projector in the figure is a few hundred bytes, the frames of these two functions
    // and their callers. Each looks through the painted part of the stack, so this is for measuring only.
    void note_use();
    void paint_unused();

private:
    PaintedStack(char* mapping, std::size_t mapping_size, std::size_t guard_size);
    char* painted_begin() const;
    void paint_up_to(std::uintptr_t end);

    char* mapping_ = nullptr;
    std::size_t mapping_size_ = 0;
    char* base_ = nullptr;
    std::size_t size_ = 0;
    const volatile std::uint64_t* deepest_below_paint() const;
    std::uintptr_t deepest_address() const;

    std::uintptr_t entry_ = 0;
    std::uintptr_t noted_ = 0;  // the deepest place noted so far; 0: none was
};

}  // namespace vp

#endif
