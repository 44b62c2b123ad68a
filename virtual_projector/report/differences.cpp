#include "virtual_projector/report/differences.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>
#include <type_traits>
#include <utility>

#include "virtual_projector/report/json_text.h"
#include "virtual_projector/report/requests.h"
#include "virtual_projector/report/trace_reader.h"
#include "virtual_projector/world/microseconds.h"

namespace vp {
namespace {

constexpr const char* version_kind = "version";
constexpr const char* settings_member = "settings";
constexpr std::size_t longest_line = 400;
constexpr std::size_t most_requests = 10;

__attribute__((format(printf, 1, 2))) std::string text(const char* format, ...) {
    char line[400];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    return line;
}

bool contains(const std::vector<std::string>& names, std::string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

// One of the two traces: its next record that counts, and what its records have told.
class ComparedTrace {
public:
    ComparedTrace(const std::string& path, const std::vector<std::string>& ignored)
        : name_(path), reader_(TraceInput::open(path)), ignored_(ignored) {
        visitors_.add(contents);
        visitors_.add(requests);
    }

    bool next_line() { return reader_.next_line(); }
    const std::string& line() const { return reader_.line(); }

    // Takes the record of this line, and lets the other trace take it too, which has the same line.
    void take_for_both(ComparedTrace& other) {
        reader_.parse_line();
        take();
        reader_.show(other.visitors_);
        ++other.records_;
    }
    // From the record of this line on, the first that counts; false at the end.
    bool take_first_that_counts(bool has_line) {
        while (has_line) {
            reader_.parse_line();
            take();
            if (!contains(ignored_, reader_.kind())) return true;
            has_line = reader_.next_line();
        }
        return false;
    }
    // As it is compared.
    std::string record() const {
        if (!is_run() || !contains(ignored_, version_kind)) return reader_.line();
        nlohmann::json line = nlohmann::json::parse(reader_.line());
        nlohmann::json& run = line.at(record_key::run);
        run.erase("version");
        run.erase("commit");
        return line.dump();
    }
    bool is_run() const { return std::string_view(reader_.kind()) == record_key::run; }
    // The record in words: whose, when, and itself.
    std::vector<std::string> describe() const {
        const auto line = nlohmann::json::parse(reader_.line());
        std::string head = text("  %s, line %zu, at %.6f s", name_.c_str(), reader_.line_number(),
                                seconds(line.value(record_key::t_us, std::int64_t{0})));
        if (line.contains(record_key::thread)) head += text(", thread %d", line.value(record_key::thread, 0));
        if (line.contains(record_key::name)) head += " " + line.value(record_key::name, "");
        const std::string& record = reader_.line();
        return {head + ":",
                "    " + (record.size() <= longest_line ? record : record.substr(0, longest_line) + " …")};
    }
    std::string describe_end() const {
        return "  " + name_ + text(" ends here, after line %zu", reader_.line_number());
    }
    std::size_t records() const { return records_; }

    TraceCollector contents;
    RequestFinder requests;

private:
    void take() {
        reader_.show(visitors_);
        ++records_;
    }

    std::string name_;
    TraceReader reader_;
    const std::vector<std::string>& ignored_;
    TraceVisitors visitors_;
    std::size_t records_ = 0;
};

std::vector<std::string> first_difference(const ComparedTrace& one, bool one_has, const ComparedTrace& other,
                                          bool other_has) {
    std::vector<std::string> words = {"The first records that differ:"};
    for (const auto& [side, has] : {std::pair(&one, one_has), std::pair(&other, other_has)}) {
        if (has) {
            const std::vector<std::string> lines = side->describe();
            words.insert(words.end(), lines.begin(), lines.end());
        } else {
            words.push_back(side->describe_end());
        }
    }
    return words;
}

// A setting is an object of its value and where that is from; others are texts and numbers.
std::string words_of_member(const nlohmann::json& run, const std::string& name) {
    if (!run.contains(name)) return "none";
    const nlohmann::json& member = run.at(name);
    if (!member.is_object()) return member.is_string() ? member.get<std::string>() : member.dump();
    return member.at("value").dump() + " from " + member.value("from", "");
}

void compare_members(const nlohmann::json& one, const nlohmann::json& other, std::vector<std::string>& rows) {
    nlohmann::json names = one;
    names.update(other);
    for (const auto& [name, member] : names.items()) {
        if (name == settings_member) continue;
        const std::string mine = words_of_member(one, name);
        const std::string theirs = words_of_member(other, name);
        if (mine != theirs) rows.push_back("  " + name + ": one " + mine + ", other " + theirs);
    }
}

// What they are made of is no part of what happened: of two versions, or of a scenario and its copy, what is
// asked for is where the runs part.
std::vector<std::string> compare_runs(const std::string& one, const std::string& other) {
    const nlohmann::json mine = nlohmann::json::parse(one).at(record_key::run);
    const nlohmann::json theirs = nlohmann::json::parse(other).at(record_key::run);
    std::vector<std::string> rows = {"What the runs are made of differs:"};
    compare_members(mine, theirs, rows);
    const nlohmann::json none = nlohmann::json::object();
    compare_members(mine.value(settings_member, none), theirs.value(settings_member, none), rows);
    return rows;
}

struct RecordDifferences {
    std::vector<std::string> made_of;
    std::vector<std::string> happened;  // the first
};

// Reads both to their ends. Most lines of two runs that are compared are the same.
RecordDifferences compare_records(ComparedTrace& one, ComparedTrace& other) {
    RecordDifferences found;
    bool one_has = true;
    bool other_has = true;
    while (one_has || other_has) {
        one_has = one_has && one.next_line();
        other_has = other_has && other.next_line();
        if (one_has && other_has && one.line() == other.line()) {
            one.take_for_both(other);
            continue;
        }
        one_has = one.take_first_that_counts(one_has);
        other_has = other.take_first_that_counts(other_has);
        if (!found.happened.empty() || (!one_has && !other_has)) continue;
        if (one_has == other_has && one.record() == other.record()) continue;
        if (one_has && other_has && one.is_run() && other.is_run())
            found.made_of = compare_runs(one.record(), other.record());
        else
            found.happened = first_difference(one, one_has, other, other_has);
    }
    return found;
}

// The rows of the table of outcomes that differ.
class Outcome {
public:
    void row(const std::string& what, double one, double other) {
        if (one == other) return;
        rows_.push_back(text("  %-36s %14s %14s %14s", what.c_str(), figure(one).c_str(), figure(other).c_str(),
                             figure(other - one).c_str()));
    }
    std::vector<std::string> rows() && {
        if (!rows_.empty())
            rows_.insert(rows_.begin(), text("  %-36s %14s %14s %14s", "", "one", "other", "other - one"));
        return std::move(rows_);
    }

private:
    static std::string figure(double value) { return text("%.10g", value); }

    std::vector<std::string> rows_;
};

double ordered_steps(const TraceContents& contents) {
    double steps = 0;
    for (const LensMoveAt& move : contents.lens_moves) steps += move.steps * (move.half_steps ? 0.5 : 1);
    return steps;
}

double toasts(const TraceContents& contents) {
    return static_cast<double>(
        std::count_if(contents.callbacks.begin(), contents.callbacks.end(),
                      [](const CallbackLine& callback) { return callback.callback == "toast"; }));
}

void compare_truths(const TruthRecord& one, const TruthRecord& other, Outcome& outcome) {
    TruthRecord::for_each_member([&](const char* key, auto member, bool) {
        const auto& mine = one.*member;
        const auto& theirs = other.*member;
        if constexpr (std::is_arithmetic_v<std::decay_t<decltype(mine)>>) {
            outcome.row(std::string("at the end: ") + key, static_cast<double>(mine),
                        static_cast<double>(theirs));
        }
    });
}

void compare_figures(const TraceContents& one, const TraceContents& other, Outcome& outcome) {
    const auto count = [](const auto& list) { return static_cast<double>(list.size()); };
    outcome.row("end (s)", seconds(one.end_us), seconds(other.end_us));
    outcome.row("orders to the lens", count(one.lens_moves), count(other.lens_moves));
    outcome.row("ordered steps, all together", ordered_steps(one), ordered_steps(other));
    outcome.row("toasts", toasts(one), toasts(other));
    outcome.row("events", count(one.events), count(other.events));
    outcome.row("faults", count(one.faults), count(other.faults));
    outcome.row("calls that failed", count(one.failures), count(other.failures));
    if (!one.truths.empty() && !other.truths.empty())
        compare_truths(one.truths.back(), other.truths.back(), outcome);
}

std::string words_of(const Request& request) {
    return request.what + " (" + request.by + text(", at %.3f s): ", seconds(request.asked_us)) +
           request.outcome;
}

// Those that went otherwise, or that only one has.
std::vector<std::string> compare_requests(const std::vector<Request>& one, const std::vector<Request>& other) {
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < std::max(one.size(), other.size()); ++i) {
        const std::string mine = i < one.size() ? words_of(one[i]) : "there is none";
        const std::string theirs = i < other.size() ? words_of(other[i]) : "there is none";
        if (mine == theirs) continue;
        lines.push_back(text("  request %zu, one:   ", i + 1) + mine);
        lines.push_back(text("  request %zu, other: ", i + 1) + theirs);
    }
    if (lines.size() <= 2 * most_requests) return lines;
    const std::size_t left_out = lines.size() / 2 - most_requests;
    lines.resize(2 * most_requests);
    lines.push_back(text("  ... and %zu more requests", left_out));
    return lines;
}

}  // namespace

const std::vector<std::string>& ignorable_kinds() {
    static const std::vector<std::string> kinds = {version_kind,
                                                   record_key::run,
                                                   record_key::call,
                                                   record_key::callback,
                                                   record_key::callback_return,
                                                   record_key::state,
                                                   record_key::log,
                                                   record_key::event,
                                                   record_key::truth,
                                                   record_key::wear};
    return kinds;
}

std::string ignorable_kinds_text() {
    std::string names;
    for (const std::string& kind : ignorable_kinds()) names += (names.empty() ? "" : ", ") + kind;
    return names + "; version: only version and commit of the run";
}

Differences compare_traces(const std::string& one_path, const std::string& other_path,
                           const std::vector<std::string>& ignored_kinds) {
    ComparedTrace one(one_path, ignored_kinds);
    ComparedTrace other(other_path, ignored_kinds);
    const RecordDifferences found = compare_records(one, other);
    if (found.made_of.empty() && found.happened.empty())
        return {true, {text("The runs are the same: %zu records.", one.records())}};
    Differences differences{false, found.made_of};
    std::vector<std::string>& words = differences.words;
    words.insert(words.end(), found.happened.begin(), found.happened.end());
    if (found.happened.empty()) {
        words.push_back(text("What happened is the same: %zu records.", one.records()));
        return differences;
    }
    const TraceContents mine = std::move(one.contents).contents();
    const TraceContents theirs = std::move(other.contents).contents();
    Outcome outcome;
    compare_figures(mine, theirs, outcome);
    std::vector<std::string> rows = std::move(outcome).rows();
    const std::vector<std::string> requests = compare_requests(one.requests.finish(), other.requests.finish());
    rows.insert(rows.end(), requests.begin(), requests.end());
    words.emplace_back(rows.empty() ? "The outcome is the same." : "The outcome differs:");
    words.insert(words.end(), rows.begin(), rows.end());
    return differences;
}

}  // namespace vp
