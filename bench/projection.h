// The keystone question, as keystoneDeviation() is asked it, and the arithmetic that both other answers share.
//
// The projector is a pinhole before the wall y = 0. The panel's picture is a rectangle of panel pixels in the
// image plane; the lens stands over its middle at the throw distance. Seen on the wall the picture is a
// quadrilateral, and the largest upright rectangle of the panel's shape around the crossing of its diagonals
// is what is wanted. Its corners, back on the panel, are the answer.
#ifndef BENCH_PROJECTION_H
#define BENCH_PROJECTION_H

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace bench {

/// The arguments of keystoneDeviation(): degrees, panel pixels; offset and ratio without unit. The roll is
/// below a quarter turn, where the picture's sides keep their places.
struct KeystoneCase {
    float h_deg = 0;
    float v_deg = 0;
    float offset = 0;
    float ratio = 1.09F;
    int width_px = 1280;
    int height_px = 720;
    float roll_deg = 0;
};

/// In the order of keystoneDeviation()'s result.
using Offsets = std::array<float, 8>;

struct Point {
    double x = 0;
    double z = 0;
};
using Quad = std::array<Point, 4>;  // around the picture, from the bottom left corner of the panel

constexpr double radians(double degrees) { return degrees * 3.14159265358979323846 / 180; }

/// How far the lower edge of the picture lies above the panel's zero line, in panel pixels.
inline double lower_edge(const KeystoneCase& c) {
    return (double{c.offset} - 1) * c.height_px * 0.5 * std::cos(radians(c.v_deg));
}

inline Point crossing_of_diagonals(const Quad& q) {
    const double ax = q[2].x - q[0].x, az = q[2].z - q[0].z;
    const double bx = q[3].x - q[1].x, bz = q[3].z - q[1].z;
    const double t = ((q[1].x - q[0].x) * bz - (q[1].z - q[0].z) * bx) / (ax * bz - az * bx);
    return {q[0].x + t * ax, q[0].z + t * az};
}

/// The largest upright rectangle of that shape around the crossing of the diagonals: with half the height
/// aspect * s, it touches an edge with the unit normal (nx, nz) when s (|nx| + aspect |nz|) is the centre's
/// distance from that edge. Length and sign of the normal cancel out.
inline Quad upright_rectangle(const Quad& picture, double aspect) {
    const Point centre = crossing_of_diagonals(picture);
    double s = HUGE_VAL;
    for (std::size_t i = 0; i < picture.size(); ++i) {
        const Point& p = picture[i];
        const Point& q = picture[(i + 1) % picture.size()];
        const double nx = q.z - p.z;
        const double nz = p.x - q.x;
        const double distance = std::abs(nx * (centre.x - p.x) + nz * (centre.z - p.z));
        s = std::min(s, distance / (std::abs(nx) + aspect * std::abs(nz)));
    }
    const double t = aspect * s;
    return {{{centre.x - s, centre.z - t},
             {centre.x + s, centre.z - t},
             {centre.x + s, centre.z + t},
             {centre.x - s, centre.z + t}}};
}

/// The rectangle's corners on the panel, in the order of the rectangle. The result's names cross over: its
/// second and third corner stand on the side that the first and the last do not.
inline Offsets offsets_of(const Quad& on_panel, const KeystoneCase& c) {
    const auto x = [&](std::size_t i) { return static_cast<float>(std::abs(on_panel[i].x)); };
    const auto z = [&](std::size_t i) { return static_cast<float>(std::abs(on_panel[i].z)); };
    const auto from_far_side = [&](std::size_t i) {
        return static_cast<float>(std::abs(c.width_px - on_panel[i].x));
    };
    const auto from_far_edge = [&](std::size_t i) {
        return static_cast<float>(std::abs(c.height_px - on_panel[i].z));
    };
    return {x(0), z(0), from_far_side(1), z(1), from_far_side(2), from_far_edge(2), x(3), from_far_edge(3)};
}

/// The same answer through OpenCV's getPerspectiveTransform() and perspectiveTransform().
Offsets deviation_by_opencv(const KeystoneCase& c);

/// The same answer in closed form: the projection as OpenCV's cv::Matx33d and its inverse.
Offsets deviation_by_opencv_matrices(const KeystoneCase& c);

/// The same answer through Eigen: the projection as a 3x3 matrix and its inverse.
Offsets deviation_by_eigen(const KeystoneCase& c);

}  // namespace bench

#endif
