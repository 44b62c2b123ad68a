// The one list of what happened on a ScriptedBoard, and what was printed meanwhile.
#ifndef TESTS_SUPPORT_JOURNAL_H
#define TESTS_SUPPORT_JOURNAL_H

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "virtual_projector/trace/trace_sink.h"

namespace testkit {

/// Takes over one of the C library's streams (stdout or stderr, which are variables there) and keeps what is
/// written to it. The descriptors 1 and 2 stay as they are: reports of crashes and sanitizers still show.
class CapturedStream {
public:
    explicit CapturedStream(FILE*& stream);
    ~CapturedStream();
    CapturedStream(const CapturedStream&) = delete;
    CapturedStream& operator=(const CapturedStream&) = delete;

    std::string take_new();  // what was written since the last call
    void pause();            // the stream is the real one again ...
    void resume();           // ... and captured again

private:
    FILE*& stream_;
    FILE* real_;
    FILE* capture_ = nullptr;
    std::string text_;
};

/// A journal of more than a million entries ends the process, with a line that names the test.
class Journal final : public vp::TraceSink {
public:
    Journal();
    ~Journal() override;

    void record(const vp::CallRecord& record) override;
    void add(const std::string& entry);

    std::vector<std::string> entries();
    void clear();
    std::string take_log();
    std::string take_errors();

    /// While the test framework prints.
    void pause_capture();
    void resume_capture();

    /// The journal of the board that is installed; null without one.
    static Journal* current();

private:
    void drain();
    void keep(std::string entry);

    CapturedStream output_;
    CapturedStream errors_;
    std::vector<std::string> entries_;
    std::string log_;
    std::string error_text_;
};

/// Control characters as \n, \t or \xNN.
std::string escaped(std::string_view bytes);

}  // namespace testkit

#endif
