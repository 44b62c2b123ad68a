// The processing library's own state, which its every call is given.
#ifndef OVRA_TOF_ISP_CONTEXT_H
#define OVRA_TOF_ISP_CONTEXT_H

namespace ovra {

void* isp_context();

}  // namespace ovra

#endif
