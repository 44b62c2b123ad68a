#include "ovrafocus/projection_geometry.h"

#include <array>
#include <cmath>
#include <limits>
#include <new>
#include <optional>

#include "base/log.h"
#include "focusctrl/keystone_rectangle.h"
#include "focusctrl/vector3.h"

float DLP_RATIO = 1.09F;

namespace ovra {
namespace {

constexpr float pi = 3.1415927F;
constexpr double pi_as_float = 3.1415927410125732;  // the value of the float above
constexpr float half_turn_deg = 180.0F;

// Beyond a quarter turn of roll the image's sides change places on the wall.
constexpr float quarter_turn_deg = 90.0F;

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr Vector3 no_point{nan, nan, nan};

struct SinCos {
    float sin, cos;
};

// The exported function may be anybody's at run time; this one is ours.
float in_radians(float degrees) { return degrees * pi / half_turn_deg; }

SinCos sine_and_cosine(float radians) {
    SinCos result{};
    sincosf(radians, &result.sin, &result.cos);
    return result;
}

Vector3 to_vector3(const std::vector<float>& v) { return v.size() < 3 ? no_point : Vector3{v[0], v[1], v[2]}; }

void copy_out(const Vector3& v, float output[3]) {
    output[0] = v.x;
    output[1] = v.y;
    output[2] = v.z;
}

// The small functions from here on are `inline` for the optimiser's sake: a fast build then takes them in where
// they are called, several times each, and a small one leaves them as they are.

// Rodrigues' formula for a unit axis k through the origin.
inline Vector3 rotate(const Vector3& k, const Vector3& v, const SinCos& angle) {
    return v * angle.cos + cross(k, v) * angle.sin + k * dot(k, v) * (1.0F - angle.cos);
}

inline Vector3 rotate_about(const Vector3& point, const Vector3& centre, const Vector3& axis,
                            const SinCos& angle) {
    return centre + rotate(axis, point - centre, angle);
}

inline float distance_to_line(const Vector3& point, const Vector3& a, const Vector3& b) {
    const Vector3 d = a - b;
    const float t = dot(point - b, d) / dot(d, d);
    return length(point - (b + d * t));
}

struct Plane {
    Vector3 normal, point;
};

// Nothing when the line runs parallel to the plane.
inline std::optional<Vector3> crossing(const Plane& plane, const Vector3& direction, const Vector3& point) {
    const float approach = dot(direction, plane.normal);
    if (approach == 0.0F) return std::nullopt;
    return point + direction * (dot(plane.point - point, plane.normal) / approach);
}

// ---- The projector -------------------------------------------------------------------------------------

// The panel as it stands before the wall, before it is rolled. Lengths are panel pixels.
struct Panel {
    float h_rad;  // horizontal angle
    SinCos h, v;  // of the horizontal and of the vertical angle
    int width_px;
    float width, height;
};

using Corners = std::array<Vector3, 4>;

Panel panel_at(float halg_deg, float valg_deg, int width_px, int height_px) {
    const float h_rad = in_radians(halg_deg);
    const float v_rad = in_radians(valg_deg);
    return {h_rad,    sine_and_cosine(h_rad),       sine_and_cosine(v_rad),
            width_px, static_cast<float>(width_px), static_cast<float>(height_px)};
}

// Where the optical axis passes the image plane: half the panel's width along its zero line. An odd width is
// halved downwards, because the axis is taken to pass through a pixel.
Vector3 rotation_centre(const Panel& panel) {
    const int half_px = panel.width_px / 2;
    const auto half = static_cast<float>(half_px);
    return {panel.h.cos * half, panel.h.sin * half, 0.0F};
}

// The lens stands over the rotation centre at the throw distance. It is found in polar form, as seen from
// above: phi is the angle at the origin between the panel and the lens, and `range` the lens' distance there.
Vector3 lens_position(const Panel& panel, float throw_distance) {
    const float depth = throw_distance * panel.v.cos;
    const float phi = std::atan(depth / (panel.width * 0.5F));
    const float range = depth / std::sin(phi);
    const SinCos bearing = sine_and_cosine(panel.h_rad + phi);
    return {bearing.cos * range, bearing.sin * range, -throw_distance * panel.v.sin};
}

// A corner on the side of the panel away from the origin, `up` pixels above the panel's zero line; in polar
// form as well.
inline Vector3 far_corner(const Panel& panel, float up) {
    const float lean = up * panel.v.sin;
    const float psi = std::atan(lean / panel.width);
    const auto width_squared = static_cast<float>(static_cast<long long>(panel.width_px) * panel.width_px);
    const float range = std::sqrt(lean * lean + width_squared);
    const SinCos bearing = sine_and_cosine(panel.h_rad + psi);
    return {bearing.cos * range, bearing.sin * range, up * panel.v.cos};
}

// The cosine in the offset is part of the product's established formula: the picture's offset is measured on
// the wall's vertical and not along the panel.
inline Corners panel_corners(const Panel& panel, float offset) {
    const Vector3 upward{-panel.v.sin * panel.h.sin, panel.v.sin * panel.h.cos, panel.v.cos};
    const float first = (offset - 1.0F) * panel.height * 0.5F * panel.v.cos;
    const float last = first + panel.height;
    return {upward * first, far_corner(panel, first), far_corner(panel, last), upward * last};
}

inline Corners rolled(const Corners& corners, const Vector3& centre, const Vector3& lens, float radians) {
    const Vector3 sight = lens - centre;
    const Vector3 axis = sight / length(sight);
    const SinCos angle = sine_and_cosine(radians);
    Corners result{};
    for (std::size_t i = 0; i < corners.size(); ++i) result[i] = rotate_about(corners[i], centre, axis, angle);
    return result;
}

// Where the ray from the lens through a corner meets the wall y = 0.
inline WallPoint on_wall(const Vector3& corner, const Vector3& lens) {
    const float t = lens.y / (lens.y - corner.y);
    return {(corner.x - lens.x) * t + lens.x, (corner.z - lens.z) * t + lens.z};
}

// Where the ray from a wall point to the lens passes the image plane.
inline Vector3 on_panel(float wall_x, float wall_z, const Plane& image_plane, const Vector3& lens) {
    const Vector3 direction = lens - Vector3{wall_x, 0.0F, wall_z};
    return crossing(image_plane, direction, lens).value_or(no_point);
}

// The bottom pair is named crosswise to the top pair: tl and br share the side 1-4, tr and bl the side 2-3.
// The width computation reads tl and br and depends on it.
std::array<float, 8> corner_offsets(const WallRectangle& target, const Plane& image_plane, const Vector3& lens,
                                    const Corners& r) {
    const Vector3 br = on_panel(target.column_14, target.row_43, image_plane, lens);
    const Vector3 tl = on_panel(target.column_14, target.row_12, image_plane, lens);
    const Vector3 tr = on_panel(target.column_23, target.row_12, image_plane, lens);
    const Vector3 bl = on_panel(target.column_23, target.row_43, image_plane, lens);
    const auto from_side_14 = [&](const Vector3& p) { return distance_to_line(p, r[0], r[3]); };
    const auto from_side_23 = [&](const Vector3& p) { return distance_to_line(p, r[1], r[2]); };
    const auto from_edge_12 = [&](const Vector3& p) { return distance_to_line(p, r[0], r[1]); };
    const auto from_edge_43 = [&](const Vector3& p) { return distance_to_line(p, r[3], r[2]); };
    return {from_side_14(tl), from_edge_12(tl), from_side_23(tr), from_edge_12(tr),
            from_side_23(bl), from_edge_43(bl), from_side_14(br), from_edge_43(br)};
}

std::array<float, 8> deviation(const Panel& panel, float offset, float ratio, float theta_deg) {
    const Vector3 centre = rotation_centre(panel);
    const Vector3 lens = lens_position(panel, ratio * panel.width);
    const Corners p = panel_corners(panel, offset);
    const Corners r = rolled(p, centre, lens, in_radians(theta_deg));
    const Quadrilateral picture{on_wall(r[0], lens), on_wall(r[1], lens), on_wall(r[2], lens),
                                on_wall(r[3], lens)};
    const auto aspect =
        static_cast<float>(static_cast<double>(panel.height) / static_cast<double>(panel.width));
    const bool image_upright = std::fabs(theta_deg) < quarter_turn_deg;
    const WallRectangle target = inscribed_rectangle(picture, aspect, image_upright);
    const Plane image_plane{cross(p[1], p[2]), p[0]};
    return corner_offsets(target, image_plane, lens, r);
}

// The host is not made to catch exceptions: without memory it gets an empty vector.
std::vector<float> to_vector(const float* values, std::size_t count) {
    try {
        return std::vector<float>(values, values + count);
    } catch (const std::bad_alloc&) {
        return {};
    }
}

}  // namespace
}  // namespace ovra

using ovra::to_vector3;

float degree2radian(float degrees) { return ovra::in_radians(degrees); }

float radian2degree(float radians) {
    return static_cast<float>(static_cast<double>(radians) * static_cast<double>(ovra::half_turn_deg) /
                              ovra::pi_as_float);
}

void RodriguesRotate(const std::vector<float>& axis, const std::vector<float>& vector, float theta,
                     float output[3]) {
    ovra::copy_out(ovra::rotate(to_vector3(axis), to_vector3(vector), ovra::sine_and_cosine(theta)), output);
}

// The axis comes by value: callers built against this interface pass a copy of their own.
void pointRodriguesRotate(const std::vector<float>& point, const std::vector<float>& centre,
                          std::vector<float> axis, float theta,  // NOLINT(performance-unnecessary-value-param)
                          float output[3]) {
    ovra::copy_out(ovra::rotate_about(to_vector3(point), to_vector3(centre), to_vector3(axis),
                                      ovra::sine_and_cosine(theta)),
                   output);
}

float getpoint2Line(const std::vector<float>& point, const std::vector<float>& line_a,
                    const std::vector<float>& line_b) {
    return ovra::distance_to_line(to_vector3(point), to_vector3(line_a), to_vector3(line_b));
}

std::vector<float> CalPlaneLineIntersectPoint(const std::vector<float>& plane_normal,
                                              const std::vector<float>& plane_point,
                                              const std::vector<float>& line_direction,
                                              const std::vector<float>& line_point) {
    const auto point = ovra::crossing({to_vector3(plane_normal), to_vector3(plane_point)},
                                      to_vector3(line_direction), to_vector3(line_point));
    if (!point) return {};
    const std::array<float, 3> values{point->x, point->y, point->z};
    return ovra::to_vector(values.data(), values.size());
}

std::vector<float> keystoneDeviation(float halg, float valg, float Offset, float ratio, int width_px,
                                     int height_px, float theta) {
    ovra::log_bare(
        "\033[36;1mhalg = %lf, valg = %lf, theta = %lf, Offset = %f, ratio = %f, width = %d, height = "
        "%d\033[0m\n",
        static_cast<double>(halg), static_cast<double>(valg), static_cast<double>(theta),
        static_cast<double>(Offset), static_cast<double>(ratio), width_px, height_px);
    const ovra::Panel panel = ovra::panel_at(halg, valg, width_px, height_px);
    const std::array<float, 8> offsets = ovra::deviation(panel, Offset, ratio, theta);
    return ovra::to_vector(offsets.data(), offsets.size());
}
