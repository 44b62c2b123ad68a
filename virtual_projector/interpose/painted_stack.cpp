#include "virtual_projector/interpose/painted_stack.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

namespace vp {
namespace {

constexpr std::uint64_t paint = 0x5ac35ac35ac35ac3ULL;
constexpr std::size_t painted_bytes = std::size_t{256} * 1024;  // more than that costs time and is seldom used

// Room below a frame for its own variables and the frame that paints.
constexpr std::uintptr_t frames_below = 512;

std::size_t page_size() { return static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)); }

std::size_t whole_pages(std::size_t size) { return (size + page_size() - 1) / page_size() * page_size(); }

// The sanitizers know nothing of this use of memory, and another thread's stack is none of their business.
__attribute__((no_sanitize("address", "thread"))) void paint_words(volatile std::uint64_t* from,
                                                                   volatile std::uint64_t* to) {
    for (; from != to; ++from) *from = paint;
}

__attribute__((no_sanitize("address", "thread"))) const volatile std::uint64_t* first_other_word(
    const volatile std::uint64_t* from, const volatile std::uint64_t* to, std::uint64_t untouched) {
    while (from != to && *from == untouched) ++from;
    return from;
}

}  // namespace

std::optional<PaintedStack> PaintedStack::map(std::size_t size) {
    const std::size_t guard = page_size();
    const std::size_t whole = whole_pages(size) + guard;
    void* mapping = ::mmap(nullptr, whole, PROT_READ | PROT_WRITE,
                           MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_STACK, -1, 0);
    if (mapping == MAP_FAILED) return std::nullopt;
    (void)::mprotect(mapping, guard, PROT_NONE);
    return PaintedStack(static_cast<char*>(mapping), whole, guard);
}

PaintedStack::PaintedStack(char* mapping, std::size_t mapping_size, std::size_t guard_size)
    : mapping_(mapping),
      mapping_size_(mapping_size),
      base_(mapping + guard_size),
      size_(mapping_size - guard_size) {
    paint_words(reinterpret_cast<std::uint64_t*>(painted_begin()),
                reinterpret_cast<std::uint64_t*>(base_ + size_));
}

PaintedStack::PaintedStack(PaintedStack&& other) noexcept { *this = std::move(other); }

PaintedStack& PaintedStack::operator=(PaintedStack&& other) noexcept {
    std::swap(mapping_, other.mapping_);
    std::swap(mapping_size_, other.mapping_size_);
    std::swap(base_, other.base_);
    std::swap(size_, other.size_);
    std::swap(entry_, other.entry_);
    std::swap(noted_, other.noted_);
    return *this;
}

PaintedStack::~PaintedStack() {
    if (mapping_ != nullptr) (void)::munmap(mapping_, mapping_size_);
}

char* PaintedStack::painted_begin() const { return base_ + size_ - std::min(size_, painted_bytes); }

// The part that was never painted is looked at only when the painted part has been used to its end.
std::uintptr_t PaintedStack::deepest_address() const {
    const auto word_at = [](char* place) { return reinterpret_cast<const volatile std::uint64_t*>(place); };
    char* painted = painted_begin();
    const volatile std::uint64_t* deepest = first_other_word(word_at(painted), word_at(base_ + size_), paint);
    if (deepest == word_at(painted)) deepest = first_other_word(word_at(base_), word_at(painted), 0);
    return reinterpret_cast<std::uintptr_t>(deepest);
}

std::size_t PaintedStack::deepest_use() const {
    if (entry_ == 0) return 0;
    const std::uintptr_t deepest = noted_ != 0 ? noted_ : deepest_address();
    return deepest < entry_ ? entry_ - deepest : 0;
}

void PaintedStack::note_use() {
    const std::uintptr_t deepest = deepest_address();
    noted_ = noted_ == 0 ? deepest : std::min(noted_, deepest);
}

void PaintedStack::paint_unused() {
    const auto here = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0)) - frames_below;
    auto* begin = reinterpret_cast<std::uint64_t*>(painted_begin());
    paint_words(begin, begin + (here - reinterpret_cast<std::uintptr_t>(begin)) / sizeof paint);
}

}  // namespace vp
