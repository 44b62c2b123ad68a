#include "virtual_projector/world/noise.h"

namespace vp {
namespace {

constexpr std::uint64_t golden_step = 0x9E3779B97F4A7C15u;  // 2^64 divided by the golden ratio
constexpr std::uint64_t lane_step = 0xD1B54A32D192ED03u;    // odd, far from the golden step
constexpr int uniform_draws = 12;                           // of variance 1/12 each: their sum has variance 1

// The finisher of SplitMix64: every input bit reaches every output bit.
std::uint64_t mix(std::uint64_t value) {
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9u;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBu;
    return value ^ (value >> 31);
}

double to_unit_interval(std::uint64_t bits) { return static_cast<double>(bits >> 11) / 9007199254740992.0; }

}  // namespace

Noise::Noise(std::uint64_t seed, Stream stream)
    : key_(mix(mix(seed + golden_step) + static_cast<std::uint64_t>(stream) * golden_step)) {}

std::uint64_t Noise::bits(std::int64_t index, int lane) const {
    const std::uint64_t place =
        static_cast<std::uint64_t>(index) * golden_step + static_cast<std::uint64_t>(lane) * lane_step;
    return mix(key_ + mix(place + golden_step));
}

double Noise::uniform(std::int64_t index, int lane) const { return to_unit_interval(bits(index, lane)); }

// The sum of twelve even draws less six: no logarithm or square root, whose last digit differs between C
// libraries, and never beyond six standard deviations, as no real sensor is in its working range.
double Noise::gaussian(std::int64_t index, int lane) const {
    std::uint64_t state = bits(index, lane);
    double sum = -0.5 * uniform_draws;
    for (int draw = 0; draw < uniform_draws; ++draw) {
        state += golden_step;
        sum += to_unit_interval(mix(state));
    }
    return sum;
}

}  // namespace vp
