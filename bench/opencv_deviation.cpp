// The corner offsets as one would find them with OpenCV, in two ways.
//
// By its general solver: turn the panel's corners, cast them on the wall, find the perspective from wall to
// panel by the four pairs of points, and send the rectangle's corners through it.
//
// By its small matrices, as somebody would who knows that the way from panel to wall is one 3x3 matrix: no
// system of equations is solved and no memory asked for.
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "bench/projection.h"

namespace bench {
namespace {

cv::Matx33d about_x(double a) { return {1, 0, 0, 0, std::cos(a), -std::sin(a), 0, std::sin(a), std::cos(a)}; }
cv::Matx33d about_y(double a) { return {std::cos(a), 0, std::sin(a), 0, 1, 0, -std::sin(a), 0, std::cos(a)}; }
cv::Matx33d about_z(double a) { return {std::cos(a), -std::sin(a), 0, std::sin(a), std::cos(a), 0, 0, 0, 1}; }

std::vector<cv::Point2f> panel_corners(const KeystoneCase& c) {
    const auto w = static_cast<float>(c.width_px);
    const auto h = static_cast<float>(c.height_px);
    return {{0, 0}, {w, 0}, {w, h}, {0, h}};
}

std::vector<cv::Point2f> on_wall(const KeystoneCase& c, const std::vector<cv::Point2f>& corners) {
    const cv::Matx33d turn =
        about_z(radians(c.h_deg)) * about_x(-radians(c.v_deg)) * about_y(radians(c.roll_deg));
    const int middle_px = c.width_px / 2;  // whole, as the library takes it
    const double middle = middle_px;
    const cv::Vec3d centre = about_z(radians(c.h_deg)) * cv::Vec3d(middle, 0, 0);
    const cv::Vec3d lens = centre + turn * cv::Vec3d(0, double{c.ratio} * c.width_px, 0);
    const double lower = lower_edge(c);
    std::vector<cv::Point2f> points;
    points.reserve(corners.size());
    for (const cv::Point2f& corner : corners) {
        const cv::Vec3d ray = centre + turn * cv::Vec3d(corner.x - middle, 0, corner.y + lower) - lens;
        const double t = -lens[1] / ray[1];
        points.emplace_back(static_cast<float>(lens[0] + t * ray[0]), static_cast<float>(lens[2] + t * ray[2]));
    }
    return points;
}

Quad quad_of(const std::vector<cv::Point2f>& points) {
    Quad quad;
    for (std::size_t i = 0; i < quad.size(); ++i) quad[i] = {points[i].x, points[i].y};
    return quad;
}

std::vector<cv::Point2f> points_of(const Quad& quad) {
    std::vector<cv::Point2f> points;
    points.reserve(quad.size());
    for (const Point& p : quad) points.emplace_back(static_cast<float>(p.x), static_cast<float>(p.z));
    return points;
}

// (x, z, 1) on the panel to (x, z, 1) on the wall, up to a factor. With the lens at L and the ray R (x, z, 1)
// from it, the wall y = 0 is met at L - R L.y / R.y; multiplied by R.y that is linear in the ray.
cv::Matx33d panel_to_wall(const KeystoneCase& c) {
    const cv::Matx33d heading = about_z(radians(c.h_deg));
    const cv::Matx33d turn = heading * about_x(-radians(c.v_deg)) * about_y(radians(c.roll_deg));
    const int middle_px = c.width_px / 2;  // whole, as the library takes it
    const double middle = middle_px;
    const double throw_px = double{c.ratio} * c.width_px;
    const cv::Vec3d lens = heading * cv::Vec3d(middle, 0, 0) + turn * cv::Vec3d(0, throw_px, 0);
    const cv::Matx33d rays = turn * cv::Matx33d(1, 0, -middle, 0, 0, -throw_px, 0, 1, lower_edge(c));
    const auto on_wall = [&](int column) {
        const cv::Vec3d ray(rays(0, column), rays(1, column), rays(2, column));
        return cv::Vec3d(lens[0] * ray[1] - lens[1] * ray[0], lens[2] * ray[1] - lens[1] * ray[2], ray[1]);
    };
    const cv::Vec3d x = on_wall(0), z = on_wall(1), one = on_wall(2);
    return {x[0], z[0], one[0], x[1], z[1], one[1], x[2], z[2], one[2]};
}

Quad through(const cv::Matx33d& way, const Quad& points) {
    Quad there;
    for (std::size_t i = 0; i < there.size(); ++i) {
        const cv::Vec3d p = way * cv::Vec3d(points[i].x, points[i].z, 1);
        there[i] = {p[0] / p[2], p[1] / p[2]};
    }
    return there;
}

}  // namespace

Offsets deviation_by_opencv(const KeystoneCase& c) {
    const std::vector<cv::Point2f> panel = panel_corners(c);
    const std::vector<cv::Point2f> wall = on_wall(c, panel);
    const cv::Mat to_panel = cv::getPerspectiveTransform(wall.data(), panel.data());
    const Quad rectangle = upright_rectangle(quad_of(wall), static_cast<double>(c.height_px) / c.width_px);
    std::vector<cv::Point2f> corners;
    cv::perspectiveTransform(points_of(rectangle), corners, to_panel);
    return offsets_of(quad_of(corners), c);
}

Offsets deviation_by_opencv_matrices(const KeystoneCase& c) {
    const cv::Matx33d way = panel_to_wall(c);
    const double w = c.width_px;
    const double h = c.height_px;
    const Quad picture = through(way, {{{0, 0}, {w, 0}, {w, h}, {0, h}}});
    const Quad rectangle = upright_rectangle(picture, h / w);
    return offsets_of(through(way.inv(), rectangle), c);
}

}  // namespace bench
