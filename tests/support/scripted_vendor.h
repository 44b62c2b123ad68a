// The board's libraries, each function a std::function that a test may replace. Every call is written into
// the journal of the ScriptedBoard as "call NAME". One object, made again for each test by vendor_reset().
#ifndef TESTS_SUPPORT_SCRIPTED_VENDOR_H
#define TESTS_SUPPORT_SCRIPTED_VENDOR_H

#include <array>
#include <cstdint>
#include <functional>

#include "platform/board_display.h"

namespace testkit {

struct ScriptedVendor {
    // Flash: a handle of 0x1234, a UID of 00 01 .. 0f, and `otp` as area 2.
    std::array<std::uint8_t, 227> otp{};
    std::function<int(std::uint32_t*, int)> flash_open;
    std::function<int(std::uint32_t, std::uint8_t*, std::uint32_t*)> flash_uid_read;
    std::function<int(std::uint32_t, std::uint32_t, std::uint32_t, void*, std::uint32_t)> flash_otp_read;
    std::function<int(std::uint32_t, std::uint32_t, std::uint32_t, const void*, std::uint32_t)> flash_otp_write;
    std::function<int(std::uint32_t)> flash_close;

    // Display and network: return 0.
    std::function<int(fbdev_viewport*)> set_viewport;
    std::function<int(int)> set_rotation;
    std::function<int(int)> hdmirx_set_rotate;
    std::function<int()> usb_eth_config;

    // ToF processing: accept everything and return 0; the version is 1; the angle result is left untouched.
    std::function<int(void* const*)> isp_platform_init;
    std::function<int(int, int)> isp_set_start_bin;
    std::function<int(int, std::uint32_t)> isp_freq_config;
    std::function<int(int, std::uint32_t)> isp_fix_high_temperature;
    std::function<int(void*, void*)> isp_lib_init;
    std::function<int(void*)> isp_lib_uninit;
    std::function<int(void*, void*)> isp_op_init;
    std::function<int()> get_isp_version;
    std::function<int(void*, const std::int16_t*)> set_angle_limit;
    std::function<int(void*, std::intptr_t, std::intptr_t, std::intptr_t)> set_filter_para;
    std::function<int(void*, std::uint8_t*, int)> get_recommended_points_mode;
    std::function<int(void*, const std::uint16_t*, void*)> cal_pc;
    std::function<int(void*, const void*, void*)> angle_cal;
    std::function<int(void*, void*, void*, int, std::intptr_t)> user_calibration_init;
    std::function<int(void*)> calibration_3d;
    std::function<int(void*, void*)> calibration_generate_data;
};

/// The one object behind the functions. A ScriptedBoard resets it to the defaults when it is made.
ScriptedVendor& vendor();
void vendor_reset();

}  // namespace testkit

#endif
