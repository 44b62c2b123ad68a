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
    constexpr size_t block_values = offset_block_rows * offset_block_columns;
    constexpr size_t blocks_abreast = offset_columns / offset_block_columns;
    OffsetTable blocks{};
    for (size_t at = 0; at < blocks.size(); ++at) {
        const size_t block = at / block_values;
        const size_t row =
            block / blocks_abreast * offset_block_rows + at % block_values / offset_block_columns;
        const size_t column = block % blocks_abreast * offset_block_columns + at % offset_block_columns;
        blocks[at] = generated[row * offset_columns + column];
    }
    return blocks;
}

}  // namespace ovra

#endif
