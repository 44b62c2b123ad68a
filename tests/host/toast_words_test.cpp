#include "host/toast_words.h"

#include <gtest/gtest.h>

#include <string>

#include "ovrafocus/result_codes.h"

namespace {

TEST(AToast, HasWordsForEveryCodeThatTheLibrarySends) {
    for (const std::int32_t code :
         {OVRA_TOAST_KEYSTONE_FAILED, OVRA_TOAST_LENS_FAILED, OVRA_TOAST_RIGHT_LIMIT, OVRA_TOAST_LEFT_LIMIT,
          OVRA_TOAST_NO_DISTANCE, OVRA_TOAST_BOTH_OFF, OVRA_TOAST_FOCUS_OFF}) {
        EXPECT_STRNE(host::toast_words(code), host::toast_words(-1)) << code;
    }
    EXPECT_STREQ(host::toast_words(OVRA_TOAST_NO_DISTANCE),
                 "the wall cannot be measured or is out of range: move the projector");
}

TEST(AToast, OfAnUnknownCodeIsSaidToBeUnknownAndIsNoFailure) {
    EXPECT_STREQ(host::toast_words(3), "a code this program does not know");
    EXPECT_FALSE(host::toast_is_failure(3));
}

TEST(AToast, OfALimitIsNoFailure) {
    EXPECT_FALSE(host::toast_is_failure(OVRA_TOAST_RIGHT_LIMIT));
    EXPECT_FALSE(host::toast_is_failure(OVRA_TOAST_LEFT_LIMIT));
}

TEST(AToast, OfARequestNotCarriedOutIsAFailure) {
    for (const std::int32_t code : {OVRA_TOAST_KEYSTONE_FAILED, OVRA_TOAST_LENS_FAILED, OVRA_TOAST_NO_DISTANCE,
                                    OVRA_TOAST_BOTH_OFF, OVRA_TOAST_FOCUS_OFF}) {
        EXPECT_TRUE(host::toast_is_failure(code)) << code;
    }
}

}  // namespace
