#include "virtual_projector/launcher/strict_json.h"

#include <algorithm>
#include <cstddef>
#include <set>
#include <vector>

#include "virtual_projector/launcher/located_json.h"

namespace vp {
namespace {

using Json = nlohmann::ordered_json;
using Event = Json::parse_event_t;

// Far deeper than any scenario. What looks at a document later may call itself for each level.
constexpr std::size_t max_levels = 32;

std::string line_of(const std::string& text, std::size_t byte) {
    const auto end = text.begin() + static_cast<std::ptrdiff_t>(std::min(byte, text.size()));
    return std::to_string(1 + std::count(text.begin(), end, '\n'));
}

// Follows the parser, so that a mistake can be told with its place.
class Walk {
public:
    explicit Walk(std::string root) : root_(std::move(root)) {}

    void follow(Event event, const Json& parsed) {
        if (event == Event::object_start || event == Event::array_start) {
            enter(event == Event::array_start);
        } else if (event == Event::key) {
            name(parsed.get<std::string>());
        } else {
            if (event != Event::value) levels_.pop_back();
            if (!levels_.empty()) ++levels_.back().values;
        }
    }

    /// Where the value stands that comes next.
    std::string place() const {
        if (levels_.empty()) return root_;
        const Level& level = levels_.back();
        return level.is_list ? level.place + "[" + std::to_string(level.values) + "]" : level.member;
    }

private:
    struct Level {
        std::string place;
        bool is_list = false;
        std::size_t values = 0;  // so far
        std::string member;      // an object's: the place of its latest one
        std::set<std::string> names;
    };

    void enter(bool is_list) {
        if (levels_.size() == max_levels)
            throw LocatedError(root_ + ": expected at most " + std::to_string(max_levels) + " levels");
        const std::string here = place();
        levels_.push_back({here, is_list, 0, here, {}});
    }

    void name(const std::string& member) {
        Level& level = levels_.back();
        const bool has_dots = member.find('.') != std::string::npos;
        level.member = level.place + (has_dots ? "[\"" + member + "\"]" : "." + member);
        if (!level.names.insert(member).second)
            throw LocatedError(level.member + ": expected once, found again");
    }

    std::string root_;
    std::vector<Level> levels_;
};

}  // namespace

Json parse_strictly(const std::string& text, const std::string& name) {
    const std::string root = name + ": $";
    Walk walk(root);
    try {
        return Json::parse(text, [&walk](int, Event event, const Json& parsed) {
            walk.follow(event, parsed);
            return true;
        });
    } catch (const nlohmann::json::parse_error& error) {
        throw LocatedError(root + ": expected JSON, found a mistake in line " + line_of(text, error.byte));
    } catch (const nlohmann::json::out_of_range&) {
        throw LocatedError(walk.place() +
                           ": expected a number that can be stored, found one that is too large");
    }
}

}  // namespace vp
