#include "virtual_projector/launcher/scenario_events.h"

#include <memory>
#include <sstream>
#include <utility>
#include <variant>

#include "virtual_projector/world/parameters.h"

namespace vp {
namespace {

std::string words(const ParameterValues& values) {
    std::ostringstream text;
    for (const auto& [name, value] : values) text << (text.tellp() > 0 ? ", " : "") << name << " = " << value;
    return text.str();
}

// One overload for each kind of event.
struct Words {
    std::string operator()(const SetEvent& event) const { return words(event.values); }
    std::string operator()(const GestureEvent& event) const {
        return std::string("hand: ") + gesture_name(event.kind) + (event.to.empty() ? "" : " to ") +
               words(event.to);
    }
    std::string operator()(const BlockEvent& event) const {
        std::ostringstream text;
        text << "something stands at " << event.distance_mm << " mm before";
        for (const std::string& zone : event.zones) text << " " << zone;
        return text.str();
    }
    std::string operator()(const KeyPress& key) const { return "key " + std::to_string(key.code); }
    std::string operator()(const FaultRule& rule) const { return "fault: " + rule.operation + " " + rule.path; }
    std::string operator()(const ClearFaults&) const { return "faults are gone"; }
    std::string operator()(const TypeEvent& event) const { return "typed: " + event.line; }
};

void set_all(World& world, const ParameterValues& values) {
    for (const auto& [name, value] : values) world.set(name, value);
}

Pose pose_after(const World& world, const ParameterValues& to) {
    Settings settings = world.settings();
    for (const auto& [name, value] : to) set_parameter(settings, name, value);
    return settings.pose;
}

void block(World& world, const BlockEvent& event, double distance_mm) {
    for (const std::string& zone : event.zones) world.set("tof.blocked_" + zone + "_mm", distance_mm);
}

// Does the event. One overload for each kind.
struct Happening {
    const EventTargets& targets;

    void operator()(const SetEvent& set) const {
        targets.with_world([&](World& world) { set_all(world, set.values); });
    }
    void operator()(const GestureEvent& gesture) const {
        targets.with_world([&](World& world) {
            world.begin({gesture.kind, gesture.duration, pose_after(world, gesture.to), gesture.strength_g});
        });
    }
    void operator()(const BlockEvent& blocked) const {
        targets.with_world([&](World& world) { block(world, blocked, blocked.distance_mm); });
    }
    void operator()(const KeyPress& key) const {
        targets.with_world([&](World& world) { world.key(key.code, key.value); });
    }
    void operator()(const FaultRule& rule) const { targets.faults.add(rule); }
    void operator()(const ClearFaults&) const { targets.faults.clear(); }
    void operator()(const TypeEvent& event) const {
        if (targets.type) targets.type(event.line + "\n");
    }
};

bool changes_faults(const ScenarioEvent& event) {
    return std::holds_alternative<FaultRule>(event.action) || std::holds_alternative<ClearFaults>(event.action);
}

using Targets = std::shared_ptr<const EventTargets>;

void schedule_fault_event(const ScenarioEvent& event, const Targets& targets) {
    targets->at(event.at, [event, targets] {
        std::visit(Happening{*targets}, event.action);
        targets->log_fault_event(event.at, words_of(event));
    });
}

void schedule_world_change(Microseconds at, std::function<void()> change, const Targets& targets) {
    if (at > 0) {
        targets->at(at, std::move(change));
    } else {
        change();
    }
}

void schedule_world_event(const ScenarioEvent& event, const Targets& targets) {
    schedule_world_change(
        event.at,
        [event, targets] {
            std::visit(Happening{*targets}, event.action);
            targets->log_world_event(event.at, words_of(event));
        },
        targets);
    const auto* const blocked = std::get_if<BlockEvent>(&event.action);
    if (blocked == nullptr || !blocked->duration) return;
    schedule_world_change(
        event.at + *blocked->duration,
        [blocked = *blocked, end = event.at + *blocked->duration, targets] {
            targets->with_world([&](World& world) { block(world, blocked, 0); });
            targets->log_world_event(end, "the way is free again");
        },
        targets);
}

}  // namespace

std::string words_of(const ScenarioEvent& event) {
    return event.what.empty() ? std::visit(Words{}, event.action) : event.what;
}

void schedule_event(const ScenarioEvent& event, const Targets& targets) {
    if (changes_faults(event)) {
        schedule_fault_event(event, targets);
    } else {
        schedule_world_event(event, targets);
    }
}

void schedule(const Scenario& scenario, const Targets& targets) {
    for (const FaultRule& rule : scenario.faults) targets->faults.add(rule);
    for (const ScenarioEvent& event : scenario.events) {
        if (!changes_faults(event)) schedule_world_event(event, targets);
    }
    for (const ScenarioEvent& event : scenario.events) {
        if (changes_faults(event)) schedule_fault_event(event, targets);
    }
}

void schedule(const Scenario& scenario, EventTargets targets) {
    schedule(scenario, std::make_shared<const EventTargets>(std::move(targets)));
}

}  // namespace vp
