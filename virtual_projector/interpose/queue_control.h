// What a control call changes of a System V queue or set, for the calls of both record sizes.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_QUEUE_CONTROL_H
#define VIRTUAL_PROJECTOR_INTERPOSE_QUEUE_CONTROL_H

namespace vp {

/// After the C library has carried out the command: whoever waits there looks again when it changes something.
void note_queue_control(int queue, int command);
void note_set_control(int set, int command);

}  // namespace vp

#endif
