// A scenario: how the unit stands and what it is like at the start, and what happens when.
#ifndef VIRTUAL_PROJECTOR_LAUNCHER_SCENARIO_H
#define VIRTUAL_PROJECTOR_LAUNCHER_SCENARIO_H

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "virtual_projector/devices/fault_plan.h"
#include "virtual_projector/world/hand.h"
#include "virtual_projector/world/microseconds.h"
#include "virtual_projector/world/parameters.h"

namespace vp {

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

/// Somebody types a line where the program reads its standard input.
struct TypeEvent {
    std::string line;  // without its newline
};

struct ScenarioEvent {
    Microseconds at = 0;
    std::string what;  // in words
    std::variant<SetEvent, GestureEvent, BlockEvent, KeyPress, FaultRule, ClearFaults, TypeEvent> action;
};

struct Scenario {
    std::string story;  // one line
    std::optional<std::uint64_t> seed;
    std::optional<std::uint64_t> unit_seed;  // draws a unit's manufacturing spread
    std::string unit;                        // name or file of the spread; empty: the standard one
    std::string world;                       // name or file; empty: the laboratory
    std::string folder;                      // where the files that it names are looked for
    std::string digest;                      // of its text, "fnv1a64:" and 16 hexadecimal digits
    ParameterValues parameters;
    std::vector<FaultRule> faults;
    std::vector<ScenarioEvent> events;
    std::optional<std::string> standard_input;  // what stands there at the start; none: the launcher's own

    /// True when the program's standard input is what this scenario says, and nobody else's.
    bool types() const;
};

/// What may stand in a scenario file, for people who write one.
const char* scenario_format();

/// The digest of a file's text, "fnv1a64:" and 16 hexadecimal digits.
std::string digest_of(const std::string& text);

/// Reads a scenario file. Throws LocatedError with one line that names the file, the place in it and what
/// was expected there.
Scenario read_scenario(const std::string& path);

/// The same from text; `name` stands for the file in messages.
Scenario parse_scenario(const std::string& text, const std::string& name);

/// One event from text, as it stands in a file's "events".
ScenarioEvent parse_event(const std::string& text, const std::string& name);

}  // namespace vp

#endif
