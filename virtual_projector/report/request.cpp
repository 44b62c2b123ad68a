#include "virtual_projector/report/request.h"

namespace vp {

const char* name_of(RequestKind kind) {
    switch (kind) {
        case RequestKind::run:
            return "run";
        case RequestKind::keystone:
            return "keystone";
        case RequestKind::following:
            return "following";
        case RequestKind::manual_focus:
            return "manual focus";
        case RequestKind::lens_limit:
            return "lens limit";
        case RequestKind::calibration:
            return "calibration";
        case RequestKind::rotation:
            break;
    }
    return "rotation";
}

}  // namespace vp
