// The ToF vendor's processing libraries, libnds-isp.so and libnds-ispfht.so. The board provides them.
#ifndef OVRA_PLATFORM_NDS_ISP_H
#define OVRA_PLATFORM_NDS_ISP_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/// The functions through which the libraries reach the chip, by their places in the table of
/// isp_platform_init(). `context` is the libraries' own. A result marked as a byte fits into a signed byte,
/// which is all that the libraries look at.
typedef int32_t nds_register8_transfer(void* context, uint8_t reg, uint8_t* buffer, uint32_t length);
typedef int32_t nds_register16_transfer(void* context, uint32_t reg, uint8_t* buffer, uint32_t length);
typedef int32_t nds_delay(void* context, uint32_t count);
typedef int32_t nds_get_time_us(int64_t* time_us);
typedef int32_t nds_set_level(void* context, int32_t level);
typedef void* nds_get_device(void);
typedef int32_t nds_get_id(void);
typedef int32_t nds_set_config(void* context, const void* configuration, int32_t kind);

enum nds_platform_slot {
    NDS_WRITE_REGISTER8 = 0,   // nds_register8_transfer; a byte
    NDS_READ_REGISTER8 = 1,    // nds_register8_transfer; a byte
    NDS_WRITE_REGISTER16 = 2,  // nds_register16_transfer
    NDS_READ_REGISTER16 = 3,   // nds_register16_transfer
    NDS_DELAY_10US = 4,        // nds_delay, in tens of microseconds
    NDS_DELAY_MS = 5,          // nds_delay, in milliseconds
    NDS_GET_TIME_US = 6,       // nds_get_time_us
    NDS_SET_XSHUT = 7,         // nds_set_level; a byte
    NDS_GET_DEVICE = 8,        // nds_get_device
    NDS_GET_ID = 10,           // nds_get_id; place 9 is empty
    NDS_USER_CALIBRATION_INIT = 11,
    NDS_SET_CONFIG = 12,  // nds_set_config
    NDS_GENERATE_DATA = 13,
    NDS_PLATFORM_SLOTS = 14
};

/// Registers the NDS_PLATFORM_SLOTS pointers through which the libraries reach the chip. The table is laid
/// out natively. Negative on failure.
int isp_platform_init(void* const* operation_table);

int isp_set_start_bin(int id, int start_bin);          // negative on failure
int ispFreqConfig(int id, uint32_t frequency);         // negative on failure
int ispFixHighTemperature(int id, uint32_t firmware);  // negative on failure

int nx_isp_lib_init(void* context, void* calibration);  // 0 when the calibration data is accepted
int nx_isp_lib_uninit(void* context);
int nx_isp_op_init(void* context, void* operations);  // {0, configuration callback}; negative on failure
int nx_get_isp_version(void);
int nx_set_angle_limit(void* context, const int16_t* limits);  // six limits
int nx_set_filter_para(void* context, intptr_t parameter, intptr_t second, intptr_t third);
int nx_get_recommended_points_mode(void* context, uint8_t* spad_selection, int mode);  // negative on failure
int nx_cal_pc(void* context, const uint16_t* distances, void* point_cloud);            // negative on failure
int nx_angle_cal(void* context, const void* point_cloud, void* angle_result);

int nx_user_calibration_init(void* context, void* buffer, void* configuration, int depth, intptr_t argument);
int nx_calibration_3d(void* context);
int nx_calibration_generate_data(void* context, void* output);

#ifdef __cplusplus
}
#endif

#endif
