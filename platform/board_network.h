// The board's network set-up. The board provides it.
#ifndef OVRA_PLATFORM_BOARD_NETWORK_H
#define OVRA_PLATFORM_BOARD_NETWORK_H

#ifdef __cplusplus
extern "C" {
#endif

/// Refreshes the configuration of Ethernet over USB.
int usb_eth_config(void);

#ifdef __cplusplus
}
#endif

#endif
