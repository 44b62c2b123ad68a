// The library beside the ways: its threads sample, wait and act as they do in any host.
#include "ovrafocus/ovrafocus.h"

#include "tests/hosts/ways.h"

namespace ways {

bool start_library() {
    // The library keeps the pointer.
    static app_callback_table callbacks{};
    app_callback_init(&callbacks);
    if (ovrafocus_init() != 0 || ovra_sys_param_init() != 0 || ovra_gsensor_init() != 0 ||
        ovra_akaf_init() != 0) {
        return false;
    }
    varnel_autofocus();
    return true;
}

}  // namespace ways
