#include "virtual_projector/report/trace_reader.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string_view>

namespace vp {
namespace {

using nlohmann::json;

constexpr std::string_view motor = "/sys/class/motor/";
// A hundred years: what is later is no time, and would not bear arithmetic.
constexpr std::int64_t latest_us = std::int64_t{100} * 366 * 24 * 3600 * 1000000;

Wear wear_from(const json& figures) {
    Wear wear;
    for (const WearFigure& figure : wear_figures())
        wear.*figure.member = figures.value(std::string(figure.name), 0.0);
    return wear;
}

std::vector<NamedText> texts_of(const json& line, const char* key) {
    std::vector<NamedText> texts;
    const auto values = line.find(key);
    if (values == line.end()) return texts;
    constexpr auto replace = json::error_handler_t::replace;
    for (const auto& [name, value] : values->items())
        texts.push_back(
            {name, value.is_string() ? value.get<std::string>() : value.dump(-1, ' ', false, replace)});
    return texts;
}

CallAt call_from(const json& line) {
    return {call_line_from(line), texts_of(line, record_key::arguments), texts_of(line, record_key::outputs)};
}

WearAccount account_from(const json& wear) {
    return {wear_from(wear.at(record_key::run)), wear_from(wear.at(record_key::total))};
}

std::int64_t time_of(const json& line) {
    const json& t_us = line.at(record_key::t_us);
    if (!t_us.is_number_integer()) throw std::invalid_argument("its time is no whole number");
    const auto time = t_us.get<std::int64_t>();
    if (time < 0 || time > latest_us) throw std::invalid_argument("its time is none that a run can have");
    return time;
}

// The members that name the kinds of records, the most frequent first. A callback's return and its wear have
// members that name others, so the order matters: "run" is a member of wear.
constexpr const char* kinds[] = {record_key::call,  record_key::truth,    record_key::log,
                                 record_key::state, record_key::callback, record_key::callback_return,
                                 record_key::event, record_key::wear,     record_key::run,
                                 record_key::wait};

// Empty: of one that this program does not know.
const char* kind_of(const json& record) {
    for (const char* const kind : kinds) {
        if (record.contains(kind)) return kind;
    }
    return "";
}

void show_thread_record(const json& line, std::string_view kind, TraceVisitor& visitor) {
    if (kind == record_key::call) visitor.take_call(call_from(line));
    if (kind == record_key::wait) visitor.take_wait(wait_line_from(line));
    if (kind == record_key::log) visitor.take_log(log_line_from(line));
    if (kind == record_key::state) visitor.take_state(state_line_from(line));
    if (kind == record_key::callback) visitor.take_callback(callback_line_from(line));
    if (kind == record_key::callback_return) visitor.take_return(return_line_from(line));
}

void show(const json& line, std::string_view kind, TraceVisitor& visitor) {
    const std::int64_t t_us = time_of(line);
    if (kind == record_key::truth) {
        visitor.take_truth({truth_from(line.at(record_key::truth)), t_us});
    } else if (kind == record_key::event) {
        visitor.take_event({t_us, line.at(record_key::event).get<std::string>()});
    } else if (kind == record_key::wear) {
        visitor.take_wear(t_us, account_from(line.at(record_key::wear)));
    } else if (kind == record_key::run) {
        visitor.take_run(run_from(line.at(record_key::run)));
    } else {
        show_thread_record(line, kind, visitor);
    }
}

std::string at_line(const TraceInput& input, const std::string& what) {
    return input.name() + ": line " + std::to_string(input.line_number()) + ": " + what;
}

TraceError garbled(const TraceInput& input, const std::string& what) {
    return {TraceError::Kind::garbled, at_line(input, what)};
}

// Cut off within the line, or by the end of a compressed file.
TraceError cut(const TraceInput& input) {
    return {TraceError::Kind::cut, at_line(input, "cut: the trace ends in the middle of this record")};
}

json parse(const TraceInput& input, const std::string& line) {
    json record = json::parse(line, nullptr, false);
    if (record.is_object()) return record;
    if (!input.line_is_whole()) throw cut(input);
    throw garbled(input, "expected a record, a JSON object, found none");
}

std::string format_mistake(int format) {
    std::string words = "format " + std::to_string(format) + " is too ";
    words += format > RunRecord::current_format ? "new" : "old";
    return words + " for this program, which reads " + std::to_string(RunRecord::current_format) +
           ": expected a trace of its own version";
}

// A trace begins with its run; whatever else has lines is none.
void check_first(const TraceInput& input, const std::string& line) {
    const json record = json::parse(line, nullptr, false);
    const bool begins_run = record.is_object() && record.contains(record_key::run);
    if (!begins_run && !input.line_is_whole() && line.rfind("{\"t_us\":0,\"run\"", 0) == 0) throw cut(input);
    if (!begins_run || !record.at(record_key::run).is_object() ||
        !record.at(record_key::run).contains("format") ||
        !record.at(record_key::run).at("format").is_number_integer()) {
        throw TraceError(TraceError::Kind::foreign,
                         at_line(input, "this is no trace: expected the run's record, {\"t_us\":0,\"run\":…}"));
    }
    const int format = record.at(record_key::run).at("format").get<int>();
    if (format != RunRecord::current_format)
        throw TraceError(TraceError::Kind::foreign, at_line(input, format_mistake(format)));
}

}  // namespace

double TruthAt::worst_side_deg() const { return std::max(std::abs(left_side_deg), std::abs(right_side_deg)); }

void TraceVisitors::take_run(const RunRecord& run) {
    for (TraceVisitor* const visitor : visitors_) visitor->take_run(run);
}

void TraceVisitors::take_truth(const TruthAt& truth) {
    for (TraceVisitor* const visitor : visitors_) visitor->take_truth(truth);
}

void TraceVisitors::take_event(const EventAt& event) {
    for (TraceVisitor* const visitor : visitors_) visitor->take_event(event);
}

void TraceVisitors::take_wear(std::int64_t t_us, const WearAccount& wear) {
    for (TraceVisitor* const visitor : visitors_) visitor->take_wear(t_us, wear);
}

void TraceVisitors::take_call(const CallAt& call) {
    for (TraceVisitor* const visitor : visitors_) visitor->take_call(call);
}

void TraceVisitors::take_wait(const WaitLine& wait) {
    for (TraceVisitor* const visitor : visitors_) visitor->take_wait(wait);
}

void TraceVisitors::take_callback(const CallbackLine& callback) {
    for (TraceVisitor* const visitor : visitors_) visitor->take_callback(callback);
}

void TraceVisitors::take_return(const ReturnLine& end) {
    for (TraceVisitor* const visitor : visitors_) visitor->take_return(end);
}

void TraceVisitors::take_state(const StateLine& state) {
    for (TraceVisitor* const visitor : visitors_) visitor->take_state(state);
}

void TraceVisitors::take_log(const LogLine& log) {
    for (TraceVisitor* const visitor : visitors_) visitor->take_log(log);
}

void TraceCollector::see(std::int64_t t_us, int thread, const std::string& name) {
    contents_.end_us = std::max(contents_.end_us, t_us);
    if (thread == 0) return;
    std::vector<ThreadSeen>& threads = contents_.threads;
    const auto same = [thread](const ThreadSeen& seen) { return seen.number == thread; };
    if (std::none_of(threads.begin(), threads.end(), same)) threads.push_back({thread, name, t_us});
}

void TraceCollector::take_run(const RunRecord& run) { contents_.run = run; }

void TraceCollector::take_truth(const TruthAt& truth) {
    see(truth.t_us);
    contents_.truths.push_back(truth);
}

void TraceCollector::take_event(const EventAt& event) {
    see(event.t_us);
    contents_.events.push_back(event);
}

void TraceCollector::take_wear(std::int64_t t_us, const WearAccount& wear) {
    see(t_us);
    contents_.wear = wear;
}

void TraceCollector::take_wait(const WaitLine& wait) { see(wait.t_us, wait.thread, wait.thread_name); }

void TraceCollector::take_callback(const CallbackLine& callback) {
    see(callback.t_us, callback.thread, callback.thread_name);
    contents_.callbacks.push_back(callback);
}

void TraceCollector::take_return(const ReturnLine& end) { see(end.t_us); }

void TraceCollector::take_state(const StateLine& state) {
    see(state.t_us);
    contents_.states.push_back(state);
}

void TraceCollector::take_log(const LogLine& log) {
    see(log.t_us, log.thread, log.thread_name);
    contents_.log.push_back(log);
}

void TraceCollector::take_call(const CallAt& call) {
    see(call.t_us, call.thread, call.thread_name);
    if (call.call == "call") contents_.library_calls.push_back({call.t_us, call.path, call.result});
    if (call.fault != 0) {
        contents_.faults.push_back(
            {call.t_us, call.thread, call.fault, call.call + " " + call.path, call.fault_did});
    }
    if (call.result < 0) {
        contents_.failures.push_back({call.t_us, call.call + " " + call.path + ": " + call.error});
    } else if (call.call == "write" && call.path.compare(0, motor.size(), motor) == 0) {
        take_motor(call.t_us, call.path.substr(motor.size()), call.data);
    }
}

void TraceCollector::take_motor(std::int64_t t_us, const std::string& node, const std::string& data) {
    const int value = std::atoi(data.c_str());
    if (node == "pulse") half_steps_ = value == 1;
    for (const Side side : {Side::left, Side::right}) {
        if (node == side_name(side) && value != 0)
            contents_.lens_moves.push_back({t_us, side, value, half_steps_});
    }
}

struct TraceReader::Record {
    TraceInput input;
    std::string line;
    json value;
    const char* kind = "";
};

TraceReader::TraceReader(TraceInput input)
    : record_(std::make_unique<Record>(Record{std::move(input), {}, {}, ""})) {}
TraceReader::~TraceReader() = default;
TraceReader::TraceReader(TraceReader&&) noexcept = default;

bool TraceReader::next() {
    if (!next_line()) return false;
    parse_line();
    return true;
}

bool TraceReader::next_line() {
    if (record_->input.next(record_->line)) return true;
    if (record_->input.line_number() > 0) return false;
    throw TraceError(TraceError::Kind::cut, record_->input.name() + ": empty: expected a trace");
}

void TraceReader::parse_line() {
    Record& record = *record_;
    if (record.input.line_number() == 1) check_first(record.input, record.line);
    record.value = parse(record.input, record.line);
    record.kind = kind_of(record.value);
    if (record.kind == record_key::run && record.input.line_number() > 1)
        throw garbled(record.input, "another run begins here: expected the trace of one");
}

const std::string& TraceReader::line() const { return record_->line; }
std::size_t TraceReader::line_number() const { return record_->input.line_number(); }
const char* TraceReader::kind() const { return record_->kind; }

void TraceReader::show(TraceVisitor& visitor) const try {
    vp::show(record_->value, record_->kind, visitor);
} catch (const json::exception& error) {
    throw garbled(record_->input, std::string("a member is missing or of another kind: ") + error.what());
} catch (const std::invalid_argument& error) {
    throw garbled(record_->input, error.what());
}

void read_trace(const std::string& path, TraceVisitor& visitor) {
    TraceReader reader(TraceInput::open(path));
    while (reader.next()) reader.show(visitor);
}

TraceContents read_trace(const std::string& path) try {
    TraceCollector collector;
    TraceInput input = TraceInput::open(path);
    const auto take = [&](const std::string& line) {
        const json record = json::parse(line, nullptr, false);
        if (!record.is_object()) return;
        try {
            show(record, kind_of(record), collector);
        } catch (const std::exception&) {  // another program's line
        }
    };
    try {
        for (std::string line; input.next(line);) take(line);
    } catch (const TraceError&) {  // the end of a compressed file is missing
    }
    return std::move(collector).contents();
} catch (const TraceError&) {
    return {};
}

}  // namespace vp
