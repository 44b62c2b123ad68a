#include "host/record_text.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>

namespace host {
namespace {

template <std::size_t length>
std::string field_text(const char (&field)[length]) {
    return printable_text(field, length);
}

// A flag of a record that could not be read is a zero byte.
std::string flag_in_brackets(char flag) {
    if (flag == 0) return "(empty)";
    const std::string digit = printable_text(&flag, 1);
    return digit == "(erased)" ? digit : "(" + digit + ")";
}

std::string flag_text(const char* name, char flag) {
    const bool calibrated = flag >= '1' && flag <= '9';
    return std::string(name) + (calibrated ? "calibrated " : "not calibrated ") + flag_in_brackets(flag);
}

}  // namespace

std::string printable_text(const char* field, std::size_t length) {
    constexpr char erased = '\xff';
    if (std::all_of(field, field + length, [](char byte) { return byte == erased; })) return "(erased)";
    std::string text;
    for (std::size_t i = 0; i < length && field[i] != 0; ++i) {
        const auto byte = static_cast<unsigned char>(field[i]);
        if (std::isprint(byte) != 0) {
            text += field[i];
        } else {
            char escaped[5];
            std::snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned>(byte));
            text += escaped;
        }
    }
    return text;
}

std::vector<std::string> describe_record(const ovra_permanent_record& record) {
    return {
        "lens table       " + field_text(record.tmr_table_text),
        "gravity offsets  " + field_text(record.gsensor_offset_text),
        "device serial    " + field_text(record.device_sn),
        "board serial     " + field_text(record.mainboard_sn),
        flag_text("gravity sensor   ", record.gsensor_flag),
        flag_text("ToF sensor       ", record.tof_flag),
        flag_text("lens             ", record.tmr_flag),
    };
}

}  // namespace host
