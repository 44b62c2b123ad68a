#include "virtual_projector/trace/json_trace.h"

#include <array>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>

#include "virtual_projector/trace/records.h"

namespace vp {
namespace {

constexpr std::array<std::string_view, 6> changing_calls = {"write",          "ioctl", "call",
                                                            "pthread_create", "lock",  "unlock"};
constexpr std::string_view toast = "toast";
constexpr std::string_view question = "is_factory_test";  // asked all the time, and changes nothing

// The board encodes in a request's upper three bits which way its data go; 2 is to the program only, such as a
// sample of a sensor.
bool only_reads(const CallRecord& record) {
    constexpr int direction_shift = 29;
    constexpr std::uint32_t to_the_program = 2;
    return record.call == "ioctl" &&
           static_cast<std::uint32_t>(record.argument) >> direction_shift == to_the_program;
}

bool belongs_to_changes(const CallRecord& record) {
    if (record.result < 0 || record.fault != 0) return true;
    if (only_reads(record)) return false;
    for (const std::string_view call : changing_calls) {
        if (record.call == call) return true;
    }
    return false;
}

}  // namespace

std::unique_ptr<JsonTrace> JsonTrace::to_file(const std::string& path, TraceDetail detail) {
    std::unique_ptr<OutputFile> file = OutputFile::open(path);
    return file == nullptr ? nullptr : std::make_unique<JsonTrace>(std::move(file), detail);
}

JsonTrace::JsonTrace(std::unique_ptr<OutputFile> file, TraceDetail detail)
    : file_(std::move(file)), detail_(detail) {
    std::setvbuf(file_->stream(), nullptr, _IOLBF, BUFSIZ);
}

void JsonTrace::record(const CallRecord& record) {
    if (detail_ == TraceDetail::events) return;
    if (detail_ == TraceDetail::changes && !belongs_to_changes(record)) return;
    write_line(json_of(record));
}

void JsonTrace::record_wait(const WaitRecord& record) {
    if (detail_ == TraceDetail::calls) write_line(json_of(record));
}

bool JsonTrace::is_wanted(std::string_view callback) const {
    if (detail_ == TraceDetail::calls || callback == toast) return true;
    return detail_ == TraceDetail::changes && callback != question;
}

void JsonTrace::record_callback(const CallbackRecord& record) {
    if (!is_wanted(record.callback)) return;
    write_line(json_of(record));
}

void JsonTrace::record_return(const CallbackReturn& record) {
    if (!is_wanted(record.callback)) return;
    write_line(json_of(record));
}

void JsonTrace::record_state(const StateRecord& record) { write_line(json_of(record)); }

void JsonTrace::record_log(const LogRecord& record) { write_line(json_of(record)); }

void JsonTrace::record_truth(std::int64_t t_us, const nlohmann::ordered_json& state) {
    write_line(truth_line(t_us, state));
}

void JsonTrace::record_run(const RunRecord& run) { write_line(run_line(run)); }

void JsonTrace::record_event(std::int64_t t_us, std::string_view what) { write_line(event_line(t_us, what)); }

void JsonTrace::record_wear(std::int64_t t_us, const nlohmann::ordered_json& wear) {
    write_line(wear_line(t_us, wear));
}

void JsonTrace::write_line(const nlohmann::ordered_json& line) {
    constexpr auto replace = nlohmann::ordered_json::error_handler_t::replace;
    const std::string text = line.dump(-1, ' ', false, replace) + "\n";
    if (failed_ || file_->stream() == nullptr) return;
    failed_ = std::fwrite(text.data(), 1, text.size(), file_->stream()) != text.size();
    if (failed_ && failure_handler_) failure_handler_();
}

bool JsonTrace::finish() {
    const bool taken_its_place = file_->finish();
    return taken_its_place && !failed_;
}

}  // namespace vp
