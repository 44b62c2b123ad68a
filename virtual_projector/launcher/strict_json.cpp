#include "virtual_projector/launcher/strict_json.h"

#include <algorithm>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <set>
#include <vector>

#include "virtual_projector/launcher/located_json.h"
#include "virtual_projector/world/text.h"

namespace vp {
namespace {

using Json = nlohmann::ordered_json;

// Far deeper than any scenario. What looks at a document later may call itself for each level.
constexpr std::size_t max_levels = 32;

// The line of a byte, which is counted from 1. A line's end is part of it: a text that is not closed stops
// there.
std::string line_of(const std::string& text, std::size_t byte) {
    const std::size_t before = byte > 0 ? byte - 1 : 0;
    const auto end = text.begin() + static_cast<std::ptrdiff_t>(std::min(before, text.size()));
    return std::to_string(1 + std::count(text.begin(), end, '\n'));
}

// Reads along, value for value, and throws for a mistake with its place. The document itself is made when there
// is none: a parser that asks somebody about each value looks through a whole list again for each object in it.
class Walk : public nlohmann::json_sax<Json> {
public:
    Walk(const std::string& text, std::string root) : text_(text), root_(std::move(root)) {}

    bool null() override { return pass_value(); }
    bool boolean(bool /*value*/) override { return pass_value(); }
    bool number_integer(number_integer_t /*value*/) override { return pass_value(); }
    bool number_unsigned(number_unsigned_t /*value*/) override { return pass_value(); }
    bool number_float(number_float_t /*value*/, const string_t& /*text*/) override { return pass_value(); }
    bool string(string_t& /*value*/) override { return pass_value(); }
    bool binary(binary_t& /*value*/) override { return pass_value(); }

    bool start_object(std::size_t /*size*/) override { return enter(false); }
    bool start_array(std::size_t /*size*/) override { return enter(true); }
    bool end_object() override { return leave(); }
    bool end_array() override { return leave(); }

    bool key(string_t& member) override {
        Level& level = levels_.back();
        level.member = member;
        if (!level.names.insert(member).second) throw LocatedError(place() + ": expected once, found again");
        return true;
    }

    bool parse_error(std::size_t position, const std::string& /*token*/,
                     const nlohmann::detail::exception& mistake) override {
        if (dynamic_cast<const nlohmann::json::out_of_range*>(&mistake) != nullptr)
            throw LocatedError(place() + ": expected a number that can be stored, found one that is too large");
        throw LocatedError(root_ + ": expected JSON, found a mistake in line " + line_of(text_, position));
    }

private:
    struct Level {
        bool is_list = false;
        std::size_t values = 0;  // so far
        std::string member;      // an object's latest one
        std::set<std::string> names;

        std::string place() const {
            if (is_list) return "[" + std::to_string(values) + "]";
            if (names.empty()) return "";
            const bool is_plain = !member.empty() && member.find('.') == std::string::npos;
            return is_plain ? "." + excerpt(member) : "[\"" + excerpt(member) + "\"]";
        }
    };

    // Where the value stands that comes next.
    std::string place() const {
        std::string place = root_;
        for (const Level& level : levels_) place += level.place();
        return place;
    }

    bool enter(bool is_list) {
        if (levels_.size() == max_levels)
            throw LocatedError(root_ + ": expected at most " + std::to_string(max_levels) + " levels");
        levels_.push_back({is_list, 0, {}, {}});
        return true;
    }

    bool leave() {
        levels_.pop_back();
        return pass_value();
    }

    bool pass_value() {
        if (!levels_.empty()) ++levels_.back().values;
        return true;
    }

    const std::string& text_;
    std::string root_;
    std::vector<Level> levels_;
};

}  // namespace

Json parse_strictly(const std::string& text, const std::string& name) {
    Walk walk(text, name + ": $");
    (void)Json::sax_parse(text, &walk);
    return Json::parse(text);
}

}  // namespace vp
