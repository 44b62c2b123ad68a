#include "virtual_projector/report/page.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "pages/page_templates.h"
#include "virtual_projector/compression/compression.h"

namespace vp {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

/// Base 64 back into bytes, by another way than the code's: a letter at a time.
std::string bytes_of(const std::string& coded) {
    const std::string letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string bytes;
    unsigned bits = 0;
    int held = 0;
    for (const char letter : coded) {
        if (letter == '=') break;
        bits = bits << 6U | static_cast<unsigned>(letters.find(letter));
        held += 6;
        if (held < 8) continue;
        held -= 8;
        bytes += static_cast<char>(bits >> static_cast<unsigned>(held) & 255U);
    }
    return bytes;
}

std::string unpacked(const std::string& bytes) {
    const auto decompressor = make_decompressor(Compression::gzip);
    std::string text(100000, '\0');
    const auto result = decompressor->unpack(bytes, text.data(), text.size());
    EXPECT_FALSE(result.is_wrong);
    text.resize(result.given);
    return text;
}

/// What stands in the element that holds a page's data.
std::string data_element(const std::string& page) {
    const std::string begin = "id=\"page-data\">";
    const std::size_t from = page.find(begin) + begin.size();
    return page.substr(from, page.find('<', from) - from);
}

class PageTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (run_page_template().empty()) GTEST_SKIP() << "built without esbuild";
        if (make_compressor(Compression::gzip) == nullptr) GTEST_SKIP() << "built without zlib";
    }
};

TEST(Base64Test, CodesTheExamplesOfItsStandard) {
    EXPECT_EQ(base64(""), "");
    EXPECT_EQ(base64("f"), "Zg==");
    EXPECT_EQ(base64("fo"), "Zm8=");
    EXPECT_EQ(base64("foo"), "Zm9v");
    EXPECT_EQ(base64("foob"), "Zm9vYg==");
    EXPECT_EQ(base64("fooba"), "Zm9vYmE=");
    EXPECT_EQ(base64("foobar"), "Zm9vYmFy");
}

TEST(Base64Test, CodesBytesThatAreNoText) { EXPECT_EQ(base64(std::string("\xff\xfe\x00\xfb", 4)), "//4A+w=="); }

TEST_F(PageTest, HoldsTheDataAsTheyWere) {
    const std::string data = R"({"format":1,"title":"a run"})";
    EXPECT_EQ(unpacked(bytes_of(data_element(make_run_page({data, {}})))), data);
}

TEST_F(PageTest, HoldsEachPartOnALineOfItsOwn) {
    const std::string lines = data_element(make_run_page({"{}", {"[1]", "[2]"}}));
    const std::size_t first = lines.find('\n');
    const std::size_t second = lines.find('\n', first + 1);
    EXPECT_EQ(unpacked(bytes_of(lines.substr(0, first))), "{}");
    EXPECT_EQ(unpacked(bytes_of(lines.substr(first + 1, second - first - 1))), "[1]");
    EXPECT_EQ(unpacked(bytes_of(lines.substr(second + 1))), "[2]");
}

TEST_F(PageTest, IsNotEndedByATextWithinItsData) {
    const std::string data = R"({"title":"</script><img src=x onerror=alert(1)><!--"})";
    const std::string page = make_run_page({data, {}});
    EXPECT_THAT(page, Not(HasSubstr("onerror")));
    EXPECT_EQ(unpacked(bytes_of(data_element(page))), data);
}

TEST_F(PageTest, AllowsNothingButItsOwnScriptsAndStyle) {
    const std::string page = make_run_page({"{}", {}});
    EXPECT_THAT(page, HasSubstr("default-src 'none'"));
    EXPECT_THAT(page, Not(HasSubstr("unsafe-inline")));
    EXPECT_THAT(page, Not(HasSubstr("{{")));
}

TEST_F(PageTest, TakesAMegabyteAtMostBesideItsData) { EXPECT_LE(make_run_page({"{}", {}}).size(), 1000000U); }

TEST_F(PageTest, IsTheSameForTheSameData) { EXPECT_EQ(make_run_page({"{}", {}}), make_run_page({"{}", {}})); }

}  // namespace
}  // namespace vp
