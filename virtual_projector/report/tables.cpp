#include "virtual_projector/report/tables.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <set>
#include <type_traits>
#include <vector>

#include "virtual_projector/report/json_text.h"

namespace vp {
namespace {

constexpr const char* line_end = "\r\n";
constexpr const char* requests_file = "requests.csv";
constexpr const char* flags_file = "flags.csv";
constexpr const char* log_file = "log.csv";

// Exact to the microsecond, also after years.
std::string seconds_text(std::int64_t t_us) {
    constexpr std::int64_t per_second = 1000000;
    char text[40];
    std::snprintf(text, sizeof text, "%s%lld.%06lld", t_us < 0 ? "-" : "",
                  static_cast<long long>(std::llabs(t_us / per_second)),
                  static_cast<long long>(std::llabs(t_us % per_second)));
    return text;
}

std::string seconds_text(const std::optional<std::int64_t>& t_us) { return t_us ? seconds_text(*t_us) : ""; }

std::string value_text(double value) { return std::isfinite(value) ? number_as_text(value) : ""; }

// A trace is somebody else's file: its names lead nowhere but into the folder.
std::string file_name(const std::string& signal) {
    constexpr std::size_t longest = 100;
    std::string name = signal.substr(0, longest);
    std::replace_if(
        name.begin(), name.end(),
        [](char c) {
            const bool is_plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                                  c == '_' || c == '-' || c == '.';
            return !is_plain;
        },
        '_');
    if (name.empty() || name[0] == '.') name.insert(0, "_");
    return name + ".csv";
}

std::string row_of(const std::vector<std::string>& fields) {
    std::string row;
    for (const std::string& field : fields)
        row += (row.empty() && &field == &fields[0] ? "" : ",") + csv_field(field);
    return row + line_end;
}

std::string table_of(const Signal& signal) {
    std::string text =
        row_of({"t_s", signal.unit.empty() ? signal.name : signal.name + " [" + signal.unit + "]"});
    for (std::size_t i = 0; i < signal.t_us.size(); ++i)
        text += seconds_text(signal.t_us[i]) + "," + value_text(signal.values[i]) + line_end;
    return text;
}

// Single numbers; outline and zones are signals' and pages'.
template <typename Take>
void for_each_number(const TruthRecord& truth, Take take) {
    TruthRecord::for_each_member([&](const char* key, auto member, bool) {
        if constexpr (std::is_arithmetic_v<std::decay_t<decltype(truth.*member)>>)
            take(key, static_cast<double>(truth.*member));
    });
}

std::string requests_table(const std::vector<Request>& requests) {
    std::vector<std::string> head = {"number",  "kind",    "what",   "by",     "asked_s",
                                     "begun_s", "ended_s", "failed", "outcome"};
    for (const char* const when : {"before.", "after."})
        for_each_number(TruthRecord{},
                        [&](const char* key, double) { head.push_back(std::string(when) + key); });
    std::string text = row_of(head);
    for (const Request& request : requests) {
        std::vector<std::string> fields = {std::to_string(request.number),
                                           name_of(request.kind),
                                           request.what,
                                           request.by,
                                           seconds_text(request.asked_us),
                                           seconds_text(request.begun_us),
                                           seconds_text(request.ended_us),
                                           request.failed ? "1" : "0",
                                           request.outcome};
        for (const TruthRecord* const truth : {static_cast<const TruthRecord*>(&request.before),
                                               static_cast<const TruthRecord*>(&request.after)})
            for_each_number(*truth, [&](const char*, double value) { fields.push_back(value_text(value)); });
        text += row_of(fields);
    }
    return text;
}

std::string flags_table(const std::vector<Flag>& flags) {
    std::string text = row_of({"t_s", "kind", "text"});
    for (const Flag& flag : flags) text += row_of({seconds_text(flag.t_us), flag.kind, flag.text});
    return text;
}

std::string log_table(const std::vector<LogLine>& log) {
    std::string text = row_of({"t_s", "thread", "text"});
    for (const LogLine& line : log)
        text += row_of({seconds_text(line.t_us), std::to_string(line.thread), line.text});
    return text;
}

}  // namespace

std::string csv_field(std::string_view text) {
    if (text.find_first_of(",\"\r\n") == std::string_view::npos) return std::string(text);
    std::string field = "\"";
    for (const char c : text) field += c == '"' ? std::string("\"\"") : std::string(1, c);
    return field + "\"";
}

std::set<std::string> table_files(const RunData& run) {
    std::set<std::string> files = {requests_file, flags_file, log_file};
    for (const auto& [name, signal] : run.signals) files.insert(file_name(name));
    return files;
}

void write_tables(const RunData& run,
                  const std::function<void(const std::string& file, const std::string& text)>& write) {
    write(requests_file, requests_table(run.requests));
    write(flags_file, flags_table(run.flags));
    write(log_file, log_table(run.contents.log));
    std::set<std::string> files;
    for (const auto& [name, signal] : run.signals) {
        std::string file = file_name(name);
        if (!files.insert(file).second) continue;  // two names of a garbled trace
        write(file, table_of(signal));
    }
}

}  // namespace vp
