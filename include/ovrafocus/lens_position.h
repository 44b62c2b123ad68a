/**
 * @file lens_position.h
 * The lens's travel, and taking the lens to a position by reading the position sensor back.
 */
#ifndef OVRAFOCUS_LENS_POSITION_H
#define OVRAFOCUS_LENS_POSITION_H

#include <stdint.h>

#include "ovrafocus/export.h"

OVRA_BEGIN_DECLS

/** Soft limits of the lens, in TMR units. -500 and 500 until a calibration is loaded. */
extern OVRA_API int32_t g_limitLeft;
extern OVRA_API int32_t g_limitRight;

/** Idle travel of the motor on reversing to the left and to the right, in motor steps. 1 at load. */
extern OVRA_API int32_t leftIdle;
extern OVRA_API int32_t rightIdle;

OVRA_END_DECLS

#endif
