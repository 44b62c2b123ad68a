// The ToF vendor's processing libraries, libnds-isp.so and libnds-ispfht.so. The board provides them.
#ifndef OVRA_PLATFORM_NDS_ISP_H
#define OVRA_PLATFORM_NDS_ISP_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Registers the 14 pointers through which the libraries reach the chip (see nds01_isp.cpp). The table is
/// laid out natively. Negative on failure.
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

int nx_user_calibration_init(void* context, void* buffer, void* configuration, int depth, int argument);
int nx_calibration_3d(void* context);
int nx_calibration_generate_data(void* context, void* output);

#ifdef __cplusplus
}
#endif

#endif
