#include "virtual_projector/compression/compression.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::vector<vp::Compression> built() {
    std::vector<vp::Compression> all;
    for (const vp::Compression compression : {vp::Compression::gzip, vp::Compression::zstd}) {
        if (vp::make_compressor(compression) != nullptr) all.push_back(compression);
    }
    return all;
}

// By pieces of this size on both sides.
std::string unpacked(vp::Compression compression, const std::string& packed, std::size_t piece) {
    const auto decompressor = vp::make_decompressor(compression);
    std::string text;
    std::string buffer(piece, '\0');
    for (std::string_view rest = packed; true;) {
        const auto result = decompressor->unpack(rest.substr(0, piece), buffer.data(), buffer.size());
        EXPECT_FALSE(result.is_wrong);
        text.append(buffer, 0, result.given);
        rest.remove_prefix(result.taken);
        if (result.given == 0 && (rest.empty() || result.taken == 0)) break;
    }
    return text;
}

std::string long_text() {
    std::string text;
    for (int i = 0; i < 30000; ++i) text += "line " + std::to_string(i * 7919 % 1000) + "\n";
    return text;
}

TEST(Compression, GivesBackWhatWasPackedByPiecesOfAnySize) {
    for (const vp::Compression compression : built()) {
        const auto compressor = vp::make_compressor(compression);
        const std::string text = long_text();
        std::string packed = compressor->pack(text.substr(0, 1000));
        packed += compressor->pack(text.substr(1000));
        packed += compressor->finish();
        EXPECT_LT(packed.size(), text.size() / 2);
        for (const std::size_t piece : {std::size_t{1}, std::size_t{1000}, std::size_t{1} << 20})
            EXPECT_TRUE(unpacked(compression, packed, piece) == text) << vp::compression_name(compression);
    }
}

TEST(Compression, ThatWasFlushedIsReadableWithoutItsEnd) {
    for (const vp::Compression compression : built()) {
        const auto compressor = vp::make_compressor(compression);
        std::string packed = compressor->pack("so far");
        packed += compressor->flush();
        EXPECT_EQ(unpacked(compression, packed, 4096), "so far") << vp::compression_name(compression);
    }
}

TEST(Compression, IsToldByAFilesNameOrByItsFirstBytes) {
    EXPECT_EQ(vp::compression_of_name("trace.jsonl.zst"), vp::Compression::zstd);
    EXPECT_EQ(vp::compression_of_name("trace.gz"), vp::Compression::gzip);
    EXPECT_EQ(vp::compression_of_name("zst"), vp::Compression::none);
    EXPECT_EQ(vp::compression_of_bytes("{\"t_us\":0"), vp::Compression::none);
    EXPECT_EQ(vp::compression_of_bytes(""), vp::Compression::none);
    for (const vp::Compression compression : built())
        EXPECT_EQ(vp::compression_of_bytes(vp::make_compressor(compression)->finish()), compression);
}

TEST(Compression, SaysWhatIsNotOfItsKind) {
    for (const vp::Compression compression : built()) {
        char buffer[100];
        const auto result =
            vp::make_decompressor(compression)->unpack("no such bytes at all", buffer, sizeof buffer);
        EXPECT_TRUE(result.is_wrong) << vp::compression_name(compression);
    }
}

}  // namespace
