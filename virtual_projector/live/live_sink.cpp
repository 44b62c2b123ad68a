#include "virtual_projector/live/live_sink.h"

#include <nlohmann/json.hpp>

#include "virtual_projector/trace/records.h"

namespace vp {

// Of the calls those that failed or that a fault changed: all others are many thousands a second.
void LiveSink::record(const CallRecord& record) {
    if (file_ != nullptr) file_->record(record);
    if (record.result < 0 || record.fault != 0) run_.tell(json_of(record));
}

void LiveSink::record_wait(const WaitRecord& record) {
    if (file_ != nullptr) file_->record_wait(record);
}

void LiveSink::record_callback(const CallbackRecord& record) {
    if (file_ != nullptr) file_->record_callback(record);
    if (record.callback == "toast") run_.tell(json_of(record));
}

void LiveSink::record_return(const CallbackReturn& record) {
    if (file_ != nullptr) file_->record_return(record);
}

void LiveSink::record_state(const StateRecord& record) {
    if (file_ != nullptr) file_->record_state(record);
    run_.tell(json_of(record));
}

void LiveSink::record_log(const LogRecord& record) {
    if (file_ != nullptr) file_->record_log(record);
    run_.tell(json_of(record));
}

void LiveSink::record_truth(std::int64_t t_us, const nlohmann::ordered_json& state) {
    if (file_ != nullptr) file_->record_truth(t_us, state);
}

void LiveSink::record_run(const RunRecord& run) {
    if (file_ != nullptr) file_->record_run(run);
}

void LiveSink::record_event(std::int64_t t_us, std::string_view what) {
    if (file_ != nullptr) file_->record_event(t_us, what);
    run_.tell(event_line(t_us, what));
}

}  // namespace vp
