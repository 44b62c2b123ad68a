"""libovrafocus.so for Python: its signatures, records, codes and table of callbacks, through ctypes.

    import ovrafocus

    table = ovrafocus.callbacks(toast=print)   # called on the library's threads
    library = ovrafocus.Library()              # loads libovrafocus.so
    library.start(table)
    library.varnel_autofocus()                 # functions, with the C names and types
    library.lastDistance.value                 # variables, as ctypes objects

What each of them does stands in its header under ovrafocus/. The board's own libraries must be in the process when
the library is loaded; on a PC virtual-projector brings them.
"""

import ctypes
import re

# --- Records -----------------------------------------------------------------------------------------------------


def _record(name, *fields):
    """A C record by its fields: (name, type), as ctypes wants them."""
    return type(name, (ctypes.Structure,), {"_fields_": list(fields)})


_int32, _uint32 = ctypes.c_int32, ctypes.c_uint32

app_callback_table = _record(
    "app_callback_table",
    *((f"reserved_{slot}", ctypes.c_void_p) for slot in range(4)),
    ("refresh_ui", ctypes.CFUNCTYPE(None)),
    ("toast", ctypes.CFUNCTYPE(None, _int32)),
    ("is_factory_test", ctypes.CFUNCTYPE(_int32)),
    ("rotation_changed", ctypes.CFUNCTYPE(None, _int32)),
    ("reserved_8", ctypes.c_void_p),
    ("keystone_updated", ctypes.CFUNCTYPE(None)),
    ("host_set_keystone", ctypes.CFUNCTYPE(None, _int32, _int32)),
)
ovra_acc_sample = _record(
    "ovra_acc_sample", ("reserved", _uint32 * 5), ("x", ctypes.c_float), ("y", ctypes.c_float), ("z", ctypes.c_float)
)
ovra_acc_angles = _record(
    "ovra_acc_angles", ("reserved", _uint32 * 2), ("x", ctypes.c_float), ("y", ctypes.c_float), ("z", ctypes.c_float)
)
ovra_user_setting = _record(
    "ovra_user_setting", ("focus_mode", _uint32), ("cali_mode", _uint32), ("factory_mode", _uint32), ("unused", _uint32)
)
ovra_system_state = _record(
    "ovra_system_state", ("is_system_on", _uint32), ("skip_boot_action", _uint32), ("unused", _uint32 * 4)
)
ovra_focus_state = _record(
    "ovra_focus_state",
    ("unused", _uint32 * 6),
    ("distance_enabled", _uint32),
    ("tof_polling", _uint32),
    ("busy", _uint32),
    ("unused_last", _uint32),
)
ovra_focus_data = _record("ovra_focus_data", ("words", _uint32 * 11))
ovra_focus_config = _record(
    "ovra_focus_config",
    ("user_setting", ovra_user_setting),
    ("system_state", ovra_system_state),
    ("focus_state", ovra_focus_state),
    ("focus_data", ovra_focus_data),
)
ovra_algutils = _record(
    "ovra_algutils",
    ("first_word", _uint32),
    ("motor_move_to_tmr", ctypes.CFUNCTYPE(_int32, _int32)),
    ("keystone_get_tof_rawdata", ctypes.CFUNCTYPE(_int32, ctypes.c_void_p)),
    ("cali_config", _uint32 * 12),
    ("action_config", _uint32 * 14),
)
ovra_screen_info = _record(
    "ovra_screen_info",
    ("layer", _uint32),
    ("reserved", _uint32),
    ("width_px", ctypes.c_uint16),
    ("height_px", ctypes.c_uint16),
)
ovra_permanent_record = _record(
    "ovra_permanent_record",
    ("tmr_table_text", ctypes.c_char * 150),
    ("gsensor_offset_text", ctypes.c_char * 24),
    ("device_sn", ctypes.c_char * 24),
    ("mainboard_sn", ctypes.c_char * 24),
    ("gsensor_flag", ctypes.c_char),
    ("tof_flag", ctypes.c_char),
    ("tmr_flag", ctypes.c_char),
    ("reserved", ctypes.c_char * 2),
)
nds01_angle_result = _record(
    "nds01_angle_result", ("yaw", ctypes.c_int16), ("pitch", ctypes.c_int16), ("depth_mm", ctypes.c_uint16)
)
stepList_ = _record("stepList_", ("step", _int32), ("sharpness", ctypes.c_double))
timeval = _record("timeval", ("tv_sec", ctypes.c_long), ("tv_usec", ctypes.c_long))

# --- Codes -------------------------------------------------------------------------------------------------------

OVRA_TOAST_KEYSTONE_FAILED = 2
OVRA_TOAST_LENS_FAILED = 5
OVRA_TOAST_RIGHT_LIMIT = 6
OVRA_TOAST_LEFT_LIMIT = 7
OVRA_TOAST_NO_DISTANCE = 9
OVRA_TOAST_BOTH_OFF = 10
OVRA_TOAST_FOCUS_OFF = 11

OVRA_RESULT_OK = 0
OVRA_RESULT_LENS_FAILED = -1
OVRA_RESULT_KEYSTONE_FAILED = -2
OVRA_RESULT_RIGHT_LIMIT = -6
OVRA_RESULT_LEFT_LIMIT = -7
OVRA_RESULT_PROBE_FAILED = -100
OVRA_RESULT_NO_DISTANCE = -101
OVRA_RESULT_BOTH_OFF = -102
OVRA_RESULT_KEYSTONE_ONLY = -103

OVRA_NO_PEAK = 9999
OVRA_KEYSTONE_FOR_FOCUS = 9999

OVRA_ACTION_SCREEN_FIT = 2
OVRA_ACTION_ZOOM = 7
OVRA_ACTION_MOVE = 8
OVRA_ACTION_ROTATION = 9
OVRA_ACTION_ALG_TEST = 20

NDS01_LIB_DATA_FACTORY = 0x8000
NDS01_LIB_DATA_OFFSETS = 0x9000
NDS01_NO_ANGLE = 32767
NDS01_POINT_CLOUD_BYTES = 96
NDS01_FILTER_DEFAULT = 5
NDS01_ISP_FROM_DEVICE = 0x1000

# --- Functions and variables -------------------------------------------------------------------------------------

# As the headers declare them, by header.
DECLARATIONS = """
/* acceleration.h */
int32_t acc_init_set(void);
void acc_event_read(void);
int32_t acc_file_close(void);
int32_t get_systime_ms(struct timeval start);
/* auto_keystone.h */
int32_t get_auto_keystone_status(void);
void auto_keystone_deal_with(void);
/* calibration_data.h */
int32_t get_cali_flag(int32_t* flags);
int32_t get_cali_data(int32_t* table);
int32_t write_cali_flag(const int32_t* flags);
/* config.h */
extern ovra_focus_config focus_config;
ovra_system_state* system_state_init(ovra_system_state* rec);
ovra_focus_state* focus_state_init(ovra_focus_state* rec);
ovra_focus_data* focus_data_init(ovra_focus_data* rec);
ovra_user_setting* user_setting_init(ovra_user_setting* rec);
ovra_focus_config* get_focus_configs(ovra_focus_config* out);
int32_t get_focus_mode(int32_t mode);
int32_t get_cali_mode(int32_t mode);
int32_t get_factory_mode(int32_t mode);
/* direction.h */
int32_t set_device_direction(int32_t index);
int32_t get_device_direction(void);
void match_projection_direction(void);
/* display_keystone.h */
int32_t keystone_api_init(void);
int32_t get_screen_info_api(struct ovra_screen_info* info);
int32_t keystone_fb_viewport_scale_api(void);
int32_t set_keystone_api(int32_t top, int32_t bottom);
int32_t set_keystone_offset_api(int32_t dir, int32_t step);
/* distance.h */
int32_t getAvgDist(const int32_t* frame);
int32_t isDistChanged(void);
/* focus_nodes.h */
int32_t tof_distance_read(int32_t* frame);
int32_t motor_stop_read(void);
int32_t r_led_temp_read(void);
int32_t motor_pulse_write(int32_t value);
int32_t motor_dir_write(int32_t value);
int32_t elepn_calidata_read(int32_t* curve);
int32_t varnel_motor_left_write(int32_t steps);
int32_t varnel_motor_right_write(int32_t steps);
int32_t motor_tmr_x_dir_read(int32_t* out);
/* focus_run.h */
int32_t varnel_thread_autofocus(void);
/* gravity_state.h */
extern ovra_acc_sample acc_read_data;
extern ovra_acc_sample acc_avg;
extern ovra_acc_sample acc_sum;
extern ovra_acc_sample acc_sum_last;
extern ovra_acc_angles acc_degree;
extern ovra_acc_angles acc_degree_last;
extern ovra_acc_angles acc_origin_data;
extern int32_t acc_input_arry[16];
extern int32_t acc_correction_val[3];
extern int32_t project_acc_angle_changed;
extern int32_t project_tof_dist_changed;
extern int32_t project_acc_shake_happened;
extern float threshold_acc_to_shake;
extern float threshold_acc_to_steady;
extern float threshold_to_trigger_keystone;
extern float vKeystoneVal;
extern float thetaKeystoneVal;
void acc_get_degree(float* x, float* y, float* z);
void acc_get_data(float* x, float* y, float* z);
int32_t acc_get_init_status(void);
int32_t acc_get_angle(float* v, float* theta);
/* host_interface.h */
extern ovra_algutils algutils;
int32_t app_callback_init(const app_callback_table* table);
const app_callback_table* get_app_callback(void);
void show_korbet_toast_akaf(int32_t code);
void lv_refresh_callback(void);
int32_t varnel_autofocus(void);
int32_t varnel_setDLPkeystone(int32_t value);
int32_t varnel_set_osd_settings(int32_t keystone, int32_t autofocus);
int32_t varnel_get_osd_settings(int32_t* keystone, int32_t* autofocus);
int32_t varnel_set_osd_settings_keystone(int32_t v);
int32_t varnel_set_osd_settings_autofocus(int32_t v);
int32_t varnel_get_osd_settings_keystone(void);
int32_t varnel_get_osd_settings_autofocus(void);
int32_t varnel_get_state_autofocus(void);
int32_t alg_init(void);
uint32_t* get_action_config(uint32_t* out);
uint32_t* get_cali_config(uint32_t* out);
int32_t do_zoom(void);
int32_t do_move(void);
int32_t do_rotation(void);
int32_t do_alg_test(void);
int32_t do_screen_fit(void);
int32_t do_auto_focus(void);
int32_t do_auto_keystone_mix(void);
int32_t factory_focus_tof_cali(void);
int32_t send_focus_cmd(void);
int32_t camera_auto_focus_fast(void);
int32_t setzoom(void);
int32_t setmove(void);
int32_t set_rotation(void);
/* key_listener.h */
void* sensor_main(void* unused);
void headset_mainloop(void);
void headset_event_init_read(void);
int32_t get_key_state(void);
/* keystone_width.h */
extern int32_t width;
extern int32_t height;
extern int32_t preUpW;
extern int32_t preDownW;
extern int32_t currentKeystoneAngle;
extern uint8_t focusAndKeystone;
extern pthread_mutex_t mutex_keystone;
int32_t varnel_keystone(int32_t code);
int32_t varnel_thread_setDLPKeystone(int32_t angle);
int32_t varnel_cacu_keystone_width(int32_t angle, int32_t* upWidth, int32_t* downWidth);
int32_t get_tof_angle(int32_t* angle);
int32_t cacuTofAngle(int32_t* angle);
int32_t get_current_keystone_angle(void);
/* lens_position.h */
int32_t manufocusTMR(int32_t delta);
int32_t manufocusTargetTMR(int32_t target, int32_t* count, int32_t* microCount);
int32_t manufocusTMRxj(int32_t delta);
int32_t goto_left_limit_safe(int32_t* out);
int32_t goto_right_limit_safe(int32_t* out);
void setSoftLimit(int32_t left, int32_t right);
int32_t get_direction(int32_t* out);
int32_t go_cali_tmr_idle(int32_t toLeft);
/* lens_state.h */
extern pthread_mutex_t mutex_focus;
extern int32_t g_limitLeft;
extern int32_t g_limitRight;
extern int32_t leftIdle;
extern int32_t rightIdle;
extern uint8_t lastDirection;
extern int32_t direction;
extern int32_t lastDistance;
extern int32_t listFlash[30];
extern int32_t elepnCalidata[25];
extern int32_t g_flag_high_temp;
extern int32_t g_flag_elepn_temp;
extern int32_t g_focus_temp_adjust;
/* lifecycle.h */
int32_t ovrafocus_init(void);
int32_t ovrafocus_deinit(void);
int32_t ovra_sys_param_init(void);
int32_t ovra_gsensor_init(void);
int32_t ovra_akaf_init(void);
int32_t ovra_ui_update_init(void);
int32_t focus_init(void);
void* ovra_gsensor_thread(void* unused);
void* UI_update_thread(void* unused);
void* keystonefocus_thread(void* unused);
void* gsensor_det_thread(void* unused);
void* UI_prop_thread(void* unused);
/* log_level.h */
extern int32_t ovra_log_level;
/* motion.h */
extern pthread_mutex_t det_mtx;
void acc_data_handle(void);
void clear_acc_gyro_status(void);
void trigger_auto_keystone_or_autofocus(float v, float theta);
void sensor_triger_focus(int32_t unused);
void sensor_triger_stable(int32_t type, int32_t unstable, int32_t state);
void sensor_triger_trapz(int32_t enable);
void auto_move_focus_reset(void);
void auto_move_trapz_reset(void);
/* motor_drv.h */
extern int32_t motor_cur_dir;
extern int32_t motor_start_dir;
int32_t motor_get_dir(void);
int32_t motor_get_place(void);
int32_t motor_get_pos(void);
int32_t motor_run(int32_t dir, int32_t steps, int32_t auto_offset);
int32_t motor_manual(int32_t dir, int32_t steps);
int32_t motor_goto_zero(int32_t add_offset);
int32_t motor_goto_end(void);
int32_t motor_get_air_travel(int32_t* left, int32_t* right);
int32_t motor_get_total_steps(void);
int32_t motor_set_start_dir(int32_t dir);
int32_t motor_set_delay(int32_t delay);
int32_t motor_set_excitation(int32_t mode);
int32_t motor_left_write(int32_t n);
int32_t motor_right_write(int32_t n);
int32_t motor_tmr_read(int32_t* tmr);
int32_t update_tmr_adc(void);
int32_t motor_move_to_tmr(int32_t tmr);
/* nds01_calibration.h */
int32_t nds01_offset_calibration_at_depth_for_isp(int32_t depth, intptr_t argument);
int32_t nds01_isp_offset_calibration(int32_t depth, intptr_t argument);
/* nds01_device.h */
int32_t nds01_get_ranging_data(void* zones);
int32_t nds01_set_running_state(int32_t state);
int32_t nds01_get_running_state(int32_t* state);
int32_t nds01_set_runing_state(int32_t state);
int32_t nds01_set_fps(int32_t frames_per_second);
int32_t nds01_get_fps(int32_t* frames_per_second);
int32_t nds01_set_isp_config(const uint8_t* configuration, int32_t kind);
int32_t nds01_set_config(void);
int32_t nds01_xtalk_calibration(void);
int32_t nds01_offset_calibration_at_depth_for_dev(int32_t depth);
int32_t nds01_dev_get_firmware_version(uint32_t* version);
int32_t nds01_get_xtalk_value(uint16_t* values);
int32_t nds01_get_lib_data(uint32_t index, void* buffer, uint32_t size);
int32_t nds01_set_lib_data(uint32_t index, const void* buffer, uint32_t size);
int32_t nds01_set_isp_spad_enable(intptr_t value, int32_t size);
int32_t nds01_get_all_pixel_data(void* pixels);
int32_t nds01_i2c_read_nbytes(uint8_t reg, uint8_t* buffer, uint16_t length);
int32_t nds01_i2c_write_nbytes(uint8_t reg, const uint8_t* buffer, uint16_t length);
int32_t nds01_addr16_read_nbytes(uint16_t reg, uint8_t* buffer, uint16_t length);
int32_t nds01_addr16_write_nbytes(uint16_t reg, const uint8_t* buffer, uint16_t length);
int32_t nds01_set_xshut_pin_level(int32_t level);
/* nds01_isp.h */
int32_t nds01_ispfht_platform_register(void);
int32_t nds01_isp_init(int32_t filter);
int32_t nds01_isp_uninit(void);
int32_t nds01_isp_read_calib_data(void* buffer, uint32_t size);
int32_t nds01_isp_write_calib_data(const void* buffer, uint32_t size);
int32_t nds01_isp_set_config(void* context, const void* configuration, int32_t kind);
int32_t nds01_isp_set_point_mode(int32_t mode);
int32_t nds01_isp_get_point_mode(int32_t* mode, uint8_t* spad_selection);
int32_t nds01_isp_set_filter_para(intptr_t parameter, intptr_t second, intptr_t third);
int32_t nds01_set_isp_filter_para(intptr_t parameter, intptr_t second, intptr_t third);
int32_t nds01_isp_calculate_point_cloud(const uint16_t* distances, void* point_cloud);
int32_t nds01_isp_calculate_angle(const void* point_cloud, nds01_angle_result* angle);
int32_t nds01_get_point_cloud(void* point_cloud);
int32_t nds01_get_angle(nds01_angle_result* angle);
int32_t nds01_isp_get_pixel_data(void* context, uint16_t** values);
/* nds01_start.h */
int32_t nds01_dev_init(int32_t point_mode);
int32_t nds01_dev_uninit(void);
int32_t nds01_set_point_mode(int32_t mode);
int32_t nds01_get_point_mode(int32_t* mode, uint8_t* spad_selection);
/* nds01_sysfs.h */
int32_t write_sysfs_int(const char* name, const char* directory, int32_t value);
int32_t write_sysfs_float(const char* name, const char* directory, float value);
int32_t write_sysfs_string(const char* name, const char* directory, const char* text);
int32_t write_sysfs_u8data(const char* name, const char* directory, const uint8_t* bytes, int32_t count);
int32_t read_sysfs_int(const char* name, const char* directory, int32_t* value);
int32_t read_sysfs_float(const char* name, const char* directory, float* value);
int32_t read_sysfs_string(const char* name, const char* directory, char* text);
int32_t read_sysfs_u8data(const char* name, const char* directory, uint8_t* bytes, int32_t count);
/* peak_search.h */
extern double m_dPeekStep;
void clearList(void);
void addSharpnessList(stepList_ sample);
int32_t checkList(void);
int32_t calcPeekStep(void);
double getDoublePeekStep(void);
/* peak_sweep.h */
int32_t get_cali_peak_tmr(void);
/* permanent_data.h */
extern ovra_permanent_record glb_permanent_data;
extern int32_t permanent_data_inited;
int32_t permanent_data_init(void);
int32_t permanent_data_read(void* out);
int32_t permanent_data_write(const void* in);
int32_t permanent_data_clean(void);
int32_t dump_permanent_data_for_debug(void);
/* platform_utils.h */
char* itoa(int32_t value, char* buf, uint32_t base);
int32_t write_int(const char* path, int32_t value);
int32_t write_str(const char* path, const char* text);
int32_t read_int(const char* path);
int32_t write_file(const char* path, int32_t value);
int32_t read_file(const char* path);
int32_t read_file_buf(const char* path, char* buf, int32_t len);
int32_t write_file_buf(const char* path, const void* buf, uint32_t len);
int32_t SleepMs(uint32_t ms);
void wait_ms(struct timeval start, int32_t ms);
int32_t fan_target_speed_write(int32_t speed);
/* projection_geometry.h */
extern float DLP_RATIO;
float degree2radian(float degrees);
float radian2degree(float radians);
/* requests.h */
extern const app_callback_table* g_app_callback;
extern const app_callback_table* autofocus_app_callback;
extern const app_callback_table* gsensor_app_callback;
extern uint8_t AKAF_running_flag;
extern uint8_t g_run_once_AKAF;
extern uint8_t g_run_once_keystone;
extern int32_t m_manuKeystone_value_for_thread;
extern uint8_t g_osd_keystone;
extern uint8_t g_osd_autofocus;
extern uint8_t g_osd_state_autofocus;
/* tmr_table.h */
int32_t get_cali_list_tmr(int32_t target, int32_t* measured);
int32_t tmr_cali_inter(const int32_t* measured, int32_t leftLimit, int32_t rightLimit, int32_t direct,
    int32_t leftR, int32_t rightR, int32_t* out);
/* tof_control.h */
extern pthread_mutex_t tof_mtx;
int32_t Tof_Enable_Get_Distance(int32_t on);
int32_t Tof_Set_Mode(int32_t mode);
int32_t Tof_Set_Channel(int32_t ch);
int32_t Tof_Set_poll_period(int32_t ms);
int32_t Tof_Set_spad_map_id(int32_t id);
int32_t Tof_Enable(int32_t on);
int32_t Tof_Get_Channel(void);
int32_t Tof_Get_Enable_Status(void);
int32_t Tof_Get_Measure_Status(void);
int32_t Tof_Error_Check(void);
int32_t Gsensor_Error_Check(void);
int32_t Tof_Get_Distance(char* buf, int32_t len);
int32_t Tof_Get_Distance_Prepare(void);
int32_t tof_check_reset(void);
int32_t tof_init(int32_t enable);
int32_t tof_check_enable(int32_t enable, int32_t fast);
int32_t tof_get_distance(int32_t zones[18], int32_t with_second);
void tof_check_eye_base(void);
void tof_notify_status(int32_t is_near);
void tof_dump_arr(const int32_t zones[18], int32_t with_second);
float tof_degree2radian(float deg);
int32_t keystone_get_tof_avg(int32_t* left, int32_t* centre, int32_t* right, int32_t count);
int32_t keystone_get_tof_avg2(int32_t* left, int32_t* centre, int32_t* right, int32_t count);
int32_t keystone_get_tof_rawdata(void* record);
"""

_PLAIN_TYPES = {
    "int32_t": _int32,
    "uint32_t": _uint32,
    "uint16_t": ctypes.c_uint16,
    "uint8_t": ctypes.c_uint8,
    "intptr_t": ctypes.c_ssize_t,
    "float": ctypes.c_float,
    "double": ctypes.c_double,
    "char": ctypes.c_char,
    # Its contents are the C library's own; ctypes.byref() of it goes to pthread_mutex_trylock().
    "pthread_mutex_t": type("pthread_mutex_t", (ctypes.Structure,), {}),
    "void": None,
}


def _ctypes_of(c_type, name=""):
    """The ctypes type of a C type; `name` is what is declared, with its array's length if it is one."""
    words = c_type.replace("*", " * ").replace("struct ", "").split()
    stars = words.count("*")
    base = next(word for word in words if word not in ("const", "extern", "*"))
    if base == "char" and "const" in words and stars == 1:
        return ctypes.c_char_p
    if base == "void" and stars == 1:
        return ctypes.c_void_p
    result = _PLAIN_TYPES[base] if base in _PLAIN_TYPES else globals()[base]
    for _ in range(stars):
        result = ctypes.POINTER(result)
    length = re.search(r"\[(\d+)\]", name)
    return result * int(length[1]) if length else result


def _parameter(text):
    c_type, name = re.fullmatch(r"(.*[\s*])(\w+(?:\[\d+\])?)", text.strip()).groups()
    if "[" in name:  # an array is handed over as a pointer
        return ctypes.POINTER(_ctypes_of(c_type))
    return _ctypes_of(c_type)


def _parse(declarations):
    """Functions as {name: (result, [parameters])} and variables as {name: type}."""
    functions, variables = {}, {}
    for text in re.sub(r"/\*.*?\*/", "", declarations).split(";"):
        function = re.fullmatch(r"\s*(.*[\s*])(\w+)\((.*)\)\s*", text, re.DOTALL)
        variable = re.fullmatch(r"\s*extern (.*[\s*])(\w+)(\[\d+\])?\s*", text)
        if function:
            parameters = [] if function[3] == "void" else function[3].split(",")
            functions[function[2]] = (_ctypes_of(function[1]), [_parameter(each) for each in parameters])
        elif variable:
            variables[variable[2]] = _ctypes_of(variable[1], variable[3] or "")
        elif text.strip():
            raise ValueError(f"no declaration: {text}")
    return functions, variables


FUNCTIONS, VARIABLES = _parse(DECLARATIONS)

# --- The library -------------------------------------------------------------------------------------------------

_alive = []  # the library keeps pointers to its tables


def callbacks(**slots):
    """A table with these functions, by the slots' names; each is called on a thread of the library's.

    An event loop's thread takes over by, for example, asyncio's call_soon_threadsafe().
    """
    types = dict(app_callback_table._fields_)
    table = app_callback_table(**{name: types[name](function) for name, function in slots.items()})
    _alive.append(table)
    return table


class Library(ctypes.CDLL):
    """libovrafocus.so, loaded: each function and variable of it is an attribute."""

    def __init__(self, path="libovrafocus.so"):
        super().__init__(path)
        for name, (result, parameters) in FUNCTIONS.items():
            function = getattr(self, name)
            function.restype = result
            function.argtypes = parameters
        for name, kind in VARIABLES.items():
            setattr(self, name, kind.in_dll(self, name))

    def start(self, table):
        """Registers the table and starts the library, in the order that it wants."""
        self.app_callback_init(table)
        for name in ("ovrafocus_init", "ovra_sys_param_init", "ovra_gsensor_init", "ovra_akaf_init"):
            result = getattr(self, name)()
            if result != 0:
                raise OSError(f"{name} failed with {result}")
