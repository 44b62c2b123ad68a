#include "virtual_projector/trace/json_trace.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/virtual_projector/trace/sample_call.h"
#include "virtual_projector/storykit/scratch_folder.h"

namespace {

using vp::call;
using vp::JsonTrace;
using vp::TraceDetail;

std::string contents_of(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

struct JsonTraceFile : ::testing::Test {
    std::string written(TraceDetail detail) const {
        const auto trace = JsonTrace::to_file(path, detail);
        trace->record(call("read", "/dev/dis", 1, 1, "x"));
        trace->record(call("write", "/dev/dis", 1, 1, "y"));
        trace->record(call("ioctl", "/dev/gsensor_daemon", 0x4004a109, 0));
        trace->record(call("open", "/dev/fb0", 0, -ENOENT));
        trace->record_event(30, "tilted \"up\"");
        trace->record_truth(40, {{"sharpness", 0.5}});
        EXPECT_TRUE(trace->finish());
        return contents_of(path);
    }

    const storykit::ScratchFolder folder;
    const std::string path = folder.file("trace");
};

constexpr const char* event_lines =
    "{\"t_us\":30,\"event\":\"tilted \\\"up\\\"\"}\n{\"t_us\":40,\"truth\":{\"sharpness\":0.5}}\n";
constexpr const char* write_line =
    R"({"t_us":20,"thread":2,"name":"worker","call":"write","path":"/dev/dis","count":1,"result":1,"data":"y"})";
constexpr const char* read_line =
    R"({"t_us":20,"thread":2,"name":"worker","call":"read","path":"/dev/dis","count":1,"result":1,"data":"x"})";
constexpr const char* sample_line =
    R"({"t_us":20,"thread":2,"name":"worker","call":"ioctl","path":"/dev/gsensor_daemon","request":"0x4004a109",)"
    R"("result":0})";
constexpr const char* failed_line =
    R"({"t_us":20,"thread":2,"name":"worker","call":"open","path":"/dev/fb0","flags":"O_RDONLY","result":-2,"error":"ENOENT"})";

TEST_F(JsonTraceFile, HoldsEveryCallOnALineOfItsOwn) {
    EXPECT_EQ(written(TraceDetail::calls), std::string(read_line) + "\n" + write_line + "\n" + sample_line +
                                               "\n" + failed_line + "\n" + event_lines);
}

TEST_F(JsonTraceFile, HoldsChangesAndFailuresOnly) {
    EXPECT_EQ(written(TraceDetail::changes), std::string(write_line) + "\n" + failed_line + "\n" + event_lines);
}

TEST_F(JsonTraceFile, HoldsEventsOnly) { EXPECT_EQ(written(TraceDetail::events), event_lines); }

// What stands in a trace of that level, by kind.
std::vector<std::string> kinds_in(const std::string& path, TraceDetail detail) {
    const auto trace = JsonTrace::to_file(path, detail);
    const vp::ThreadMoment moment{20, 2, "worker"};
    const std::int32_t result = 0;
    const nlohmann::ordered_json values = {{"direction", 1}};
    trace->record(call("lock", "mutex", 0, 0));
    trace->record(call("unlock", "mutex", 5, 0));
    vp::CallRecord changed = call("read", "/dev/dis", 1, 1, "x");
    changed.fault = 1;
    changed.fault_did = "delivered other bytes";
    trace->record(changed);
    trace->record_wait({moment, "condition", "key_pressed", 5, "woken"});
    trace->record_callback({moment, "toast", 5, {6}, "words"});
    trace->record_callback({moment, "refresh_ui", 4, {}, "words"});
    trace->record_callback({moment, "is_factory_test", 6, {}, "words"});
    trace->record_return({moment, "toast", 5, 3, nullptr});
    trace->record_return({moment, "is_factory_test", 6, 0, &result});
    trace->record_state({moment, &values});
    trace->record_log({moment, "line"});
    EXPECT_TRUE(trace->finish());
    std::ifstream file(path);
    std::vector<std::string> kinds;
    for (std::string line; std::getline(file, line);) {
        const auto record = nlohmann::json::parse(line);
        for (const char* const kind : {"call", "wait", "callback", "return", "state", "log"}) {
            if (record.contains(kind)) kinds.push_back(record[kind].is_string() ? record[kind] : kind);
        }
    }
    return kinds;
}

using Kinds = std::vector<std::string>;

TEST_F(JsonTraceFile, HoldsToastsStateAndLogAtEveryLevelOfDetail) {
    EXPECT_EQ(kinds_in(path, TraceDetail::events), (Kinds{"toast", "toast", "state", "line"}));
}

TEST_F(JsonTraceFile, HoldsLocksFaultsAndOtherCallbacksWithTheChanges) {
    EXPECT_EQ(kinds_in(path, TraceDetail::changes),
              (Kinds{"lock", "unlock", "read", "toast", "refresh_ui", "toast", "state", "line"}));
}

// It is asked with each block of samples.
TEST_F(JsonTraceFile, HoldsWaitsAndTheQuestionForFactoryTestingWithEveryCallOnly) {
    EXPECT_EQ(kinds_in(path, TraceDetail::calls),
              (Kinds{"lock", "unlock", "read", "condition", "toast", "refresh_ui", "is_factory_test", "toast",
                     "is_factory_test", "state", "line"}));
}

TEST_F(JsonTraceFile, HoldsTheWearAtEveryLevelOfDetail) {
    for (const TraceDetail detail : {TraceDetail::events, TraceDetail::changes, TraceDetail::calls}) {
        const auto trace = JsonTrace::to_file(path, detail);
        trace->record_wear(50, {{"run", {{"orders", 3}}}});
        EXPECT_TRUE(trace->finish());
        EXPECT_EQ(contents_of(path), "{\"t_us\":50,\"wear\":{\"run\":{\"orders\":3}}}\n");
    }
}

TEST_F(JsonTraceFile, CannotBeMadeWhereNoFileCanBe) {
    errno = 0;
    EXPECT_EQ(JsonTrace::to_file("/nowhere/trace.jsonl", TraceDetail::calls), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(JsonTraceFile, SaysWhenTheDiskIsFull) {
    const auto trace = JsonTrace::to_file("/dev/full", TraceDetail::events);
    ASSERT_NE(trace, nullptr);
    int failures = 0;
    trace->on_failure([&failures] { ++failures; });
    trace->record_event(1, "x");
    EXPECT_EQ(failures, 1);
    trace->record_event(2, "y");
    EXPECT_EQ(failures, 1);
    EXPECT_FALSE(trace->finish());
}

TEST_F(JsonTraceFile, StandsLineByLineBesideItsPlaceUntilItIsComplete) {
    const auto trace = JsonTrace::to_file(path, TraceDetail::events);
    ASSERT_NE(trace, nullptr);
    trace->record_event(1, "x");
    EXPECT_EQ(contents_of(path + ".part"), "{\"t_us\":1,\"event\":\"x\"}\n");
    EXPECT_FALSE(std::ifstream(path));
    EXPECT_TRUE(trace->finish());
    EXPECT_FALSE(std::ifstream(path + ".part"));
    EXPECT_EQ(contents_of(path), "{\"t_us\":1,\"event\":\"x\"}\n");
}

TEST_F(JsonTraceFile, TakesNothingAfterItsEnd) {
    const auto trace = JsonTrace::to_file(path, TraceDetail::events);
    EXPECT_TRUE(trace->finish());
    trace->record_event(1, "x");
    EXPECT_TRUE(trace->finish());
    EXPECT_EQ(contents_of(path), "");
}

}  // namespace
