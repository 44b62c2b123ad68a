// Somebody's hand on the projector: it takes the unit from one pose to another in some time, and holds it
// less still than a table does.
#ifndef VIRTUAL_PROJECTOR_WORLD_HAND_H
#define VIRTUAL_PROJECTOR_WORLD_HAND_H

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "virtual_projector/world/microseconds.h"
#include "virtual_projector/world/settings.h"
#include "virtual_projector/world/vector.h"

namespace vp {

enum class GestureKind {
    pick_up,     // lifted from where it stands; held from now on
    carry,       // taken to another pose while held
    set_down,    // put down at a pose with a small bump, and let go
    tilt,        // its foot is adjusted: to another pose without leaving the table
    shake,       // shaken suddenly: fast, large turns about where it is
    slow_shake,  // moved about slowly and far
    turn_over,   // turned about its optical axis to another mounting
    hang,        // turned over, lifted and fixed to the ceiling
    bump,        // somebody bumps against its table: a knock, and it stands as before
    slide,       // slides to another pose as evenly as if nothing moved it
};

/// Of a bump; less than what a shake is known by.
constexpr double usual_bump_g = 0.05;

/// One gesture. Where `to` matters (all but the shakes, pick_up and bump) the unit ends at it.
struct Gesture {
    GestureKind kind = GestureKind::carry;
    Microseconds duration = 0;
    Pose to;
    double strength_g = usual_bump_g;  // of a bump
};

/// The gesture of this name ("pick_up", "set_down", ...), if there is one.
std::optional<GestureKind> gesture_named(std::string_view name);
const char* gesture_name(GestureKind kind);
const std::vector<std::string_view>& gesture_names();

/// How long people take for it.
Microseconds usual_duration(GestureKind kind);

/// Where the unit is at one time, and what moves it.
struct HandState {
    Pose meant;           // on its way from one pose to the other, as gestures say it
    Pose pose;            // as it really is: shaken, tipped by the grip, swaying in the hand
    Vec3 acceleration_g;  // the hand's, in the room, in units of the gravity of the earth
};

class Hand {
public:
    explicit Hand(std::uint64_t seed) : seed_(seed) {}

    /// Begins a gesture at `now` from the pose `from` (meant, without what a hand adds); one that is still
    /// under way ends here.
    void begin(Microseconds now, const Pose& from, const Gesture& gesture);

    /// Lets go at once: the pose is somebody else's to say.
    void let_go();

    /// True while a gesture is under way at `now`.
    bool is_moving(Microseconds now) const;
    Microseconds end_time() const { return start_ + gesture_.duration; }

    /// True from the begin of a gesture after which the unit stays in the hand.
    bool holds() const { return has_gesture_ && grip_after_ > 0; }

    /// Where the unit is at `now`, which is not before the gesture's begin. `resting` is its pose when no
    /// gesture has ever been made or the last one was let go of.
    HandState state_at(Microseconds now, const Pose& resting) const;

private:
    Pose meant_at(Microseconds now) const;
    Pose really_at(Microseconds now) const;
    double grip_at(Microseconds now) const;
    double part_at(Microseconds now) const;
    Vec3 acceleration_at(Microseconds now) const;
    Vec3 tremor_at(Microseconds now) const;

    std::uint64_t seed_;
    bool has_gesture_ = false;
    double grip_before_ = 0;  // 0: out of the hand; 1: held
    double grip_after_ = 0;
    Microseconds start_ = 0;
    Pose from_;
    Gesture gesture_;
};

}  // namespace vp

#endif
