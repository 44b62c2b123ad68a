#include "tests/support/scripted_board.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "tests/support/journal.h"
#include "tests/support/scripted_vendor.h"
#include "virtual_projector/clock/random_schedule.h"
#include "virtual_projector/clock/reentrancy_guard.h"
#include "virtual_projector/clock/virtual_clock.h"
#include "virtual_projector/interpose/machine.h"

namespace testkit {
namespace {

// The test says how each node behaves; handlers are the test's own code, so calls they make are the program's.
class ScriptedNode final : public vp::Device, public std::enable_shared_from_this<ScriptedNode> {
public:
    std::unique_ptr<vp::OpenFile> open(int flags, int& error_number) override;

    std::string next_content() {
        if (!content) return {};
        const auto handler = content;
        const vp::ProgramCallback callback;
        return handler();
    }

    std::function<std::string()> content;
    std::function<long(const std::string&)> write_handler;
    std::function<long(std::uint32_t, void*)> ioctl_handler;
    std::vector<std::string> writes;
};

class OpenNode final : public vp::OpenFile {
public:
    OpenNode(std::shared_ptr<ScriptedNode> node, std::string content)
        : node_(std::move(node)), content_(std::move(content)) {}

    vp::Answer read(void* buffer, std::size_t count) override {
        const std::size_t length = std::min(count, content_.size() - position_);
        std::memcpy(buffer, content_.data() + position_, length);
        position_ += length;
        return vp::Answer::done(static_cast<long>(length));
    }

    vp::Answer write(const void* buffer, std::size_t count) override {
        const std::string bytes(static_cast<const char*>(buffer), count);
        node_->writes.push_back(bytes);
        if (!node_->write_handler) return vp::Answer::done(static_cast<long>(count));
        const auto handler = node_->write_handler;
        const vp::ProgramCallback callback;
        return vp::Answer::done(handler(bytes));
    }

    vp::Answer request(std::uint32_t number, void* argument) override {
        if (!node_->ioctl_handler) return vp::Answer::error(ENOTTY);
        const auto handler = node_->ioctl_handler;
        const vp::ProgramCallback callback;
        return vp::Answer::done(handler(number, argument));
    }

private:
    std::shared_ptr<ScriptedNode> node_;
    std::string content_;
    std::size_t position_ = 0;
};

// Content is made at the open of a reader only: a node that is opened to be written leaves the next one.
std::unique_ptr<vp::OpenFile> ScriptedNode::open(int flags, int& error_number) {
    error_number = 0;
    const bool reads = (flags & O_ACCMODE) != O_WRONLY;
    return std::make_unique<OpenNode>(shared_from_this(), reads ? next_content() : std::string());
}

// Time stands still but for sleeps, however many calls a test makes.
vp::CallCost free_calls() {
    vp::CallCost cost;
    cost.free_calls = 0;
    return cost;
}

vp::FaultRule rule_of(const Fault& fault) {
    vp::FaultRule rule;
    rule.operation = fault.operation;
    rule.path = fault.path;
    rule.nth = fault.nth;
    rule.effect.error_number = fault.error_number;
    rule.effect.short_count = fault.short_count;
    if (fault.error_number == 0 && fault.short_count < 0) rule.effect.garbage = fault.garbage;
    return rule;
}

std::string first_word(const std::string& entry) { return entry.substr(0, entry.find(' ')); }

}  // namespace

struct ScriptedBoard::Parts {
    ScriptedNode& node(const std::string& path) {
        std::shared_ptr<ScriptedNode>& node = nodes[path];
        if (node == nullptr) node = std::make_shared<ScriptedNode>();
        devices.add(path, node);
        return *node;
    }

    vp::VirtualClock clock{std::make_unique<vp::RandomSchedule>(1), free_calls()};
    vp::DeviceTable devices;
    vp::FaultPlan faults;
    Journal journal;
    std::map<std::string, std::shared_ptr<ScriptedNode>> nodes;
    vp::Machine machine{clock, devices, faults, &journal};
};

ScriptedBoard::ScriptedBoard() : parts_(std::make_unique<Parts>()) {
    vendor_reset();
    parts_->machine.install();
}

ScriptedBoard::~ScriptedBoard() { parts_->machine.uninstall(); }

// --- Nodes -----------------------------------------------------------------------------------------------

void ScriptedBoard::text(const std::string& path, const std::string& content) { texts(path, {content}); }

void ScriptedBoard::texts(const std::string& path, std::vector<std::string> contents) {
    on_read(path, [contents = std::move(contents), next = std::size_t{0}]() mutable {
        if (contents.empty()) return std::string();
        const std::string content = contents[next];
        if (next + 1 < contents.size()) ++next;
        return content;
    });
}

void ScriptedBoard::on_read(const std::string& path, std::function<std::string()> content) {
    const auto shared = std::make_shared<std::function<std::string()>>(std::move(content));
    parts_->node(path).content = [shared] { return (*shared)(); };
}

void ScriptedBoard::on_write(const std::string& path, std::function<long(const std::string&)> handler) {
    parts_->node(path).write_handler = std::move(handler);
}

void ScriptedBoard::on_ioctl(const std::string& path, std::function<long(std::uint32_t, void*)> handler) {
    parts_->node(path).ioctl_handler = std::move(handler);
}

void ScriptedBoard::remove(const std::string& path) { parts_->devices.remove(path); }

std::vector<std::string> ScriptedBoard::writes(const std::string& path) const {
    const auto found = parts_->nodes.find(path);
    return found == parts_->nodes.end() ? std::vector<std::string>() : found->second->writes;
}

void ScriptedBoard::fail(const Fault& fault) { parts_->faults.add(rule_of(fault)); }

void ScriptedBoard::clear_faults() { parts_->faults.clear(); }

// --- What happened ---------------------------------------------------------------------------------------

std::vector<std::string> ScriptedBoard::journal() { return parts_->journal.entries(); }

std::vector<std::string> ScriptedBoard::journal(const std::vector<std::string>& first_words) {
    std::vector<std::string> chosen;
    for (const std::string& entry : journal()) {
        const auto wanted = std::find(first_words.begin(), first_words.end(), first_word(entry));
        if (wanted != first_words.end()) chosen.push_back(entry);
    }
    return chosen;
}

void ScriptedBoard::clear_journal() { parts_->journal.clear(); }

void ScriptedBoard::note(const std::string& entry) { parts_->journal.add(entry); }

std::string ScriptedBoard::log() { return parts_->journal.take_log(); }

std::string ScriptedBoard::errors() { return parts_->journal.take_errors(); }

std::vector<std::string> ScriptedBoard::open_descriptors() const {
    return parts_->machine.files().open_paths();
}

// --- Time ------------------------------------------------------------------------------------------------

std::int64_t ScriptedBoard::now_us() const { return parts_->clock.now(); }

void ScriptedBoard::advance_us(std::int64_t duration) {
    const vp::ReentrancyGuard guard;
    parts_->clock.sleep_until(parts_->clock.now() + duration);
}

void ScriptedBoard::set_wall_clock_us(std::int64_t microseconds) {
    parts_->machine.time().set_wall_clock(microseconds);
}

void ScriptedBoard::on_sleep(std::function<void(std::int64_t)> handler) {
    parts_->machine.time().on_sleep(std::move(handler));
}

}  // namespace testkit
