// The commands that are written into the nds01's lib_data attribute.
#ifndef VIRTUAL_PROJECTOR_DEVICES_NDS01_COMMANDS_H
#define VIRTUAL_PROJECTOR_DEVICES_NDS01_COMMANDS_H

#include <string_view>

#include "virtual_projector/devices/board.h"
#include "virtual_projector/devices/device.h"
#include "virtual_projector/devices/nds01_chip.h"

namespace vp {

/// Carries out one 12-byte command record. The addresses in it are followed into the memory of the program
/// under test. 0, or a negated errno: EINVAL for a record, size or index that the driver does not know,
/// EFAULT for a null address, ENXIO for another bus address than the chip's, EIO while the chip is without
/// power.
long carry_out_command(World& world, Board& board, Nds01Chip& chip, std::string_view record);

/// The command's name, and what the program gave and got back behind the addresses in it: the fields of its
/// argument without addresses, each as it lies in memory, then the bytes of its buffer. Those of a record that
/// was refused are not looked at.
WrittenCommand describe_command(std::string_view record, long result);

}  // namespace vp

#endif
