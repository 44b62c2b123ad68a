#include "virtual_projector/trace/json_trace.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/virtual_projector/trace/sample_call.h"
#include "virtual_projector/storykit/scratch_folder.h"

namespace {

using vp::call;
using vp::JsonTrace;
using vp::TraceDetail;

// A trace into memory.
struct JsonTraceFile : ::testing::Test {
    std::string written(TraceDetail detail) {
        char* text = nullptr;
        std::size_t size = 0;
        {
            JsonTrace trace(::open_memstream(&text, &size), detail);
            trace.record(call("read", "/dev/dis", 1, 1, "x"));
            trace.record(call("write", "/dev/dis", 1, 1, "y"));
            trace.record(call("ioctl", "/dev/gsensor_daemon", 0x4004a109, 0));
            trace.record(call("open", "/dev/fb0", 0, -ENOENT));
            trace.record_event(30, "tilted \"up\"");
            trace.record_truth(40, {{"sharpness", 0.5}});
        }
        const std::string all(text, size);
        std::free(text);
        return all;
    }
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

TEST_F(JsonTraceFile, CannotBeMadeWhereNoFileCanBe) {
    errno = 0;
    EXPECT_EQ(JsonTrace::to_file("/nowhere/trace.jsonl", TraceDetail::calls), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(JsonTraceFile, SaysWhenTheDiskIsFull) {
    const auto trace = JsonTrace::to_file("/dev/full", TraceDetail::events);
    ASSERT_NE(trace, nullptr);
    trace->record_event(1, "x");
    EXPECT_FALSE(trace->flush());
}

TEST_F(JsonTraceFile, IsOnDiskAfterAFlush) {
    const storykit::ScratchFolder folder;
    const std::string path = folder.file("trace");
    const auto trace = JsonTrace::to_file(path, TraceDetail::events);
    ASSERT_NE(trace, nullptr);
    trace->record_event(1, "x");
    EXPECT_TRUE(trace->flush());
    std::FILE* file = std::fopen(path.c_str(), "r");
    ASSERT_NE(file, nullptr);
    char line[64] = {};
    EXPECT_NE(std::fgets(line, sizeof line, file), nullptr);
    std::fclose(file);
    EXPECT_STREQ(line, "{\"t_us\":1,\"event\":\"x\"}\n");
}

}  // namespace
