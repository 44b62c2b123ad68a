#include "virtual_projector/world/text.h"

#include <gtest/gtest.h>

namespace vp {
namespace {

TEST(ANumberInAMessage, HasAsManyDigitsAsItNeedsAndTenAtTheMost) {
    struct {
        double value;
        const char* text;
    } const table[] = {{0, "0"},
                       {-90, "-90"},
                       {0.01, "0.01"},
                       {20000, "20000"},
                       {2559999, "2559999"},
                       {3.872983346, "3.872983346"},
                       {1.0 / 3, "0.3333333333"},
                       {1e300, "1e+300"}};
    for (const auto& [value, text] : table) EXPECT_EQ(number_text(value), text);
}

TEST(AListOfNames, HasACommaAndABlankBetweenThem) {
    EXPECT_EQ(join({}), "");
    EXPECT_EQ(join({"one"}), "one");
    EXPECT_EQ(join({"one", "two", "three"}), "one, two, three");
    EXPECT_EQ(join({"", ""}), ", ");
}

}  // namespace
TEST(AnExcerpt, IsTheBeginningOnOneLineInWholeCharacters) {
    EXPECT_EQ(vp::excerpt(""), "");
    EXPECT_EQ(vp::excerpt("a\nb\x7F\tc"), "a?b??c");
    EXPECT_EQ(vp::excerpt(std::string(40, 'x')), std::string(40, 'x'));
    EXPECT_EQ(vp::excerpt(std::string(41, 'x')), std::string(40, 'x') + "...");
    EXPECT_EQ(vp::excerpt(std::string(39, 'x') + "\xC3\xA4 and more"), std::string(39, 'x') + "...");
    EXPECT_EQ(vp::excerpt(std::string(100, '\x80')), "...");
}

}  // namespace vp
