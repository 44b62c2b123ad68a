// Vectors and turns in space.
//
// Two frames are used. The room: x to the right, y towards the wall, z up. The unit: x to its right, y along
// its optical axis, z out of its top. A unit that stands level and faces the wall has both alike.
#ifndef VIRTUAL_PROJECTOR_WORLD_VECTOR_H
#define VIRTUAL_PROJECTOR_WORLD_VECTOR_H

#include <cmath>

namespace vp {

constexpr double pi = 3.14159265358979323846;
constexpr double radians(double degrees) { return degrees * pi / 180.0; }
constexpr double degrees(double radians) { return radians * 180.0 / pi; }

struct Vec3 {
    double x = 0;
    double y = 0;
    double z = 0;
};

inline Vec3 operator+(const Vec3& a, const Vec3& b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
inline Vec3 operator-(const Vec3& a, const Vec3& b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
inline Vec3 operator*(double k, const Vec3& v) { return {k * v.x, k * v.y, k * v.z}; }
inline double dot(const Vec3& a, const Vec3& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

/// A turn from the unit's frame to the room's, by the three images of the unit's axes.
struct Orientation {
    Vec3 right{1, 0, 0};
    Vec3 forward{0, 1, 0};
    Vec3 up{0, 0, 1};

    Vec3 to_room(const Vec3& v) const { return v.x * right + v.y * forward + v.z * up; }
    Vec3 to_unit(const Vec3& v) const { return {dot(v, right), dot(v, forward), dot(v, up)}; }
};

}  // namespace vp

#endif
