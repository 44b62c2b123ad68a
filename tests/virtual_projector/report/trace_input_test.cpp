#include "virtual_projector/report/trace_input.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "virtual_projector/compression/compression.h"
#include "virtual_projector/report/trace_reader.h"
#include "virtual_projector/storykit/launched_program.h"
#include "virtual_projector/storykit/scratch_folder.h"

namespace {

const std::string run_line = R"({"t_us":0,"run":{"format":)" + std::to_string(vp::RunRecord::current_format) +
                             R"(,"version":"0.1.0","seed":1}})"
                             "\n";
const std::string event_line = "{\"t_us\":1,\"event\":\"one\"}\n";
const std::string truth_line = "{\"t_us\":2,\"truth\":{\"sharpness\":0.5}}\n";

struct Counted : vp::TraceVisitor {
    int events = 0;
    int truths = 0;
    void take_event(const vp::EventAt&) override { ++events; }
    void take_truth(const vp::TruthAt&) override { ++truths; }
};

struct TraceFile : ::testing::Test {
    storykit::ScratchFolder folder;
    std::string path = folder.file("trace");
    Counted counted;

    // What is said of a trace of these bytes, without the folder; empty: nothing.
    std::string mistake_of(const std::string& bytes) {
        storykit::write_file(path, bytes);
        try {
            vp::read_trace(path, counted);
            return "";
        } catch (const vp::TraceError& error) {
            kind = error.kind();
            return std::string(error.what()).substr(path.size());
        }
    }
    vp::TraceError::Kind kind = vp::TraceError::Kind::unreadable;
};

std::string packed(vp::Compression compression, const std::string& bytes) {
    const auto compressor = vp::make_compressor(compression);
    std::string text = compressor->pack(bytes);
    return text + compressor->finish();
}

// Those that the program was built with.
std::vector<vp::Compression> compressions() {
    std::vector<vp::Compression> built;
    for (const vp::Compression compression : {vp::Compression::gzip, vp::Compression::zstd}) {
        if (vp::make_compressor(compression) != nullptr) built.push_back(compression);
    }
    return built;
}

TEST_F(TraceFile, IsShownRecordByRecord) {
    EXPECT_EQ(mistake_of(run_line + event_line + truth_line + event_line), "");
    EXPECT_EQ(counted.events, 2);
    EXPECT_EQ(counted.truths, 1);
}

TEST_F(TraceFile, IsReadWhateverItIsCompressedBy) {
    for (const vp::Compression compression : compressions()) {
        counted = {};
        EXPECT_EQ(mistake_of(packed(compression, run_line + event_line + truth_line)), "");
        EXPECT_EQ(counted.events, 1) << vp::compression_name(compression);
    }
}

TEST_F(TraceFile, MayBeOfSeveralCompressedPieces) {
    for (const vp::Compression compression : compressions()) {
        counted = {};
        EXPECT_EQ(mistake_of(packed(compression, run_line) + packed(compression, event_line + event_line)), "");
        EXPECT_EQ(counted.events, 2) << vp::compression_name(compression);
    }
}

TEST_F(TraceFile, HasLinesLongerThanWhatIsReadAtOnce) {
    const std::string words(3000000, 'x');
    EXPECT_EQ(mistake_of(run_line + "{\"t_us\":1,\"event\":\"" + words + "\"}\n" + event_line), "");
    EXPECT_EQ(counted.events, 2);
}

TEST_F(TraceFile, ThatIsCutNamesTheLineAndHasShownTheRecordsBeforeIt) {
    EXPECT_EQ(mistake_of(run_line + event_line + "{\"t_us\":2,\"eve"),
              ": line 3: cut: the trace ends in the middle of this record");
    EXPECT_EQ(kind, vp::TraceError::Kind::cut);
    EXPECT_EQ(counted.events, 1);
}

TEST_F(TraceFile, ThatIsCompressedAndCutNamesTheLine) {
    for (const vp::Compression compression : compressions()) {
        const auto compressor = vp::make_compressor(compression);
        std::string bytes = compressor->pack(run_line + event_line);
        bytes += compressor->flush();
        bytes += compressor->pack(truth_line);
        counted = {};
        EXPECT_EQ(mistake_of(bytes), ": line 3: cut: the compressed bytes end too early");
        EXPECT_EQ(kind, vp::TraceError::Kind::cut);
        EXPECT_EQ(counted.events, 1) << vp::compression_name(compression);
    }
}

TEST_F(TraceFile, ThatIsGarbledNamesTheLineAndWhatIsWrong) {
    EXPECT_EQ(mistake_of(run_line + "nonsense\n" + event_line),
              ": line 2: expected a record, a JSON object, found none");
    EXPECT_EQ(kind, vp::TraceError::Kind::garbled);
    EXPECT_EQ(mistake_of(run_line + "{\"t_us\":1,\"happening\":\"x\"}\n"),
              ": line 2: expected a record of a kind that a trace has, found another");
    EXPECT_EQ(mistake_of(run_line + "{\"t_us\":1e300,\"event\":\"x\"}\n"),
              ": line 2: its time is no whole number");
    EXPECT_EQ(mistake_of(run_line + "{\"t_us\":-1,\"event\":\"x\"}\n"),
              ": line 2: its time is none that a run can have");
    EXPECT_EQ(mistake_of(run_line + "{\"t_us\":1,\"event\":7}\n")
                  .find(": line 2: a member is missing or of another kind: "),
              0U);
}

TEST_F(TraceFile, ThatIsNoTraceSaysSo) {
    const std::string words = ": line 1: this is no trace: expected the run's record, {\"t_us\":0,\"run\":…}";
    EXPECT_EQ(mistake_of("# a heading\n"), words);
    EXPECT_EQ(kind, vp::TraceError::Kind::foreign);
    EXPECT_EQ(mistake_of(event_line), words);
    EXPECT_EQ(mistake_of("{\"run\":{}}\n"), words);
    EXPECT_EQ(mistake_of(""), ": empty: expected a trace");
}

TEST_F(TraceFile, OfAnotherFormatSaysWhetherItIsTooNewOrTooOld) {
    const int own = vp::RunRecord::current_format;
    const auto of_format = [](int format) {
        return R"({"t_us":0,"run":{"format":)" + std::to_string(format) + "}}\n";
    };
    EXPECT_EQ(mistake_of(of_format(own + 1)),
              ": line 1: format " + std::to_string(own + 1) + " is too new for this program, which reads " +
                  std::to_string(own) + ": expected a trace of its own version");
    EXPECT_EQ(mistake_of(of_format(own - 1)),
              ": line 1: format " + std::to_string(own - 1) + " is too old for this program, which reads " +
                  std::to_string(own) + ": expected a trace of its own version");
    EXPECT_EQ(kind, vp::TraceError::Kind::foreign);
}

TEST_F(TraceFile, ThatIsNotThereSaysWhy) {
    try {
        vp::read_trace("/nowhere/trace", counted);
        FAIL() << "it was read";
    } catch (const vp::TraceError& error) {
        EXPECT_STREQ(error.what(), "/nowhere/trace: cannot read it: No such file or directory");
    }
}

TEST_F(TraceFile, OfARunThatWasKilledIsReadAsFarAsItGoes) {
    for (const vp::Compression compression : compressions()) {
        const auto compressor = vp::make_compressor(compression);
        std::string bytes = compressor->pack(run_line + event_line);
        bytes += compressor->flush();
        storykit::write_file(path, bytes);
        EXPECT_EQ(vp::read_trace(path).events.size(), 1U) << vp::compression_name(compression);
    }
}

}  // namespace
