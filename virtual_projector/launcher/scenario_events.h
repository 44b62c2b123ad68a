// A scenario's events, handed to the world and to the fault plan at their times.
#ifndef VIRTUAL_PROJECTOR_LAUNCHER_SCENARIO_EVENTS_H
#define VIRTUAL_PROJECTOR_LAUNCHER_SCENARIO_EVENTS_H

#include <functional>
#include <memory>
#include <string>

#include "virtual_projector/devices/fault_plan.h"
#include "virtual_projector/launcher/scenario.h"
#include "virtual_projector/world/world.h"

namespace vp {

/// Where events go.
struct EventTargets {
    /// Runs something at a time, before any thread of the program runs at that time.
    std::function<void(Microseconds, std::function<void()>)> at;
    /// Lets something be done to the world, now.
    std::function<void(const std::function<void(World&)>&)> with_world;
    FaultPlan& faults;
    /// Hear of each event, in words, when it has happened.
    std::function<void(Microseconds, const std::string&)> log_world_event;
    std::function<void(Microseconds, const std::string&)> log_fault_event;
    /// Adds to what the program reads on standard input.
    std::function<void(const std::string&)> type = {};
};

/// Schedules each event once. Those that change the world at time 0 happen at once: the run begins with them.
/// At the same time what changes the world comes before what changes the faults.
void schedule(const Scenario& scenario, const std::shared_ptr<const EventTargets>& targets);
void schedule(const Scenario& scenario, EventTargets targets);

/// Schedules one more, later than now, while the run goes on.
void schedule_event(const ScenarioEvent& event, const std::shared_ptr<const EventTargets>& targets);

/// An event in words: its own, or made from what it does.
std::string words_of(const ScenarioEvent& event);

}  // namespace vp

#endif
