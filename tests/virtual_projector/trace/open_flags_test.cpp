#include "virtual_projector/trace/open_flags.h"

#include <fcntl.h>
#include <gtest/gtest.h>

namespace {

using vp::open_flags_in_words;

TEST(OpenFlags, BeginWithTheDirection) {
    EXPECT_EQ(open_flags_in_words(O_RDONLY), "O_RDONLY");
    EXPECT_EQ(open_flags_in_words(O_WRONLY), "O_WRONLY");
    EXPECT_EQ(open_flags_in_words(O_RDWR), "O_RDWR");
}

TEST(OpenFlags, GoOnInOneOrderOnEveryProcessor) {
    EXPECT_EQ(open_flags_in_words(O_WRONLY | O_TRUNC | O_CREAT), "O_WRONLY|O_CREAT|O_TRUNC");
    EXPECT_EQ(open_flags_in_words(O_RDWR | O_CLOEXEC | O_NONBLOCK | O_APPEND | O_EXCL),
              "O_RDWR|O_EXCL|O_APPEND|O_NONBLOCK|O_CLOEXEC");
}

TEST(OpenFlags, ThatMatterToNoNodeAreLeftOut) {
    EXPECT_EQ(open_flags_in_words(O_RDONLY | O_NOCTTY), "O_RDONLY");
}

}  // namespace
