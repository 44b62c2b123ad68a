#include "virtual_projector/devices/nds01_commands.h"

#include <cerrno>

#include "virtual_projector/devices/request_device.h"

namespace vp {
namespace {

enum Command : std::uint32_t {
    read_library_data = 1,
    write_library_data = 2,
    enable_spads = 3,
    select_spads = 5,
    read_all_pixels = 6,
    read_register = 7,
    write_register = 8,
    set_xshut_pin = 9,
};

constexpr std::uint32_t factory_data_index = 0x8000;
constexpr std::uint32_t own_calibration_index = 0x9000;
constexpr std::uint16_t chip_bus_address = 0x5C;
constexpr std::uint16_t max_register_bytes = 256;
constexpr std::size_t spads_of_four_zones = 4;
constexpr std::size_t spads_of_eight_zones = 8;
constexpr std::uint16_t valid_pixel_signal = 200;

#pragma pack(push, 1)
struct CommandRecord {
    std::uint64_t argument;
    std::uint32_t command;
};
struct LibraryData {
    std::uint64_t buffer;
    std::uint32_t size;
    std::uint32_t index;
};
struct RegisterTransfer {
    std::uint16_t bus_address;
    std::uint64_t register_address;
    std::uint16_t register_size;
    std::uint64_t buffer;
    std::uint16_t size;
};
struct PixelRecord {
    std::uint16_t distance_mm;
    std::uint16_t quality;
    std::uint16_t signal;
    std::uint16_t reserved;
};
#pragma pack(pop)
static_assert(sizeof(CommandRecord) == 12 && sizeof(LibraryData) == 16 && sizeof(RegisterTransfer) == 22 &&
              sizeof(PixelRecord) == 8);

// An address as it stands in a record: on a 32-bit board its upper half only repeats the sign.
std::uint8_t* memory_at(std::uint64_t address) {
    const auto native = static_cast<std::uintptr_t>(address);
    return reinterpret_cast<std::uint8_t*>(native);
}

long move_library_data(Board& board, const Nds01Chip& chip, const LibraryData& data, bool to_device) {
    if (data.buffer == 0) return -EFAULT;
    if (data.size == 0 || data.size > calibration_size) return -EINVAL;
    std::uint8_t* const memory = memory_at(data.buffer);
    if (data.index == factory_data_index && !to_device) {
        std::memcpy(memory, chip.factory().data(), data.size);
        return 0;
    }
    if (data.index != own_calibration_index) return -EINVAL;
    Memory& own = board.tof_memory();
    if (!to_device) return own.read(0, memory, data.size) ? 0 : -EINVAL;
    if (!own.write(0, memory, data.size)) return -EINVAL;
    board.save_later(own);
    return 0;
}

long take_spads(Nds01Chip& chip, const std::uint8_t* selection, std::size_t count) {
    std::copy_n(selection, count, chip.spad_selection.begin());
    return 0;
}

long deliver_pixels(const World& world, const Nds01Chip& chip, std::uint8_t* memory) {
    if (!chip.is_ranging()) return -EAGAIN;
    for (const ZoneReading& pixel : chip.pixels(world)) {
        const bool valid = pixel.quality >= min_valid_quality;
        const auto signal = static_cast<std::uint16_t>(valid ? valid_pixel_signal : 0);
        deliver(memory, PixelRecord{pixel.distance_mm, pixel.quality, signal, 0});
        memory += sizeof(PixelRecord);
    }
    return 0;
}

unsigned register_number(const RegisterTransfer& transfer) {
    const std::uint8_t* bytes = memory_at(transfer.register_address);
    return transfer.register_size == 1 ? bytes[0] : static_cast<unsigned>(bytes[0] << 8 | bytes[1]);
}

long transfer_registers(Nds01Chip& chip, const RegisterTransfer& transfer, bool to_chip) {
    if (transfer.register_address == 0 || transfer.buffer == 0) return -EFAULT;
    if (transfer.bus_address != chip_bus_address) return -ENXIO;
    if (transfer.register_size != 1 && transfer.register_size != 2) return -EINVAL;
    if (transfer.size == 0 || transfer.size > max_register_bytes) return -EINVAL;
    if (chip.xshut == 0) return -EIO;
    std::uint8_t* const buffer = memory_at(transfer.buffer);
    const unsigned first = register_number(transfer);
    if (to_chip) {
        chip.write_registers(transfer.register_size, first, buffer, transfer.size);
    } else {
        chip.read_registers(transfer.register_size, first, buffer, transfer.size);
    }
    return 0;
}

long set_xshut_level(Nds01Chip& chip, std::int32_t level) {
    if (level != 0 && level != 1) return -EINVAL;
    chip.set_xshut(level);
    return 0;
}

template <typename Field>
void add_field(std::string& bytes, const Field& field) {
    bytes.append(reinterpret_cast<const char*>(&field), sizeof field);
}

std::string memory_of(std::uint64_t address, std::size_t size) {
    return {reinterpret_cast<const char*>(memory_at(address)), size};
}

WrittenCommand describe_library_data(const LibraryData& data, bool to_device) {
    WrittenCommand command{to_device ? "write_library_data" : "read_library_data", {}, {}};
    add_field(command.given, data.size);
    add_field(command.given, data.index);
    (to_device ? command.given : command.returned) += memory_of(data.buffer, data.size);
    return command;
}

WrittenCommand describe_transfer(const RegisterTransfer& transfer, bool to_chip) {
    WrittenCommand command{to_chip ? "write_register" : "read_register", {}, {}};
    add_field(command.given, transfer.bus_address);
    add_field(command.given, transfer.register_size);
    command.given += memory_of(transfer.register_address, transfer.register_size);
    add_field(command.given, transfer.size);
    (to_chip ? command.given : command.returned) += memory_of(transfer.buffer, transfer.size);
    return command;
}

}  // namespace

WrittenCommand describe_command(std::string_view text, long result) {
    if (result < 0 || text.size() != sizeof(CommandRecord)) return {};
    const auto record = fetch<CommandRecord>(text.data());
    const std::uint8_t* const argument = memory_at(record.argument);
    switch (record.command) {
        case read_library_data:
        case write_library_data:
            return describe_library_data(fetch<LibraryData>(argument), record.command == write_library_data);
        case enable_spads:
            return {"enable_spads", memory_of(record.argument, spads_of_four_zones), {}};
        case select_spads:
            return {"select_spads", memory_of(record.argument, spads_of_eight_zones), {}};
        case read_all_pixels:
            return {"read_all_pixels",
                    {},
                    memory_of(record.argument, static_cast<std::size_t>(pixel_count) * sizeof(PixelRecord))};
        case read_register:
        case write_register:
            return describe_transfer(fetch<RegisterTransfer>(argument), record.command == write_register);
        case set_xshut_pin:
            return {"set_xshut_pin", memory_of(record.argument, sizeof(std::int32_t)), {}};
        default:
            return {};
    }
}

long carry_out_command(World& world, Board& board, Nds01Chip& chip, std::string_view text) {
    if (text.size() != sizeof(CommandRecord)) return -EINVAL;
    const auto record = fetch<CommandRecord>(text.data());
    if (record.argument == 0) return -EFAULT;
    std::uint8_t* const argument = memory_at(record.argument);
    switch (record.command) {
        case read_library_data:
            return move_library_data(board, chip, fetch<LibraryData>(argument), false);
        case write_library_data:
            return move_library_data(board, chip, fetch<LibraryData>(argument), true);
        case enable_spads:
            return take_spads(chip, argument, spads_of_four_zones);
        case select_spads:
            return take_spads(chip, argument, spads_of_eight_zones);
        case read_all_pixels:
            return deliver_pixels(world, chip, argument);
        case read_register:
            return transfer_registers(chip, fetch<RegisterTransfer>(argument), false);
        case write_register:
            return transfer_registers(chip, fetch<RegisterTransfer>(argument), true);
        case set_xshut_pin:
            return set_xshut_level(chip, fetch<std::int32_t>(argument));
        default:
            return -EINVAL;
    }
}

}  // namespace vp
