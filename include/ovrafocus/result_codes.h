/**
 * @file result_codes.h
 * The codes of toasts, and the results of runs, moves and the peak search that are no plain 0 or -1, by name.
 */
#ifndef OVRAFOCUS_RESULT_CODES_H
#define OVRAFOCUS_RESULT_CODES_H

/** Codes that slot 5 of the host's table, `toast`, is called with. @{ */
#define OVRA_TOAST_KEYSTONE_FAILED (2) /**< a run's keystone step failed */
#define OVRA_TOAST_LENS_FAILED (5)     /**< a run's lens move failed, or the lens did not get to its place */
#define OVRA_TOAST_RIGHT_LIMIT (6)     /**< a manual move stopped at the right limit */
#define OVRA_TOAST_LEFT_LIMIT (7)      /**< a manual move stopped at the left limit */
#define OVRA_TOAST_NO_DISTANCE (9)     /**< a run measured no distance, or had no angle for the keystone */
#define OVRA_TOAST_BOTH_OFF (10)       /**< a run found both functions off; 11 follows one second later */
#define OVRA_TOAST_FOCUS_OFF (11)      /**< a run or a manual move found auto-focus off */
/** @} */

/** Results of runs, of their keystone step, of manual moves and of the calibration's trial steps. @{ */
#define OVRA_RESULT_OK (0)               /**< the lens is at its place; otherwise: done */
#define OVRA_RESULT_LENS_FAILED (-1)     /**< a move or position read failed, or the lens did not settle */
#define OVRA_RESULT_KEYSTONE_FAILED (-2) /**< a run with auto-focus off: the keystone step failed */
#define OVRA_RESULT_RIGHT_LIMIT (-6)     /**< a manual move is done, stopped at the right limit */
#define OVRA_RESULT_LEFT_LIMIT (-7)      /**< a manual move is done, stopped at the left limit */
#define OVRA_RESULT_PROBE_FAILED (-100)  /**< trial steps did not change the position enough */
#define OVRA_RESULT_NO_DISTANCE (-101)   /**< a run: no distance; a keystone step: no usable angle */
#define OVRA_RESULT_BOTH_OFF (-102)      /**< a run found both functions off */
#define OVRA_RESULT_KEYSTONE_ONLY (-103) /**< a run with auto-focus off made its keystone step only */
/** @} */

/** What calcPeekStep() returns when the list is too flat, or holds fewer than five samples. */
#define OVRA_NO_PEAK (9999)

#endif
