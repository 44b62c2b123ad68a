// Records of what the program's threads wait for, so that none of them is silent while it does.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_WAIT_RECORDS_H
#define VIRTUAL_PROJECTOR_INTERPOSE_WAIT_RECORDS_H

#include <string>

#include "virtual_projector/clock/thread_scheduler.h"
#include "virtual_projector/interpose/object_names.h"
#include "virtual_projector/interpose/recorder.h"

namespace vp {

class WaitRecords {
public:
    WaitRecords(ThreadScheduler& scheduler, ObjectNames& names, Recorder& recorder)
        : scheduler_(scheduler), names_(names), recorder_(recorder) {}

    /// From now on each wait that ends is recorded, where there is a recorder.
    void begin();
    void end() { scheduler_.on_wait_end({}); }
    /// At the run's end: records the waits that have not ended, in the order in which the threads were made.
    void record_unended();

private:
    void record_ended(const ScheduledThread& thread);
    void record_unended_of(const ScheduledThread& thread);
    std::string path_of(const Wait& wait);

    ThreadScheduler& scheduler_;
    ObjectNames& names_;
    Recorder& recorder_;
};

}  // namespace vp

#endif
