// The factory offsets of the gravity sensor, as the permanent record holds them: three numbers in a text.
#ifndef OVRA_FOCUSCTRL_GSENSOR_CALIBRATION_OFFSETS_H
#define OVRA_FOCUSCTRL_GSENSOR_CALIBRATION_OFFSETS_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace ovra {

/// x, y and z in the driver's integer unit.
using CalibrationOffsets = std::array<std::int32_t, 3>;

/// True when no offset is beyond 20000 either way: a sound sensor needs no more.
bool offsets_in_range(const CalibrationOffsets& offsets);

/// The number at the start of a text, after any blanks and tabs; 0 when there is none. A number that 32 bits
/// cannot hold becomes the nearest that they can.
std::int32_t leading_number(const char* text);

/// Parses the text of the record, once for each attempt to calibrate.
///
/// The numbers are counted over all attempts and parsing stops when the count becomes three. After a text of
/// fewer than three numbers the next attempt therefore stops early, with the offsets of the one before in the
/// slots it does not reach; after a full text it reads on to the end, and what lies beyond the third slot
/// is dropped. Deliberate: a retry must read a record as it has always been read.
class OffsetParser {
public:
    /// @param text     three numbers separated by ","; terminated, and cut into pieces by the parsing
    /// @param offsets  slots without a number keep their value
    void parse(char* text, CalibrationOffsets& offsets);

private:
    std::size_t numbers_parsed_ = 0;
};

}  // namespace ovra

#endif
