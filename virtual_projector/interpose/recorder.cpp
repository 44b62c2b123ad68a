#include "virtual_projector/interpose/recorder.h"

#include <algorithm>

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

// The number of a descriptor depends on what else the process has open.
void Recorder::record_open(std::string_view path, int flags, long result) {
    record(call_on("open", path, flags, std::min(result, 0L)));
}

void Recorder::record_close(std::string_view path, long result) { record(call_on("close", path, 0, result)); }

void Recorder::record_read(std::string_view path, std::size_t count, long result, const void* buffer) {
    CallRecord read = call_on("read", path, static_cast<std::int64_t>(count), result);
    if (result > 0) read.data = {static_cast<const char*>(buffer), static_cast<std::size_t>(result)};
    record(read);
}

void Recorder::record_write(std::string_view path, std::size_t count, long result, const void* buffer) {
    CallRecord write = call_on("write", path, static_cast<std::int64_t>(count), result);
    write.data = {static_cast<const char*>(buffer), count};
    record(write);
}

void Recorder::record_request(std::string_view path, std::uint32_t number, long result) {
    record(call_on("ioctl", path, number, result));
}

void Recorder::record_sleep(Microseconds length) { record(call_on("sleep", {}, length, 0)); }

void Recorder::record_thread_start(std::string_view entry, long number_or_failure) {
    record(call_on("pthread_create", entry, 0, number_or_failure));
}

void Recorder::record_library_call(std::string_view function, long result) {
    record(call_on("call", function, 0, result));
}

void Recorder::record_outside(std::string_view what) { record(call_on("outside", what, 0, 0)); }

void Recorder::record(CallRecord record) {
    if (sink_ == nullptr) return;
    record.t_us = clock_.now();
    if (const ThreadIdentity* thread = current_thread_identity()) {
        record.thread = thread->number;
        record.thread_name = thread->name;
    }
    const WorldLock lock(clock_);
    sink_->record(record);
}

}  // namespace vp
