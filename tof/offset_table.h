// The order in which the driver keeps the pixels' offsets, made from the vendor's.
#ifndef OVRA_TOF_OFFSET_TABLE_H
#define OVRA_TOF_OFFSET_TABLE_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace ovra {

constexpr size_t offset_rows = 6;
constexpr size_t offset_columns = 20;
constexpr size_t offset_block_rows = 3;
constexpr size_t offset_block_columns = 10;

using OffsetTable = std::array<uint16_t, offset_rows * offset_columns>;

/// The vendor's table of 6 rows of 20 values, cut into four blocks of 3 rows of 10: upper left, upper
/// right, lower left, lower right; each block row by row.
inline OffsetTable repack_offsets(const OffsetTable& generated) {
    OffsetTable blocks{};
    auto next = blocks.begin();
    for (size_t top = 0; top < offset_rows; top += offset_block_rows) {
        for (size_t left = 0; left < offset_columns; left += offset_block_columns) {
            for (size_t row = top; row < top + offset_block_rows; ++row) {
                for (size_t column = left; column < left + offset_block_columns; ++column) {
                    *next++ = generated[row * offset_columns + column];
                }
            }
        }
    }
    return blocks;
}

}  // namespace ovra

#endif
