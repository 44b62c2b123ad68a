#include "base/shared_flag.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>

namespace {

using ovra::copy_words;
using ovra::load;
using ovra::store;

TEST(SharedFlag, ReadsBackWhatWasStored) {
    std::uint8_t byte = 0;
    std::int32_t word = 0;
    float angle = 0;
    const char* pointer = nullptr;
    static const char text[] = "text";

    store(byte, 200);
    store(word, -7);
    store(angle, 1.5F);
    store(pointer, text);

    EXPECT_EQ(load(byte), 200);
    EXPECT_EQ(load(word), -7);
    EXPECT_EQ(load(angle), 1.5F);
    EXPECT_EQ(load(pointer), text);
}

TEST(SharedFlag, StoringAByteLeavesItsNeighbours) {
    std::array<std::uint8_t, 3> bytes{1, 2, 3};
    store(bytes[1], 9);
    EXPECT_EQ(bytes, (std::array<std::uint8_t, 3>{1, 9, 3}));
}

TEST(SharedFlag, OnlyValuesThatCannotTearAreShared) {
    struct Twelve {
        std::int32_t x, y, z;
    };
    EXPECT_TRUE(ovra::shareable<std::int32_t>);
    EXPECT_TRUE(ovra::shareable<void*>);
    EXPECT_FALSE(ovra::shareable<std::int64_t>);
    EXPECT_FALSE(ovra::shareable<double>);
    EXPECT_FALSE(ovra::shareable<Twelve>);
}

TEST(SharedFlag, CopiesAsManyWordsAsAsked) {
    const std::array<std::uint32_t, 4> from{1, 2, 3, 4};
    std::array<std::uint32_t, 4> to{9, 9, 9, 9};

    copy_words(to.data(), from.data(), 3);
    EXPECT_EQ(to, (std::array<std::uint32_t, 4>{1, 2, 3, 9}));

    copy_words(to.data(), from.data() + 3, 0);
    EXPECT_EQ(to, (std::array<std::uint32_t, 4>{1, 2, 3, 9}));
}

TEST(SharedFlag, ReadsBackWhatWasReleased) {
    std::array<std::uint8_t, 3> bytes{1, 2, 3};
    ovra::store_release(bytes[1], 9);
    EXPECT_EQ(ovra::load_acquire(bytes[1]), 9);
    EXPECT_EQ(bytes, (std::array<std::uint8_t, 3>{1, 9, 3}));
}

}  // namespace
