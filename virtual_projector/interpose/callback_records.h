// The library's calls of its host as records of the trace.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_CALLBACK_RECORDS_H
#define VIRTUAL_PROJECTOR_INTERPOSE_CALLBACK_RECORDS_H

namespace vp {

/// From now on each of them is recorded by the machine of its time.
void record_host_calls();

}  // namespace vp

#endif
