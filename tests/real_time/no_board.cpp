// The board's libraries for a process that needs them only in order to load ours: each function fails.
extern "C" {

int no_board() { return -1; }

#define OVRA_NO_BOARD(name) __attribute__((alias("no_board"))) int name();
OVRA_NO_BOARD(am_set_rotation)
OVRA_NO_BOARD(fbdev_set_viewport)
OVRA_NO_BOARD(hdmirx_set_rotate)
OVRA_NO_BOARD(hudi_flash_close)
OVRA_NO_BOARD(hudi_flash_open)
OVRA_NO_BOARD(hudi_flash_otp_read)
OVRA_NO_BOARD(hudi_flash_otp_write)
OVRA_NO_BOARD(hudi_flash_uid_read)
OVRA_NO_BOARD(ispFixHighTemperature)
OVRA_NO_BOARD(ispFreqConfig)
OVRA_NO_BOARD(isp_platform_init)
OVRA_NO_BOARD(isp_set_start_bin)
OVRA_NO_BOARD(nx_angle_cal)
OVRA_NO_BOARD(nx_cal_pc)
OVRA_NO_BOARD(nx_calibration_3d)
OVRA_NO_BOARD(nx_calibration_generate_data)
OVRA_NO_BOARD(nx_get_isp_version)
OVRA_NO_BOARD(nx_get_recommended_points_mode)
OVRA_NO_BOARD(nx_isp_lib_init)
OVRA_NO_BOARD(nx_isp_lib_uninit)
OVRA_NO_BOARD(nx_isp_op_init)
OVRA_NO_BOARD(nx_set_angle_limit)
OVRA_NO_BOARD(nx_set_filter_para)
OVRA_NO_BOARD(nx_user_calibration_init)
OVRA_NO_BOARD(usb_eth_config)
#undef OVRA_NO_BOARD
}
