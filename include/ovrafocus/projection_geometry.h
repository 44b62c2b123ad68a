/**
 * @file projection_geometry.h
 * Where the corners of the panel image must go, so that the picture on the wall is upright.
 *
 * Pure single-precision geometry without state: everything here may be called from any thread. The vector
 * functions take and return std::vector<float> and are there for C++ only; they have C linkage all the same,
 * so that their names can be looked up by dlsym().
 *
 * Frame of reference, in panel pixels: the wall is the plane y = 0, x runs along the picture's horizontal and
 * z along its vertical. The image plane passes through the origin.
 */
#ifndef OVRAFOCUS_PROJECTION_GEOMETRY_H
#define OVRAFOCUS_PROJECTION_GEOMETRY_H

#include "ovrafocus/export.h"

OVRA_BEGIN_DECLS

/**
 * Throw ratio of the optics: throw distance divided by picture width, without unit; above 0. The default is
 * 1.09. The host may set another one before the first keystone run.
 */
extern OVRA_API float DLP_RATIO;

/**
 * Degrees to radians, in single precision.
 * @param degrees the angle in degrees.
 * @return degrees * 3.1415927 / 180.
 */
OVRA_API float degree2radian(float degrees);

/**
 * Radians to degrees.
 * @param radians the angle in radians.
 * @return radians * 180 / 3.1415927410125732 in double precision, rounded to float.
 */
OVRA_API float radian2degree(float radians);

OVRA_END_DECLS

#ifdef __cplusplus

extern "C++" {  // a host may include the whole inside extern "C"
#include <vector>
}

#ifdef __clang__
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wreturn-type-c-linkage"  // C++ only, and meant to be
#endif

OVRA_BEGIN_DECLS

// A point or a direction below is a vector of exactly three components x, y, z. One with fewer counts as
// three not-a-number components. No argument is kept; an output array may be the memory of an input.

/**
 * Rotates a direction about an axis through the origin (Rodrigues' formula):
 * v cos(theta) + (k x v) sin(theta) + k (k . v) (1 - cos(theta)).
 *
 * @param axis    k, used as given: the caller supplies a unit vector
 * @param vector  v
 * @param theta   angle in radians, right-handed about the axis; 0 leaves v as it is
 * @param output  receives the three components
 */
OVRA_API void RodriguesRotate(const std::vector<float>& axis, const std::vector<float>& vector, float theta,
                              float output[3]);

/**
 * Rotates a point about the line through `centre` with direction `axis`:
 * centre + RodriguesRotate(axis, point - centre, theta).
 *
 * @param point   the point to rotate
 * @param centre  a point of the line
 * @param axis    the line's direction, a unit vector
 * @param theta   angle in radians, right-handed about the axis
 * @param output  receives the three components
 */
OVRA_API void pointRodriguesRotate(const std::vector<float>& point, const std::vector<float>& centre,
                                   std::vector<float> axis, float theta, float output[3]);

/**
 * Distance from a point P to the infinite line through A and B: with d = A - B and
 * t = ((P - B) . d) / (d . d) the foot is B + t d.
 *
 * @param point           P
 * @param line_a, line_b  A and B
 * @return the distance, never negative; not-a-number when A and B are the same point
 */
OVRA_API float getpoint2Line(const std::vector<float>& point, const std::vector<float>& line_a,
                             const std::vector<float>& line_b);

/**
 * Where a line meets a plane: D + t L with t = ((C - D) . N) / (L . N).
 *
 * @param plane_normal    N, of any length but 0
 * @param plane_point     C, any point of the plane
 * @param line_direction  L, of any length but 0
 * @param line_point      D, any point of the line
 * @return the point; an empty vector when line and plane are parallel (L . N is exactly 0), or when there is
 *         no memory for it
 */
OVRA_API std::vector<float> CalPlaneLineIntersectPoint(const std::vector<float>& plane_normal,
                                                       const std::vector<float>& plane_point,
                                                       const std::vector<float>& line_direction,
                                                       const std::vector<float>& line_point);

/**
 * How far each corner of the panel image must be pulled in, so that the picture of a turned, tilted and
 * rolled projector becomes an upright rectangle of the panel's shape: the largest one centred on the picture
 * that does not reach beyond it.
 *
 * Prints its arguments (one line on standard output) and allocates nothing but its result.
 *
 * @param halg    horizontal angle in degrees; 0 is square to the wall
 * @param valg    vertical angle in degrees; 0 is level. Keep it within 90 on either side: at the limits and
 *                beyond, the result is not checked and may hold infinities and not-a-numbers
 * @param Offset  vertical offset of the picture: its first edge lies (Offset - 1) half picture heights from the
 *                lens axis. 1 puts that edge on the axis, 0 puts the axis through the picture's middle
 * @param ratio   throw ratio, see DLP_RATIO
 * @param width_px   panel width in pixels; 0 gives not-a-numbers
 * @param height_px  panel height in pixels
 * @param theta   roll about the optical axis in degrees
 * @return eight offsets in panel pixels: tl.x, tl.y, tr.x, tr.y, bl.x, bl.y, br.x, br.y. Each is the inward
 *         distance of a corner from a panel edge, and 0 where the corner stays. The bottom pair is named
 *         crosswise to the top pair: tl and br are measured from one side edge, tr and bl from the other.
 *         Empty when there is no memory for it.
 */
OVRA_API std::vector<float> keystoneDeviation(float halg, float valg, float Offset, float ratio, int width_px,
                                              int height_px, float theta);

OVRA_END_DECLS

#ifdef __clang__
#pragma clang diagnostic pop
#endif

#endif

#endif
