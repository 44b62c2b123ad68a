/**
 * @file keystone_width.h
 * From a tilt angle to the widths of the picture's top and bottom edge, and the picture taken there.
 *
 * Angles are whole degrees, positive and negative by the way of the tilt, 0 when the projector is level.
 * Widths are pixels of the panel, `width` being the full width.
 *
 * The two globals with the plain names `width` and `height` belong to the host's interface. Code that includes
 * this header does well not to use these names for parameters of its own.
 */
#ifndef OVRAFOCUS_KEYSTONE_WIDTH_H
#define OVRAFOCUS_KEYSTONE_WIDTH_H

#include <pthread.h>
#include <stdint.h>

#include "ovrafocus/export.h"
#include "ovrafocus/result_codes.h"

OVRA_BEGIN_DECLS

/** The code by which varnel_keystone() knows that a focus run asks. */
#define OVRA_KEYSTONE_FOR_FOCUS (9999)

/** Panel width in pixels, above 0; 1280 unless the host sets another. */
extern OVRA_API int32_t width;

/** Panel height in pixels, above 0; 720 unless the host sets another. */
extern OVRA_API int32_t height;

/** Top width last applied, in pixels; the full width at first. Written under mutex_keystone. */
extern OVRA_API int32_t preUpW;

/** Bottom width last applied, in pixels; the full width at first. Written under mutex_keystone. */
extern OVRA_API int32_t preDownW;

/** Tilt in degrees of the last successful computation; 0 at first. */
extern OVRA_API int32_t currentKeystoneAngle;

/**
 * 1 from the moment a focus run has asked for keystone (OVRA_KEYSTONE_FOR_FOCUS) until the widths were applied
 * in steps or in a small change; 0 otherwise. A manual request, applied at once, leaves it as it is.
 */
extern OVRA_API uint8_t focusAndKeystone;

/** Held while widths are computed and applied, the pauses between steps (about 0.3 s at most) included. */
extern OVRA_API pthread_mutex_t mutex_keystone;

/**
 * One keystone run: reads the tilt from the ToF sensor and from gravity, chooses one of them, and applies the
 * widths. The ToF angle is used below 26 degrees, where it is precise, and always when the projector lies on
 * its side (45 degrees or more about x), where gravity says nothing about the tilt; otherwise gravity is used.
 * Any thread; blocks while another run holds mutex_keystone.
 *
 * @param code  OVRA_KEYSTONE_FOR_FOCUS, which sets focusAndKeystone; any other value is ignored
 * @return 0 on success, and when keystone is switched off (g_osd_keystone is 0: nothing is read then);
 *         -1 when the gravity angle is beyond 90 degrees or the widths could not be computed;
 *         OVRA_RESULT_NO_DISTANCE when the projector lies on its side and the ToF angle is missing or beyond 80
 *         degrees
 */
OVRA_API int32_t varnel_keystone(int32_t code);

/**
 * Computes the widths for a tilt and applies them: at once when g_run_once_keystone is set or the change is
 * at most 8 pixels on both edges, otherwise in halving steps 30 ms apart. Any thread; takes mutex_keystone.
 *
 * @param angle  tilt in degrees, within 90 on either side
 * @return 0; -1 when the geometry gave no result (there was no memory). mutex_keystone then stays locked.
 */
OVRA_API int32_t varnel_thread_setDLPKeystone(int32_t angle);

/**
 * Computes the widths for a tilt without applying them, and sets currentKeystoneAngle. Takes no lock.
 *
 * @param angle      tilt in degrees, within 90 on either side
 * @param upWidth    receives the top width in pixels; must not be null
 * @param downWidth  receives the bottom width in pixels; must not be null
 * @return 0; -1 when the geometry gave no result (there was no memory), and nothing is written
 */
OVRA_API int32_t varnel_cacu_keystone_width(int32_t angle, int32_t* upWidth, int32_t* downWidth);

/**
 * The tilt by the ToF sensor: the mean of the second and third of three readings, rounded; -1 and 1 count as
 * level. The sensor must be running.
 *
 * @param angle  receives the tilt in degrees; must not be null; untouched on failure
 * @return 0, or -1 when a reading failed
 */
OVRA_API int32_t get_tof_angle(int32_t* angle);

/**
 * The tilt from the mean distances of the upper and lower ToF zones, whose directions are 24 degrees apart:
 * atan(up sin 24 / (down - up cos 24)) - 90 + 12 degrees, 12 being the angle at which the sensor is mounted,
 * brought above -90 degrees and cut to whole degrees.
 *
 * @param angle  receives the tilt in degrees; must not be null; untouched on failure. Not meaningful when all
 *               distances are 0
 * @return 0, or -1 when the distances could not be read
 */
OVRA_API int32_t cacuTofAngle(int32_t* angle);

/** @return currentKeystoneAngle, in degrees. Any thread. */
OVRA_API int32_t get_current_keystone_angle(void);

OVRA_END_DECLS

#endif
