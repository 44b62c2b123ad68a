// Everything about the simulated room, projector and board that has a number. Meanings, units, ranges and
// defaults stand in the one table of parameters.cpp; the members here carry the same names.
//
// A few members change by themselves as time passes (the pose in a hand, the lens position, the LED
// temperature). They hold the value of the time to which the world was last advanced.
#ifndef VIRTUAL_PROJECTOR_WORLD_SETTINGS_H
#define VIRTUAL_PROJECTOR_WORLD_SETTINGS_H

namespace vp {

struct Pose {
    double distance_mm = 0;
    double pitch_deg = 0;
    double yaw_deg = 0;
    double roll_deg = 0;
    double mounting = 0;  // quarter turns
};

struct Wall {
    double lean_deg = 0;
    double reflectivity = 0;
};

struct BoxSettings {
    double side_mm = 0;
    double along_mm = 0;
    double width_mm = 0;
    double depth_mm = 0;
    double height_mm = 0;
    double foot_mm = 0;
    double reflectivity = 0;
};

struct PersonSettings {
    double side_mm = 0;
    double along_mm = 0;
    double width_mm = 0;
    double height_mm = 0;
    double reflectivity = 0;
    double mm_per_s = 0;
    double start_s = 0;
};

struct SpotSettings {
    double side_mm = 0;
    double up_mm = 0;
    double width_mm = 0;
    double height_mm = 0;
    double gloss = 0;
    double extra_mm = 0;
};

struct RoomSettings {
    double ambient_klx = 0;
    double lens_height_mm = 0;
    double bow_mm_per_m = 0;
    double corner_mm = 0;
    double corner_deg = 0;
    BoxSettings box1;
    BoxSettings box2;
    PersonSettings person1;
    PersonSettings person2;
    SpotSettings spot;
};

struct Heat {
    double ambient_c = 0;
    double led_c = 0;
    double led_rise_c = 0;
    double led_time_constant_s = 0;
};

struct LensSettings {
    double focal_length_mm = 0;
    double step_um = 0;
    double travel_steps = 0;
    double position_steps = 0;
    double backlash_state = 0;
    double infinity_steps = 0;
    double left_backlash_steps = 0;
    double right_backlash_steps = 0;
    double speed_steps_per_s = 0;
    double sharpness_width_tmr = 0;
    double hot_drift_tmr = 0;
    double cold_drift_tmr = 0;
    double hot_from_c = 0;
    double hot_until_c = 0;
    double cold_from_c = 0;
    double cold_until_c = 0;
    double barrel_c = 0;
    double barrel_time_constant_s = 0;
    double barrel_reference_c = 0;
    double barrel_drift_tmr_per_c = 0;
    double backlash_per_c = 0;
    double backlash_growth_steps = 0;
    double lost_step_probability = 0;
    double lost_step_stop_factor = 1;
    double stuck = 0;
    double reversed = 0;
    double slip = 0;
    double f_number = 0;
};

struct PictureOptics {
    double throw_ratio = 0;
    double offset_up = 0;
};

struct TmrSettings {
    double slope_per_step = 0;
    double zero_steps = 0;
    double offset = 0;
    double polarity = 1;
    double noise_sigma = 0;
    double bus_error = 0;
    double nonlinearity = 0;
    double hysteresis = 0;
};

struct TofSettings {
    double range_mm = 0;
    double noise_mm = 0;
    double noise_per_mm = 0;
    double true_offset_mm = 0;
    double pixel_spread_mm = 0;
    double tilt_offset_deg = 0;
    double turn_offset_deg = 0;
    double zone_row_angle_deg = 0;
    double zone_column_angle_deg = 0;
    double pixel_pitch_right_deg = 0;
    double pixel_pitch_up_deg = 0;
    double bias_tr_percent = 0;
    double bias_br_percent = 0;
    double bias_tl_percent = 0;
    double bias_bl_percent = 0;
    double scale_percent = 0;
    double crosstalk_mm = 0;
    double warm_up_mm = 0;
    double warm_up_time_constant_s = 0;
    double multipath_percent = 0;
    double radial = 0;
    double noise_share = 0;
    double follows_signal = 0;
    double outlier_share = 0;
    double missing_share = 0;
    double frame_jitter_ms = 0;
    double frames_per_s = 0;
    double firmware_version = 0;
    double blocked_tr_mm = 0;
    double blocked_br_mm = 0;
    double blocked_tl_mm = 0;
    double blocked_bl_mm = 0;
    double error_code = 0;
};

struct GravitySettings {
    double units_per_g = 0;
    double offset_x = 0;
    double offset_y = 0;
    double offset_z = 0;
    double noise_sigma = 0;
    double period_ms = 0;
    double error_code = 0;
    double bias_drift_mg_per_c = 0;
    double mount_pitch_deg = 0;
    double mount_roll_deg = 0;
    double fan_vibration_mg = 0;
    double fan_hz = 0;
    double fan_harmonics = 0;
    double spike_probability = 0;
    double spike_mg = 0;
};

struct HandSettings {
    double knocks_per_h = 0;
    double knock_g = 0;
    double table_sink_deg_per_h = 0;
};

// Of the time before the run; see wear.h.
struct Wear {
    double full_steps = 0;
    double half_steps = 0;
    double orders = 0;
    double reversals = 0;
    double travel_mm = 0;
    double end_stop_steps = 0;
    double lost_steps = 0;
    double heat_cycles = 0;
    double record_writes = 0;
    double width_writes = 0;
    double motor_on_s = 0;
};

struct UnitSettings {
    double calibrated = 0;
    double gsensor_flag = 0;
    double tof_flag = 0;
    double tmr_flag = 0;
    double tof_host_calibration = 0;
    double tof_factory_data = 0;
    double serial = 0;
};

struct BenchSettings {
    double depth_mm_sigma = 0;
    double camera_tmr_sigma = 0;
    double level_deg_sigma = 0;
    double holds_unit = 0;
};

struct BoardSettings {
    double has_tof = 0;
    double has_zone_grid = 0;
    double has_gravity_sensor = 0;
    double has_display = 0;
    double has_frame_buffer = 0;
    double has_motor = 0;
    double has_keys = 0;
    double has_fan = 0;
    double has_elepn_curve = 0;
    double flash_works = 0;
    double hdmi_works = 0;
};

struct Settings {
    Pose pose;
    Wall wall;
    RoomSettings room;
    Heat heat;
    LensSettings lens;
    PictureOptics picture;
    TmrSettings tmr;
    TofSettings tof;
    GravitySettings gravity;
    HandSettings hand;
    Wear wear;
    UnitSettings unit;
    BenchSettings bench;
    BoardSettings board;
};

}  // namespace vp

#endif
