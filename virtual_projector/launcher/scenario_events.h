// A scenario's events, handed to the world and to the fault plan at their times.
#ifndef VIRTUAL_PROJECTOR_LAUNCHER_SCENARIO_EVENTS_H
#define VIRTUAL_PROJECTOR_LAUNCHER_SCENARIO_EVENTS_H

#include <functional>

#include "virtual_projector/devices/fault_plan.h"
#include "virtual_projector/launcher/scenario.h"
#include "virtual_projector/world/world.h"

namespace vp {

/// Where events go. `at` runs something at a time, before any thread of the program runs at that time; `tell`
/// hears of events that the world does not tell by itself.
struct EventTargets {
    World& world;
    FaultPlan& faults;
    std::function<void(Microseconds, std::function<void()>)> at;
    std::function<void(Microseconds, const std::string&)> tell;
};

void schedule(const Scenario& scenario, const EventTargets& targets);

/// An event in words: its own, or made from what it does.
std::string words_of(const ScenarioEvent& event);

}  // namespace vp

#endif
