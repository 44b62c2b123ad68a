// Averages samples in blocks of ten: single samples are too noisy to tell a movement from a fan's tremor.
#ifndef OVRA_FOCUSCTRL_GSENSOR_BLOCK_AVERAGE_H
#define OVRA_FOCUSCTRL_GSENSOR_BLOCK_AVERAGE_H

#include <cstdint>
#include <optional>

#include "focusctrl/gsensor/axes.h"

namespace ovra {

class BlockAverage {
public:
    static constexpr std::int32_t samples_per_block = 10;

    /// Adds a sample; the average, once the block is complete. The next sample then begins a new block.
    std::optional<Axes> add(const Axes& sample) {
        sum_.x += sample.x;
        sum_.y += sample.y;
        sum_.z += sample.z;
        if (++count_ < samples_per_block) return std::nullopt;
        constexpr auto n = static_cast<float>(samples_per_block);
        const Axes average{sum_.x / n, sum_.y / n, sum_.z / n};
        sum_ = {};
        count_ = 0;
        return average;
    }

private:
    std::int32_t count_ = 0;
    Axes sum_{};
};

}  // namespace ovra

#endif
