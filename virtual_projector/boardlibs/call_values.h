// What a call of the board's libraries is given and hands out, by name, for the record.
#ifndef VIRTUAL_PROJECTOR_BOARDLIBS_CALL_VALUES_H
#define VIRTUAL_PROJECTOR_BOARDLIBS_CALL_VALUES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace vp::boardlibs {

/// Bytes that are no number.
struct Bytes {
    std::string content;
};

using Value = std::variant<std::int64_t, double, std::vector<std::int64_t>, std::vector<double>, Bytes>;

/// In the order in which they stand in a record.
using Values = std::vector<std::pair<const char*, Value>>;

struct CallValues {
    Values arguments;
    Values outputs;  // empty when the call failed
};

inline Bytes bytes_at(const void* memory, std::size_t size) {
    return {memory == nullptr ? std::string() : std::string(static_cast<const char*>(memory), size)};
}

/// For a call that is given one number that matters.
template <typename Number>
auto given(const char* name, Number number) {
    return [name, number](const auto&) { return Values{{name, static_cast<std::int64_t>(number)}}; };
}

/// The numbers of a row; none without a row.
template <typename Number>
std::vector<std::int64_t> numbers_at(const Number* row, std::size_t count) {
    return row == nullptr ? std::vector<std::int64_t>() : std::vector<std::int64_t>(row, row + count);
}

}  // namespace vp::boardlibs

#endif
