// The upright rectangle within a keystoned picture: the part of the keystone geometry that happens on the wall.
//
// The picture is a quadrilateral 1-2-3-4 on the wall. The rectangle wanted has the panel's shape, its centre is
// where the picture's diagonals cross, and it is as large as the picture allows. So its own diagonals are
// known: two lines through the centre, one rising and one falling with the panel's aspect. Where they leave the
// picture is a crossing with one of the four edges, and the crossing nearest to the centre is the corner at
// which the growing rectangle first touches.
#ifndef OVRA_FOCUSCTRL_KEYSTONE_RECTANGLE_H
#define OVRA_FOCUSCTRL_KEYSTONE_RECTANGLE_H

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace ovra {

/// A point of the wall in panel pixels: x along the horizontal, z along the vertical.
struct WallPoint {
    float x, z;
};

/// The picture's corners in order around it: 1-2 is the edge at the image's offset, 1-4 and 2-3 are the sides.
using Quadrilateral = std::array<WallPoint, 4>;

/// z = slope x + intercept.
struct WallLine {
    float slope, intercept;

    float z_at(float x) const { return slope * x + intercept; }
    float x_at(float z) const { return (z - intercept) / slope; }
};

/// The lines on which the wanted rectangle's corners lie.
struct Diagonals {
    WallLine rising, falling;
};

/// An upright rectangle: its two columns and its two rows.
struct WallRectangle {
    float column_14;  // the column measured from the side 1-4
    float column_23;  // the other one
    float row_12;     // the row measured from the edge 1-2
    float row_43;     // the other one
};

inline constexpr std::size_t crossing_count = 8;
using Crossings = std::array<WallPoint, crossing_count>;

inline WallPoint diagonal_crossing(const Quadrilateral& q) {
    const auto& [p1, p2, p3, p4] = q;
    const float a = p1.x * p3.z - p1.z * p3.x;
    const float b = p2.x * p4.z - p2.z * p4.x;
    const float den = (p1.x - p3.x) * (p2.z - p4.z) - (p1.z - p3.z) * (p2.x - p4.x);
    return {((p2.x - p4.x) * a - (p1.x - p3.x) * b) / den, ((p2.z - p4.z) * a - (p1.z - p3.z) * b) / den};
}

/// @param aspect  the panel's height divided by its width
inline Diagonals diagonals_through(const WallPoint& centre, float aspect) {
    return {{aspect, centre.z - aspect * centre.x}, {-aspect, centre.z + aspect * centre.x}};
}

inline WallLine line_through(const WallPoint& p, const WallPoint& q) {
    const float slope = (q.z - p.z) / (q.x - p.x);
    return {slope, p.z - slope * p.x};
}

inline float crossing_x(const WallLine& a, const WallLine& b) {
    return (b.intercept - a.intercept) / (a.slope - b.slope);
}

/// A picture's edges as lines. One vertical side makes both sides count as vertical: at angles where one of
/// them is exactly upright, the other one is within rounding of it. Their lines are not used then.
struct Edges {
    WallLine edge_12, edge_43, side_23, side_14;
    bool upright_sides;
    float x_23, x_14;  // of upright sides
};

inline Edges edges_of(const Quadrilateral& q) {
    const auto& [p1, p2, p3, p4] = q;
    return {line_through(p1, p2),
            line_through(p4, p3),
            line_through(p2, p3),
            line_through(p1, p4),
            p2.x == p3.x || p1.x == p4.x,
            p2.x,
            p1.x};
}

/// Crossings of one diagonal with the edges 1-2, 4-3, 2-3 and 1-4, written from `out` on; returns the place
/// after them.
inline WallPoint* edge_crossings(const WallLine& diagonal, const Edges& e, WallPoint* out) {
    const auto on_edge = [&](const WallLine& edge) {
        const float x = crossing_x(diagonal, edge);
        return WallPoint{x, edge.z_at(x)};
    };
    const auto on_diagonal = [&](float x) { return WallPoint{x, diagonal.z_at(x)}; };
    *out++ = on_edge(e.edge_12);
    *out++ = on_edge(e.edge_43);
    *out++ = on_diagonal(e.upright_sides ? e.x_23 : crossing_x(diagonal, e.side_23));
    *out++ = on_diagonal(e.upright_sides ? e.x_14 : crossing_x(diagonal, e.side_14));
    return out;
}

/// The rising diagonal's four crossings, then the falling one's.
inline Crossings all_crossings(const Diagonals& diagonals, const Quadrilateral& q) {
    const Edges edges = edges_of(q);
    Crossings crossings;
    const auto next = edge_crossings(diagonals.rising, edges, crossings.data());
    edge_crossings(diagonals.falling, edges, next);
    return crossings;
}

/// Squared and rooted in double precision: a float's square may overflow where the root would not.
inline float wall_distance(const WallPoint& p, const WallPoint& q) {
    const double dx = p.x - q.x;
    const double dz = p.z - q.z;
    return static_cast<float>(std::sqrt(dx * dx + dz * dz));
}

/// The index of the crossing nearest to the centre, the first one of equals; crossing_count when there is none,
/// because the first distance is not a number and so nothing is smaller than or equal to it.
inline std::size_t nearest_crossing(const Crossings& crossings, const WallPoint& centre) {
    std::array<float, crossing_count> distances;
    for (std::size_t k = 0; k < crossing_count; ++k) distances[k] = wall_distance(crossings[k], centre);
    if (std::isnan(distances[0])) return crossing_count;
    std::size_t nearest = 0;
    float minimum = distances[0];
    for (std::size_t k = 1; k < crossing_count; ++k) {
        const bool is_nearer = distances[k] < minimum;
        nearest = is_nearer ? k : nearest;
        minimum = is_nearer ? distances[k] : minimum;
    }
    return nearest;
}

/// True when `a` is to be taken before `b` as the coordinate next to an edge at `edge`.
inline bool nearer(float a, float b, float edge) { return std::fabs(a - edge) < std::fabs(b - edge); }

/// Which column and row belong to which side. Below 90 degrees of roll the image is upright on the wall: the
/// side 1-4 has the smaller x and the edge 1-2 the smaller z. Beyond, the image may lie on its side or on its
/// head, and the sides go by where they really are.
inline WallRectangle assign_to_edges(float x_a, float x_b, float z_a, float z_b, const Quadrilateral& q,
                                     bool image_upright) {
    const auto& [p1, p2, p3, p4] = q;
    const auto [x_low, x_high] = std::minmax(x_a, x_b);
    const auto [z_low, z_high] = std::minmax(z_a, z_b);
    const bool swap_columns = !image_upright && nearer(x_high, x_low, (p1.x + p4.x) * 0.5F);
    const bool swap_rows = !image_upright && nearer(z_high, z_low, (p1.z + p2.z) * 0.5F);
    return {swap_columns ? x_high : x_low, swap_columns ? x_low : x_high, swap_rows ? z_high : z_low,
            swap_rows ? z_low : z_high};
}

/// The largest upright rectangle of the panel's shape within the picture, centred where the picture's diagonals
/// cross. A picture that has no such centre, because the projector looks along or away from the wall, gives
/// four zeros.
/// @param aspect         the panel's height divided by its width
/// @param image_upright  the projector is rolled by less than 90 degrees
inline WallRectangle inscribed_rectangle(const Quadrilateral& picture, float aspect, bool image_upright) {
    const WallPoint centre = diagonal_crossing(picture);
    const Diagonals diagonals = diagonals_through(centre, aspect);
    const Crossings crossings = all_crossings(diagonals, picture);
    const std::size_t nearest = nearest_crossing(crossings, centre);
    if (nearest == crossing_count) return {0.0F, 0.0F, 0.0F, 0.0F};
    const WallPoint& corner = crossings[nearest];
    const WallLine& other = nearest < crossing_count / 2 ? diagonals.falling : diagonals.rising;
    return assign_to_edges(corner.x, other.x_at(corner.z), corner.z, other.z_at(corner.x), picture,
                           image_upright);
}

}  // namespace ovra

#endif
