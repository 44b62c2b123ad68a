// The corner offsets as one would find them with Eigen: the way from panel to wall is one 3x3 matrix, the way
// back its inverse.
#include <Eigen/Geometry>
#include <Eigen/LU>

#include "bench/projection.h"

namespace bench {
namespace {

using Eigen::AngleAxisd;
using Eigen::Matrix3d;
using Eigen::Vector3d;

// (x, z, 1) on the panel to (x, z, 1) on the wall, up to a factor. With the lens at L and the ray R (x, z, 1)
// from it, the wall y = 0 is met at L - R L.y / R.y; multiplied by R.y that is linear in the ray.
Matrix3d panel_to_wall(const KeystoneCase& c) {
    const AngleAxisd heading(radians(c.h_deg), Vector3d::UnitZ());
    const Matrix3d turn = (heading * AngleAxisd(-radians(c.v_deg), Vector3d::UnitX()) *
                           AngleAxisd(radians(c.roll_deg), Vector3d::UnitY()))
                              .toRotationMatrix();
    const int middle_px = c.width_px / 2;  // whole, as the library takes it
    const double middle = middle_px;
    const double throw_px = double{c.ratio} * c.width_px;
    const Vector3d lens = heading * Vector3d(middle, 0, 0) + turn.col(1) * throw_px;
    Matrix3d rays;
    rays << turn.col(0), turn.col(2), turn * Vector3d(-middle, -throw_px, lower_edge(c));
    Matrix3d on_wall;
    on_wall.row(0) = lens.x() * rays.row(1) - lens.y() * rays.row(0);
    on_wall.row(1) = lens.z() * rays.row(1) - lens.y() * rays.row(2);
    on_wall.row(2) = rays.row(1);
    return on_wall;
}

Quad through(const Matrix3d& way, const Quad& points) {
    Quad there;
    for (std::size_t i = 0; i < points.size(); ++i)
        there[i] = [](const Vector3d& p) {
            return Point{p.x() / p.z(), p.y() / p.z()};
        }(way * Vector3d(points[i].x, points[i].z, 1));
    return there;
}

}  // namespace

Offsets deviation_by_eigen(const KeystoneCase& c) {
    const Matrix3d way = panel_to_wall(c);
    const double w = c.width_px;
    const double h = c.height_px;
    const Quad picture = through(way, {{{0, 0}, {w, 0}, {w, h}, {0, h}}});
    const Quad rectangle = upright_rectangle(picture, h / w);
    return offsets_of(through(way.inverse(), rectangle), c);
}

}  // namespace bench
