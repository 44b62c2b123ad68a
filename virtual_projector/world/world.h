// The simulated world: one projector before one wall, at one time.
//
// Nothing here runs by itself. Whoever wants to know something says what time it is (advance_to) and asks;
// the world then works out all that has happened since: motor steps, heat, hands. The answers do not depend on
// how often somebody asked. What somebody does to the world happens at the time to which it was last advanced.
// Not safe for threads: the board that owns it takes a lock.
//
//     World world(seed);
//     world.set("pose.pitch_deg", 12);
//     world.advance_to(microseconds(5));
//     world.begin({GestureKind::shake, microseconds(2), {}});
//     world.advance_to(now);
//     double sharp = world.truth().sharpness;
#ifndef VIRTUAL_PROJECTOR_WORLD_WORLD_H
#define VIRTUAL_PROJECTOR_WORLD_WORLD_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "virtual_projector/world/blur.h"
#include "virtual_projector/world/gravity.h"
#include "virtual_projector/world/hand.h"
#include "virtual_projector/world/lens.h"
#include "virtual_projector/world/lens_heat.h"
#include "virtual_projector/world/microseconds.h"
#include "virtual_projector/world/parameters.h"
#include "virtual_projector/world/picture.h"
#include "virtual_projector/world/settings.h"
#include "virtual_projector/world/tof.h"
#include "virtual_projector/world/wall.h"
#include "virtual_projector/world/wear.h"

namespace vp {

/// What is really so, for reports: nothing that the library under test could know.
struct Truth {
    Pose pose;
    WallAngles wall;  // how the wall stands to the unit
    double led_c = 0;
    double lens_steps = 0;  // from the left end stop
    double lens_tmr = 0;    // the same in the scale of the lens table, without noise
    double best_focus_tmr = 0;
    double lens_error_tmr = 0;  // lens_tmr less best_focus_tmr: positive is too far to the right
    double sharpness = 0;       // 0 to 1
    bool lens_is_moving = false;
    double backlash_state = 0;  // from 0, taken up to the left, to 1, taken up to the right
    double barrel_c = 0;
    double drift_tmr = 0;  // of the best focus, by the barrel's temperature
    Display display;
    PictureShape picture;
    Blur blur;
    double axis_mm = 0;  // along the optical axis to the first thing in its way
    std::array<double, 4> zones_mm =
        {};                 // what a faultless ToF sensor would say in the corners of its zones: top
                            // right, bottom right, top left, bottom left; infinite: nothing there
    double light_used = 0;  // the share of the panel's pixels that the corrected picture keeps
    int hdmi_turn_deg = 0;
    int menu_turn_deg = 0;
};

/// A key that went down or up.
struct KeyEvent {
    Microseconds time = 0;
    std::uint16_t code = 0;
    std::int32_t value = 0;  // 1 pressed, 0 released, 2 repeated
};

class World {
public:
    explicit World(std::uint64_t seed = 1);

    std::uint64_t seed() const { return seed_; }

    /// The seed of the unit before the wall; that of the standard unit is 1.
    std::uint64_t unit_seed() const { return unit_seed_; }

    // --- Time --------------------------------------------------------------------------------------
    /// Works out what has become of everything at `now`. A time in the past changes nothing.
    void advance_to(Microseconds now);
    Microseconds now() const { return now_; }

    // --- Parameters --------------------------------------------------------------------------------
    const Settings& settings() const { return settings_; }

    /// Sets one parameter now. Empty, or one line that says what is wrong.
    std::string set(std::string_view name, double value);

    /// The value of a parameter now; of one that there is none of: 0.
    double get(std::string_view name) const;

    /// What chance left in the making of the unit follows this seed.
    void set_unit_seed(std::uint64_t unit_seed) { unit_seed_ = unit_seed; }

    // --- Hand and keys -----------------------------------------------------------------------------
    void begin(const Gesture& gesture);
    bool hand_is_moving() const { return hand_.is_moving(now_); }

    void key(std::uint16_t code, std::int32_t value);
    const std::vector<KeyEvent>& keys() const { return keys_; }

    // --- Motor and lens ----------------------------------------------------------------------------
    /// Queues a move; false when the driver's queue is full.
    bool move_lens(const LensMove& move);
    void set_step_period(Microseconds period) { motor_.set_step_period(period); }
    bool lens_is_moving() const { return motor_.is_running(); }
    Microseconds lens_finish_time() const;
    /// When the lens begins to move, turns or stands still, as far as is known now; see LensMotor.
    std::vector<Microseconds> lens_bends() const { return motor_.bends(now_, settings_.lens); }
    double counted_lens_steps() const { return motor_.counted_position(); }
    bool lens_is_at_left_end() const;
    bool lens_is_at_right_end() const;

    /// The TMR sensor's reading now: noise and polarity included, within +-2000, or 32767 with a broken bus.
    int tmr_reading() const;

    // --- Other sensors -----------------------------------------------------------------------------
    TofScene tof_scene() const;
    /// Into how many zones the ToF sensor parts its view: eight in mode 1, else four.
    int tof_point_mode() const { return tof_point_mode_; }
    void set_tof_point_mode(int mode) { tof_point_mode_ = mode; }

    /// The bare gravity sensor's sample now, in driver units.
    std::array<double, 3> gravity_now() const;

    /// The LED's temperature as its sensor says it, in whole degrees.
    int led_reading_c() const;

    // --- Display -----------------------------------------------------------------------------------
    Display& display() { return display_; }
    const Display& display() const { return display_; }

    // --- Wear --------------------------------------------------------------------------------------
    void count_record_write() { ++writes_.record_writes; }
    void count_width_write() { ++writes_.width_writes; }
    WearAccount wear() const;

    Truth truth() const;

private:
    struct HeatCourse {  // the LED goes from one temperature to another, slower and slower, the barrel after it
        Microseconds start = 0;
        double from_c = 0;
        double barrel_from_c = 0;
    };

    HeatPath heat_path() const;
    HeatCycles heat_cycles_now() const;
    void set_heat(std::string_view name, double value, const HeatCycles& cycles);
    void restart_heat();
    double led_at(Microseconds time) const;
    double barrel_at(Microseconds time) const;

    std::uint64_t seed_;
    std::uint64_t unit_seed_ = 1;
    Microseconds now_ = 0;
    Settings settings_;
    HeatCourse heat_;
    HeatCycles heat_cycles_{0};
    LensMotor motor_;
    Hand hand_;
    double sunk_deg() const;
    void keep_sunk();

    Pose pose_;       // as it really is; the settings hold the pose that is meant
    Pose firm_pose_;  // the meant one without what the table has sunk since the last change
    Microseconds sinks_from_ = 0;
    Wear writes_;  // of this run
    Vec3 hand_acceleration_g_;
    std::optional<double> barrel_at_start_c_;  // as it was set
    Display display_;
    int tof_point_mode_ = four_zone_mode;
    std::vector<KeyEvent> keys_;
};

}  // namespace vp

#endif
