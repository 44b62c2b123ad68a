/**
 * @file ovrafocus.h
 * The whole interface of libovrafocus.so. A host that needs one area only may include that area's header.
 */
#ifndef OVRAFOCUS_OVRAFOCUS_H
#define OVRAFOCUS_OVRAFOCUS_H

#include "ovrafocus/acceleration.h"
#include "ovrafocus/auto_keystone.h"
#include "ovrafocus/calibration_data.h"
#include "ovrafocus/config.h"
#include "ovrafocus/direction.h"
#include "ovrafocus/display_keystone.h"
#include "ovrafocus/distance.h"
#include "ovrafocus/focus_nodes.h"
#include "ovrafocus/focus_run.h"
#include "ovrafocus/gravity_state.h"
#include "ovrafocus/host_interface.h"
#include "ovrafocus/key_listener.h"
#include "ovrafocus/keystone_width.h"
#include "ovrafocus/lens_position.h"
#include "ovrafocus/lens_state.h"
#include "ovrafocus/lifecycle.h"
#include "ovrafocus/log_level.h"
#include "ovrafocus/motion.h"
#include "ovrafocus/motor_drv.h"
#include "ovrafocus/nds01_calibration.h"
#include "ovrafocus/nds01_device.h"
#include "ovrafocus/nds01_isp.h"
#include "ovrafocus/nds01_start.h"
#include "ovrafocus/nds01_sysfs.h"
#include "ovrafocus/peak_sample.h"
#include "ovrafocus/peak_search.h"
#include "ovrafocus/peak_sweep.h"
#include "ovrafocus/permanent_data.h"
#include "ovrafocus/platform_utils.h"
#include "ovrafocus/projection_geometry.h"
#include "ovrafocus/requests.h"
#include "ovrafocus/result_codes.h"
#include "ovrafocus/tmr_table.h"
#include "ovrafocus/tof_control.h"

#endif
