/**
 * @file peak_search.h
 * The lens position of best focus from a few samples of position and sharpness.
 *
 * Used by one calibration at a time, on the calling thread; nothing here is locked.
 */
#ifndef OVRAFOCUS_PEAK_SEARCH_H
#define OVRAFOCUS_PEAK_SEARCH_H

#include <stdint.h>

#ifdef __cplusplus
extern "C++" {  // a host may include the whole inside extern "C"
#include <vector>
}
#endif

#include "ovrafocus/export.h"
#include "ovrafocus/peak_sample.h"
#include "ovrafocus/result_codes.h"

OVRA_BEGIN_DECLS

/** The peak found last, in TMR units, not rounded; 0 at load. A search on a flat list leaves it. */
extern OVRA_API double m_dPeekStep;

/** Empties the sample list. */
OVRA_API void clearList(void);

/**
 * Appends a copy of a sample to the list. Memory for it belongs to the library until the process ends; without
 * memory the sample is left out.
 * @param sample the sample.
 */
OVRA_API void addSharpnessList(stepList_ sample);

/**
 * Whether the samples differ enough to be searched.
 * @return 0; -1 when the greatest and the least sharpness differ by less than 0.5. The greatest counts as 0
 *         and the least as 100 at most, so that a list entirely above 100 is never flat.
 */
OVRA_API int32_t checkList(void);

/**
 * Searches the sample list for its peak and keeps it in m_dPeekStep.
 *
 * Of all ten parabolas through three of the first five samples, the one that best predicts the samples it
 * did not use (least sum of absolute errors) gives its vertex.
 *
 * @return the peak rounded to a whole TMR value, halves away from zero; OVRA_NO_PEAK when the list is too flat,
 * or holds fewer than five samples. A vertex that is no number, or beyond 32 bits, becomes the end of the
 *         32-bit range, and no number becomes 0.
 */
OVRA_API int32_t calcPeekStep(void);

/** @return m_dPeekStep */
OVRA_API double getDoublePeekStep(void);

#ifdef __cplusplus

#ifdef __clang__
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wreturn-type-c-linkage"  // C++ only, and meant to be
#endif

/** The samples; empty at load. */
extern OVRA_API std::vector<stepList_> m_sharpness;

/**
 * The parabola y = a x^2 + b x + c through three points, in Lagrange's form.
 * @param x1, y1 the first point.
 * @param x2, y2 the second point.
 * @param x3, y3 the third point.
 * @return {a, b, c}; infinities or NaN when two x are equal. Empty when there is no memory for it.
 */
OVRA_API std::vector<double> quadraticEquationCoef(double x1, double y1, double x2, double y2, double x3,
                                                   double y3);

#ifdef __clang__
#pragma clang diagnostic pop
#endif

#endif

OVRA_END_DECLS

#endif
