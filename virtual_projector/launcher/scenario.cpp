#include "virtual_projector/launcher/scenario.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <limits>
#include <nlohmann/json.hpp>

#include "virtual_projector/launcher/located_json.h"
#include "virtual_projector/launcher/parameter_files.h"
#include "virtual_projector/launcher/strict_json.h"
#include "virtual_projector/world/fnv1a.h"
#include "virtual_projector/world/parameters.h"

namespace vp {
namespace {

constexpr double longest_s = 10.0 * 24 * 3600;
constexpr std::int64_t any_seed = std::numeric_limits<std::int64_t>::max();

// The C library's name of each number is one; these are the second ones.
constexpr std::array<std::pair<std::string_view, int>, 4> errno_aliases = {{
    {"EWOULDBLOCK", EWOULDBLOCK},
    {"EDEADLOCK", EDEADLOCK},
    {"ENOTSUP", ENOTSUP},
    {"EOPNOTSUPP", EOPNOTSUPP},
}};

// Some numbers of the range have no name.
int read_errno(const LocatedJson& json) {
    constexpr int max_errno = 4095;  // as many as a Linux system call can return
    const std::string name = json.text();
    for (int number = 1; number <= max_errno; ++number) {
        const char* const known = ::strerrorname_np(number);
        if (known != nullptr && name == known) return number;
    }
    for (const auto& [alias, number] : errno_aliases) {
        if (name == alias) return number;
    }
    json.fail("the name of an errno, as EIO");
}

Microseconds read_seconds(const LocatedJson& json) { return microseconds(json.number(0, longest_s)); }

// Members of the pose without their "pose." prefix.
ParameterValues read_pose(const LocatedJson& json) {
    ParameterValues values;
    for (const auto& [name, value] : json.members()) read_parameter("pose." + name, value, values);
    return values;
}

FaultEffect read_effect(const LocatedJson& json) {
    FaultEffect effect;
    if (json.has("delay_ms")) effect.delay_us = microseconds(json.member("delay_ms").number(0, 1e6) / 1000);
    if (json.has("error")) effect.error_number = read_errno(json.member("error"));
    if (json.has("short_count"))
        effect.short_count = static_cast<long>(json.member("short_count").whole_number(0, 4096));
    if (json.has("garbage")) effect.garbage = json.member("garbage").text();
    if (json.has("stale")) effect.stale = json.member("stale").boolean();
    if (effect.is_harmless()) json.fail("a fault with error, short_count, garbage, stale or delay_ms");
    return effect;
}

std::string read_operation(const LocatedJson& json) {
    return json.one_of({"open", "read", "write", "ioctl", "close", "call", "pthread_create"});
}

FaultRule read_fault(const LocatedJson& json) {
    json.allow_members(
        {"operation", "path", "nth", "probability", "error", "short_count", "garbage", "stale", "delay_ms"});
    FaultRule rule;
    if (json.has("operation")) rule.operation = read_operation(json.member("operation"));
    if (json.has("path")) rule.path = json.member("path").text();
    if (json.has("nth")) rule.nth = static_cast<int>(json.member("nth").whole_number(0, 1000000));
    if (json.has("probability")) rule.probability = json.member("probability").number(0, 1);
    rule.effect = read_effect(json);
    return rule;
}

GestureEvent read_gesture(const LocatedJson& json) {
    GestureEvent event;
    event.kind = *gesture_named(json.member("gesture").one_of(gesture_names()));
    event.duration = json.has("for_s") ? read_seconds(json.member("for_s")) : usual_duration(event.kind);
    if (json.has("to")) event.to = read_pose(json.member("to"));
    if (json.has("strength_g")) event.strength_g = json.member("strength_g").number(0, 2);
    return event;
}

BlockEvent read_block(const LocatedJson& json) {
    BlockEvent event;
    for (const LocatedJson& zone : json.member("block").elements()) {
        event.zones.push_back(zone.text());
        if (find_parameter("tof.blocked_" + event.zones.back() + "_mm") == nullptr)
            zone.fail("tr, br, tl or bl");
    }
    event.distance_mm = json.member("distance_mm").number(1, 20000);
    if (json.has("for_s")) event.duration = read_seconds(json.member("for_s"));
    return event;
}

KeyPress read_key(const LocatedJson& json) {
    KeyPress key;
    key.code = static_cast<std::uint16_t>(json.member("key").whole_number(0, 65535));
    if (json.has("value")) key.value = static_cast<std::int32_t>(json.member("value").whole_number(0, 2));
    return key;
}

std::string read_line(const LocatedJson& json) {
    constexpr std::size_t longest = 1000;
    const std::string line = json.text();
    if (line.size() > longest || line.find('\n') != std::string::npos)
        json.fail("one line of at most 1000 bytes");
    return line;
}

using Action = decltype(ScenarioEvent::action);

// What kind an event is, is said by one member; the others that may stand beside it belong to that kind.
Action read_action(const LocatedJson& json) {
    if (json.has("set")) {
        json.allow_members({"at_s", "what", "set"});
        return SetEvent{read_parameters(json.member("set"))};
    }
    if (json.has("gesture")) {
        json.allow_members({"at_s", "what", "gesture", "to", "for_s", "strength_g"});
        return read_gesture(json);
    }
    if (json.has("block")) {
        json.allow_members({"at_s", "what", "block", "distance_mm", "for_s"});
        return read_block(json);
    }
    if (json.has("key")) {
        json.allow_members({"at_s", "what", "key", "value"});
        return read_key(json);
    }
    if (json.has("fault")) {
        json.allow_members({"at_s", "what", "fault"});
        return read_fault(json.member("fault"));
    }
    if (json.has("type")) {
        json.allow_members({"at_s", "what", "type"});
        return TypeEvent{read_line(json.member("type"))};
    }
    if (!json.has("clear_faults"))
        json.fail("an event with set, gesture, block, key, type, fault or clear_faults");
    json.allow_members({"at_s", "what", "clear_faults"});
    if (!json.member("clear_faults").boolean()) json.member("clear_faults").fail("true");
    return ClearFaults{};
}

// As much as a pipe holds of what nobody reads yet.
std::string read_typed(const LocatedJson& json) {
    constexpr std::size_t longest = 30000;
    const std::string text = json.text();
    if (text.size() > longest) json.fail("a text of at most 30000 bytes");
    return text;
}

// Of a file that is looked for when the run begins.
std::string read_name(const LocatedJson& json) {
    if (json.text().empty()) json.fail("a name or a file");
    return json.text();
}

ScenarioEvent read_event(const LocatedJson& json) {
    ScenarioEvent event;
    event.at = read_seconds(json.member("at_s"));
    if (json.has("what")) event.what = json.member("what").text();
    event.action = read_action(json);
    return event;
}

Scenario read_document(const LocatedJson& json) {
    json.allow_members(
        {"story", "seed", "unit_seed", "unit", "world", "set", "faults", "events", "standard_input"});
    Scenario scenario;
    if (json.has("story")) scenario.story = json.member("story").text();
    if (json.has("seed"))
        scenario.seed = static_cast<std::uint64_t>(json.member("seed").whole_number(0, any_seed));
    if (json.has("unit_seed")) {
        scenario.unit_seed = static_cast<std::uint64_t>(json.member("unit_seed").whole_number(0, any_seed));
    }
    if (json.has("unit")) scenario.unit = read_name(json.member("unit"));
    if (json.has("world")) scenario.world = read_name(json.member("world"));
    if (json.has("set")) scenario.parameters = read_parameters(json.member("set"));
    if (json.has("faults")) {
        for (const LocatedJson& fault : json.member("faults").elements())
            scenario.faults.push_back(read_fault(fault));
    }
    if (json.has("standard_input")) scenario.standard_input = read_typed(json.member("standard_input"));
    if (json.has("events")) {
        for (const LocatedJson& event : json.member("events").elements())
            scenario.events.push_back(read_event(event));
    }
    return scenario;
}

}  // namespace

const char* scenario_format() {
    return R"(Scenario files are JSON objects; every member may be left out:
  "story": TEXT             what it is about, in one line
  "seed": N                 as --seed
  "unit_seed": N            draws a unit's manufacturing spread; the standard unit without it
  "unit": NAME              the spread that it is drawn from, as --unit
  "world": NAME             what the room is like, as --world
  "set": {NAME: VALUE}      parameters at the start
  "faults": [FAULT]         from the start
  "standard_input": TEXT    what PROGRAM reads there at first
  "events": [EVENT]         each an object with "at_s": SECONDS, perhaps "what": TEXT, and one of
    "set": {NAME: VALUE}
    "gesture": KIND         pick_up, carry, set_down, tilt, shake, slow_shake, turn_over, hang, bump or slide; perhaps )"
           R"(with "to": {MEMBER OF THE POSE: VALUE}, "for_s": SECONDS and of a bump "strength_g": G
    "block": [ZONE]         tr, br, tl, bl; with "distance_mm": MM and perhaps "for_s": SECONDS
    "key": CODE             perhaps with "value": 1 pressed, 0 released, 2 repeated
    "type": LINE            of what PROGRAM reads on standard input, which is the scenario's alone then
    "fault": FAULT
    "clear_faults": true
A FAULT hits calls by "operation" (open, read, write, ioctl, close, call, pthread_create), "path" (a node, or a )"
           R"(function; * at its end for all that begin so), "nth" and "probability", and does one of )"
           R"("error": ERRNO-NAME, "short_count": N, "garbage": TEXT, "stale": true; "delay_ms": MS may stand beside or alone.
)";
}

std::string digest_of(const std::string& text) {
    char digest[40];
    std::snprintf(digest, sizeof digest, "fnv1a64:%016" PRIx64, fnv1a64(text));
    return digest;
}

Scenario parse_scenario(const std::string& text, const std::string& name) {
    const nlohmann::ordered_json document = parse_strictly(text, name);
    Scenario scenario = read_document(LocatedJson(document, name + ": $"));
    scenario.digest = digest_of(text);
    return scenario;
}

ScenarioEvent parse_event(const std::string& text, const std::string& name) {
    const nlohmann::ordered_json document = parse_strictly(text, name);
    return read_event(LocatedJson(document, name + ": $"));
}

bool Scenario::types() const {
    return standard_input || std::any_of(events.begin(), events.end(), [](const ScenarioEvent& event) {
               return std::holds_alternative<TypeEvent>(event.action);
           });
}

Scenario read_scenario(const std::string& path) {
    Scenario scenario = parse_scenario(read_input_file(path, "scenario"), path);
    scenario.folder = std::filesystem::path(path).parent_path().string();
    return scenario;
}

}  // namespace vp
