#include "virtual_projector/interpose/recorder.h"

#include "virtual_projector/interpose/program_threads.h"

namespace vp {

void Recorder::record(CallRecord record) {
    if (sink_ == nullptr) return;
    record.t_us = clock_.now();
    if (const ProgramThread* thread = ProgramThread::current()) {
        record.thread = thread->number;
        record.thread_name = thread->name;
    }
    const WorldLock lock(clock_);
    sink_->record(record);
}

}  // namespace vp
