#include "virtual_projector/live/command.h"

#include <nlohmann/json.hpp>

#include "virtual_projector/launcher/located_json.h"
#include "virtual_projector/launcher/scenario.h"
#include "virtual_projector/launcher/strict_json.h"
#include "virtual_projector/live/pace.h"

namespace vp {
namespace {

using Json = nlohmann::ordered_json;

// It is read as the scenario's reader will read it, at some time.
Json read_event(const LocatedJson& command, const Json& document) {
    const LocatedJson event = command.member("event");
    if (!document.at("event").is_object()) event.fail("an object, as it stands in a scenario");
    if (event.has("at_s")) event.member("at_s").fail("no time: it happens when it is asked for");
    Json timed = {{"at_s", 0}};
    timed.update(document.at("event"));
    (void)parse_event(timed.dump(), "event");
    return document.at("event");
}

Json read(const LocatedJson& command, const Json& document, std::int64_t id) {
    const std::string what =
        command.member("do").one_of({"event", "pause", "resume", "step", "speed", "end", "restart"});
    Json line = {{"do", what}};
    if (what == "event") {
        command.allow_members({"do", "event"});
        line["event"] = read_event(command, document);
        line["id"] = id;
    } else if (what == "step") {
        constexpr double longest_ms = 60000;
        command.allow_members({"do", "ms"});
        line["us"] = microseconds(command.member("ms").number(0.001, longest_ms) / 1000);
    } else if (what == "speed") {
        command.allow_members({"do", "value"});
        line["value"] = command.member("value").number(Pace::min_speed, Pace::max_speed);
    } else {
        command.allow_members({"do"});
    }
    return line;
}

}  // namespace

Command parse_command(const std::string& text, std::int64_t id) {
    const Json document = parse_strictly(text, "command");
    const Json line = read(LocatedJson(document, "command: $"), document, id);
    Command command;
    command.is_restart = line.at("do") == "restart";
    if (!command.is_restart) command.line = line.dump();
    return command;
}

}  // namespace vp
