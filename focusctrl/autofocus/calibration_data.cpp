#include "ovrafocus/calibration_data.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "base/log.h"
#include "base/number_list.h"
#include "base/shared_flag.h"
#include "ovrafocus/focus_nodes.h"
#include "ovrafocus/lens_state.h"
#include "ovrafocus/permanent_data.h"

namespace {

using ovra::load;
using ovra::log_focus;
using ovra::store;

constexpr int table_entries = sizeof listFlash / sizeof listFlash[0];
constexpr std::size_t left_limit_entry = 25;
constexpr std::size_t right_limit_entry = 26;
constexpr std::size_t polarity_entry = 27;
constexpr std::size_t left_backlash_entry = 28;
constexpr std::size_t right_backlash_entry = 29;

// The flags stand one after the other in the record.
constexpr std::size_t flag_count = 3;
constexpr std::size_t lens_flag = 2;
constexpr std::size_t first_flag_at = offsetof(ovra_permanent_record, gsensor_flag);
constexpr std::size_t record_bytes = sizeof(ovra_permanent_record);
static_assert(offsetof(ovra_permanent_record, tof_flag) == first_flag_at + 1, "the ToF flag is the second");
static_assert(offsetof(ovra_permanent_record, tmr_flag) == first_flag_at + lens_flag,
              "the lens flag is the third");

// Values of the lens flag.
constexpr int32_t normal_temperature = 1;
constexpr int32_t high_temperature = 2;
constexpr int32_t normal_with_curve = 3;
constexpr int32_t high_with_curve = 4;

constexpr const char* flag_names[flag_count] = {"gsensor", "tof", "tmr"};

char* flag_digits(ovra_permanent_record& record) { return reinterpret_cast<char*>(&record) + first_flag_at; }

char digit_of(int32_t flag) { return static_cast<char>('0' + flag); }

// The parsing needs a terminator, and the record's text need not have one.
void parse_lens_table(const ovra_permanent_record& record) {
    char text[sizeof record.tmr_table_text + 1] = {};
    std::memcpy(text, record.tmr_table_text, sizeof record.tmr_table_text);
    log_focus("char:%s\n", text);

    int32_t entries[table_entries];
    const int count = ovra::parse_numbers(text, ',', entries, table_entries);
    for (int entry = 0; entry < count; ++entry) store(listFlash[entry], entries[entry]);
}

void take_over_lens_settings() {
    store(g_limitLeft, load(listFlash[left_limit_entry]));
    store(g_limitRight, load(listFlash[right_limit_entry]));
    store(direction, load(listFlash[polarity_entry]));
    store(leftIdle, load(listFlash[left_backlash_entry]));
    store(rightIdle, load(listFlash[right_backlash_entry]));
}

bool is_known(int32_t flag) { return flag >= normal_temperature && flag <= high_with_curve; }

// Calibrated with the focus curve: without a curve that is not what was reached, and the plain calibration
// at the same temperature is recorded in its place.
char lens_digit_with_curve(int32_t flag) {
    const int32_t without_curve = flag == normal_with_curve ? normal_temperature : high_temperature;
    return digit_of(load(g_flag_elepn_temp) != 0 ? flag : without_curve);
}

// What the lens flag switches in the library, and the digit that is recorded for it.
char apply_lens_flag(int32_t flag) {
    if (!is_known(flag)) return '0';
    store(g_flag_high_temp, flag == high_temperature || flag == high_with_curve ? 1 : 0);
    if (flag == normal_with_curve || flag == high_with_curve) return lens_digit_with_curve(flag);
    store(g_flag_elepn_temp, 0);
    return digit_of(flag);
}

char digit_to_record(std::size_t index, int32_t flag) {
    if (index == lens_flag) return apply_lens_flag(flag);
    return is_known(flag) ? digit_of(flag) : '0';
}

// Traces the number that begins at the flag just stored; it runs on into the digits after it.
void trace_stored_flag(const char* flag, const char* record_end) {
    char digits[record_bytes - first_flag_at + 1] = {};
    std::memcpy(digits, flag, static_cast<std::size_t>(record_end - flag));
    log_focus("flag:%d\n", std::atoi(digits));
}

void record_flags(ovra_permanent_record& record, const int32_t* flags) {
    char* const digits = flag_digits(record);
    const char* const record_end = reinterpret_cast<const char*>(&record) + record_bytes;
    for (std::size_t index = 0; index < flag_count; ++index) {
        const char digit = digit_to_record(index, flags[index]);
        log_focus("flag:%d, buffer:%c\n", flags[index], digit);
        digits[index] = digit;
        trace_stored_flag(digits + index, record_end);
    }
}

bool read_record(ovra_permanent_record& record) {
    if (permanent_data_read(&record) == 0) return true;
    log_focus("auto focus: flash read error\n");
    return false;
}

}  // namespace

int32_t get_cali_flag(int32_t* flags) {
    log_focus("auto focus: get_cali_flag\n");
    ovra_permanent_record record;
    if (!read_record(record)) return 0;
    for (std::size_t index = 0; index < flag_count; ++index) {
        const char digit[2] = {flag_digits(record)[index], '\0'};
        const int32_t flag = std::atoi(digit);
        log_focus("%s flag:%d(%s)\n", flag_names[index], flag, digit);
        flags[index] = flag;
    }
    log_focus("int: gsensor = %d, tof = %d, tmr = %d\n", flags[0], flags[1], flags[2]);
    return 0;
}

int32_t get_cali_data(int32_t* /*table*/) {
    log_focus("auto focus init: get_cali_data\n");
    ovra_permanent_record record;
    permanent_data_read(&record);
    parse_lens_table(record);

    int32_t flags[flag_count] = {};
    get_cali_flag(flags);
    if (flags[lens_flag] != 0) take_over_lens_settings();
    elepn_calidata_read(elepnCalidata);
    return 0;
}

int32_t write_cali_flag(const int32_t* flags) {
    log_focus("auto focus: write_cali_flag\n");
    elepn_calidata_read(elepnCalidata);
    log_focus("g_flag_elepn_temp = %d\n", load(g_flag_elepn_temp));
    ovra_permanent_record record;
    if (!read_record(record)) return 0;
    record_flags(record, flags);
    if (permanent_data_write(&record) == -1) log_focus("write_cali_flag error\n");
    return 0;
}
