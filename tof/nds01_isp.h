// The processing library for the other rooms of the ToF sensor.
#ifndef OVRA_TOF_NDS01_ISP_H
#define OVRA_TOF_NDS01_ISP_H

#include "ovrafocus/nds01_isp.h"

namespace ovra {

/// The processing library's own state, which its every call is given.
void* isp_context();

}  // namespace ovra

#endif
