// What the kernel knows of a thread, by its number.
#ifndef VIRTUAL_PROJECTOR_CLOCK_KERNEL_STATE_H
#define VIRTUAL_PROJECTOR_CLOCK_KERNEL_STATE_H

namespace vp {

/// What it has used of the processor, in seconds; 0 when there is no such thread.
double processor_time_s(int kernel_id);
/// True while the kernel has it wait for something.
bool sleeps_in_kernel(int kernel_id);

}  // namespace vp

#endif
