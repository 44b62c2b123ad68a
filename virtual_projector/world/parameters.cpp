#include "virtual_projector/world/parameters.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "virtual_projector/world/text.h"

namespace vp {
namespace {

constexpr bool whole = true;
constexpr bool fraction = false;

// The field of a parameter: a function from the settings to the number.
#define VP_FIELD(member) ([](Settings& s) -> double& { return s.member; })

// The lens: a full step moves it 5 um, as much as the best focus moves for one unit of 3000 mm / distance
// when the focal length is sqrt(3000 mm * 0.005 mm) = 3.873 mm.
const std::vector<Parameter> table = {
    {"pose.distance_mm", "mm", 1500, 100, 20000, fraction, "distance to the wall along the optical axis",
     VP_FIELD(pose.distance_mm)},
    {"pose.pitch_deg", "deg", 0, -90, 90, fraction, "optical axis above the horizon", VP_FIELD(pose.pitch_deg)},
    {"pose.yaw_deg", "deg", 0, -80, 80, fraction, "optical axis to the right of the wall's normal",
     VP_FIELD(pose.yaw_deg)},
    {"pose.roll_deg", "deg", 0, -180, 180, fraction,
     "turn about the optical axis, right side up, added to the mounting", VP_FIELD(pose.roll_deg)},
    {"pose.mounting", "", 0, 0, 3, whole,
     "quarter turns about the optical axis: 0 on a table, 2 from the ceiling, 1 and 3 on a side",
     VP_FIELD(pose.mounting)},

    {"wall.lean_deg", "deg", 0, -45, 90, fraction, "wall leaning over the projector; 90 is the ceiling",
     VP_FIELD(wall.lean_deg)},
    {"wall.reflectivity", "", 0.8, 0.01, 1, fraction, "part of the light that the wall throws back",
     VP_FIELD(wall.reflectivity)},

    {"room.ambient_klx", "klx", 0, 0, 50, fraction, "daylight on the wall, for the ToF sensor",
     VP_FIELD(room.ambient_klx)},
    {"room.lens_height_mm", "mm", 750, 0, 5000, fraction,
     "height of the lens above the floor on which boxes and people stand", VP_FIELD(room.lens_height_mm)},
    {"room.bow_mm_per_m", "mm", 0, -50, 50, fraction,
     "the main wall comes nearer by so much one metre to the side of the middle, and by its square",
     VP_FIELD(room.bow_mm_per_m)},
    {"room.corner_mm", "mm", 0, -10000, 10000, fraction,
     "a second wall meets the main one so far to the right; 0: none", VP_FIELD(room.corner_mm)},
    {"room.corner_deg", "deg", 90, 30, 150, fraction, "angle between the two walls", VP_FIELD(room.corner_deg)},
    {"room.box1_side_mm", "mm", 0, -20000, 20000, fraction, "middle of the first box to the right of the lens",
     VP_FIELD(room.box1.side_mm)},
    {"room.box1_along_mm", "mm", 800, 1, 20000, fraction, "front of the first box ahead of the lens",
     VP_FIELD(room.box1.along_mm)},
    {"room.box1_width_mm", "mm", 0, 0, 10000, fraction, "width of the first box; 0: none",
     VP_FIELD(room.box1.width_mm)},
    {"room.box1_depth_mm", "mm", 300, 1, 10000, fraction, "depth of the first box",
     VP_FIELD(room.box1.depth_mm)},
    {"room.box1_height_mm", "mm", 500, 1, 5000, fraction, "height of the first box",
     VP_FIELD(room.box1.height_mm)},
    {"room.box1_foot_mm", "mm", 0, 0, 5000, fraction, "foot of the first box above the floor",
     VP_FIELD(room.box1.foot_mm)},
    {"room.box1_reflectivity", "", 0.5, 0.01, 1, fraction, "part of the light that the first box throws back",
     VP_FIELD(room.box1.reflectivity)},
    {"room.box2_side_mm", "mm", 0, -20000, 20000, fraction, "middle of the second box to the right of the lens",
     VP_FIELD(room.box2.side_mm)},
    {"room.box2_along_mm", "mm", 800, 1, 20000, fraction, "front of the second box ahead of the lens",
     VP_FIELD(room.box2.along_mm)},
    {"room.box2_width_mm", "mm", 0, 0, 10000, fraction, "width of the second box; 0: none",
     VP_FIELD(room.box2.width_mm)},
    {"room.box2_depth_mm", "mm", 300, 1, 10000, fraction, "depth of the second box",
     VP_FIELD(room.box2.depth_mm)},
    {"room.box2_height_mm", "mm", 500, 1, 5000, fraction, "height of the second box",
     VP_FIELD(room.box2.height_mm)},
    {"room.box2_foot_mm", "mm", 0, 0, 5000, fraction, "foot of the second box above the floor",
     VP_FIELD(room.box2.foot_mm)},
    {"room.box2_reflectivity", "", 0.5, 0.01, 1, fraction, "part of the light that the second box throws back",
     VP_FIELD(room.box2.reflectivity)},
    {"room.person1_side_mm", "mm", 0, -20000, 20000, fraction,
     "where the first person stands, to the right of the lens", VP_FIELD(room.person1.side_mm)},
    {"room.person1_along_mm", "mm", 1000, 1, 20000, fraction, "the same ahead of the lens",
     VP_FIELD(room.person1.along_mm)},
    {"room.person1_width_mm", "mm", 0, 0, 2000, fraction, "width of the first person; 0: nobody",
     VP_FIELD(room.person1.width_mm)},
    {"room.person1_height_mm", "mm", 1700, 1, 2500, fraction, "height of the first person",
     VP_FIELD(room.person1.height_mm)},
    {"room.person1_reflectivity", "", 0.5, 0.01, 1, fraction,
     "part of the light that the first person throws back", VP_FIELD(room.person1.reflectivity)},
    {"room.person1_mm_per_s", "mm/s", 0, -5000, 5000, fraction,
     "speed at which the first person walks to the right", VP_FIELD(room.person1.mm_per_s)},
    {"room.person1_start_s", "s", 0, 0, 1e+06, fraction, "when the first person begins to walk",
     VP_FIELD(room.person1.start_s)},
    {"room.person2_side_mm", "mm", 0, -20000, 20000, fraction,
     "where the second person stands, to the right of the lens", VP_FIELD(room.person2.side_mm)},
    {"room.person2_along_mm", "mm", 1000, 1, 20000, fraction, "the same ahead of the lens",
     VP_FIELD(room.person2.along_mm)},
    {"room.person2_width_mm", "mm", 0, 0, 2000, fraction, "width of the second person; 0: nobody",
     VP_FIELD(room.person2.width_mm)},
    {"room.person2_height_mm", "mm", 1700, 1, 2500, fraction, "height of the second person",
     VP_FIELD(room.person2.height_mm)},
    {"room.person2_reflectivity", "", 0.5, 0.01, 1, fraction,
     "part of the light that the second person throws back", VP_FIELD(room.person2.reflectivity)},
    {"room.person2_mm_per_s", "mm/s", 0, -5000, 5000, fraction,
     "speed at which the second person walks to the right", VP_FIELD(room.person2.mm_per_s)},
    {"room.person2_start_s", "s", 0, 0, 1e+06, fraction, "when the second person begins to walk",
     VP_FIELD(room.person2.start_s)},
    {"room.spot_side_mm", "mm", 0, -20000, 20000, fraction,
     "middle of the glossy spot to the right of the lens", VP_FIELD(room.spot.side_mm)},
    {"room.spot_up_mm", "mm", 0, -5000, 5000, fraction, "middle of the glossy spot above the lens",
     VP_FIELD(room.spot.up_mm)},
    {"room.spot_width_mm", "mm", 0, 0, 10000, fraction, "width of the glossy spot; 0: none",
     VP_FIELD(room.spot.width_mm)},
    {"room.spot_height_mm", "mm", 500, 1, 10000, fraction, "height of the glossy spot",
     VP_FIELD(room.spot.height_mm)},
    {"room.spot_gloss", "", 0.9, 0, 1, fraction, "part of the light that the spot mirrors away",
     VP_FIELD(room.spot.gloss)},
    {"room.spot_extra_mm", "mm", 0, 0, 10000, fraction, "how much farther the mirrored light goes",
     VP_FIELD(room.spot.extra_mm)},

    {"heat.ambient_c", "C", 25, -20, 60, fraction, "temperature of the room", VP_FIELD(heat.ambient_c)},
    {"led.temperature_c", "C", 45, -20, 120, fraction, "temperature of the LED now; it stays there",
     VP_FIELD(heat.led_c)},
    {"led.rise_c", "C", 20, -100, 100, fraction, "the LED warms up to the room's temperature and this",
     VP_FIELD(heat.led_rise_c)},
    {"led.time_constant_s", "s", 240, 1, 100000, fraction, "time in which 63 % of the way is done",
     VP_FIELD(heat.led_time_constant_s)},

    {"lens.focal_length_mm", "mm", 3.872983346, 1, 50, fraction, "focal length of the thin lens",
     VP_FIELD(lens.focal_length_mm)},
    {"lens.step_um", "um", 5, 0.1, 100, fraction, "lens travel of a full motor step", VP_FIELD(lens.step_um)},
    {"lens.travel_steps", "steps", 42, 5, 1000, fraction, "full steps between the end stops",
     VP_FIELD(lens.travel_steps)},
    {"lens.position_steps", "steps", 18, 0, 1000, fraction, "lens position from the left end stop",
     VP_FIELD(lens.position_steps)},
    {"lens.backlash_state", "", 1, 0, 1, fraction,
     "which way the backlash is taken up: 0 to the left, 1 to the right", VP_FIELD(lens.backlash_state)},
    {"lens.infinity_steps", "steps", 12, -100, 1000, fraction, "position that focuses infinity, LED warm",
     VP_FIELD(lens.infinity_steps)},
    {"lens.left_backlash_steps", "steps", 3, 0, 50, fraction, "full steps lost on turning to the left",
     VP_FIELD(lens.left_backlash_steps)},
    {"lens.right_backlash_steps", "steps", 2, 0, 50, fraction, "full steps lost on turning to the right",
     VP_FIELD(lens.right_backlash_steps)},
    {"lens.speed_steps_per_s", "steps/s", 250, 1, 100000, fraction, "steps per second, full or half",
     VP_FIELD(lens.speed_steps_per_s)},
    {"lens.sharpness_width_tmr", "TMR", 85, 1, 10000, fraction, "lens error at which sharpness is 0.37",
     VP_FIELD(lens.sharpness_width_tmr)},
    {"lens.hot_drift_tmr", "TMR", -20, -500, 500, fraction, "best focus moves so far as the lens gets hot",
     VP_FIELD(lens.hot_drift_tmr)},
    {"lens.cold_drift_tmr", "TMR", 8, -500, 500, fraction, "best focus moves so far as the lens gets cold",
     VP_FIELD(lens.cold_drift_tmr)},
    {"lens.hot_from_c", "C", 46, -20, 120, fraction, "the hot drift begins here", VP_FIELD(lens.hot_from_c)},
    {"lens.hot_until_c", "C", 58, -20, 120, fraction, "and is complete here; not above its begin: at once",
     VP_FIELD(lens.hot_until_c)},
    {"lens.cold_from_c", "C", 42, -20, 120, fraction, "the cold drift begins here", VP_FIELD(lens.cold_from_c)},
    {"lens.cold_until_c", "C", 28, -20, 120, fraction, "and is complete here; not below its begin: at once",
     VP_FIELD(lens.cold_until_c)},
    {"lens.barrel_c", "C", 45, -20, 120, fraction, "temperature of the lens barrel now",
     VP_FIELD(lens.barrel_c)},
    {"lens.barrel_time_constant_s", "s", 0, 0, 3600, fraction,
     "the barrel follows the LED in this time; 0: at once", VP_FIELD(lens.barrel_time_constant_s)},
    {"lens.barrel_reference_c", "C", 44, -20, 120, fraction, "barrel at which the two below make no difference",
     VP_FIELD(lens.barrel_reference_c)},
    {"lens.barrel_drift_tmr_per_c", "TMR/C", 0, -20, 20, fraction,
     "best focus moves so far for each degree above it", VP_FIELD(lens.barrel_drift_tmr_per_c)},
    {"lens.backlash_per_c", "1/C", 0, -0.05, 0.05, fraction,
     "share by which backlash grows for each degree above it", VP_FIELD(lens.backlash_per_c)},
    {"lens.backlash_growth_steps", "steps", 0, 0, 10, fraction,
     "backlash grows so far in 1000 reversals of the motor", VP_FIELD(lens.backlash_growth_steps)},
    {"lens.lost_step_probability", "", 0, 0, 0.05, fraction,
     "of a full step to be lost at the motor's own speed, far from a stop",
     VP_FIELD(lens.lost_step_probability)},
    {"lens.lost_step_stop_factor", "", 4, 1, 100, fraction, "so many times as likely at a stop",
     VP_FIELD(lens.lost_step_stop_factor)},
    {"lens.stuck", "", 0, 0, 1, whole, "1: the motor turns and the lens stays", VP_FIELD(lens.stuck)},
    {"lens.reversed", "", 0, 0, 1, whole, "1: the motor is wired the wrong way round", VP_FIELD(lens.reversed)},
    {"lens.slip", "", 0, 0, 1, fraction, "part of each step that is lost", VP_FIELD(lens.slip)},

    {"lens.f_number", "", 2, 1.4, 4, fraction, "focal length by the diameter of the opening",
     VP_FIELD(lens.f_number)},

    {"picture.throw_ratio", "", 1.09, 0.3, 3, fraction, "distance by the picture's width",
     VP_FIELD(picture.throw_ratio)},
    {"picture.offset_up", "heights", 0, -0.6, 0.6, fraction, "picture's middle above the optical axis",
     VP_FIELD(picture.offset_up)},

    {"tmr.slope_per_step", "TMR/step", 18, 0.1, 1000, fraction, "reading per full step",
     VP_FIELD(tmr.slope_per_step)},
    {"tmr.zero_steps", "steps", 18, -1000, 1000, fraction, "lens position that reads as the offset",
     VP_FIELD(tmr.zero_steps)},
    {"tmr.offset", "TMR", 6, -2000, 2000, fraction, "reading at the zero position", VP_FIELD(tmr.offset)},
    {"tmr.polarity", "", 1, -1, 1, whole, "1: readings rise to the right, -1: they fall, 0: they stay",
     VP_FIELD(tmr.polarity)},
    {"tmr.noise_sigma", "TMR", 0.6, 0, 1000, fraction, "standard deviation of a reading",
     VP_FIELD(tmr.noise_sigma)},
    {"tmr.bus_error", "", 0, 0, 1, whole, "1: the sensor's bus is broken, it reads 32767",
     VP_FIELD(tmr.bus_error)},
    {"tmr.nonlinearity", "", 0, 0, 0.02, fraction, "largest deviation as a share of the whole travel's reading",
     VP_FIELD(tmr.nonlinearity)},
    {"tmr.hysteresis", "TMR", 0, 0, 100, fraction, "between readings after moves to either side",
     VP_FIELD(tmr.hysteresis)},

    {"tof.range_mm", "mm", 4000, 100, 20000, fraction, "a zone beyond it is not measured",
     VP_FIELD(tof.range_mm)},
    {"tof.noise_mm", "mm", 0.3, 0, 1000, fraction, "standard deviation of a zone at no distance",
     VP_FIELD(tof.noise_mm)},
    {"tof.noise_per_mm", "", 0.0005, 0, 1, fraction, "and so much more for each millimetre of distance",
     VP_FIELD(tof.noise_per_mm)},
    {"tof.true_offset_mm", "mm", 35, -500, 500, fraction, "what the bare sensor measures too much",
     VP_FIELD(tof.true_offset_mm)},
    {"tof.pixel_spread_mm", "mm", 6, 0, 200, fraction, "largest difference of a pixel from that",
     VP_FIELD(tof.pixel_spread_mm)},
    {"tof.tilt_offset_deg", "deg", 0, -45, 45, fraction, "sensor looks so far above the optical axis",
     VP_FIELD(tof.tilt_offset_deg)},
    {"tof.turn_offset_deg", "deg", 0, -45, 45, fraction, "sensor looks so far to the right of it",
     VP_FIELD(tof.turn_offset_deg)},
    {"tof.zone_row_angle_deg", "deg", 24, 2, 60, fraction, "from the lower row of zones to the upper one",
     VP_FIELD(tof.zone_row_angle_deg)},
    {"tof.zone_column_angle_deg", "deg", 24, 2, 60, fraction,
     "from the left to the right column of four zones; with eight half as much from one to the next",
     VP_FIELD(tof.zone_column_angle_deg)},
    {"tof.pixel_pitch_right_deg", "deg", 4.8, 0.1, 15, fraction, "from a pixel to the next one on its right",
     VP_FIELD(tof.pixel_pitch_right_deg)},
    {"tof.pixel_pitch_up_deg", "deg", 6, 0.1, 15, fraction, "from a row of pixels to the next one above",
     VP_FIELD(tof.pixel_pitch_up_deg)},
    {"tof.bias_tr_percent", "%", 0, -5, 5, fraction, "what the top right quarter of the view measures too much",
     VP_FIELD(tof.bias_tr_percent)},
    {"tof.bias_br_percent", "%", 0, -5, 5, fraction,
     "what the bottom right quarter of the view measures too much", VP_FIELD(tof.bias_br_percent)},
    {"tof.bias_tl_percent", "%", 0, -5, 5, fraction, "what the top left quarter of the view measures too much",
     VP_FIELD(tof.bias_tl_percent)},
    {"tof.bias_bl_percent", "%", 0, -5, 5, fraction,
     "what the bottom left quarter of the view measures too much", VP_FIELD(tof.bias_bl_percent)},
    {"tof.scale_percent", "%", 0, -2, 2, fraction, "what all of it measures too much, its clock being off",
     VP_FIELD(tof.scale_percent)},
    {"tof.crosstalk_mm", "mm", 0, 0, 50, fraction,
     "what its own window makes it measure too little close by; fades until 600 mm",
     VP_FIELD(tof.crosstalk_mm)},
    {"tof.warm_up_mm", "mm", 0, 0, 15, fraction, "what it measures too much at power-up",
     VP_FIELD(tof.warm_up_mm)},
    {"tof.warm_up_time_constant_s", "s", 300, 1, 3600, fraction, "time in which 63 % of that has gone",
     VP_FIELD(tof.warm_up_time_constant_s)},
    {"tof.multipath_percent", "%", 0, 0, 5, fraction,
     "what it measures too much in the corner of two walls; fades within 1 m", VP_FIELD(tof.multipath_percent)},
    {"tof.radial", "", 0, 0, 1, whole, "1: distances along the rays instead of along the axis",
     VP_FIELD(tof.radial)},
    {"tof.noise_share", "", 0, 0, 0.02, fraction,
     "standard deviation as a share of the distance, for a white wall at 1 m in the dark",
     VP_FIELD(tof.noise_share)},
    {"tof.follows_signal", "", 0, 0, 1, whole,
     "1: noise, range and quality follow all of the light that comes back", VP_FIELD(tof.follows_signal)},
    {"tof.outlier_share", "", 0, 0, 0.05, fraction, "part of the zones of all frames that say any distance",
     VP_FIELD(tof.outlier_share)},
    {"tof.missing_share", "", 0, 0, 0.05, fraction, "part of the zones of all frames that say none",
     VP_FIELD(tof.missing_share)},
    {"tof.frame_jitter_ms", "ms", 0, 0, 100, fraction,
     "a frame is late by up to this, and by less than a frame", VP_FIELD(tof.frame_jitter_ms)},
    {"tof.frames_per_s", "1/s", 30, 1, 1000, fraction, "frame rate after power-up", VP_FIELD(tof.frames_per_s)},
    {"tof.firmware_version", "", 10302, 0, 2559999, whole, "firmware, as major*10000 + minor*100 + patch",
     VP_FIELD(tof.firmware_version)},
    {"tof.blocked_tr_mm", "mm", 0, 0, 20000, fraction, "an obstacle before the top right zone; 0: none",
     VP_FIELD(tof.blocked_tr_mm)},
    {"tof.blocked_br_mm", "mm", 0, 0, 20000, fraction, "an obstacle before the bottom right zone; 0: none",
     VP_FIELD(tof.blocked_br_mm)},
    {"tof.blocked_tl_mm", "mm", 0, 0, 20000, fraction, "an obstacle before the top left zone; 0: none",
     VP_FIELD(tof.blocked_tl_mm)},
    {"tof.blocked_bl_mm", "mm", 0, 0, 20000, fraction, "an obstacle before the bottom left zone; 0: none",
     VP_FIELD(tof.blocked_bl_mm)},
    {"tof.error_code", "", 0, 0, 255, whole, "what the ranging driver's error node says",
     VP_FIELD(tof.error_code)},

    {"gravity.units_per_g", "units/g", 1000, 1, 32000, fraction, "driver units for the gravity of the earth",
     VP_FIELD(gravity.units_per_g)},
    {"gravity.offset_x", "units", 12, -20000, 20000, fraction, "what the bare sensor reads too much, left",
     VP_FIELD(gravity.offset_x)},
    {"gravity.offset_y", "units", -7, -20000, 20000, fraction, "what the bare sensor reads too much, back",
     VP_FIELD(gravity.offset_y)},
    {"gravity.offset_z", "units", 30, -20000, 20000, fraction, "what the bare sensor reads too much, up",
     VP_FIELD(gravity.offset_z)},
    {"gravity.noise_sigma", "units", 1.5, 0, 1000, fraction, "standard deviation of a sample",
     VP_FIELD(gravity.noise_sigma)},
    {"gravity.period_ms", "ms", 20, 1, 10000, fraction, "time from one sample to the next",
     VP_FIELD(gravity.period_ms)},
    {"gravity.error_code", "", 0, 0, 255, whole, "what the gravity sensor's error node says",
     VP_FIELD(gravity.error_code)},
    {"gravity.bias_drift_mg_per_c", "mg/C", 0, -1, 1, fraction,
     "bias of each axis for each degree of the case above 25 C", VP_FIELD(gravity.bias_drift_mg_per_c)},
    {"gravity.mount_pitch_deg", "deg", 0, -10, 10, fraction, "sensor looks so far above the optical axis",
     VP_FIELD(gravity.mount_pitch_deg)},
    {"gravity.mount_roll_deg", "deg", 0, -10, 10, fraction,
     "sensor is turned so far about the optical axis, right side up", VP_FIELD(gravity.mount_roll_deg)},
    {"gravity.fan_vibration_mg", "mg", 0, 0, 500, fraction, "amplitude of the fan's vibration along each axis",
     VP_FIELD(gravity.fan_vibration_mg)},
    {"gravity.fan_hz", "Hz", 67, 1, 1000, fraction, "turns of the fan in a second", VP_FIELD(gravity.fan_hz)},
    {"gravity.fan_harmonics", "", 1, 1, 10, whole,
     "so many harmonics, the k-th 1/k as strong; 1: the turn alone", VP_FIELD(gravity.fan_harmonics)},
    {"gravity.spike_probability", "", 0, 0, 0.05, fraction, "of a sample to be hit by a spike",
     VP_FIELD(gravity.spike_probability)},
    {"gravity.spike_mg", "mg", 500, 0, 8000, fraction, "size of a spike, on one axis, up or down",
     VP_FIELD(gravity.spike_mg)},

    {"hand.knocks_per_h", "1/h", 0, 0, 3600, fraction, "knocks that the unit gets by chance",
     VP_FIELD(hand.knocks_per_h)},
    {"hand.knock_g", "g", 0.03, 0, 2, fraction, "strength of these", VP_FIELD(hand.knock_g)},
    {"hand.table_sink_deg_per_h", "deg/h", 0, -60, 60, fraction,
     "the table sinks: the optical axis rises so fast while nobody holds the unit",
     VP_FIELD(hand.table_sink_deg_per_h)},

    {"wear.full_steps", "", 0, 0, 1e9, whole, "full steps of the motor before the run",
     VP_FIELD(wear.full_steps)},
    {"wear.half_steps", "", 0, 0, 1e9, whole, "half steps of the motor before the run",
     VP_FIELD(wear.half_steps)},
    {"wear.orders", "", 0, 0, 1e9, whole, "moves that the motor was told to make before the run",
     VP_FIELD(wear.orders)},
    {"wear.reversals", "", 0, 0, 1e9, whole, "changes of the motor's direction before the run",
     VP_FIELD(wear.reversals)},
    {"wear.travel_mm", "mm", 0, 0, 1e9, fraction, "way of the lens, back and forth before the run",
     VP_FIELD(wear.travel_mm)},
    {"wear.end_stop_steps", "", 0, 0, 1e9, whole,
     "steps, full or half, that pressed the lens against an end stop before the run",
     VP_FIELD(wear.end_stop_steps)},
    {"wear.lost_steps", "steps", 0, 0, 1e9, fraction,
     "full steps that the motor was told to make and did not before the run", VP_FIELD(wear.lost_steps)},
    {"wear.heat_cycles", "", 0, 0, 1e9, whole, "warmings of the lens by more than 10 degrees before the run",
     VP_FIELD(wear.heat_cycles)},
    {"wear.record_writes", "", 0, 0, 1e9, whole, "writes of the permanent record before the run",
     VP_FIELD(wear.record_writes)},
    {"wear.width_writes", "", 0, 0, 1e9, whole, "writes of the keystone's widths before the run",
     VP_FIELD(wear.width_writes)},
    {"wear.motor_on_s", "s", 0, 0, 1e9, fraction, "time in which the motor was stepping before the run",
     VP_FIELD(wear.motor_on_s)},

    {"unit.calibrated", "", 1, 0, 1, whole, "0: the permanent record is blank", VP_FIELD(unit.calibrated)},
    {"unit.gsensor_flag", "", 1, 0, 9, whole, "gravity sensor's flag in the record; 1: calibrated",
     VP_FIELD(unit.gsensor_flag)},
    {"unit.tof_flag", "", 1, 0, 9, whole, "ToF sensor's flag in the record; 1: calibrated",
     VP_FIELD(unit.tof_flag)},
    {"unit.tmr_flag", "", 1, 0, 9, whole,
     "lens flag in the record: 0 no, 1 cold, 2 hot, 3 cold with curve, 4 hot with curve",
     VP_FIELD(unit.tmr_flag)},
    {"unit.tof_host_calibration", "", 1, 0, 1, whole, "1: the ToF sensor keeps a good offset calibration",
     VP_FIELD(unit.tof_host_calibration)},
    {"unit.tof_factory_data", "", 1, 0, 1, whole, "1: the ToF chip's own factory data are good",
     VP_FIELD(unit.tof_factory_data)},
    {"unit.serial", "", 1, 0, 999999, whole, "running number in the serial numbers", VP_FIELD(unit.serial)},

    {"bench.depth_mm_sigma", "mm", 0, 0, 50, fraction, "standard deviation of the factory's target distance",
     VP_FIELD(bench.depth_mm_sigma)},
    {"bench.camera_tmr_sigma", "TMR", 0, 0, 100, fraction,
     "and of the place that its camera finds sharpest; above 0 the motor goes there in whole steps",
     VP_FIELD(bench.camera_tmr_sigma)},
    {"bench.level_deg_sigma", "deg", 0, 0, 5, fraction, "and of how level its jig holds a unit",
     VP_FIELD(bench.level_deg_sigma)},
    {"bench.holds_unit", "", 0, 0, 1, whole, "1: the unit stands on the bench, and its pose has these errors",
     VP_FIELD(bench.holds_unit)},

    {"board.has_tof", "", 1, 0, 1, whole, "0: no nds01 ToF device", VP_FIELD(board.has_tof)},
    {"board.has_zone_grid", "", 1, 0, 1, whole, "0: no generic ranging driver", VP_FIELD(board.has_zone_grid)},
    {"board.has_gravity_sensor", "", 1, 0, 1, whole, "0: no gravity sensor",
     VP_FIELD(board.has_gravity_sensor)},
    {"board.has_display", "", 1, 0, 1, whole, "0: no display device", VP_FIELD(board.has_display)},
    {"board.has_frame_buffer", "", 1, 0, 1, whole, "0: no frame buffer device",
     VP_FIELD(board.has_frame_buffer)},
    {"board.has_motor", "", 1, 0, 1, whole, "0: no motor driver", VP_FIELD(board.has_motor)},
    {"board.has_keys", "", 1, 0, 1, whole, "0: no key input", VP_FIELD(board.has_keys)},
    {"board.has_fan", "", 1, 0, 1, whole, "0: no fan driver and no LED temperature", VP_FIELD(board.has_fan)},
    {"board.has_elepn_curve", "", 0, 0, 1, whole, "1: the light engine publishes its focus curve",
     VP_FIELD(board.has_elepn_curve)},
    {"board.flash_works", "", 1, 0, 1, whole, "0: the flash cannot be opened", VP_FIELD(board.flash_works)},
    {"board.hdmi_works", "", 1, 0, 1, whole, "0: the HDMI input cannot be rotated", VP_FIELD(board.hdmi_works)},
};

#undef VP_FIELD

// Parameters that had another name once: whoever still writes it is to learn the new one.
constexpr std::array<std::pair<std::string_view, std::string_view>, 4> renamed = {{
    {"lens.play", "lens.backlash_state"},
    {"lens.left_idle_steps", "lens.left_backlash_steps"},
    {"lens.right_idle_steps", "lens.right_backlash_steps"},
    {"tmr.sense", "tmr.polarity"},
}};

std::string range_text(const Parameter& parameter) {
    const std::string kind = parameter.whole ? "a whole number" : "a number";
    std::string text = kind + " from " + number_text(parameter.min) + " to " + number_text(parameter.max);
    if (!parameter.unit.empty()) text += " " + std::string(parameter.unit);
    return text;
}

bool in_range(const Parameter& parameter, double value) {
    return value >= parameter.min && value <= parameter.max && (!parameter.whole || value == std::floor(value));
}

std::string out_of_range_text(const Parameter& parameter, const std::string& value) {
    return std::string(parameter.name) + " cannot be " + value + ": it takes " + range_text(parameter);
}

// The parts of the names before the dot, in the table's order.
std::vector<std::string_view> areas() {
    std::vector<std::string_view> found;
    for (const Parameter& parameter : table) {
        const std::string_view area = parameter.name.substr(0, parameter.name.find('.'));
        if (std::find(found.begin(), found.end(), area) == found.end()) found.push_back(area);
    }
    return found;
}

}  // namespace

double Parameter::get(const Settings& settings) const {
    Settings copy = settings;
    return field(copy);
}

const std::vector<Parameter>& parameters() { return table; }

std::string unknown_parameter(std::string_view name) {
    for (const auto& [old_name, new_name] : renamed) {
        if (name == old_name) return std::string(old_name) + " is called " + std::string(new_name) + " now";
    }
    std::string text = "unknown parameter '" + excerpt(name) + "'";
    const std::size_t dot = name.find('.');
    std::vector<std::string_view> known;
    for (const Parameter& parameter : table) {
        const bool same_area =
            dot != std::string_view::npos && parameter.name.substr(0, dot + 1) == name.substr(0, dot + 1);
        if (same_area) known.push_back(parameter.name);
    }
    return text + (known.empty() ? "; the areas are " + join(areas()) : "; there are " + join(known));
}

const Parameter* find_parameter(std::string_view name) {
    for (const Parameter& parameter : table) {
        if (parameter.name == name) return &parameter;
    }
    return nullptr;
}

Settings standard_settings() {
    Settings settings;
    for (const Parameter& parameter : table) parameter.field(settings) = parameter.standard;
    return settings;
}

std::string set_parameter(Settings& settings, std::string_view name, double value) {
    const Parameter* parameter = find_parameter(name);
    if (parameter == nullptr) return unknown_parameter(name);
    if (!in_range(*parameter, value)) return out_of_range_text(*parameter, number_text(value));
    parameter->field(settings) = value;
    return {};
}

std::string parse_parameter_value(std::string_view name, std::string_view text, double& value) {
    const Parameter* parameter = find_parameter(name);
    if (parameter == nullptr) return unknown_parameter(name);
    const std::string copy(text);
    char* end = nullptr;
    if (copy == "true" || copy == "false") {
        value = copy == "true" ? 1 : 0;
        return {};
    }
    value = std::strtod(copy.c_str(), &end);
    const bool complete = end != copy.c_str() && *end == '\0' && std::isfinite(value);
    return complete ? std::string{} : out_of_range_text(*parameter, "'" + copy + "'");
}

std::string describe_parameters() {
    std::string text;
    for (const Parameter& parameter : table) {
        char line[240];
        std::snprintf(line, sizeof line, "  %-26s %10.10g %-8.*s [%.10g .. %.10g]\n      %.*s\n",
                      std::string(parameter.name).c_str(), parameter.standard,
                      static_cast<int>(parameter.unit.size()), parameter.unit.data(), parameter.min,
                      parameter.max, static_cast<int>(parameter.meaning.size()), parameter.meaning.data());
        text += line;
    }
    return text;
}

}  // namespace vp
