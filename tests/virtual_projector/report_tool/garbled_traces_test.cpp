// Whatever stands in a file that is said to be a trace, the report says so and goes on or ends; it never falls.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <string_view>

#include "virtual_projector/compression/compression.h"
#include "virtual_projector/report/page_data.h"
#include "virtual_projector/report/perfetto.h"
#include "virtual_projector/report/run_data.h"
#include "virtual_projector/report/story.h"
#include "virtual_projector/report/tables.h"
#include "virtual_projector/storykit/launched_program.h"

namespace {

// Everything that is made of a trace, of what could be read.
struct Made {
    std::string mistake;  // of the reading; empty: none
    std::size_t bytes = 0;
};

Made make_all(const std::string& path) {
    Made made;
    vp::RunCollector collector(true);
    vp::StoryTeller teller({true, true});
    collector.add(teller);
    try {
        vp::read_trace(path, collector);
    } catch (const vp::TraceError& error) {
        made.mistake = error.what();
    }
    const vp::RunData run = collector.finish();
    const std::vector<std::string> story = teller.tell({});
    made.bytes += vp::as_one_object(vp::page_data(run, "", story)).size();
    vp::write_perfetto(run, [&made](std::string_view text) { made.bytes += text.size(); });
    vp::write_tables(run, [&made](const std::string&, const std::string& text) { made.bytes += text.size(); });
    return made;
}

struct AGarbledTrace : ::testing::Test {
    storykit::ScratchFolder folder;
    std::string path = folder.file("garbled");

    // A whole story, short enough to be read hundreds of times.
    std::string whole() const {
        const std::string trace = folder.file("trace");
        storykit::launch_projector(
            {"--scenario", storykit::project_file("scenarios/first-light.json"), "--trace", trace},
            {storykit::host_program, "--script", storykit::project_file("scenarios/first-light.host")});
        return storykit::contents_of(trace);
    }
    void expect_survival(const std::string& bytes, unsigned seed) const {
        storykit::write_file(path, bytes);
        const Made made = make_all(path);
        EXPECT_GT(made.bytes, 0U) << "seed " << seed;
        if (made.mistake.empty()) return;
        EXPECT_EQ(std::count(made.mistake.begin(), made.mistake.end(), '\n'), 0) << made.mistake;
        EXPECT_EQ(made.mistake.find(path + ": "), 0U) << made.mistake;
    }
};

std::string with_flipped_bits(std::string bytes, std::mt19937& random) {
    for (unsigned flips = 1 + random() % 8; flips > 0; --flips) {
        char& byte = bytes[random() % bytes.size()];
        byte = static_cast<char>(static_cast<unsigned char>(byte) ^ (1U << random() % 8));
    }
    return bytes;
}

// Digits in place of digits: still records, of other numbers.
std::string with_other_digits(std::string bytes, std::mt19937& random) {
    for (unsigned changes = 0; changes < 200; ++changes) {
        char& byte = bytes[random() % bytes.size()];
        if (byte >= '0' && byte <= '9') byte = static_cast<char>('0' + random() % 10);
    }
    return bytes;
}

// Lines left out, twice, or in other places.
std::string with_moved_lines(const std::string& bytes, std::mt19937& random) {
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < bytes.size();) {
        const std::size_t end = bytes.find('\n', begin);
        lines.push_back(bytes.substr(begin, end - begin + 1));
        begin = end + 1;
    }
    for (int moves = 0; moves < 50; ++moves)
        std::swap(lines[1 + random() % (lines.size() - 1)], lines[1 + random() % (lines.size() - 1)]);
    std::string text;
    for (const std::string& line : lines) text += line;
    return text;
}

TEST_F(AGarbledTrace, OfFlippedBitsIsToldInOneLineOrRead) {
    const std::string bytes = whole();
    ASSERT_EQ((storykit::write_file(path, bytes), make_all(path).mistake), "");
    for (unsigned seed = 0; seed < 150; ++seed) {
        std::mt19937 random(seed);
        expect_survival(with_flipped_bits(bytes, random), seed);
    }
}

TEST_F(AGarbledTrace, OfOtherNumbersIsToldInOneLineOrRead) {
    const std::string bytes = whole();
    for (unsigned seed = 0; seed < 100; ++seed) {
        std::mt19937 random(seed);
        expect_survival(with_other_digits(bytes, random), seed);
    }
}

TEST_F(AGarbledTrace, OfLinesInAnotherOrderIsToldInOneLineOrRead) {
    const std::string bytes = whole();
    for (unsigned seed = 0; seed < 50; ++seed) {
        std::mt19937 random(seed);
        expect_survival(with_moved_lines(bytes, random), seed);
    }
}

TEST_F(AGarbledTrace, ThatIsCutAnywhereIsToldInOneLine) {
    const std::string bytes = whole();
    for (unsigned seed = 0; seed < 100; ++seed) {
        std::mt19937 random(seed);
        expect_survival(bytes.substr(0, random() % bytes.size()), seed);
    }
}

TEST_F(AGarbledTrace, ThatIsCompressedIsToldInOneLineOrRead) {
    const std::string bytes = whole();
    for (const vp::Compression compression : {vp::Compression::gzip, vp::Compression::zstd}) {
        const auto compressor = vp::make_compressor(compression);
        if (compressor == nullptr) continue;
        std::string packed = compressor->pack(bytes);
        packed += compressor->finish();
        for (unsigned seed = 0; seed < 60; ++seed) {
            std::mt19937 random(seed);
            expect_survival(with_flipped_bits(packed, random), seed);
            expect_survival(packed.substr(0, random() % packed.size()), seed);
        }
    }
}

}  // namespace
