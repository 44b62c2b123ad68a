#include "tests/support/journal.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

#include "virtual_projector/clock/reentrancy_guard.h"
#include "virtual_projector/trace/open_flags.h"

namespace testkit {
namespace {

Journal* current_journal = nullptr;

// A thread that goes round and round fills the memory in seconds, and takes other programs with it. A day of
// the library makes less than this.
constexpr std::size_t max_entries = 1000000;
constexpr std::size_t max_text_bytes = 100000000;

[[noreturn]] void give_up(const char* what, const std::string& last) {
    const testing::TestInfo* const test = testing::UnitTest::GetInstance()->current_test_info();
    ::dprintf(STDERR_FILENO, "%s.%s: more than %s, the last one: %s\n",
              test == nullptr ? "no" : test->test_suite_name(), test == nullptr ? "test" : test->name(), what,
              last.c_str());
    ::_exit(EXIT_FAILURE);
}

ssize_t append_to_text(void* text, const char* bytes, std::size_t count) {
    std::string& kept = *static_cast<std::string*>(text);
    kept.append(bytes, count);
    if (kept.size() > max_text_bytes) give_up("100 MB printed at once", kept.substr(kept.size() - 80));
    return static_cast<ssize_t>(count);
}

std::string hexadecimal(std::int64_t number) {
    char text[20];
    std::snprintf(text, sizeof text, "0x%08x", static_cast<unsigned>(number));
    return text;
}

// The entry for a call; empty for those that a journal does not show.
std::string entry_for(const vp::CallRecord& record) {
    const std::string head = std::string(record.call) + " " + std::string(record.path);
    if (record.call == "open") return head + " " + vp::open_flags_in_words(record.argument);
    if (record.call == "write") return head + " " + escaped(record.data);
    if (record.call == "ioctl") return head + " " + hexadecimal(record.argument);
    if (record.call == "read" || record.call == "close") return head;
    if (record.call == "sleep") return "sleep " + std::to_string(record.argument);
    return {};
}

std::string failure_of(const vp::CallRecord& record) {
    if (record.result >= 0) return {};
    const char* name = ::strerrorname_np(static_cast<int>(-record.result));
    return std::string(" = ") + (name == nullptr ? std::to_string(-record.result) : name);
}

// Lets the test framework print to the real standard output while a board captures it.
class UncapturedPrinter final : public testing::TestEventListener {
public:
    explicit UncapturedPrinter(testing::TestEventListener* printer) : printer_(printer) {}

    void OnTestProgramStart(const testing::UnitTest& u) override { printer_->OnTestProgramStart(u); }
    void OnTestIterationStart(const testing::UnitTest& u, int i) override {
        printer_->OnTestIterationStart(u, i);
    }
    void OnEnvironmentsSetUpStart(const testing::UnitTest& u) override {
        printer_->OnEnvironmentsSetUpStart(u);
    }
    void OnEnvironmentsSetUpEnd(const testing::UnitTest& u) override { printer_->OnEnvironmentsSetUpEnd(u); }
    void OnTestSuiteStart(const testing::TestSuite& s) override { printer_->OnTestSuiteStart(s); }
    void OnTestStart(const testing::TestInfo& t) override { printer_->OnTestStart(t); }
    void OnTestPartResult(const testing::TestPartResult& r) override {
        Journal* journal = Journal::current();
        if (journal != nullptr) journal->pause_capture();
        printer_->OnTestPartResult(r);
        if (journal != nullptr) journal->resume_capture();
    }
    void OnTestEnd(const testing::TestInfo& t) override { printer_->OnTestEnd(t); }
    void OnTestSuiteEnd(const testing::TestSuite& s) override { printer_->OnTestSuiteEnd(s); }
    void OnEnvironmentsTearDownStart(const testing::UnitTest& u) override {
        printer_->OnEnvironmentsTearDownStart(u);
    }
    void OnEnvironmentsTearDownEnd(const testing::UnitTest& u) override {
        printer_->OnEnvironmentsTearDownEnd(u);
    }
    void OnTestIterationEnd(const testing::UnitTest& u, int i) override { printer_->OnTestIterationEnd(u, i); }
    void OnTestProgramEnd(const testing::UnitTest& u) override { printer_->OnTestProgramEnd(u); }

private:
    std::unique_ptr<testing::TestEventListener> printer_;
};

void wrap_printer_once() {
    static bool wrapped = false;
    if (wrapped) return;
    wrapped = true;
    testing::TestEventListeners& listeners = testing::UnitTest::GetInstance()->listeners();
    testing::TestEventListener* printer = listeners.Release(listeners.default_result_printer());
    if (printer != nullptr) listeners.Append(new UncapturedPrinter(printer));
}

}  // namespace

std::string escaped(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        char code[8];
        std::snprintf(code, sizeof code, "\\x%02x", static_cast<unsigned>(value));
        if (byte == '\n') {
            text += "\\n";
        } else if (byte == '\t') {
            text += "\\t";
        } else if (value < 0x20 || value == 0x7f) {
            text += code;
        } else {
            text += byte;
        }
    }
    return text;
}

// --- CapturedStream --------------------------------------------------------------------------------------

CapturedStream::CapturedStream(FILE*& stream) : stream_(stream), real_(stream) {
    std::fflush(real_);
    capture_ = ::fopencookie(&text_, "w", {nullptr, append_to_text, nullptr, nullptr});
    stream_ = capture_;
}

CapturedStream::~CapturedStream() {
    stream_ = real_;
    std::fclose(capture_);
}

std::string CapturedStream::take_new() {
    std::fflush(capture_);
    return std::exchange(text_, {});
}

void CapturedStream::pause() { stream_ = real_; }
void CapturedStream::resume() { stream_ = capture_; }

// --- Journal ---------------------------------------------------------------------------------------------

Journal::Journal() : output_(stdout), errors_(stderr) {
    wrap_printer_once();
    current_journal = this;
}

Journal::~Journal() { current_journal = nullptr; }

Journal* Journal::current() { return current_journal; }

// Before anything else is written down: what was printed until now came before it.
void Journal::drain() {
    error_text_ += errors_.take_new();
    const std::string text = output_.take_new();
    log_ += text;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        keep("print " + text.substr(start, end - start));
        start = end + 1;
    }
}

void Journal::keep(std::string entry) {
    entries_.push_back(std::move(entry));
    if (entries_.size() > max_entries) give_up("1000000 calls and lines in its journal", entries_.back());
}

void Journal::record(const vp::CallRecord& record) {
    const std::string entry = entry_for(record);
    if (!entry.empty()) add(entry + failure_of(record));
}

void Journal::add(const std::string& entry) {
    const vp::ReentrancyGuard guard;
    drain();
    keep(entry);
}

std::vector<std::string> Journal::entries() {
    const vp::ReentrancyGuard guard;
    drain();
    return entries_;
}

void Journal::clear() {
    const vp::ReentrancyGuard guard;
    drain();
    entries_.clear();
}

std::string Journal::take_log() {
    const vp::ReentrancyGuard guard;
    drain();
    return std::exchange(log_, {});
}

std::string Journal::take_errors() {
    const vp::ReentrancyGuard guard;
    drain();
    return std::exchange(error_text_, {});
}

void Journal::pause_capture() {
    output_.pause();
    errors_.pause();
}

void Journal::resume_capture() {
    output_.resume();
    errors_.resume();
}

}  // namespace testkit
