#include "virtual_projector/world/fnv1a.h"

#include <gtest/gtest.h>

namespace {

// From the authors' own table of test vectors.
TEST(Fnv1a64, GivesThePublishedSums) {
    const struct {
        const char* text;
        std::uint64_t sum;
    } table[] = {
        {"", 0xcbf29ce484222325u},
        {"a", 0xaf63dc4c8601ec8cu},
        {"b", 0xaf63df4c8601f1a5u},
        {"foobar", 0x85944171f73967e8u},
    };
    for (const auto& [text, sum] : table) EXPECT_EQ(vp::fnv1a64(text), sum) << text;
}

}  // namespace
