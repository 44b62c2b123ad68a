// A scenario: how the unit stands and what it is like at the start, and what happens when.
#ifndef VIRTUAL_PROJECTOR_LAUNCHER_SCENARIO_H
#define VIRTUAL_PROJECTOR_LAUNCHER_SCENARIO_H

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "virtual_projector/devices/fault_plan.h"
#include "virtual_projector/world/hand.h"
#include "virtual_projector/world/microseconds.h"
#include "virtual_projector/world/settings.h"

namespace vp {

/// Parameters by name, in their order.
using ParameterValues = std::vector<std::pair<std::string, double>>;

/// Parameters that change at once.
struct SetEvent {
    ParameterValues values;
};

/// Somebody's hand: `to` holds those members of the pose ("distance_mm", ...) that the gesture ends at; the
/// others stay as they are when it begins.
struct GestureEvent {
    GestureKind kind = GestureKind::carry;
    Microseconds duration = 0;
    ParameterValues to;
    double strength_g = usual_bump_g;  // of a bump
};

/// Something stands before ToF zones ("tr", "br", "tl", "bl") for a while; without an end, for good.
struct BlockEvent {
    std::vector<std::string> zones;
    double distance_mm = 0;
    std::optional<Microseconds> duration;
};

struct KeyPress {
    std::uint16_t code = 0;
    std::int32_t value = 1;
};

struct ClearFaults {};

struct ScenarioEvent {
    Microseconds at = 0;
    std::string what;  // in words
    std::variant<SetEvent, GestureEvent, BlockEvent, KeyPress, FaultRule, ClearFaults> action;
};

struct Scenario {
    std::string story;  // one line
    std::optional<std::uint64_t> seed;
    std::optional<std::uint64_t> unit_seed;  // draws a unit's manufacturing spread
    ParameterValues parameters;
    std::vector<FaultRule> faults;
    std::vector<ScenarioEvent> events;
};

/// What may stand in a scenario file, for people who write one.
const char* scenario_format();

/// Reads a scenario file. Throws LocatedError with one line that names the file, the place in it and what
/// was expected there.
Scenario read_scenario(const std::string& path);

/// The same from text; `name` stands for the file in messages.
Scenario parse_scenario(const std::string& text, const std::string& name);

}  // namespace vp

#endif
