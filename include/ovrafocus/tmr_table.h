/**
 * @file tmr_table.h
 * The factory sweep that measures the lens table, and the table's making.
 *
 * Started by the host's factory flow, on one thread, while no auto-focus run is going on.
 */
#ifndef OVRAFOCUS_TMR_TABLE_H
#define OVRAFOCUS_TMR_TABLE_H

#include <stdint.h>

#include "ovrafocus/export.h"

OVRA_BEGIN_DECLS

/**
 * Measures how the position sensor answers to single motor steps (5 um of lens travel each) around a lens
 * position, makes the lens table of it, stores it in the permanent record and applies it.
 *
 * The lens comes to the target from the left, goes eleven steps on to the right, returns, and goes two steps
 * to the left. The step counts of the returns show the motor's backlash. The soft limits are opened to
 * -1000 and 1000 for the sweep and stay so when it fails.
 *
 * @param target    lens position in TMR units that becomes measured[2]
 * @param measured  14 readings in TMR units, the leftmost first, one motor step apart; after a failure it holds
 *                  those that were made before it
 * @return 0; -1 when a motor call or position read failed: nothing is stored then.
 */
OVRA_API int32_t get_cali_list_tmr(int32_t target, int32_t* measured);

/**
 * Makes the lens table from 14 measurements, stores it in the permanent record, and sets the soft limits
 * and the backlash from it.
 *
 * Entries 0 to 24 are measurements 0 to 12 with the means of neighbours (truncated towards zero) between
 * them; entries 25 to 29 are the other arguments in their order. The text of all 30, joined by commas, must
 * not be longer than 149 characters: a longer one stops the process before anything is written.
 *
 * @param measured   14 readings in TMR units
 * @param leftLimit  soft limits in TMR units
 * @param rightLimit soft limits in TMR units
 * @param direct     polarity of the position sensor, see `direction`; stored, not applied
 * @param leftR      backlash on reversing to the left, motor steps
 * @param rightR     backlash on reversing to the right, motor steps
 * @param out        30 values
 * @return 0 always; a record that could not be written shows in the log only, and the table holds until
 *         the next start.
 */
OVRA_API int32_t tmr_cali_inter(const int32_t* measured, int32_t leftLimit, int32_t rightLimit, int32_t direct,
                                int32_t leftR, int32_t rightR, int32_t* out);

OVRA_END_DECLS

#endif
