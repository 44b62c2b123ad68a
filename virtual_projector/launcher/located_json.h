// Reading JSON that people write: every mistake is told with its place and what would be right.
#ifndef VIRTUAL_PROJECTOR_LAUNCHER_LOCATED_JSON_H
#define VIRTUAL_PROJECTOR_LAUNCHER_LOCATED_JSON_H

#include <cstdint>
#include <initializer_list>
#include <nlohmann/json_fwd.hpp>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace vp {

/// One line: "FILE: $.events[2].at_s: expected a number of at least 0, found \"soon\"".
class LocatedError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// One value and where it stands. Copies are cheap; the document must outlive them.
class LocatedJson {
public:
    LocatedJson(const nlohmann::ordered_json& value, std::string place)
        : value_(value), place_(std::move(place)) {}

    const std::string& place() const { return place_; }
    [[noreturn]] void fail(const std::string& expectation) const;

    /// Refuses every member that is not one of these.
    void allow_members(std::initializer_list<std::string_view> names) const;
    bool has(std::string_view name) const;
    LocatedJson member(std::string_view name) const;  // must be there
    std::vector<std::pair<std::string, LocatedJson>> members() const;
    std::vector<LocatedJson> elements() const;

    double number(double min, double max) const;
    std::int64_t whole_number(std::int64_t min, std::int64_t max) const;
    bool boolean() const;
    std::string text() const;
    std::string one_of(const std::vector<std::string_view>& names) const;  // a text

private:
    const nlohmann::ordered_json& value_;
    std::string place_;
};

}  // namespace vp

#endif
