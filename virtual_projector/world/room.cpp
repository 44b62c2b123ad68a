#include "virtual_projector/world/room.h"

#include <algorithm>
#include <cmath>

namespace vp {
namespace {

constexpr double square_mm_per_square_m = 1e6;
// A ray whose angle to a plane has no larger sine never meets it: of a right angle's cosine no more is left.
constexpr double parallel = 1e-9;
constexpr double min_upright = 1e-6;  // of the main wall's normal: less, and it is a ceiling without corners

double length_of(const Vec3& v) { return std::sqrt(dot(v, v)); }

const Meeting& nearer(const Meeting& a, const Meeting& b) { return b.length < a.length ? b : a; }

Vec3 main_wall_normal(const Wall& wall) {
    const double lean = radians(wall.lean_deg);
    return {0, std::cos(lean), std::sin(lean)};
}

bool is_in_spot(const SpotSettings& spot, const Vec3& point) {
    return spot.width_mm > 0 && std::abs(point.x - spot.side_mm) <= spot.width_mm / 2 &&
           std::abs(point.z - spot.up_mm) <= spot.height_mm / 2;
}

void mirror_light_away(const SpotSettings& spot, Meeting& met) {
    met.reflectivity *= 1 - spot.gloss;
    met.mirrored_mm = spot.gloss * spot.extra_mm;
}

// With w beyond the plane and s to its side, the surface is w + k s^2 = 0. Along the ray that is a quadratic
// equation; its root is written so that it stays exact for a wall that is not bowed.
Meeting meet_main_wall(const Room& room, const Vec3& origin, const Vec3& direction) {
    const Vec3 normal = main_wall_normal(room.wall);
    const Vec3 from_point = origin - room.wall_point;
    const double bow = room.settings.bow_mm_per_m / square_mm_per_square_m;
    const double a = bow * direction.x * direction.x;
    const double b = dot(normal, direction) + 2 * bow * from_point.x * direction.x;
    const double c = dot(normal, from_point) + bow * from_point.x * from_point.x;
    const double discriminant = b * b - 4 * a * c;
    const bool is_ahead = dot(normal, room.wall_point) > parallel * length_of(room.wall_point);
    if (!is_ahead || c >= 0 || discriminant < 0) return {};
    const double divisor = b + std::sqrt(discriminant);
    if (divisor <= 0) return {};

    Meeting met;
    met.length = -2 * c / divisor;
    const Vec3 point = origin + met.length * direction;
    const Vec3 slope = normal + Vec3{2 * bow * (point.x - room.wall_point.x), 0, 0};
    met.cosine = dot(slope, direction) / (length_of(slope) * length_of(direction));
    if (met.cosine <= parallel) return {};
    met.reflectivity = room.wall.reflectivity;
    if (is_in_spot(room.settings.spot, point)) mirror_light_away(room.settings.spot, met);
    return met;
}

// The second wall's trace on the floor: a point of the corner and the normal that points out of the room.
struct SideWall {
    Vec3 corner;
    Vec3 normal;
};

bool find_side_wall(const Room& room, SideWall& side) {
    const Vec3 main = main_wall_normal(room.wall);
    if (room.settings.corner_mm == 0 || main.y < min_upright) return false;
    const double angle = radians(room.settings.corner_deg);
    const double to_right = room.settings.corner_mm > 0 ? 1 : -1;
    side.corner = {room.settings.corner_mm, dot(main, room.wall_point) / main.y, 0};
    side.normal = {to_right * std::sin(angle), -std::cos(angle), 0};
    return true;
}

Meeting meet_side_wall(const SideWall& side, double reflectivity, const Vec3& origin, const Vec3& direction) {
    const double beyond = dot(side.normal, origin - side.corner);
    const double along = dot(side.normal, direction);
    if (beyond >= 0 || along <= parallel * length_of(direction)) return {};
    Meeting met;
    met.length = -beyond / along;
    met.cosine = along / length_of(direction);
    met.reflectivity = reflectivity;
    return met;
}

Meeting meet_walls(const Room& room, const Vec3& origin, const Vec3& direction) {
    const Meeting main = meet_main_wall(room, origin, direction);
    SideWall side;
    if (!find_side_wall(room, side)) return main;
    Meeting met = nearer(main, meet_side_wall(side, room.wall.reflectivity, origin, direction));
    if (!std::isfinite(met.length)) return met;
    const Vec3 point = origin + met.length * direction;
    met.corner_mm = std::hypot(point.x - side.corner.x, point.y - side.corner.y);
    return met;
}

// The part of a ray that lies between two planes at right angles to one axis.
struct Passage {
    double enters = -std::numeric_limits<double>::infinity();
    double leaves = std::numeric_limits<double>::infinity();
};

Passage passage_between(double origin, double direction, double low, double high) {
    constexpr double never = std::numeric_limits<double>::infinity();
    if (direction == 0) return origin > low && origin < high ? Passage{} : Passage{never, -never};
    const double to_low = (low - origin) / direction;
    const double to_high = (high - origin) / direction;
    return {std::min(to_low, to_high), std::max(to_low, to_high)};
}

Meeting meet_box(const BoxSettings& box, double floor_mm, const Vec3& origin, const Vec3& direction) {
    if (box.width_mm == 0) return {};
    const double foot = floor_mm + box.foot_mm;
    const Passage x =
        passage_between(origin.x, direction.x, box.side_mm - box.width_mm / 2, box.side_mm + box.width_mm / 2);
    const Passage y = passage_between(origin.y, direction.y, box.along_mm, box.along_mm + box.depth_mm);
    const Passage z = passage_between(origin.z, direction.z, foot, foot + box.height_mm);
    const double enters = std::max({x.enters, y.enters, z.enters});
    const double leaves = std::min({x.leaves, y.leaves, z.leaves});
    if (enters <= 0 || enters > leaves) return {};
    const double across = enters == x.enters ? direction.x : enters == y.enters ? direction.y : direction.z;
    Meeting met;
    met.length = enters;
    met.cosine = std::abs(across) / length_of(direction);
    met.reflectivity = box.reflectivity;
    return met;
}

double walked_mm(const PersonSettings& person, double time_s) {
    return person.mm_per_s * std::max(0.0, time_s - person.start_s);
}

// A circle on the floor, and between its foot and its head.
Meeting meet_person(const PersonSettings& person, double floor_mm, double time_s, const Vec3& origin,
                    const Vec3& direction) {
    if (person.width_mm == 0) return {};
    const double radius = person.width_mm / 2;
    const Vec3 middle{person.side_mm + walked_mm(person, time_s), person.along_mm, 0};
    const Vec3 from_middle = origin - middle;
    const double a = direction.x * direction.x + direction.y * direction.y;
    const double b = from_middle.x * direction.x + from_middle.y * direction.y;
    const double c = from_middle.x * from_middle.x + from_middle.y * from_middle.y - radius * radius;
    const double discriminant = b * b - a * c;
    if (a == 0 || b >= 0 || c <= 0 || discriminant < 0) return {};

    const double length = (-b - std::sqrt(discriminant)) / a;
    const Vec3 point = origin + length * direction;
    if (point.z < floor_mm || point.z > floor_mm + person.height_mm) return {};
    Meeting met;
    met.length = length;
    met.cosine = std::sqrt(discriminant) / (radius * length_of(direction));
    met.reflectivity = person.reflectivity;
    return met;
}

}  // namespace

bool is_bare(const RoomSettings& room) {
    return room.bow_mm_per_m == 0 && room.corner_mm == 0 && room.spot.width_mm == 0 &&
           room.box1.width_mm == 0 && room.box2.width_mm == 0 && room.person1.width_mm == 0 &&
           room.person2.width_mm == 0;
}

Meeting first_met(const Room& room, const Vec3& origin, const Vec3& direction) {
    const RoomSettings& all = room.settings;
    const double floor_mm = -all.lens_height_mm;
    Meeting met = meet_walls(room, origin, direction);
    for (const BoxSettings* box : {&all.box1, &all.box2}) {
        met = nearer(met, meet_box(*box, floor_mm, origin, direction));
    }
    for (const PersonSettings* person : {&all.person1, &all.person2}) {
        met = nearer(met, meet_person(*person, floor_mm, room.time_s, origin, direction));
    }
    return met;
}

}  // namespace vp
