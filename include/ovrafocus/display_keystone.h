/**
 * @file display_keystone.h
 * The display driver: panel size, trapezoid widths and the visible rectangle of the frame buffer.
 *
 * A trapezoid is given to the driver as two widths in panel pixels, of the top and of the bottom edge; the
 * driver centres each edge. The functions share state without a lock. set_keystone_api() is called with
 * mutex_keystone held; the host must not call the others while a keystone run is in progress.
 */
#ifndef OVRAFOCUS_DISPLAY_KEYSTONE_H
#define OVRAFOCUS_DISPLAY_KEYSTONE_H

#include <stdint.h>

#include "ovrafocus/export.h"

OVRA_BEGIN_DECLS

/** What the driver says of a display layer: 12 bytes, as the driver lays them out. */
struct ovra_screen_info {
    uint32_t layer;     /**< which layer is meant; set by get_screen_info_api() */
    uint32_t reserved;  /**< neither set nor read */
    uint16_t width_px;  /**< filled by the driver */
    uint16_t height_px; /**< filled by the driver */
};

/**
 * Opens the display and reads the panel's width, which becomes the upper limit of both keystone widths and
 * the start of the step interface; then takes a copy of the host's callback table pointer.
 *
 * When the display is open already, nothing is done but to return its descriptor: a host that registers its
 * callbacks must do so before the first keystone request.
 *
 * A refused query is printed and otherwise ignored: the panel width is 0 then, and is asked for again by
 * set_keystone_api().
 *
 * @return the display's descriptor (0 or more) when it was open already; -1 when "/dev/dis" cannot be opened;
 *         otherwise the callback table's address cut to int, so 0 when the host has registered none. Apart
 *         from -1 the value says nothing about success.
 */
OVRA_API int32_t keystone_api_init(void);

/**
 * Asks the driver for the panel size, through a descriptor of its own.
 *
 * @param info  receives the driver's answer; must not be null. Its layer is set to 1; the rest is left as it
 *              is when the driver refuses
 * @return 0, also when the driver refused; -1 when "/dev/dis" cannot be opened
 */
OVRA_API int32_t get_screen_info_api(struct ovra_screen_info* info);

/**
 * Asks the driver which rectangle of the 1280 by 720 picture is visible within the current trapezoid, and
 * makes it the frame buffer's viewport.
 *
 * @return 0, also when the driver refused (which is reported on standard error); -1 when "/dev/fb0" or
 * "/dev/dis" cannot be opened
 */
OVRA_API int32_t keystone_fb_viewport_scale_api(void);

/**
 * Applies a trapezoid. Widths above the panel's are cut to it. When the host's table has host_set_keystone,
 * the cut widths are handed over to it and nothing else is done.
 *
 * @param top     width of the top edge in pixels, 690 or more
 * @param bottom  width of the bottom edge in pixels, 690 or more
 * @return 0, also when the driver refused a request; -1 when a width is 0 or less or, after the cut, below
 *         690, or when "/dev/dis" cannot be opened: nothing is changed then
 */
OVRA_API int32_t set_keystone_api(int32_t top, int32_t bottom);

/**
 * Moves the trapezoid one step by hand. The edge that the direction widens does so while it is the narrow
 * one, up to the wide edge; otherwise the other edge narrows, down to 320 pixels. The wider edge before the
 * step becomes the upper limit of set_keystone_api(). The display must be open; it is not opened here.
 *
 * @param dir   0: widen the bottom or narrow the top; 1: widen the top or narrow the bottom; any other value
 *              sends the current widths again
 * @param step  pixels; widths are kept in 16 bits
 * @return 0 always
 */
OVRA_API int32_t set_keystone_offset_api(int32_t dir, int32_t step);

OVRA_END_DECLS

#endif
