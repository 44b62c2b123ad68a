// The board's flash library.
#include <algorithm>

#include "platform/hudi_flash.h"
#include "virtual_projector/boardlibs/libraries.h"

using vp::boardlibs::bytes_at;
using vp::boardlibs::given;
using vp::boardlibs::Libraries;
using vp::boardlibs::no_values;
using vp::boardlibs::perform;
using vp::boardlibs::Values;

namespace {

Values place(uint32_t handle, uint32_t area, uint32_t offset, uint32_t length) {
    return {{"handle", std::int64_t{handle}},
            {"area", std::int64_t{area}},
            {"offset", std::int64_t{offset}},
            {"length", std::int64_t{length}}};
}

}  // namespace

extern "C" int hudi_flash_open(uint32_t* handle, int mode) {
    return perform(
        "hudi_flash_open", {}, given("mode", mode),
        [&](const Libraries&) {
            return Values{{"handle", std::int64_t{*handle}}};
        },
        [&](Libraries& all) -> long { return handle == nullptr ? -EINVAL : all.flash.open(*handle); });
}

extern "C" int hudi_flash_uid_read(uint32_t handle, uint8_t* uid, uint32_t* uid_length) {
    constexpr uint32_t length = 16;
    return perform(
        "hudi_flash_uid_read", {uid, length}, given("handle", handle),
        [&](const Libraries&) {
            return Values{{"uid", bytes_at(uid, length)}};
        },
        [&](Libraries& all) -> long {
            if (uid == nullptr || uid_length == nullptr) return -EINVAL;
            std::array<std::uint8_t, length> bytes{};
            const long status = all.flash.read_uid(handle, bytes);
            if (status < 0) return status;
            std::copy(bytes.begin(), bytes.end(), uid);
            *uid_length = length;
            return 0;
        });
}

extern "C" int hudi_flash_otp_read(uint32_t handle, uint32_t area, uint32_t offset, void* buffer,
                                   uint32_t length) {
    return perform(
        "hudi_flash_otp_read", {buffer, length},
        [&](const Libraries&) { return place(handle, area, offset, length); },
        [&](const Libraries&) {
            return Values{{"buffer", bytes_at(buffer, length)}};
        },
        [&](Libraries& all) -> long {
            if (buffer == nullptr) return -EINVAL;
            return all.flash.read(handle, area, offset, static_cast<uint8_t*>(buffer), length);
        });
}

extern "C" int hudi_flash_otp_write(uint32_t handle, uint32_t area, uint32_t offset, const void* buffer,
                                    uint32_t length) {
    return perform(
        "hudi_flash_otp_write", {},
        [&](const Libraries&) {
            Values values = place(handle, area, offset, length);
            values.emplace_back("buffer", bytes_at(buffer, length));
            return values;
        },
        no_values,
        [&](Libraries& all) -> long {
            if (buffer == nullptr) return -EINVAL;
            return all.flash.write(handle, area, offset, static_cast<const uint8_t*>(buffer), length);
        });
}

extern "C" int hudi_flash_close(uint32_t handle) {
    return perform("hudi_flash_close", {}, given("handle", handle), no_values,
                   [&](Libraries& all) { return all.flash.close(handle); });
}
