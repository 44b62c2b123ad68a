// Chance, as the program draws it: the same for the same seed.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_PROGRAM_CHANCE_H
#define VIRTUAL_PROJECTOR_INTERPOSE_PROGRAM_CHANCE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>
#include <set>

#include "virtual_projector/clock/clock.h"

namespace vp {

class ProgramChance {
public:
    explicit ProgramChance(Clock& clock) : clock_(clock) {}

    void set_seed(std::uint64_t seed) { random_.seed(seed); }

    /// Fills the buffer; nothing, on the PC's own time, means that the C library is to answer.
    std::optional<long> fill(void* buffer, std::size_t count);
    std::optional<long> draw();  // 32 bits
    std::optional<long> draw_below(std::uint32_t bound);

    /// Descriptors of /dev/urandom and /dev/random.
    static bool is_source(const char* path);
    void note_source(int descriptor) { sources_.insert(descriptor); }
    void forget(int descriptor) { sources_.erase(descriptor); }
    void copy(int from, int to);
    bool is_source(int descriptor) const { return sources_.count(descriptor) != 0; }

private:
    Clock& clock_;
    std::mt19937_64 random_{1};
    std::set<int> sources_;
};

}  // namespace vp

#endif
