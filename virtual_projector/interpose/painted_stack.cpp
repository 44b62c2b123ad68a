#include "virtual_projector/interpose/painted_stack.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace vp {
namespace {

constexpr std::uint64_t paint = 0x5ac35ac35ac35ac3ULL;
constexpr std::size_t painted_bytes = std::size_t{256} * 1024;  // more than that costs time and is seldom used

// Room below a frame for its own variables and the frame that paints.
constexpr std::uintptr_t frames_below = 512;

std::size_t page_size() { return static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)); }

std::size_t whole_pages(std::size_t size) { return (size + page_size() - 1) / page_size() * page_size(); }

const volatile std::uint64_t* words_at(char* place) {
    return reinterpret_cast<const volatile std::uint64_t*>(place);
}

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
      size_(mapping_size - guard_size) {}

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

char* PaintedStack::painted_begin() const {
    const std::size_t below_entry = entry_ - reinterpret_cast<std::uintptr_t>(base_);
    return base_ + below_entry - std::min(below_entry, painted_bytes);
}

// The last words are left out where they hold the frames that are at work here.
void PaintedStack::entered_at(const void* address) {
    entry_ = reinterpret_cast<std::uintptr_t>(address) / sizeof paint * sizeof paint;
    const auto here = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0)) - frames_below;
    const bool on_this_stack = here < entry_ && here >= reinterpret_cast<std::uintptr_t>(base_);
    paint_up_to(on_this_stack ? here : entry_);
}

void PaintedStack::paint_up_to(std::uintptr_t end) {
    char* begin = painted_begin();
    const auto begin_address = reinterpret_cast<std::uintptr_t>(begin);
    if (end <= begin_address) return;
    auto* words = reinterpret_cast<std::uint64_t*>(begin);
    paint_words(words, words + (end - begin_address) / sizeof paint);
}

// Below the paint, pages that were never touched are not there and need no look.
const volatile std::uint64_t* PaintedStack::deepest_below_paint() const {
    const std::size_t page = page_size();
    char* painted = painted_begin();
    const auto length = static_cast<std::size_t>(painted - base_);
    std::vector<unsigned char> present(length / page + 1);
    if (::mincore(base_, length, present.data()) != 0) return words_at(painted);
    std::size_t first = 0;
    while (first < length / page && (present[first] & 1) == 0) ++first;
    return first_other_word(words_at(base_ + first * page), words_at(painted), 0);
}

// The painted part first: looking below it asks for memory, which itself uses the stack.
std::uintptr_t PaintedStack::deepest_address() const {
    const volatile std::uint64_t* painted = words_at(painted_begin());
    const volatile std::uint64_t* entry = words_at(base_ + (entry_ - reinterpret_cast<std::uintptr_t>(base_)));
    const volatile std::uint64_t* in_paint = first_other_word(painted, entry, paint);
    const volatile std::uint64_t* below = deepest_below_paint();
    return reinterpret_cast<std::uintptr_t>(below != painted ? below : in_paint);
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
    paint_up_to(reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0)) - frames_below);
}

}  // namespace vp
