// The records that the nds01 driver exchanges, byte for byte. The driver's layout is the 32-bit board's on
// every build, so every field has a fixed width and every address 64 bits.
#ifndef OVRA_TOF_DRIVER_RECORDS_H
#define OVRA_TOF_DRIVER_RECORDS_H

#include <cstddef>
#include <cstdint>

namespace ovra {

enum class DriverCommand : uint32_t {
    read_lib_data = 1,
    write_lib_data = 2,
    enable_spads = 3,
    set_spad_selection = 5,
    read_all_pixels = 6,
    read_register = 7,
    write_register = 8,
    set_xshut_level = 9,
};

/// What is written to the attribute lib_data.
struct __attribute__((packed)) CommandRecord {
    uint64_t argument;  // an address, or a plain value where the command takes one
    uint32_t command;
};
static_assert(sizeof(CommandRecord) == 12);
static_assert(offsetof(CommandRecord, argument) == 0);
static_assert(offsetof(CommandRecord, command) == 8);

struct __attribute__((packed)) LibDataRecord {
    uint64_t buffer;
    uint32_t size;  // bytes
    uint32_t index;
};
static_assert(sizeof(LibDataRecord) == 16);
static_assert(offsetof(LibDataRecord, buffer) == 0);
static_assert(offsetof(LibDataRecord, size) == 8);
static_assert(offsetof(LibDataRecord, index) == 12);

struct __attribute__((packed)) RegisterTransferRecord {
    uint16_t bus_address;
    uint64_t register_bytes;   // address of the register's number, high byte first
    uint16_t register_length;  // 1 or 2 bytes
    uint64_t data;
    uint16_t data_length;  // bytes
};
static_assert(sizeof(RegisterTransferRecord) == 22);
static_assert(offsetof(RegisterTransferRecord, bus_address) == 0);
static_assert(offsetof(RegisterTransferRecord, register_bytes) == 2);
static_assert(offsetof(RegisterTransferRecord, register_length) == 10);
static_assert(offsetof(RegisterTransferRecord, data) == 12);
static_assert(offsetof(RegisterTransferRecord, data_length) == 20);

/// An address as the driver's records carry it: sign-extended to 64 bits.
inline uint64_t driver_address(const void* pointer) {
    return static_cast<uint64_t>(static_cast<int64_t>(reinterpret_cast<intptr_t>(pointer)));
}

}  // namespace ovra

#endif
