// A machine in virtual time with nodes of plain bytes, for tests of the interposed calls.
#ifndef TESTS_VIRTUAL_PROJECTOR_INTERPOSE_MACHINE_FIXTURE_H
#define TESTS_VIRTUAL_PROJECTOR_INTERPOSE_MACHINE_FIXTURE_H

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "virtual_projector/clock/random_schedule.h"
#include "virtual_projector/clock/reentrancy_guard.h"
#include "virtual_projector/clock/virtual_clock.h"
#include "virtual_projector/interpose/machine.h"

namespace interpose_test {

constexpr const char* node_path = "/sys/class/motor/stop";
constexpr const char* other_path = "/dev/dis";

/// A node with content; answers can be scripted in its place.
struct TestNode final : vp::Device {
    std::string content;
    std::string written;
    std::vector<vp::Answer> answers;  // given first, one for each question
    int open_error = 0;
    int open_flags = -1;
    int close_error = 0;
    int closes = 0;

    std::unique_ptr<vp::OpenFile> open(int flags, int& error_number) override;
};

class TestFile final : public vp::OpenFile {
public:
    explicit TestFile(TestNode& node) : node_(node) {}

    vp::Answer read(void* buffer, std::size_t count) override {
        if (!node_.answers.empty()) return next_answer();
        const std::size_t length = std::min(count, node_.content.size() - position_);
        std::memcpy(buffer, node_.content.data() + position_, length);
        position_ += length;
        return vp::Answer::done(static_cast<long>(length));
    }
    vp::Answer write(const void* buffer, std::size_t count) override {
        if (!node_.answers.empty()) return next_answer();
        node_.written.append(static_cast<const char*>(buffer), count);
        return vp::Answer::done(static_cast<long>(count));
    }
    vp::Answer request(std::uint32_t number, void* argument) override {
        if (!node_.answers.empty()) return next_answer();
        *static_cast<std::uint32_t*>(argument) = number;
        return vp::Answer::done(0);
    }
    std::size_t request_size(std::uint32_t /*number*/) const override { return sizeof(std::uint32_t); }
    vp::Answer close() override {
        ++node_.closes;
        return node_.close_error == 0 ? vp::Answer::done(0) : vp::Answer::error(node_.close_error);
    }

private:
    vp::Answer next_answer() {
        const vp::Answer answer = node_.answers.front();
        node_.answers.erase(node_.answers.begin());
        return answer;
    }

    TestNode& node_;
    std::size_t position_ = 0;
};

inline std::unique_ptr<vp::OpenFile> TestNode::open(int flags, int& error_number) {
    open_flags = flags;
    error_number = open_error;
    return open_error == 0 ? std::make_unique<TestFile>(*this) : nullptr;
}

/// Keeps each record as a short line: "time thread call path result data".
struct LineSink final : vp::TraceSink {
    void record(const vp::CallRecord& record) override {
        lines.push_back(std::to_string(record.t_us) + " " + std::to_string(record.thread) + " " +
                        std::string(record.call) + " " + std::string(record.path) + " " +
                        std::to_string(record.result) + " " + std::string(record.data));
    }
    std::vector<std::string> lines;
};

struct MachineTest : ::testing::Test {
    explicit MachineTest(std::unique_ptr<vp::SchedulePolicy> policy = std::make_unique<vp::RandomSchedule>(1))
        : clock(std::move(policy)) {
        devices.add(node_path, node);
        devices.add(other_path, other);
        machine.install();
    }
    ~MachineTest() override { machine.uninstall(); }

    /// A fault on one operation of the first node.
    void fail(const char* operation, vp::FaultEffect effect, int nth = 0) {
        vp::FaultRule rule;
        rule.operation = operation;
        rule.path = node_path;
        rule.nth = nth;
        rule.effect = std::move(effect);
        faults.add(rule);
    }
    static vp::FaultEffect error(int error_number) {
        vp::FaultEffect effect;
        effect.error_number = error_number;
        return effect;
    }

    std::shared_ptr<TestNode> node = std::make_shared<TestNode>();
    std::shared_ptr<TestNode> other = std::make_shared<TestNode>();
    vp::VirtualClock clock;
    vp::DeviceTable devices;
    vp::FaultPlan faults;
    LineSink sink;
    vp::Machine machine{clock, devices, faults, &sink};
};

}  // namespace interpose_test

#endif
