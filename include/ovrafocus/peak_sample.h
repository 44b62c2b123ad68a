/**
 * @file peak_sample.h
 * What the peak search is given.
 */
#ifndef OVRAFOCUS_PEAK_SAMPLE_H
#define OVRAFOCUS_PEAK_SAMPLE_H

#include <stdint.h>

/** One sample of the sharpness at a lens position. */
typedef struct stepList_ {
    int32_t step;     /**< lens position in TMR units */
    double sharpness; /**< any unit; larger is sharper */
} stepList_;

#endif
