#include "virtual_projector/interpose/recorder.h"

#include <algorithm>

#include "virtual_projector/clock/scheduled_thread.h"
#include "virtual_projector/interpose/current_thread.h"

namespace vp {
namespace {

CallRecord call_on(std::string_view call, std::string_view path, std::int64_t argument, long result) {
    CallRecord record;
    record.call = call;
    record.path = path;
    record.argument = argument;
    record.result = result;
    return record;
}

}  // namespace

// --- Calls -----------------------------------------------------------------------------------------------

// The number of a descriptor depends on what else the process has open.
void Recorder::record_open(std::string_view path, int flags, long result, const CallCourse& course) {
    if (sink_ == nullptr) return;
    record(call_on("open", path, flags, std::min(result, 0L)), course);
}

void Recorder::record_close(std::string_view path, long result, const CallCourse& course) {
    if (sink_ == nullptr) return;
    record(call_on("close", path, 0, result), course);
}

void Recorder::record_read(std::string_view path, std::size_t count, long result, const void* buffer,
                           const CallCourse& course) {
    if (sink_ == nullptr) return;
    CallRecord read = call_on("read", path, static_cast<std::int64_t>(count), result);
    if (result > 0) read.data = {static_cast<const char*>(buffer), static_cast<std::size_t>(result)};
    record(read, course);
}

void Recorder::record_write(std::string_view path, std::size_t count, long result, const void* buffer,
                            const WrittenCommand& command, const CallCourse& course) {
    if (sink_ == nullptr) return;
    CallRecord write = call_on("write", path, static_cast<std::int64_t>(count), result);
    write.data = {static_cast<const char*>(buffer), count};
    write.request_name = command.name;
    write.given = command.given;
    write.returned = command.returned;
    record(write, course);
}

void Recorder::record_request(std::string_view path, std::uint32_t number, long result,
                              const RequestBytes& bytes, const CallCourse& course) {
    if (sink_ == nullptr) return;
    CallRecord request = call_on("ioctl", path, number, result);
    request.request_name = bytes.kind.name;
    request.given = bytes.given;
    request.returned = bytes.returned;
    record(request, course);
}

void Recorder::record_sleep(Microseconds length) { record(call_on("sleep", {}, length, 0)); }

void Recorder::record_thread_start(std::string_view entry, long number_or_failure, const CallCourse& course) {
    record(call_on("pthread_create", entry, 0, number_or_failure), course);
}

void Recorder::record_library_call(std::string_view function, long result,
                                   const nlohmann::ordered_json* arguments,
                                   const nlohmann::ordered_json* outputs, const CallCourse& course) {
    if (sink_ == nullptr) return;
    CallRecord call = call_on("call", function, 0, result);
    call.arguments = arguments;
    call.outputs = outputs;
    record(call, course);
}

void Recorder::record_outside(std::string_view what) { record(call_on("outside", what, 0, 0)); }

void Recorder::record_lock(std::string_view lock, long result, Microseconds since) {
    CallRecord taken = call_on("lock", lock, 0, result);
    taken.took_us = clock_.now() - since;
    record(taken);
}

void Recorder::record_unlock(std::string_view lock, Microseconds held_us) {
    record(call_on("unlock", lock, held_us, 0));
}

void Recorder::record_wait(Wait::Kind kind, std::string_view path, Microseconds since, WaitEnd end) {
    if (sink_ == nullptr || clock_.now() <= since) return;
    const WorldLock lock(clock_);
    const ThreadMoment now = moment();
    sink_->record_wait({now, name_of(kind), path, now.t_us - since, name_of(end)});
}

void Recorder::record_unended_wait(const ScheduledThread& thread, std::string_view path) {
    const Microseconds now = clock_.now();
    if (sink_ == nullptr || now <= thread.since) return;
    const WorldLock lock(clock_);
    sink_->record_wait(
        {{now, thread.number, thread.name}, name_of(thread.reason.kind), path, now - thread.since, {}});
}

void Recorder::record(CallRecord record, const CallCourse& course) {
    if (sink_ == nullptr) return;
    record.took_us = clock_.now() - course.began_us;
    // A fault of another kind of call than this one changes nothing here.
    const std::string did = course.effect.number == 0 ? std::string() : words_of(course.effect, record.call);
    if (!did.empty()) {
        record.fault = course.effect.number;
        record.fault_did = did;
    }
    this->record(record);
}

void Recorder::record(CallRecord record) {
    if (sink_ == nullptr) return;
    const ThreadMoment now = moment();
    record.t_us = now.t_us;
    record.thread = now.thread;
    record.thread_name = now.thread_name;
    const WorldLock lock(clock_);
    sink_->record(record);
}

// --- Library and host ------------------------------------------------------------------------------------

void Recorder::record_callback(std::string_view callback, int slot, const std::vector<std::int32_t>& arguments,
                               std::string_view means) {
    if (sink_ == nullptr) return;
    const WorldLock lock(clock_);
    sink_->record_callback({moment(), callback, slot, arguments, means});
}

void Recorder::record_return(std::string_view callback, int slot, Microseconds began_us,
                             const std::int32_t* result) {
    if (sink_ == nullptr) return;
    const WorldLock lock(clock_);
    const ThreadMoment now = moment();
    sink_->record_return({now, callback, slot, now.t_us - began_us, result});
}

void Recorder::record_state(const nlohmann::ordered_json& values) {
    if (sink_ == nullptr) return;
    const WorldLock lock(clock_);
    sink_->record_state({moment(), &values});
}

void Recorder::record_log(std::string_view line) {
    if (sink_ == nullptr) return;
    const WorldLock lock(clock_);
    sink_->record_log({moment(), line});
}

ThreadMoment Recorder::moment() const {
    ThreadMoment now;
    now.t_us = clock_.now();
    if (const ThreadIdentity* thread = current_thread_identity()) {
        now.thread = thread->number;
        now.thread_name = thread->name;
    }
    return now;
}

}  // namespace vp
