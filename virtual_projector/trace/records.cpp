#include "virtual_projector/trace/records.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <nlohmann/json.hpp>

#include "virtual_projector/trace/open_flags.h"

namespace vp {
namespace {

using nlohmann::ordered_json;

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

int value_of_digit(char digit) {
    if (digit >= '0' && digit <= '9') return digit - '0';
    if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
    return -1;
}

// Empty when it is no row of hexadecimal pairs.
std::string bytes_of(const std::string& text) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
        const int high = value_of_digit(text[i]);
        const int low = value_of_digit(text[i + 1]);
        if (high < 0 || low < 0) return {};
        bytes += static_cast<char>(high * 16 + low);
    }
    return bytes;
}

void add_argument(ordered_json& line, const CallRecord& record) {
    if (record.call == "open") line[record_key::flags] = open_flags_in_words(record.argument);
    if (record.call == "read" || record.call == "write") line[record_key::count] = record.argument;
    if (record.call == "ioctl") line[record_key::request] = request_text(record.argument);
    if (!record.request_name.empty()) line[record_key::request_name] = record.request_name;
    if (record.call == "sleep") line[record_key::us] = record.argument;
    if (record.call == "unlock") line[record_key::held_us] = record.argument;
    if (record.arguments != nullptr) line[record_key::arguments] = *record.arguments;
    if (record.took_us != 0) line[record_key::took_us] = record.took_us;
}

void add_error(ordered_json& line, long result) {
    if (result >= 0) return;
    const char* name = ::strerrorname_np(static_cast<int>(-result));
    if (name != nullptr) line[record_key::error] = name;
}

// A ToF command record begins with an address in the program's own memory, which no two runs share.
std::string_view without_address(const CallRecord& record) {
    constexpr std::string_view commands = "/lib_data";
    constexpr std::size_t address_bytes = 8;
    const bool is_command = record.path.size() > commands.size() &&
                            record.path.substr(record.path.size() - commands.size()) == commands;
    return is_command ? record.data.substr(std::min(address_bytes, record.data.size())) : record.data;
}

void add_data(ordered_json& line, const CallRecord& record) {
    const std::string_view data = without_address(record);
    if (data.empty()) return;
    if (is_plain_text(data)) {
        line[record_key::data] = data;
    } else {
        line[record_key::hex] = hexadecimal(data);
    }
}

void add_payload(ordered_json& line, const CallRecord& record) {
    if (!record.given.empty()) line[record_key::given] = hexadecimal(record.given);
    if (!record.returned.empty()) line[record_key::returned] = hexadecimal(record.returned);
    if (record.outputs != nullptr) line[record_key::outputs] = *record.outputs;
}

void add_fault(ordered_json& line, const CallRecord& record) {
    if (record.fault == 0) return;
    line[record_key::fault] = {{record_key::fault_number, record.fault},
                               {record_key::fault_did, record.fault_did}};
}

ordered_json line_at(std::int64_t t_us) {
    ordered_json line;
    line[record_key::t_us] = t_us;
    return line;
}

ordered_json line_of_thread(std::int64_t t_us, int thread, std::string_view name) {
    ordered_json line = line_at(t_us);
    if (thread != 0) line[record_key::thread] = thread;
    if (!name.empty()) line[record_key::name] = name;
    return line;
}

ordered_json line_at(const ThreadMoment& moment) {
    return line_of_thread(moment.t_us, moment.thread, moment.thread_name);
}

std::string name_in(const nlohmann::json& line) { return line.value(record_key::name, ""); }

ordered_json json_of(const RunRecord& run) {
    ordered_json json;
    json["format"] = run.format;
    json["version"] = run.version;
    json["commit"] = run.commit;
    json["seed"] = run.seed;
    if (run.unit_seed) json["unit_seed"] = *run.unit_seed;
    json["unit"] = run.unit;
    json["world"] = run.world;
    if (!run.scenario_digest.empty()) json["scenario"] = run.scenario_digest;
    if (!run.scenario_file.empty()) json["scenario_file"] = run.scenario_file;
    json["settings"] = ordered_json::object();
    for (const auto& [name, value, source] : run.settings)
        json["settings"][name] = {{"value", value}, {"from", source}};
    return json;
}

}  // namespace

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

ordered_json json_of(const CallRecord& record) {
    ordered_json line = line_of_thread(record.t_us, record.thread, record.thread_name);
    line[record_key::call] = record.call;
    if (!record.path.empty()) line[record_key::path] = record.path;
    add_argument(line, record);
    line[record_key::result] = record.result;
    add_error(line, record.result);
    add_data(line, record);
    add_payload(line, record);
    add_fault(line, record);
    return line;
}

ordered_json json_of(const WaitRecord& record) {
    ordered_json line = line_at(record);
    line[record_key::wait] = record.wait;
    if (!record.path.empty()) line[record_key::path] = record.path;
    line[record_key::took_us] = record.took_us;
    if (!record.end.empty()) line[record_key::wait_end] = record.end;
    return line;
}

ordered_json json_of(const CallbackRecord& record) {
    ordered_json line = line_at(record);
    line[record_key::callback] = record.callback;
    line[record_key::slot] = record.slot;
    if (!record.arguments.empty()) line[record_key::arguments] = record.arguments;
    if (!record.means.empty()) line[record_key::means] = record.means;
    return line;
}

ordered_json json_of(const CallbackReturn& record) {
    ordered_json line = line_at(record);
    line[record_key::callback_return] = record.callback;
    line[record_key::slot] = record.slot;
    if (record.took_us != 0) line[record_key::took_us] = record.took_us;
    if (record.result != nullptr) line[record_key::result] = *record.result;
    return line;
}

ordered_json json_of(const StateRecord& record) {
    ordered_json line = line_at(record);
    line[record_key::state] = *record.values;
    return line;
}

ordered_json json_of(const LogRecord& record) {
    ordered_json line = line_at(record);
    line[record_key::log] = record.text;
    return line;
}

bool tell_the_same(const TruthRecord& a, const TruthRecord& b) {
    bool same = true;
    TruthRecord::for_each_member(
        [&](const char*, auto member, bool cause) { same = same && (!cause || a.*member == b.*member); });
    return same;
}

ordered_json json_of(const TruthRecord& truth) {
    ordered_json json;
    TruthRecord::for_each_member([&](const char* key, auto member, bool) { json[key] = truth.*member; });
    return json;
}

ordered_json truth_line(std::int64_t t_us, const ordered_json& truth) {
    ordered_json line = line_at(t_us);
    line[record_key::truth] = truth;
    return line;
}

ordered_json run_line(const RunRecord& run) {
    ordered_json line = line_at(0);
    line[record_key::run] = json_of(run);
    return line;
}

ordered_json wear_line(std::int64_t t_us, const ordered_json& wear) {
    ordered_json line = line_at(t_us);
    line[record_key::wear] = wear;
    return line;
}

ordered_json event_line(std::int64_t t_us, std::string_view what) {
    ordered_json line = line_at(t_us);
    line[record_key::event] = what;
    return line;
}

CallLine call_line_from(const nlohmann::json& line) {
    CallLine call;
    call.t_us = line.value(record_key::t_us, std::int64_t{0});
    call.thread = line.value(record_key::thread, 0);
    call.thread_name = name_in(line);
    call.call = line.at(record_key::call).get<std::string>();
    call.path = line.value(record_key::path, "");
    call.us = line.value(call.call == "unlock" ? record_key::held_us : record_key::us, std::int64_t{0});
    call.took_us = line.value(record_key::took_us, std::int64_t{0});
    call.request =
        static_cast<std::uint32_t>(std::strtoul(line.value(record_key::request, "0").c_str(), nullptr, 16));
    call.request_name = line.value(record_key::request_name, "");
    call.result = line.value(record_key::result, 0L);
    call.error = line.value(record_key::error, "");
    call.data = line.value(record_key::data, "");
    call.bytes = line.contains(record_key::hex) ? bytes_of(line.value(record_key::hex, "")) : call.data;
    call.given = bytes_of(line.value(record_key::given, ""));
    call.returned = bytes_of(line.value(record_key::returned, ""));
    const auto fault = line.find(record_key::fault);
    if (fault == line.end()) return call;
    call.fault = fault->value(record_key::fault_number, 0);
    call.fault_did = fault->value(record_key::fault_did, "");
    return call;
}

WaitLine wait_line_from(const nlohmann::json& line) {
    WaitLine wait;
    wait.t_us = line.value(record_key::t_us, std::int64_t{0});
    wait.thread = line.value(record_key::thread, 0);
    wait.thread_name = name_in(line);
    wait.wait = line.at(record_key::wait).get<std::string>();
    wait.path = line.value(record_key::path, "");
    wait.took_us = line.value(record_key::took_us, std::int64_t{0});
    wait.end = line.value(record_key::wait_end, "");
    return wait;
}

CallbackLine callback_line_from(const nlohmann::json& line) {
    CallbackLine callback;
    callback.t_us = line.value(record_key::t_us, std::int64_t{0});
    callback.thread = line.value(record_key::thread, 0);
    callback.thread_name = name_in(line);
    callback.callback = line.at(record_key::callback).get<std::string>();
    callback.slot = line.value(record_key::slot, 0);
    callback.arguments = line.value(record_key::arguments, std::vector<std::int32_t>{});
    callback.means = line.value(record_key::means, "");
    return callback;
}

ReturnLine return_line_from(const nlohmann::json& line) {
    ReturnLine end;
    end.t_us = line.value(record_key::t_us, std::int64_t{0});
    end.thread = line.value(record_key::thread, 0);
    end.callback = line.at(record_key::callback_return).get<std::string>();
    end.slot = line.value(record_key::slot, 0);
    end.took_us = line.value(record_key::took_us, std::int64_t{0});
    if (line.contains(record_key::result)) end.result = line.at(record_key::result).get<std::int32_t>();
    return end;
}

StateLine state_line_from(const nlohmann::json& line) {
    StateLine state;
    state.t_us = line.value(record_key::t_us, std::int64_t{0});
    state.thread = line.value(record_key::thread, 0);
    state.thread_name = name_in(line);
    for (const auto& [name, value] : line.at(record_key::state).items())
        state.values.emplace_back(name, value.get<double>());
    return state;
}

LogLine log_line_from(const nlohmann::json& line) {
    LogLine log;
    log.t_us = line.value(record_key::t_us, std::int64_t{0});
    log.thread = line.value(record_key::thread, 0);
    log.thread_name = name_in(line);
    log.text = line.at(record_key::log).get<std::string>();
    return log;
}

TruthRecord truth_from(const nlohmann::json& truth) {
    TruthRecord record;
    TruthRecord::for_each_member(
        [&](const char* key, auto member, bool) { record.*member = truth.value(key, record.*member); });
    return record;
}

RunRecord run_from(const nlohmann::json& run) {
    RunRecord record;
    record.format = run.value("format", 0);
    record.version = run.value("version", "");
    record.commit = run.value("commit", "");
    record.seed = run.value("seed", std::uint64_t{1});
    if (run.contains("unit_seed")) record.unit_seed = run.at("unit_seed").get<std::uint64_t>();
    record.unit = run.value("unit", "");
    record.world = run.value("world", "");
    record.scenario_digest = run.value("scenario", "");
    record.scenario_file = run.value("scenario_file", "");
    if (!run.contains("settings")) return record;
    for (const auto& [name, setting] : run.at("settings").items())
        record.settings.push_back({name, setting.value("value", 0.0), setting.value("from", "")});
    return record;
}

}  // namespace vp
