#include "virtual_projector/trace/json_trace.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <nlohmann/json.hpp>
#include <string>

#include "virtual_projector/trace/open_flags.h"

namespace vp {
namespace {

constexpr std::array<std::string_view, 4> changing_calls = {"write", "ioctl", "call", "pthread_create"};

// The board encodes in a request's upper three bits which way its data go; 2 is to the program only, such as a
// sample of a sensor.
bool only_reads(const CallRecord& record) {
    constexpr int direction_shift = 29;
    constexpr std::uint32_t to_the_program = 2;
    return record.call == "ioctl" &&
           static_cast<std::uint32_t>(record.argument) >> direction_shift == to_the_program;
}

bool belongs_to_changes(const CallRecord& record) {
    if (record.result < 0) return true;
    if (only_reads(record)) return false;
    for (const std::string_view call : changing_calls) {
        if (record.call == call) return true;
    }
    return false;
}

std::string request_text(std::int64_t number) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08x", static_cast<unsigned>(number));
    return text;
}

bool is_plain_text(std::string_view bytes) {
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        const bool is_space = byte == '\n' || byte == '\t' || byte == '\r';
        if ((value < 0x20 && !is_space) || value >= 0x7f) return false;
    }
    return true;
}

std::string hexadecimal(std::string_view bytes) {
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        text += digits[value >> 4];
        text += digits[value & 15];
    }
    return text;
}

void add_argument(nlohmann::ordered_json& line, const CallRecord& record) {
    if (record.call == "open") line["flags"] = open_flags_in_words(record.argument);
    if (record.call == "read" || record.call == "write") line["count"] = record.argument;
    if (record.call == "ioctl") line["request"] = request_text(record.argument);
    if (record.call == "sleep") line["us"] = record.argument;
}

void add_error(nlohmann::ordered_json& line, long result) {
    if (result >= 0) return;
    const char* name = ::strerrorname_np(static_cast<int>(-result));
    if (name != nullptr) line["error"] = name;
}

// A ToF command record begins with an address in the program's own memory, which no two runs share.
std::string_view without_address(const CallRecord& record) {
    constexpr std::string_view commands = "/lib_data";
    constexpr std::size_t address_bytes = 8;
    const bool is_command = record.path.size() > commands.size() &&
                            record.path.substr(record.path.size() - commands.size()) == commands;
    return is_command ? record.data.substr(std::min(address_bytes, record.data.size())) : record.data;
}

}  // namespace

nlohmann::ordered_json json_of(const CallRecord& record) {
    nlohmann::ordered_json line;
    line["t_us"] = record.t_us;
    if (record.thread != 0) line["thread"] = record.thread;
    if (!record.thread_name.empty()) line["name"] = record.thread_name;
    line["call"] = record.call;
    if (!record.path.empty()) line["path"] = record.path;
    add_argument(line, record);
    line["result"] = record.result;
    add_error(line, record.result);
    const std::string_view data = without_address(record);
    if (data.empty()) return line;
    if (is_plain_text(data)) {
        line["data"] = data;
    } else {
        line["hex"] = hexadecimal(data);
    }
    return line;
}

std::unique_ptr<JsonTrace> JsonTrace::to_file(const std::string& path, TraceDetail detail) {
    std::FILE* stream = std::fopen(path.c_str(), "we");
    return stream == nullptr ? nullptr : std::make_unique<JsonTrace>(stream, detail);
}

JsonTrace::JsonTrace(std::FILE* stream, TraceDetail detail) : stream_(stream), detail_(detail) {
    std::setvbuf(stream_, nullptr, _IOLBF, BUFSIZ);
}

JsonTrace::~JsonTrace() { std::fclose(stream_); }

void JsonTrace::record(const CallRecord& record) {
    if (detail_ == TraceDetail::events) return;
    if (detail_ == TraceDetail::changes && !belongs_to_changes(record)) return;
    write_line(json_of(record));
}

void JsonTrace::record_truth(std::int64_t t_us, const nlohmann::ordered_json& state) {
    nlohmann::ordered_json line;
    line["t_us"] = t_us;
    line["truth"] = state;
    write_line(line);
}

void JsonTrace::record_event(std::int64_t t_us, std::string_view what) {
    nlohmann::ordered_json line;
    line["t_us"] = t_us;
    line["event"] = what;
    write_line(line);
}

void JsonTrace::write_line(const nlohmann::ordered_json& line) {
    constexpr auto replace = nlohmann::ordered_json::error_handler_t::replace;
    const std::string text = line.dump(-1, ' ', false, replace) + "\n";
    std::fwrite(text.data(), 1, text.size(), stream_);
}

bool JsonTrace::flush() { return std::fflush(stream_) == 0 && std::ferror(stream_) == 0; }

}  // namespace vp
