// The board's flash library, as far as the permanent record needs it. The board provides it.
#ifndef OVRA_PLATFORM_HUDI_FLASH_H
#define OVRA_PLATFORM_HUDI_FLASH_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Opens the flash; 0 on success, and *handle is filled.
int hudi_flash_open(uint32_t* handle, int mode);

/// Reads the unique identifier (16 bytes) of the flash chip; negative on failure.
int hudi_flash_uid_read(uint32_t handle, uint8_t* uid, uint32_t* uid_length);

/// Reads or writes `length` bytes at `offset` of a one-time-programmable area; negative on failure.
int hudi_flash_otp_read(uint32_t handle, uint32_t area, uint32_t offset, void* buffer, uint32_t length);
int hudi_flash_otp_write(uint32_t handle, uint32_t area, uint32_t offset, const void* buffer, uint32_t length);

int hudi_flash_close(uint32_t handle);

#ifdef __cplusplus
}
#endif

#endif
