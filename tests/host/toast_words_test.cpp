#include "host/toast_words.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(AToast, HasWordsForEveryCodeThatTheLibrarySends) {
    for (const std::int32_t code : {2, 5, 6, 7, 9, 10, 11}) {
        EXPECT_STRNE(host::toast_words(code), host::toast_words(-1)) << code;
    }
    EXPECT_STREQ(host::toast_words(9), "the wall cannot be measured or is out of range: move the projector");
}

TEST(AToast, OfAnUnknownCodeIsSaidToBeUnknownAndIsNoFailure) {
    EXPECT_STREQ(host::toast_words(3), "a code this program does not know");
    EXPECT_FALSE(host::toast_is_failure(3));
}

TEST(AToast, OfALimitIsNoFailure) {
    EXPECT_FALSE(host::toast_is_failure(6));
    EXPECT_FALSE(host::toast_is_failure(7));
}

TEST(AToast, OfARequestNotCarriedOutIsAFailure) {
    for (const std::int32_t code : {2, 5, 9, 10, 11}) EXPECT_TRUE(host::toast_is_failure(code)) << code;
}

}  // namespace
