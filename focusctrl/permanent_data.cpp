#include "ovrafocus/permanent_data.h"

#include <cstddef>
#include <cstring>

#include "base/log.h"
#include "base/shared_flag.h"
#include "platform/hudi_flash.h"

using ovra::log_bare;

static_assert(sizeof(ovra_permanent_record) == OVRA_PERMANENT_RECORD_BYTES, "the record's size in flash");
static_assert(offsetof(ovra_permanent_record, tmr_table_text) == 0, "lens table");
static_assert(offsetof(ovra_permanent_record, gsensor_offset_text) == 150, "gravity sensor offsets");
static_assert(offsetof(ovra_permanent_record, device_sn) == 174, "serial number");
static_assert(offsetof(ovra_permanent_record, mainboard_sn) == 198, "serial number of the main board");
static_assert(offsetof(ovra_permanent_record, gsensor_flag) == 222, "gravity sensor flag");
static_assert(offsetof(ovra_permanent_record, tof_flag) == 223, "ToF flag");
static_assert(offsetof(ovra_permanent_record, tmr_flag) == 224, "lens position flag");
static_assert(offsetof(ovra_permanent_record, reserved) == 225, "reserved");

namespace ovra {
namespace {

constexpr int flash_open_mode = 1;
constexpr uint32_t record_area = 2;
constexpr uint32_t record_offset = 0;
constexpr uint32_t record_bytes = OVRA_PERMANENT_RECORD_BYTES;
constexpr uint32_t uid_bytes = 16;
constexpr uint8_t erased_byte = 0xff;

constexpr uint32_t dump_bytes_per_line = 32;
constexpr std::size_t dump_characters_per_byte = 3;  // two digits and a blank
constexpr int serial_number_characters = sizeof(ovra_permanent_record::device_sn);

bool initialised() { return load(permanent_data_inited) == 1; }

// Byte by byte, because the gravity thread may read the copy in memory while the host writes the record. It
// may then see half of either record, but never half of a byte.
void copy_record(void* to, const void* from) {
    auto* out = static_cast<uint8_t*>(to);
    const auto* in = static_cast<const uint8_t*>(from);
    for (uint32_t i = 0; i < record_bytes; ++i) store(out[i], load(in[i]));
}

void dump_line(const uint8_t* data, uint32_t length) {
    constexpr char digits[] = "0123456789abcdef";
    char text[dump_bytes_per_line * dump_characters_per_byte + 1];
    char* end = text;
    for (uint32_t i = 0; i < length; ++i) {
        *end++ = digits[data[i] >> 4];
        *end++ = digits[data[i] & 0xf];
        *end++ = ' ';
    }
    *end = '\0';
    log_bare("%s\n", text);
}

void permanent_data_hexdump(const char* label, const void* data, uint32_t length) {
    const auto* bytes = static_cast<const uint8_t*>(data);
    log_bare("varnel: %s:\n", label);
    for (uint32_t i = 0; i < length; i += dump_bytes_per_line) {
        const uint32_t rest = length - i;
        dump_line(bytes + i, rest < dump_bytes_per_line ? rest : dump_bytes_per_line);
    }
}

int read_otp(uint32_t handle, void* record) {
    const int result = hudi_flash_otp_read(handle, record_area, record_offset, record, record_bytes);
    return result < 0 ? -1 : 0;
}

int permanent_data_otp_write(const void* data) {
    if (data == nullptr) {
        log_bare("ovra: Invalid data address!\n");
        return -1;
    }
    uint32_t handle = 0;
    if (hudi_flash_open(&handle, flash_open_mode) != 0) {
        log_bare("varnel: hudi flash open fail\n");
        return -1;
    }
    const int result = hudi_flash_otp_write(handle, record_area, record_offset, data, record_bytes);
    hudi_flash_close(handle);
    if (result >= 0) return 0;
    log_bare("ovra: hudi_flash_otp_write fail.\n");
    return -1;
}

// Initialises the record for a caller that came before the start-up did. The result does not matter: without
// a readable flash the record is all zero, which every reader understands.
void ensure_initialised(const char* function) {
    if (initialised()) return;
    log_bare("ovra: %s, permanent data is not init\n", function);
    permanent_data_init();
}

// Reads the record from the flash and shows it in hexadecimal. Says why when it cannot.
bool read_for_dump(ovra_permanent_record& record) {
    uint32_t handle = 0;
    if (hudi_flash_open(&handle, flash_open_mode) != 0) {
        log_bare("varnel: hudi flash open fail\n");
        return false;
    }
    const bool read = read_otp(handle, &record) == 0;
    if (read) permanent_data_hexdump("read otp2 data", &record, record_bytes);
    hudi_flash_close(handle);
    if (!read) log_bare("ovra: hudi_flash_otp_read fail.\n");
    return read;
}

}  // namespace
}  // namespace ovra

ovra_permanent_record glb_permanent_data = {};
int32_t permanent_data_inited = 0;

int32_t permanent_data_init(void) {
    if (ovra::load(permanent_data_inited) != 0) {
        log_bare("ovra: %s, already init\n", __func__);
        return -1;
    }
    // Set before the flash is touched: a board whose flash fails at start keeps the all-zero record for good,
    // instead of meeting the failing flash again with every reader.
    ovra::store(permanent_data_inited, 1);

    uint32_t handle = 0;
    if (hudi_flash_open(&handle, ovra::flash_open_mode) != 0) {
        log_bare("ovra: %s, hudi flash open fail\n", __func__);
        return -1;
    }
    log_bare("ovra: %s, hudi flash open success\n", __func__);

    // From here on only success closes the flash. After a failed read it is left open, on purpose: this is
    // tried once in the life of the process, so at most one handle is spent.
    uint8_t uid[ovra::uid_bytes] = {};
    uint32_t uid_length = 0;
    if (hudi_flash_uid_read(handle, uid, &uid_length) < 0) {
        log_bare("ovra: hudi_flash_uid_read fail.\n");
        return -1;
    }
    ovra::permanent_data_hexdump("uid", uid, ovra::uid_bytes);

    if (ovra::read_otp(handle, &glb_permanent_data) != 0) {
        glb_permanent_data = {};  // whatever part of it arrived is not to be trusted
        log_bare("ovra: hudi_flash_otp_read fail.\n");
        return -1;
    }
    ovra::permanent_data_hexdump(__func__, &glb_permanent_data, ovra::record_bytes);
    hudi_flash_close(handle);
    return 0;
}

int32_t permanent_data_read(void* out) {
    ovra::ensure_initialised(__func__);
    ovra::copy_record(out, &glb_permanent_data);
    return 0;
}

int32_t permanent_data_write(const void* in) {
    ovra::ensure_initialised(__func__);
    if (ovra::permanent_data_otp_write(in) != 0) {
        log_bare("ovra: %s, fail.\n", __func__);
        return -1;
    }
    ovra::copy_record(&glb_permanent_data, in);  // `in` may be the copy itself
    return 0;
}

int32_t permanent_data_clean(void) {
    ovra::ensure_initialised(__func__);
    ovra_permanent_record erased;
    std::memset(&erased, ovra::erased_byte, ovra::record_bytes);
    ovra::copy_record(&glb_permanent_data, &erased);
    if (ovra::permanent_data_otp_write(&glb_permanent_data) != 0) {
        log_bare("ovra: %s, fail.\n", __func__);
        return -1;
    }
    return 0;
}

int32_t dump_permanent_data_for_debug(void) {
    if (!ovra::initialised()) {
        log_bare("ovra: %s, permanent data is not init\n", __func__);
        return -1;
    }
    log_bare("ovra: -------%s, start---------\n", __func__);
    ovra_permanent_record record = {};
    if (!ovra::read_for_dump(record)) {
        log_bare("ovra: %s, fail.\n", __func__);
        return -1;
    }
    log_bare("ovra: device_sn=%.*s, mainboard_sn=%.*s\n", ovra::serial_number_characters, record.device_sn,
             ovra::serial_number_characters, record.mainboard_sn);
    ovra::permanent_data_hexdump("otp_permanent_data", &record, ovra::record_bytes);
    ovra::permanent_data_hexdump("glb_permanent_data", &glb_permanent_data, ovra::record_bytes);
    if (std::memcmp(&record, &glb_permanent_data, ovra::record_bytes) != 0) {
        log_bare("ovra: permanent_data is not same fail!!!!!!!!\n");
    }
    log_bare("ovra: -------%s, end---------\n", __func__);
    return 0;
}
