#include "virtual_projector/report/perfetto.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "virtual_projector/report/json_text.h"

namespace vp {
namespace {

constexpr int program = 1;
constexpr int projector = 2;
constexpr int events_track = 1;         // of the projector
constexpr int requests_track = 100000;  // of the program, above any thread's number
constexpr int rows_of_a_thread = 1000;  // further rows of thread N are tracks 1000000 + N * 1000 + row
constexpr int further_rows = 1000000;

std::string quoted(const std::string& text) {
    return nlohmann::ordered_json(text).dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

class Writer {
public:
    Writer(const RunData& run, const std::function<void(std::string_view)>& sink) : run_(run), text_(sink) {
        for (const std::string& name : run.slice_names) names_.push_back(quoted(name));
    }

    void write() {
        text_.raw("{\"displayTimeUnit\":\"ms\",\"traceEvents\":[");
        name_process(program, "the program");
        name_process(projector, "the projector");
        name_track(projector, events_track, "events");
        for (const auto& [thread, lane] : run_.lanes) write_lane(lane);
        write_requests();
        write_flags();
        for (const auto& [name, signal] : run_.signals) write_counter(signal);
        text_.raw("\n]}\n");
        text_.hand_on();
    }

private:
    void begin() {
        text_.raw(is_first_ ? "\n" : ",\n");
        is_first_ = false;
    }
    void name_process(int process, const std::string& name) {
        begin();
        text_.raw("{\"ph\":\"M\",\"name\":\"process_name\",\"pid\":" + std::to_string(process) +
                  ",\"tid\":0,\"args\":{\"name\":" + quoted(name) + "}}");
    }
    void name_track(int process, int track, const std::string& name) {
        begin();
        text_.raw("{\"ph\":\"M\",\"name\":\"thread_name\",\"pid\":" + std::to_string(process) +
                  ",\"tid\":" + std::to_string(track) + ",\"args\":{\"name\":" + quoted(name) + "}}");
    }
    void slice(int track, const Slice& slice, const std::string& quoted_name, const char* kind) {
        begin();
        text_.raw("{\"ph\":\"X\",\"name\":" + quoted_name + ",\"cat\":\"" + kind +
                  "\",\"pid\":" + std::to_string(program) + ",\"tid\":" + std::to_string(track) +
                  ",\"ts\":" + std::to_string(slice.begin_us) +
                  ",\"dur\":" + std::to_string(slice.end_us - slice.begin_us) + "}");
    }
    void write_rows(const std::vector<std::vector<Slice>>& rows, int track, const std::string& name) {
        for (std::size_t row = 0; row < rows.size(); ++row) {
            const int own = row == 0 ? track
                                     : further_rows + track * rows_of_a_thread +
                                           static_cast<int>(std::min<std::size_t>(row, rows_of_a_thread - 1));
            name_track(program, own, row == 0 ? name : name + " (" + std::to_string(row + 1) + ")");
            for (const Slice& each : rows[row]) slice(own, each, names_[each.what], slice_kind_name(each.kind));
        }
    }
    void write_lane(const Lane& lane) {
        const std::string name = lane.name.empty() ? "thread " + std::to_string(lane.thread) : lane.name;
        write_rows(nested_rows(lane.slices), lane.thread, name);
    }
    void write_requests();
    void write_flags();
    void write_counter(const Signal& signal);

    const RunData& run_;
    JsonText text_;
    std::vector<std::string> names_;  // of slices, quoted
    bool is_first_ = true;
};

// From the asking to the end; what was never begun has no length.
void Writer::write_requests() {
    std::vector<Slice> slices;
    std::vector<std::string> requests;
    for (const Request& request : run_.requests) {
        const std::int64_t begin_us = request.begun_us.value_or(request.asked_us);
        const std::int64_t end_us =
            request.ended_us.value_or(request.begun_us ? run_.contents.end_us : begin_us);
        slices.push_back({begin_us, std::max(begin_us, end_us), static_cast<std::uint32_t>(requests.size()),
                          SliceKind::call});
        requests.push_back(quoted(std::to_string(request.number) + ": " + request.what));
    }
    if (slices.empty()) return;
    const std::vector<std::vector<Slice>> rows = nested_rows(slices);
    for (std::size_t row = 0; row < rows.size(); ++row) {
        const int track = requests_track + static_cast<int>(row);
        name_track(program, track, row == 0 ? "requests" : "requests (" + std::to_string(row + 1) + ")");
        for (const Slice& each : rows[row]) slice(track, each, requests[each.what], "request");
    }
}

void Writer::write_flags() {
    for (const Flag& flag : run_.flags) {
        begin();
        text_.raw("{\"ph\":\"i\",\"s\":\"p\",\"name\":" + quoted(flag.text) + ",\"cat\":\"" + flag.kind +
                  "\",\"pid\":" + std::to_string(projector) + ",\"tid\":" + std::to_string(events_track) +
                  ",\"ts\":" + std::to_string(flag.t_us) + "}");
    }
}

// A counter has a value always: what is not known keeps the one before.
void Writer::write_counter(const Signal& signal) {
    const std::string name = quoted(signal.unit.empty() ? signal.name : signal.name + " (" + signal.unit + ")");
    const std::string head = "{\"ph\":\"C\",\"name\":" + name + ",\"pid\":" + std::to_string(projector) +
                             ",\"tid\":" + std::to_string(events_track) + ",\"ts\":";
    for (std::size_t i = 0; i < signal.t_us.size(); ++i) {
        if (!std::isfinite(signal.values[i])) continue;
        begin();
        text_.raw(head + std::to_string(signal.t_us[i]) +
                  ",\"args\":{\"value\":" + number_as_text(signal.values[i]) + "}}");
    }
}

}  // namespace

void write_perfetto(const RunData& run, const std::function<void(std::string_view)>& sink) {
    Writer(run, sink).write();
}

}  // namespace vp
