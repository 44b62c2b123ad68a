// Reading a trace back: record by record, or what a story needs of it.
#ifndef VIRTUAL_PROJECTOR_REPORT_TRACE_READER_H
#define VIRTUAL_PROJECTOR_REPORT_TRACE_READER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "virtual_projector/report/trace_input.h"
#include "virtual_projector/trace/records.h"
#include "virtual_projector/world/side.h"
#include "virtual_projector/world/wear.h"

namespace vp {

/// The world's truth at one time.
struct TruthAt : TruthRecord {
    std::int64_t t_us = 0;

    double worst_side_deg() const;  // the larger of the two, without sign
};

struct LensMoveAt {
    std::int64_t t_us = 0;
    Side side = Side::left;
    int steps = 0;
    bool half_steps = false;
};

struct EventAt {
    std::int64_t t_us = 0;
    std::string what;
};

/// A function of the board's libraries that was called.
struct LibraryCallAt {
    std::int64_t t_us = 0;
    std::string function;
    long result = 0;
};

/// An argument or an output: a number, a text, or what JSON makes of several.
struct NamedText {
    std::string name;
    std::string value;
};

/// A call of any kind, with all that is known of it.
struct CallAt : CallLine {
    std::vector<NamedText> arguments;  // of a function of the board's libraries
    std::vector<NamedText> outputs;    // what it filled
};

struct FaultAt {
    std::int64_t t_us = 0;
    int thread = 0;
    int number = 0;    // of the planned fault
    std::string what;  // the call that it changed: "read /sys/class/motor/tmr_adc"
    std::string did;   // what it changed, in words
};

struct ThreadSeen {
    int number = 0;
    std::string name;
    std::int64_t first_us = 0;  // its first record
};

/// Is shown every record of a trace, in the trace's order. What it does not want it leaves as it is here.
class TraceVisitor {
public:
    virtual ~TraceVisitor() = default;
    virtual void take_run(const RunRecord&) {}
    virtual void take_truth(const TruthAt&) {}
    virtual void take_event(const EventAt&) {}
    virtual void take_wear(std::int64_t /*t_us*/, const WearAccount&) {}
    virtual void take_call(const CallAt&) {}
    virtual void take_wait(const WaitLine&) {}
    virtual void take_callback(const CallbackLine&) {}
    virtual void take_return(const ReturnLine&) {}
    virtual void take_state(const StateLine&) {}
    virtual void take_log(const LogLine&) {}
};

/// Shows each record to several.
class TraceVisitors : public TraceVisitor {
public:
    void add(TraceVisitor& visitor) { visitors_.push_back(&visitor); }

    void take_run(const RunRecord& run) override;
    void take_truth(const TruthAt& truth) override;
    void take_event(const EventAt& event) override;
    void take_wear(std::int64_t t_us, const WearAccount& wear) override;
    void take_call(const CallAt& call) override;
    void take_wait(const WaitLine& wait) override;
    void take_callback(const CallbackLine& callback) override;
    void take_return(const ReturnLine& end) override;
    void take_state(const StateLine& state) override;
    void take_log(const LogLine& log) override;

private:
    std::vector<TraceVisitor*> visitors_;
};

/// What a story needs of a trace: all but the calls that change nothing.
struct TraceContents {
    RunRecord run;
    std::vector<TruthAt> truths;
    std::vector<LensMoveAt> lens_moves;
    std::vector<EventAt> events;
    std::vector<LibraryCallAt> library_calls;
    std::vector<EventAt> failures;    // calls on nodes that failed
    std::optional<WearAccount> wear;  // of a run that came to its end
    std::vector<CallbackLine> callbacks;
    std::vector<StateLine> states;
    std::vector<LogLine> log;
    std::vector<FaultAt> faults;
    std::vector<ThreadSeen> threads;  // in the order of their first records
    std::int64_t end_us = 0;          // the last record's time
};

/// Puts together what a story needs.
class TraceCollector : public TraceVisitor {
public:
    void take_run(const RunRecord& run) override;
    void take_truth(const TruthAt& truth) override;
    void take_event(const EventAt& event) override;
    void take_wear(std::int64_t t_us, const WearAccount& wear) override;
    void take_call(const CallAt& call) override;
    void take_wait(const WaitLine& wait) override;
    void take_callback(const CallbackLine& callback) override;
    void take_return(const ReturnLine& end) override;
    void take_state(const StateLine& state) override;
    void take_log(const LogLine& log) override;

    TraceContents contents() && { return std::move(contents_); }

private:
    void see(std::int64_t t_us, int thread = 0, const std::string& name = "");
    void take_fault(const CallAt& call);
    void take_motor(std::int64_t t_us, const std::string& node, const std::string& data);

    TraceContents contents_;
    bool half_steps_ = false;
};

/// Gives the records of a trace, one after the other. A trace that is not one throws TraceError, whose line
/// says where and what was expected.
class TraceReader {
public:
    explicit TraceReader(TraceInput input);
    ~TraceReader();
    TraceReader(TraceReader&&) noexcept;
    TraceReader& operator=(TraceReader&&) = delete;

    /// The next record; false at the end.
    bool next();
    /// The two halves of it: the next line, whatever it is, and the record that stands on it.
    bool next_line();
    void parse_line();
    /// Of the record that was read: its text, its line from 1, the member that names its kind ("call"). A kind
    /// that this program does not know is empty, and is shown to nobody: a later version's trace may have it.
    const std::string& line() const;
    std::size_t line_number() const;
    const char* kind() const;
    /// Shows it to a visitor.
    void show(TraceVisitor& visitor) const;

private:
    struct Record;
    std::unique_ptr<Record> record_;
};

/// Shows a visitor all records of a file, "-" for standard input. Throws TraceError; the records before the
/// line that it names have been shown then.
void read_trace(const std::string& path, TraceVisitor& visitor);

/// Reads what there is of a trace file, as it may be of a run that did not come to its end. Lines that are no
/// records are passed over; a file that cannot be read is empty.
TraceContents read_trace(const std::string& path);

}  // namespace vp

#endif
