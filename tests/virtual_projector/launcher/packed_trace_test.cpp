// A run whose trace is compressed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "virtual_projector/compression/compression.h"
#include "virtual_projector/report/trace_reader.h"
#include "virtual_projector/storykit/launched_program.h"

namespace {

using storykit::Finished;

struct APackedTrace : ::testing::TestWithParam<const char*> {
    storykit::ScratchFolder folder;

    bool is_built() const {
        return vp::make_compressor(vp::compression_of_name(std::string("trace") + GetParam())) != nullptr;
    }
    Finished run(const std::string& trace, const std::vector<std::string>& options = {}) const {
        std::vector<std::string> all = {"--scenario", storykit::project_file("scenarios/first-light.json"),
                                        "--trace", trace};
        all.insert(all.end(), options.begin(), options.end());
        return storykit::launch_projector(
            all, {storykit::host_program, "--script", storykit::project_file("scenarios/first-light.host")});
    }
};

TEST_P(APackedTrace, HoldsTheSameRecordsAsAPlainOneAndLeavesNothingElse) {
    if (!is_built()) GTEST_SKIP() << "built without it";
    const std::string plain = folder.file("trace");
    const std::string packed = folder.file("packed") + GetParam();
    EXPECT_EQ(run(plain).exit_code, 0);
    const Finished done = run(packed);
    EXPECT_EQ(done.exit_code, 0);
    EXPECT_EQ(done.complaints, "");
    EXPECT_LT(std::filesystem::file_size(packed), std::filesystem::file_size(plain) / 4);
    vp::TraceInput lines = vp::TraceInput::open(packed);
    std::string text;
    for (std::string line; lines.next(line);) text += line + "\n";
    EXPECT_TRUE(text == storykit::contents_of(plain));
    EXPECT_FALSE(std::filesystem::exists(packed + ".plain"));
    EXPECT_FALSE(std::filesystem::exists(packed + ".part"));
}

TEST_P(APackedTrace, IsThereAlsoOfARunThatALimitEnded) {
    if (!is_built()) GTEST_SKIP() << "built without it";
    const std::string packed = folder.file("packed") + GetParam();
    EXPECT_EQ(run(packed, {"--limit", "0.1"}).exit_code, 121);
    EXPECT_EQ(vp::read_trace(packed).end_us, 100000);
}

TEST_P(APackedTrace, IsReadByTheRunsOwnStory) {
    if (!is_built()) GTEST_SKIP() << "built without it";
    const Finished done = run(folder.file("packed") + GetParam(), {"--story"});
    EXPECT_THAT(done.words, ::testing::HasSubstr("At the start: 1500 mm from the wall"));
}

TEST_P(APackedTrace, IsNotLeftBehindByAProgramThatNeverBegan) {
    if (!is_built()) GTEST_SKIP() << "built without it";
    const std::string packed = folder.file("packed") + GetParam();
    storykit::launch_projector({"--trace", packed}, {"/nowhere/program"});
    for (const char* const ending : {"", ".plain", ".part", ".plain.part"})
        EXPECT_FALSE(std::filesystem::exists(packed + ending)) << ending;
}

INSTANTIATE_TEST_SUITE_P(OfEachKind, APackedTrace, ::testing::Values(".gz", ".zst"));

}  // namespace
