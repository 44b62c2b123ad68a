/**
 * @file calibration_data.h
 * What the factory found out about this unit: which sensors are calibrated, and the lens table.
 *
 * Both are kept as text in the permanent record (see permanent_data.h). The functions may be called from
 * any thread, but not while another one writes the record: it has no lock.
 */
#ifndef OVRAFOCUS_CALIBRATION_DATA_H
#define OVRAFOCUS_CALIBRATION_DATA_H

#include <stdint.h>

#include "ovrafocus/export.h"
#include "ovrafocus/lens_state.h"

OVRA_BEGIN_DECLS

/**
 * Reads the calibration flags: gravity sensor, ToF sensor, lens. 0 means not calibrated, and so does
 * anything in the record that is not a digit.
 *
 * The lens flag: 1 calibrated at normal temperature, 2 at high temperature, 3 and 4 the same with the light
 * engine's focus curve.
 *
 * @param flags  3 values
 * @return 0 always.
 */
OVRA_API int32_t get_cali_flag(int32_t* flags);

/**
 * Loads listFlash from the record, and for a calibrated lens the soft limits, the sensor's polarity and the
 * backlash from it; then reads the light engine's focus curve into elepnCalidata. Table entries after the first
 * one that is not a number keep their value.
 *
 * @param table  not used: the table always goes to listFlash
 * @return 0 always.
 */
OVRA_API int32_t get_cali_data(int32_t* table);

/**
 * Stores the calibration flags in the record.
 *
 * A value of 1 to 4 is stored as it is, any other as 0. The lens flag also sets g_flag_high_temp (2 and 4: 1;
 * 1 and 3: 0) and, for 1 and 2, clears g_flag_elepn_temp; a lens flag of 3 or 4 is stored as 1 or 2 when the
 * light engine gives no focus curve.
 *
 * @param flags  3 values: gravity sensor, ToF sensor, lens
 * @return 0 always; a record that could not be written shows in the log only.
 */
OVRA_API int32_t write_cali_flag(const int32_t* flags);

OVRA_END_DECLS

#endif
