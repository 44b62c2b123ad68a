// The board's display library. The board provides it.
#ifndef OVRA_PLATFORM_BOARD_DISPLAY_H
#define OVRA_PLATFORM_BOARD_DISPLAY_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/// The visible rectangle of the frame buffer: 16 bytes.
struct fbdev_viewport {
    int32_t x;
    int32_t y;
    uint16_t width;
    uint16_t height;
    uint8_t flags[4];  // the frame-buffer library wants 0, 1, 1, 0
};

int fbdev_set_viewport(struct fbdev_viewport* viewport);

/// Rotates the display output: 0 to 3 quarter turns.
int am_set_rotation(int rotation);

/// Rotates the HDMI input; negative on failure.
int hdmirx_set_rotate(int mode);

#ifdef __cplusplus
}
#endif

#endif
