// The corner offsets as one would find them with OpenCV: turn the panel's corners, cast them on the wall, find
// the perspective from wall to panel by the four pairs of points, and send the rectangle's corners through it.
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
    const double middle = c.width_px / 2;
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

}  // namespace bench
