// virtual-projector-report as its users start it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "virtual_projector/compression/compression.h"
#include "virtual_projector/report/trace_reader.h"
#include "virtual_projector/storykit/launched_program.h"

namespace {

using storykit::Finished;
using ::testing::HasSubstr;

const std::string trace_text =
    R"({"t_us":0,"run":{"format":)" + std::to_string(vp::RunRecord::current_format) +
    R"(,"version":"0.1.0","seed":1}})"
    "\n"
    R"({"t_us":0,"truth":{"lens_tmr":132.0,"lens_error_tmr":197.9,"sharpness":0.004}})"
    "\n"
    R"({"t_us":100,"event":"somebody shakes it"})"
    "\n"
    R"({"t_us":2000000,"truth":{"lens_tmr":-66.0,"lens_error_tmr":0.1,"sharpness":1.0}})"
    "\n";

struct Report : ::testing::Test {
    storykit::ScratchFolder folder;
    std::string trace = folder.file("run.jsonl");

    Report() { storykit::write_file(trace, trace_text); }

    static Finished report(std::vector<std::string> arguments, const std::string& input = "") {
        arguments.insert(arguments.begin(), storykit::report_program);
        return storykit::launch(arguments, input);
    }
};

bool is_built(vp::Compression compression) { return vp::make_compressor(compression) != nullptr; }

std::string packed(const std::string& bytes) {
    const auto compressor = vp::make_compressor(vp::Compression::zstd);
    std::string text = compressor->pack(bytes);
    return text + compressor->finish();
}

TEST_F(Report, WritesPageDataTablesAndAPerfettoTraceOfOneReading) {
    const Finished done = report({trace, "--data", folder.file("data.json"), "--perfetto",
                                  folder.file("perfetto.json"), "--csv", folder.file("csv")});
    EXPECT_EQ(done.exit_code, 0) << done.complaints;
    EXPECT_EQ(done.words + done.complaints, "");
    const auto data = nlohmann::json::parse(storykit::contents_of(folder.file("data.json")));
    EXPECT_EQ(data.at("title"), "run");
    EXPECT_EQ(data.at("end_us"), 2000000);
    EXPECT_THAT(storykit::contents_of(folder.file("csv/truth.lens_tmr.csv")),
                HasSubstr("t_s,truth.lens_tmr [TMR]\r\n0.000000,132\r\n2.000000,-66\r\n"));
    EXPECT_THAT(storykit::contents_of(folder.file("csv/flags.csv")), HasSubstr("somebody shakes it"));
    EXPECT_TRUE(nlohmann::json::accept(storykit::contents_of(folder.file("perfetto.json"))));
}

TEST_F(Report, ReadsStandardInputAndWritesStandardOutput) {
    const Finished done = report({"-", "--data", "-"}, trace_text);
    EXPECT_EQ(done.exit_code, 0) << done.complaints;
    EXPECT_EQ(nlohmann::json::parse(done.words).at("end_us"), 2000000);
}

TEST_F(Report, TellsTheStory) {
    const Finished done = report({trace, "--story", "--title", "A title."});
    EXPECT_EQ(done.exit_code, 0) << done.complaints;
    EXPECT_THAT(done.words, HasSubstr("A title."));
    EXPECT_THAT(done.words, HasSubstr("somebody shakes it"));
}

TEST_F(Report, WritesCompressedWhatItsNameSaysAndReadsItWhateverItsName) {
    if (!is_built(vp::Compression::zstd)) GTEST_SKIP() << "built without zstd";
    storykit::write_file(trace, packed(trace_text));
    const Finished done = report({trace, "--data", folder.file("data.json.zst")});
    EXPECT_EQ(done.exit_code, 0) << done.complaints;
    const std::string bytes = storykit::contents_of(folder.file("data.json.zst"));
    EXPECT_EQ(vp::compression_of_bytes(bytes), vp::Compression::zstd);
    std::string text(1 << 20, '\0');
    text.resize(vp::make_decompressor(vp::Compression::zstd)->unpack(bytes, text.data(), text.size()).given);
    EXPECT_TRUE(nlohmann::json::accept(text));
}

TEST_F(Report, ComparesTwoTracesByItsExitCode) {
    const std::string other = folder.file("other");
    storykit::write_file(other, trace_text);
    EXPECT_EQ(report({trace, "--diff", other}).exit_code, 0);
    storykit::write_file(other, trace_text + "{\"t_us\":3000000,\"event\":\"it falls\"}\n");
    const Finished differ = report({trace, "--diff", other});
    EXPECT_EQ(differ.exit_code, 1);
    EXPECT_THAT(differ.words, HasSubstr("it falls"));
    EXPECT_EQ(report({trace, "--diff", other, "--ignore", "event"}).exit_code, 0);
    EXPECT_EQ(report({trace, "--diff", folder.file("nothing")}).exit_code, 2);
}

TEST_F(Report, RefusesATraceThatIsCutByOneLineAndLeavesNoFile) {
    storykit::write_file(trace, trace_text.substr(0, trace_text.size() - 20));
    const Finished done = report({trace, "--data", folder.file("data.json")});
    EXPECT_EQ(done.exit_code, 2);
    EXPECT_EQ(done.complaints, "virtual-projector-report: " + trace +
                                   ": line 4: cut: the trace ends in the middle of this record\n");
    EXPECT_FALSE(std::filesystem::exists(folder.file("data.json")));
}

TEST_F(Report, ShowsTheBeginningOfACutTraceWhereThatIsEnough) {
    storykit::write_file(trace, trace_text.substr(0, trace_text.size() - 20));
    const Finished done = report({trace, "--partial", "--data", "-"});
    EXPECT_EQ(done.exit_code, 0);
    EXPECT_THAT(done.complaints, HasSubstr("line 4: cut"));
    EXPECT_EQ(nlohmann::json::parse(done.words).at("end_us"), 100);
}

TEST_F(Report, RefusesACommandLineThatAsksForNothingOrTooMuch) {
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{},
                                               {trace},
                                               {trace, "--csv", "-"},
                                               {trace, "--data", "-", "--perfetto", "-"},
                                               {trace, "--full"},
                                               {trace, "--diff", trace, "--ignore", "nonsense"},
                                               {"-", "--diff", "-"},
                                               {trace, "--nonsense"}}) {
        const Finished done = report(arguments);
        EXPECT_EQ(done.exit_code, 2) << ::testing::PrintToString(arguments);
        EXPECT_EQ(done.words, "");
        EXPECT_THAT(done.complaints, ::testing::StartsWith("virtual-projector-report: "));
    }
}

TEST_F(Report, NeverOverwritesATraceThatItReads) {
    const std::string other = folder.file("other");
    storykit::write_file(other, trace_text);
    std::filesystem::create_symlink(trace, folder.file("link"));
    for (const std::string& output : {trace, other, folder.file("link")}) {
        const Finished done = report({trace, "--diff", other, "--data", output});
        EXPECT_EQ(done.exit_code, 2);
        EXPECT_EQ(done.complaints, "virtual-projector-report: --data " + output +
                                       ": would overwrite the trace: expected another file\n");
    }
    EXPECT_EQ(storykit::contents_of(trace), trace_text);
}

TEST_F(Report, RefusesTwoOutputsInOneFile) {
    const std::string file = folder.file("out");
    const Finished done = report({trace, "--data", file, "--perfetto", file});
    EXPECT_EQ(done.exit_code, 2);
    EXPECT_EQ(done.complaints, "virtual-projector-report: --perfetto " + file +
                                   ": is the file of --data: expected another one\n");
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(Report, WritesTablesAgainButNotAmongThoseOfAnotherRun) {
    EXPECT_EQ(report({trace, "--csv", folder.file("csv")}).exit_code, 0);
    EXPECT_EQ(report({trace, "--csv", folder.file("csv")}).exit_code, 0);
    storykit::write_file(folder.file("csv/gravity.x.csv"), "t_s,gravity.x\n");
    const Finished done = report({trace, "--csv", folder.file("csv")});
    EXPECT_EQ(done.exit_code, 2);
    EXPECT_THAT(done.complaints,
                HasSubstr("has a table that this run has not, gravity.x.csv: expected an empty folder"));
}

TEST_F(Report, RefusesTwoTracesOneAfterTheOther) {
    storykit::write_file(trace, trace_text + trace_text);
    const Finished done = report({trace, "--story"});
    EXPECT_EQ(done.exit_code, 2);
    EXPECT_THAT(done.complaints, HasSubstr("line 5: another run begins here: expected the trace of one"));
}

TEST_F(Report, SaysWhichFileCouldNotBeWritten) {
    const Finished done = report({trace, "--data", "/nowhere/data.json"});
    EXPECT_EQ(done.exit_code, 2);
    EXPECT_THAT(done.complaints, HasSubstr("/nowhere/data.json: cannot write it: No such file or directory"));
}

}  // namespace
