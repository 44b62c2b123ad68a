// Points and directions in space, three floats on the stack. All arithmetic is in single precision and in the
// order it is written: the results of the projection geometry are compared bit by bit across targets.
#ifndef OVRA_FOCUSCTRL_VECTOR3_H
#define OVRA_FOCUSCTRL_VECTOR3_H

#include <cmath>

namespace ovra {

struct Vector3 {
    float x, y, z;
};

inline Vector3 operator+(const Vector3& a, const Vector3& b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
inline Vector3 operator-(const Vector3& a, const Vector3& b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
inline Vector3 operator*(const Vector3& a, float factor) { return {a.x * factor, a.y * factor, a.z * factor}; }
inline Vector3 operator/(const Vector3& a, float divisor) {
    return {a.x / divisor, a.y / divisor, a.z / divisor};
}

inline float dot(const Vector3& a, const Vector3& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

inline Vector3 cross(const Vector3& a, const Vector3& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

inline float length(const Vector3& a) { return std::sqrt(dot(a, a)); }

}  // namespace ovra

#endif
