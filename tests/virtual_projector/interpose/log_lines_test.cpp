#include "virtual_projector/interpose/log_lines.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <string>
#include <vector>

namespace {

using vp::LogLines;
using Lines = std::vector<std::string>;

__attribute__((format(printf, 2, 3))) void add(LogLines& lines, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    lines.add_formatted(format, arguments);
    va_end(arguments);
}

TEST(TheLinesOfALog, AreWholeHoweverTheyWerePrinted) {
    LogLines lines;
    add(lines, "%s  ", "[tag]");
    EXPECT_FALSE(lines.has_lines());
    lines.add("value ");
    add(lines, "%d", 12);
    lines.add("\n");
    EXPECT_TRUE(lines.has_lines());
    EXPECT_EQ(lines.take(), Lines{"[tag]  value 12"});
    EXPECT_FALSE(lines.has_lines());
    EXPECT_EQ(lines.take(), Lines{});
}

TEST(TheLinesOfALog, AreSeveralInOneText) {
    LogLines lines;
    lines.add("one\ntwo\nthr");
    EXPECT_EQ(lines.take(), (Lines{"one", "two"}));
    lines.add("ee\n");
    EXPECT_EQ(lines.take(), Lines{"three"});
}

TEST(TheLinesOfALog, LeaveOutEmptyOnes) {
    LogLines lines;
    lines.add("\none\n\n\ntwo\n");
    EXPECT_EQ(lines.take(), (Lines{"one", "two"}));
}

TEST(TheLinesOfALog, AreCutWhenTheyHaveNoEnd) {
    constexpr std::size_t longest = 4096;
    LogLines lines;
    const std::string piece(1000, 'x');
    for (int i = 0; i < 10; ++i) lines.add(piece);
    lines.add("\nshort\n");
    const Lines taken = lines.take();
    ASSERT_EQ(taken.size(), 2u);
    EXPECT_EQ(taken[0], std::string(longest, 'x'));
    EXPECT_EQ(taken[1], "short");
}

TEST(TheLinesOfALog, MayBeLongerThanAnySmallStack) {
    LogLines lines;
    const std::string word(3000, 'y');
    add(lines, "%s|\n", word.c_str());
    EXPECT_EQ(lines.take(), Lines{word + "|"});
}

}  // namespace
