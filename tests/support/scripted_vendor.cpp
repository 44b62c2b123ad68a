#include "tests/support/scripted_vendor.h"

#include <algorithm>
#include <utility>

#include "platform/board_network.h"
#include "platform/hudi_flash.h"
#include "platform/nds_isp.h"
#include "tests/support/journal.h"

namespace testkit {
namespace {

constexpr std::uint32_t flash_handle = 0x1234;
constexpr std::uint32_t uid_length = 16;
constexpr std::uint32_t record_area = 2;

int read_uid(std::uint8_t* uid, std::uint32_t* length) {
    for (std::uint32_t i = 0; i < uid_length; ++i) uid[i] = static_cast<std::uint8_t>(i);
    if (length != nullptr) *length = uid_length;
    return 0;
}

// The bytes of `otp` that a request names; -1 where there are none.
bool is_inside(const ScriptedVendor& board, std::uint32_t area, std::uint32_t offset, std::uint32_t length) {
    return area == record_area && offset <= board.otp.size() && length <= board.otp.size() - offset;
}

// Writes the call down, then does what the test says, or else `otherwise`.
template <typename Function, typename Otherwise, typename... Arguments>
int called(const char* name, const Function& function, Otherwise otherwise, Arguments... arguments) {
    if (Journal* journal = Journal::current()) journal->add(std::string("call ") + name);
    if (!function) return otherwise();
    const Function chosen = function;
    return chosen(arguments...);
}

int accept() { return 0; }

}  // namespace

ScriptedVendor& vendor() {
    static ScriptedVendor board;
    return board;
}

void vendor_reset() { vendor() = ScriptedVendor(); }

}  // namespace testkit

using testkit::accept;
using testkit::called;
using testkit::vendor;

// --- Flash -----------------------------------------------------------------------------------------------

int hudi_flash_open(std::uint32_t* handle, int mode) {
    const auto open = [&] {
        *handle = testkit::flash_handle;
        return 0;
    };
    return called("hudi_flash_open", vendor().flash_open, open, handle, mode);
}

int hudi_flash_uid_read(std::uint32_t handle, std::uint8_t* uid, std::uint32_t* uid_length) {
    const auto read = [&] { return testkit::read_uid(uid, uid_length); };
    return called("hudi_flash_uid_read", vendor().flash_uid_read, read, handle, uid, uid_length);
}

int hudi_flash_otp_read(std::uint32_t handle, std::uint32_t area, std::uint32_t offset, void* buffer,
                        std::uint32_t length) {
    const auto read = [&] {
        if (!testkit::is_inside(vendor(), area, offset, length)) return -1;
        std::copy_n(vendor().otp.begin() + offset, length, static_cast<std::uint8_t*>(buffer));
        return 0;
    };
    return called("hudi_flash_otp_read", vendor().flash_otp_read, read, handle, area, offset, buffer, length);
}

int hudi_flash_otp_write(std::uint32_t handle, std::uint32_t area, std::uint32_t offset, const void* buffer,
                         std::uint32_t length) {
    const auto write = [&] {
        if (!testkit::is_inside(vendor(), area, offset, length)) return -1;
        std::copy_n(static_cast<const std::uint8_t*>(buffer), length, vendor().otp.begin() + offset);
        return 0;
    };
    return called("hudi_flash_otp_write", vendor().flash_otp_write, write, handle, area, offset, buffer,
                  length);
}

int hudi_flash_close(std::uint32_t handle) {
    return called("hudi_flash_close", vendor().flash_close, accept, handle);
}

// --- Display and network ---------------------------------------------------------------------------------

int fbdev_set_viewport(fbdev_viewport* viewport) {
    return called("fbdev_set_viewport", vendor().set_viewport, accept, viewport);
}

int am_set_rotation(int rotation) { return called("am_set_rotation", vendor().set_rotation, accept, rotation); }

int hdmirx_set_rotate(int mode) {
    return called("hdmirx_set_rotate", vendor().hdmirx_set_rotate, accept, mode);
}

int usb_eth_config() { return called("usb_eth_config", vendor().usb_eth_config, accept); }

// --- ToF processing --------------------------------------------------------------------------------------

int isp_platform_init(void* const* operation_table) {
    return called("isp_platform_init", vendor().isp_platform_init, accept, operation_table);
}

int isp_set_start_bin(int id, int start_bin) {
    return called("isp_set_start_bin", vendor().isp_set_start_bin, accept, id, start_bin);
}

int ispFreqConfig(int id, std::uint32_t frequency) {
    return called("ispFreqConfig", vendor().isp_freq_config, accept, id, frequency);
}

int ispFixHighTemperature(int id, std::uint32_t firmware) {
    return called("ispFixHighTemperature", vendor().isp_fix_high_temperature, accept, id, firmware);
}

int nx_isp_lib_init(void* context, void* calibration) {
    return called("nx_isp_lib_init", vendor().isp_lib_init, accept, context, calibration);
}

int nx_isp_lib_uninit(void* context) {
    return called("nx_isp_lib_uninit", vendor().isp_lib_uninit, accept, context);
}

int nx_isp_op_init(void* context, void* operations) {
    return called("nx_isp_op_init", vendor().isp_op_init, accept, context, operations);
}

int nx_get_isp_version() {
    return called("nx_get_isp_version", vendor().get_isp_version, [] { return 1; });
}

int nx_set_angle_limit(void* context, const std::int16_t* limits) {
    return called("nx_set_angle_limit", vendor().set_angle_limit, accept, context, limits);
}

int nx_set_filter_para(void* context, std::intptr_t parameter, std::intptr_t second, std::intptr_t third) {
    return called("nx_set_filter_para", vendor().set_filter_para, accept, context, parameter, second, third);
}

int nx_get_recommended_points_mode(void* context, std::uint8_t* spad_selection, int mode) {
    return called("nx_get_recommended_points_mode", vendor().get_recommended_points_mode, accept, context,
                  spad_selection, mode);
}

int nx_cal_pc(void* context, const std::uint16_t* distances, void* point_cloud) {
    return called("nx_cal_pc", vendor().cal_pc, accept, context, distances, point_cloud);
}

int nx_angle_cal(void* context, const void* point_cloud, void* angle_result) {
    return called("nx_angle_cal", vendor().angle_cal, accept, context, point_cloud, angle_result);
}

int nx_user_calibration_init(void* context, void* buffer, void* configuration, int depth,
                             std::intptr_t argument) {
    return called("nx_user_calibration_init", vendor().user_calibration_init, accept, context, buffer,
                  configuration, depth, argument);
}

int nx_calibration_3d(void* context) {
    return called("nx_calibration_3d", vendor().calibration_3d, accept, context);
}

int nx_calibration_generate_data(void* context, void* output) {
    return called("nx_calibration_generate_data", vendor().calibration_generate_data, accept, context, output);
}
