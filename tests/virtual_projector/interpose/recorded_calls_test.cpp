// What a record says of a call besides its result: what was moved, how long it took, what a fault did, and
// locks.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/virtual_projector/interpose/machine_fixture.h"
#include "virtual_projector/interpose/log_lines.h"
#include "virtual_projector/trace/records.h"

pthread_mutex_t mutex_of_the_test = PTHREAD_MUTEX_INITIALIZER;

namespace {

using namespace interpose_test;
using Lines = std::vector<std::string>;

constexpr std::uint32_t number = 0x1234;

// A driver with one request, which wants four bytes and gives four.
struct Driver final : vp::Device {
    struct File final : vp::OpenFile {
        vp::Answer request(std::uint32_t asked, void* argument) override {
            if (asked != number) return vp::Answer::error(ENOTTY);
            std::memcpy(argument, "back", 4);
            return vp::Answer::done(0);
        }
        std::size_t request_size(std::uint32_t asked) const override { return asked == number ? 4 : 0; }
        vp::RequestKind request_kind(std::uint32_t asked) const override {
            return asked == number ? vp::RequestKind{"exchange", true, true} : vp::RequestKind{};
        }
        vp::Answer write(const void* /*buffer*/, std::size_t count) override {
            return vp::Answer::done(static_cast<long>(count));
        }
        vp::WrittenCommand written_command(std::string_view bytes, long result) const override {
            if (result < 0) return {};
            return {"command", "given to " + std::string(bytes), "returned"};
        }
    };
    std::unique_ptr<vp::OpenFile> open(int /*flags*/, int& error_number) override {
        error_number = 0;
        return std::make_unique<File>();
    }
};

struct JsonSink final : vp::TraceSink {
    void record(const vp::CallRecord& record) override { lines.push_back(without_place(json_of(record))); }
    void record_log(const vp::LogRecord& record) override { lines.push_back(without_place(json_of(record))); }

    static std::string without_place(nlohmann::ordered_json line) {
        for (const char* const member : {"thread", "name", "path"}) line.erase(member);
        return line.dump();
    }
    Lines lines;
};

struct RecordedCalls : ::testing::Test {
    RecordedCalls() {
        devices.add(other_path, std::make_shared<Driver>());
        machine.watch_library();
        machine.install();
        descriptor = ::open(other_path, O_RDWR);
        sink.lines.clear();
    }
    ~RecordedCalls() override { machine.uninstall(); }

    void fail(const char* operation, vp::FaultEffect effect) {
        vp::FaultRule rule;
        rule.operation = operation;
        rule.effect = std::move(effect);
        faults.add(rule);
    }

    vp::VirtualClock clock{std::make_unique<vp::RandomSchedule>(1)};
    vp::DeviceTable devices;
    vp::FaultPlan faults;
    JsonSink sink;
    vp::Machine machine{clock, devices, faults, &sink};
    int descriptor = -1;
};

TEST_F(RecordedCalls, ARequestHasItsNameAndWhatItGaveAndGotBack) {
    char argument[5] = "fore";
    EXPECT_EQ(::ioctl(descriptor, number, argument), 0);
    EXPECT_EQ(sink.lines, Lines{R"({"t_us":0,"call":"ioctl","request":"0x00001234","request_name":"exchange",)"
                                R"("result":0,"given":"666f7265","returned":"6261636b"})"});
}

TEST_F(RecordedCalls, ARequestThatFailsGotNothingBack) {
    vp::FaultEffect effect;
    effect.error_number = EIO;
    fail("ioctl", effect);
    char argument[5] = "fore";
    EXPECT_EQ(::ioctl(descriptor, number, argument), -1);
    EXPECT_EQ(sink.lines, Lines{R"({"t_us":0,"call":"ioctl","request":"0x00001234","request_name":"exchange",)"
                                R"("result":-5,"error":"EIO","fault":{"number":1,"did":"failed with EIO"}})"});
}

TEST_F(RecordedCalls, AnUnknownRequestHasItsNumberAlone) {
    char argument[5] = "fore";
    EXPECT_EQ(::ioctl(descriptor, 0x99, argument), -1);
    EXPECT_EQ(sink.lines,
              Lines{R"({"t_us":0,"call":"ioctl","request":"0x00000099","result":-25,"error":"ENOTTY"})"});
}

TEST_F(RecordedCalls, AWrittenCommandHasItsNameAndWhatLiesBehindIt) {
    EXPECT_EQ(::write(descriptor, "ab", 2), 2);
    EXPECT_EQ(sink.lines,
              Lines{R"({"t_us":0,"call":"write","count":2,"request_name":"command","result":2,)"
                    R"("data":"ab","given":"676976656e20746f206162","returned":"72657475726e6564"})"});
}

TEST_F(RecordedCalls, ACallSaysHowLongItTookAndWhatAFaultDidToIt) {
    vp::FaultEffect effect;
    effect.delay_us = 300;
    effect.short_count = 1;
    fail("write", effect);
    EXPECT_EQ(::write(descriptor, "ab", 2), 1);
    ASSERT_EQ(sink.lines.size(), 1u);
    const auto line = nlohmann::json::parse(sink.lines[0]);
    EXPECT_EQ(line.at("t_us"), 300);
    EXPECT_EQ(line.at("took_us"), 300);
    EXPECT_EQ(line.at("fault"),
              nlohmann::json::parse(R"({"number":1,"did":"moved at most 1 bytes, took 300 us longer"})"));
}

TEST_F(RecordedCalls, AFaultThatMeansNothingToACallIsNotToldOfThere) {
    vp::FaultEffect effect;
    effect.stale = true;
    fail("", effect);
    ::close(descriptor);
    EXPECT_EQ(sink.lines, Lines{R"({"t_us":0,"call":"close","result":0})"});
}

// --- Locks -----------------------------------------------------------------------------------------------

void* holds_the_mutex(void* length_us) {
    pthread_mutex_lock(&mutex_of_the_test);
    ::usleep(*static_cast<useconds_t*>(length_us));
    pthread_mutex_unlock(&mutex_of_the_test);
    return nullptr;
}

TEST_F(RecordedCalls, ALockThatWasWaitedForAndOneThatWasHeldAreTold) {
    useconds_t length_us = 100;
    pthread_t thread;
    pthread_create(&thread, nullptr, holds_the_mutex, &length_us);
    ::usleep(10);
    sink.lines.clear();
    pthread_mutex_lock(&mutex_of_the_test);
    pthread_mutex_unlock(&mutex_of_the_test);
    pthread_join(thread, nullptr);
    EXPECT_EQ(sink.lines, (Lines{R"({"t_us":100,"call":"unlock","held_us":100,"result":0})",
                                 R"({"t_us":100,"call":"lock","took_us":90,"result":0})"}));
}

TEST_F(RecordedCalls, ALockThatIsFreeAndGivenBackAtOnceIsNotTold) {
    pthread_mutex_lock(&mutex_of_the_test);
    EXPECT_EQ(pthread_mutex_trylock(&mutex_of_the_test), EBUSY);
    pthread_mutex_unlock(&mutex_of_the_test);
    EXPECT_EQ(sink.lines, Lines{});
}

TEST_F(RecordedCalls, ARecursiveLockIsHeldUntilItsLastUnlock) {
    pthread_mutex_t mutex = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
    pthread_mutex_lock(&mutex);
    ::usleep(20);
    pthread_mutex_lock(&mutex);
    ::usleep(30);
    sink.lines.clear();
    pthread_mutex_unlock(&mutex);
    EXPECT_EQ(sink.lines, Lines{});
    pthread_mutex_unlock(&mutex);
    EXPECT_EQ(sink.lines, Lines{R"({"t_us":50,"call":"unlock","held_us":50,"result":0})"});
}

// --- Lines -----------------------------------------------------------------------------------------------

TEST_F(RecordedCalls, WhatAThreadHasPrintedStandsBeforeItsNextCall) {
    vp::current_log_lines()->add("printed\n");
    EXPECT_EQ(sink.lines, Lines{});
    ::close(descriptor);
    EXPECT_EQ(sink.lines, (Lines{R"({"t_us":0,"log":"printed"})", R"({"t_us":0,"call":"close","result":0})"}));
}

void* prints_and_ends(void* /*nothing*/) {
    vp::current_log_lines()->add("last words\n");
    return nullptr;
}

TEST_F(RecordedCalls, WhatAThreadPrintsLastIsRecordedAtItsEnd) {
    pthread_t thread;
    pthread_create(&thread, nullptr, prints_and_ends, nullptr);
    sink.lines.clear();
    pthread_join(thread, nullptr);
    EXPECT_EQ(sink.lines, Lines{R"({"t_us":0,"log":"last words"})"});
}

}  // namespace
