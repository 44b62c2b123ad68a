#include "ovrafocus/nds01_sysfs.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "base/log.h"

namespace ovra {
namespace {

constexpr size_t int_text_bytes = 16;    // "-2147483648" and its terminator
constexpr size_t float_text_bytes = 64;  // the largest float has 39 digits before the point and 6 after it

enum class NoMemory { silent, on_output, on_error };

/// How one helper reports its failures.
struct Complaints {
    const char* open_failed;  // what stands before the path; null: nothing is said
    const char* close_failed;
    NoMemory no_memory;
};

constexpr Complaints int_writer{"failed to open", "write_sysfs_int(): Failed to close dir", NoMemory::silent};
constexpr Complaints float_writer{"failed to open", "write_sysfs_float(): Failed to close dir",
                                  NoMemory::silent};
constexpr Complaints string_writer{"Could not open", "write_sysfs_string(): Failed to close dir",
                                   NoMemory::on_output};
constexpr Complaints raw_writer{"failed to open", "write_sysfs_u8data(): Failed to close dir",
                                NoMemory::silent};
constexpr Complaints int_reader{nullptr, "read_sysfs_int(): Failed to close dir", NoMemory::on_error};
constexpr Complaints float_reader{nullptr, "read_sysfs_float(): Failed to close dir", NoMemory::on_error};
constexpr Complaints string_reader{nullptr, "read_sysfs_string(): Failed to close dir", NoMemory::on_error};
constexpr Complaints raw_reader{"failed to open", "read_sysfs_u8data(): Failed to close dir", NoMemory::silent};

/// An attribute that is open, with the length of its path; or a null stream and a negative errno value.
struct Attribute {
    FILE* stream;
    int32_t path_length_or_error;
};

/// What a transfer came to, before the attribute is closed.
struct Transfer {
    int32_t result;
    bool failed;
};

void tell_no_memory(NoMemory where) {
    if (where == NoMemory::on_output) log_tof("Memory allocation failed");
    if (where == NoMemory::on_error) std::fputs("[ovra_tof]  Memory allocation failed\n", stderr);
}

Attribute open_attribute(const Complaints& complaints, const char* name, const char* directory,
                         const char* mode) {
    const size_t room = std::strlen(directory) + std::strlen(name) + 2;  // the slash and the terminator
    const std::unique_ptr<char, decltype(&std::free)> path(static_cast<char*>(std::malloc(room)), std::free);
    if (!path) {
        tell_no_memory(complaints.no_memory);
        return {nullptr, -ENOMEM};
    }
    const int length = std::snprintf(path.get(), room, "%s/%s", directory, name);
    FILE* stream = std::fopen(path.get(), mode);
    if (stream != nullptr) return {stream, length};
    const int error = errno;
    if (complaints.open_failed != nullptr) log_tof("%s %s\n", complaints.open_failed, path.get());
    return {nullptr, -error};
}

/// Closes the attribute. The transfer's failure goes before that of the close, which is then only reported.
int32_t close_attribute(const Complaints& complaints, FILE* stream, const Transfer& transfer) {
    if (std::fclose(stream) == 0) return transfer.result;
    if (!transfer.failed) return -errno;
    std::perror(complaints.close_failed);
    return transfer.result;
}

/// The attribute must get its text in this call, not at the close: a refusal is the driver's answer to it.
Transfer put_text(FILE* stream, const char* text) {
    errno = 0;
    if (std::fputs(text, stream) >= 0 && std::fflush(stream) == 0) return {0, false};
    return {errno != 0 ? -errno : -EIO, true};
}

int32_t write_text(const Complaints& complaints, const char* name, const char* directory, const char* text) {
    const Attribute attribute = open_attribute(complaints, name, directory, "w");
    if (attribute.stream == nullptr) return attribute.path_length_or_error;
    return close_attribute(complaints, attribute.stream, put_text(attribute.stream, text));
}

/// `value` is what the format's one conversion stores into.
int32_t scan(const Complaints& complaints, const char* name, const char* directory, const char* format,
             void* value) {
    const Attribute attribute = open_attribute(complaints, name, directory, "r");
    if (attribute.stream == nullptr) return attribute.path_length_or_error;
    errno = 0;  // a text that does not fit differs from a read that failed by errno alone
    Transfer transfer{attribute.path_length_or_error, false};
    // cppcheck-suppress invalidScanfArgType_s  // the format is the caller's, and so is its value's type
    if (std::fscanf(attribute.stream, format, value) != 1) transfer = {errno != 0 ? -errno : -ENODATA, true};
    return close_attribute(complaints, attribute.stream, transfer);
}

size_t byte_count(int32_t count) { return count > 0 ? static_cast<size_t>(count) : 0; }

/// One unbuffered write. A driver that takes some of the bytes has not refused: its count is the answer.
Transfer put_bytes(FILE* stream, const uint8_t* bytes, size_t count) {
    std::setvbuf(stream, nullptr, _IONBF, 0);
    errno = 0;
    const size_t moved = std::fwrite(bytes, 1, count, stream);
    const bool failed = std::ferror(stream) != 0;
    if (failed && moved == 0) return {-errno, true};
    return {static_cast<int32_t>(moved), failed};
}

Transfer get_bytes(FILE* stream, uint8_t* bytes, size_t count) {
    std::setvbuf(stream, nullptr, _IONBF, 0);
    const size_t moved = std::fread(bytes, 1, count, stream);
    return {static_cast<int32_t>(moved), std::ferror(stream) != 0};
}

}  // namespace
}  // namespace ovra

int32_t write_sysfs_int(const char* name, const char* directory, int32_t value) {
    char text[ovra::int_text_bytes];
    std::snprintf(text, sizeof text, "%d", value);
    return ovra::write_text(ovra::int_writer, name, directory, text);
}

int32_t write_sysfs_float(const char* name, const char* directory, float value) {
    char text[ovra::float_text_bytes];
    std::snprintf(text, sizeof text, "%f", static_cast<double>(value));
    return ovra::write_text(ovra::float_writer, name, directory, text);
}

int32_t write_sysfs_string(const char* name, const char* directory, const char* text) {
    return ovra::write_text(ovra::string_writer, name, directory, text);
}

int32_t write_sysfs_u8data(const char* name, const char* directory, const uint8_t* bytes, int32_t count) {
    const ovra::Attribute attribute = ovra::open_attribute(ovra::raw_writer, name, directory, "w");
    if (attribute.stream == nullptr) return attribute.path_length_or_error;
    return ovra::close_attribute(ovra::raw_writer, attribute.stream,
                                 ovra::put_bytes(attribute.stream, bytes, ovra::byte_count(count)));
}

int32_t read_sysfs_int(const char* name, const char* directory, int32_t* value) {
    return ovra::scan(ovra::int_reader, name, directory, "%d", value);
}

int32_t read_sysfs_float(const char* name, const char* directory, float* value) {
    return ovra::scan(ovra::float_reader, name, directory, "%f\n", value);
}

int32_t read_sysfs_string(const char* name, const char* directory, char* text) {
    // An attribute delivers at most one page; the width keeps the promise to the caller on other files too.
    return ovra::scan(ovra::string_reader, name, directory, "%4095s", text);
}

int32_t read_sysfs_u8data(const char* name, const char* directory, uint8_t* bytes, int32_t count) {
    const ovra::Attribute attribute = ovra::open_attribute(ovra::raw_reader, name, directory, "r");
    if (attribute.stream == nullptr) return attribute.path_length_or_error;
    return ovra::close_attribute(ovra::raw_reader, attribute.stream,
                                 ovra::get_bytes(attribute.stream, bytes, ovra::byte_count(count)));
}
