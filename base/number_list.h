// Lists of decimal numbers, as the permanent record and the kernel's attributes hold them.
#ifndef OVRA_BASE_NUMBER_LIST_H
#define OVRA_BASE_NUMBER_LIST_H

#include <cstdint>

namespace ovra {

/// Parses up to `capacity` numbers into `numbers`, with the rules of scanf's "%d": blanks, tabs and newlines
/// before a number are skipped, anything else between two numbers must be the separator. Stops at the first
/// place that does not fit; the values after it stay as they were.
///
/// @param text       terminated by a zero byte
/// @param separator  what must stand directly after a number; ' ' asks for nothing
/// @return how many numbers were stored
int parse_numbers(const char* text, char separator, std::int32_t* numbers, int capacity);

}  // namespace ovra

#endif
