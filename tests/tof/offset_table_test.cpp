#include "tof/offset_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

namespace {

using ovra::OffsetTable;

/// Every value shows its own row and column: 100 * row + column.
OffsetTable numbered() {
    OffsetTable table{};
    for (size_t i = 0; i < table.size(); ++i) table[i] = static_cast<uint16_t>(100 * (i / 20) + i % 20);
    return table;
}

TEST(OffsetTableRepacking, CutsTheTableIntoFourBlocksEachRowByRow) {
    const OffsetTable blocks = ovra::repack_offsets(numbered());
    size_t at = 0;
    for (const size_t corner : {0U, 10U, 300U, 310U}) {
        for (size_t row = 0; row < 3; ++row) {
            for (size_t column = 0; column < 10; ++column) {
                EXPECT_EQ(blocks[at++], corner + 100 * row + column);
            }
        }
    }
    EXPECT_EQ(at, blocks.size());
}

TEST(OffsetTableRepacking, KeepsEveryValueOnce) {
    OffsetTable blocks = ovra::repack_offsets(numbered());
    OffsetTable table = numbered();
    std::sort(blocks.begin(), blocks.end());
    std::sort(table.begin(), table.end());
    EXPECT_EQ(blocks, table);
}

}  // namespace
