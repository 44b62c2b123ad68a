#include "virtual_projector/interpose/program_chance.h"

#include <algorithm>
#include <cstring>

namespace vp {

bool ProgramChance::is_source(const char* path) {
    return std::strcmp(path, "/dev/urandom") == 0 || std::strcmp(path, "/dev/random") == 0;
}

void ProgramChance::copy(int from, int to) {
    if (is_source(from)) note_source(to);
}

std::optional<long> ProgramChance::fill(void* buffer, std::size_t count) {
    if (!clock_.is_virtual()) return std::nullopt;
    auto* bytes = static_cast<unsigned char*>(buffer);
    for (std::size_t done = 0; done < count;) {
        const std::uint64_t word = random_();
        const std::size_t piece = std::min(count - done, sizeof word);
        std::memcpy(bytes + done, &word, piece);
        done += piece;
    }
    return static_cast<long>(count);
}

std::optional<long> ProgramChance::draw() {
    if (!clock_.is_virtual()) return std::nullopt;
    constexpr int upper_half = 32;
    return static_cast<long>(random_() >> upper_half);
}

std::optional<long> ProgramChance::draw_below(std::uint32_t bound) {
    if (!clock_.is_virtual()) return std::nullopt;
    if (bound < 2) return 0;
    return static_cast<long>(std::uniform_int_distribution<std::uint32_t>(0, bound - 1)(random_));
}

}  // namespace vp
