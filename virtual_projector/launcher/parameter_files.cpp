#include "virtual_projector/launcher/parameter_files.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace vp {
namespace {

// Far more than any has: an event takes a hundred bytes or so.
constexpr std::uintmax_t max_bytes = std::uintmax_t{16} * 1024 * 1024;

}  // namespace

// A folder can be opened; only reading tells.
std::string read_input_file(const std::string& path, const std::string& kind) {
    std::error_code none;
    const auto status = std::filesystem::status(path, none);
    const bool has_size = std::filesystem::is_regular_file(status);
    if (std::filesystem::exists(status) && !std::filesystem::is_directory(status) &&
        (!has_size || std::filesystem::file_size(path, none) > max_bytes)) {
        throw LocatedError(path + ": $: expected a " + kind + " file of at most " + std::to_string(max_bytes) +
                           " bytes, found " +
                           (has_size ? std::to_string(std::filesystem::file_size(path, none))
                                     : std::string("something without a size")));
    }
    try {
        std::ifstream file(path);
        if (file) return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    } catch (const std::ios_base::failure&) {
        // errno tells why, as it does of a file that cannot be opened.
    }
    throw LocatedError(path + ": $: expected a readable " + kind + " file, found: " + std::strerror(errno));
}

const Parameter& parameter_at(const std::string& name, const LocatedJson& json) {
    const Parameter* const parameter = find_parameter(name);
    if (parameter == nullptr) throw LocatedError(json.place() + ": " + unknown_parameter(name));
    return *parameter;
}

double read_value(const Parameter& parameter, const LocatedJson& json) {
    const double value = json.number(parameter.min, parameter.max);
    if (parameter.whole && value != static_cast<double>(static_cast<std::int64_t>(value))) {
        json.fail("a whole number");
    }
    return value;
}

void read_parameter(const std::string& name, const LocatedJson& json, ParameterValues& values) {
    values.emplace_back(name, read_value(parameter_at(name, json), json));
}

ParameterValues read_parameters(const LocatedJson& json) {
    ParameterValues values;
    for (const auto& [name, value] : json.members()) read_parameter(name, value, values);
    return values;
}

}  // namespace vp
