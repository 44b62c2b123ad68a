#include "virtual_projector/launcher/located_json.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "virtual_projector/world/text.h"

namespace vp {

void LocatedJson::fail(const std::string& expectation) const {
    throw LocatedError(place_ + ": expected " + expectation + ", found " + excerpt(value_.dump()));
}

void LocatedJson::allow_members(std::initializer_list<std::string_view> names) const {
    if (!value_.is_object()) fail("an object with " + join(names));
    for (const auto& [name, ignored] : value_.items()) {
        if (std::find(names.begin(), names.end(), name) == names.end()) {
            throw LocatedError(place_ + "." + excerpt(name) + ": expected one of " + join(names));
        }
    }
}

bool LocatedJson::has(std::string_view name) const { return value_.is_object() && value_.contains(name); }

LocatedJson LocatedJson::member(std::string_view name) const {
    if (!has(name)) fail("an object with \"" + std::string(name) + "\"");
    return {value_.at(std::string(name)), place_ + "." + std::string(name)};
}

std::vector<std::pair<std::string, LocatedJson>> LocatedJson::members() const {
    if (!value_.is_object()) fail("an object");
    std::vector<std::pair<std::string, LocatedJson>> all;
    for (const auto& [name, value] : value_.items()) {
        all.emplace_back(name, LocatedJson(value, place_ + "[\"" + excerpt(name) + "\"]"));
    }
    return all;
}

std::vector<LocatedJson> LocatedJson::elements() const {
    if (!value_.is_array()) fail("a list");
    std::vector<LocatedJson> all;
    for (std::size_t i = 0; i < value_.size(); ++i) {
        all.emplace_back(value_[i], place_ + "[" + std::to_string(i) + "]");
    }
    return all;
}

double LocatedJson::number(double min, double max) const {
    const bool fits = value_.is_number() && value_.get<double>() >= min && value_.get<double>() <= max;
    if (!fits) fail("a number from " + number_text(min) + " to " + number_text(max));
    return value_.get<double>();
}

std::int64_t LocatedJson::whole_number(std::int64_t min, std::int64_t max) const {
    const bool fits =
        value_.is_number_integer() && value_.get<std::int64_t>() >= min && value_.get<std::int64_t>() <= max;
    if (!fits) fail("a whole number from " + std::to_string(min) + " to " + std::to_string(max));
    return value_.get<std::int64_t>();
}

std::string LocatedJson::one_of(const std::vector<std::string_view>& names) const {
    const std::string name = text();
    if (std::find(names.begin(), names.end(), name) == names.end()) fail("one of " + join(names));
    return name;
}

bool LocatedJson::boolean() const {
    if (!value_.is_boolean()) fail("true or false");
    return value_.get<bool>();
}

std::string LocatedJson::text() const {
    if (!value_.is_string()) fail("a text");
    return value_.get<std::string>();
}

}  // namespace vp
