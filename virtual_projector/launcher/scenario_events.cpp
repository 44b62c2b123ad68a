#include "virtual_projector/launcher/scenario_events.h"

#include <sstream>

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

struct Scheduler {
    const ScenarioEvent& event;
    const EventTargets& targets;

    void in_world(Microseconds at, std::string what, std::function<void(World&)> action) const {
        targets.world.at(at, std::move(what), std::move(action));
        // The world acts when it is next looked at; this looks, and wakes whoever waits for a device.
        targets.at(at, [] {});
    }
    void operator()(const SetEvent& set) const {
        in_world(event.at, words_of(event), [set](World& world) { set_all(world, set.values); });
    }
    void operator()(const GestureEvent& gesture) const {
        in_world(event.at, words_of(event), [gesture](World& world) {
            world.begin({gesture.kind, gesture.duration, pose_after(world, gesture.to)});
        });
    }
    void operator()(const BlockEvent& blocked) const {
        in_world(event.at, words_of(event),
                 [blocked](World& world) { block(world, blocked, blocked.distance_mm); });
        if (!blocked.duration) return;
        in_world(event.at + *blocked.duration, "the way is free again",
                 [blocked](World& world) { block(world, blocked, 0); });
    }
    void operator()(const KeyPress& key) const {
        in_world(event.at, words_of(event), [key](World& world) { world.key(key.code, key.value); });
    }
    void operator()(const FaultRule& rule) const {
        const EventTargets to = targets;
        targets.at(event.at, [to, rule, at = event.at, what = words_of(event)] {
            to.faults.add(rule);
            to.tell(at, what);
        });
    }
    void operator()(const ClearFaults&) const {
        const EventTargets to = targets;
        targets.at(event.at, [to, at = event.at, what = words_of(event)] {
            to.faults.clear();
            to.tell(at, what);
        });
    }
};

}  // namespace

std::string words_of(const ScenarioEvent& event) {
    return event.what.empty() ? std::visit(Words{}, event.action) : event.what;
}

void schedule(const Scenario& scenario, const EventTargets& targets) {
    for (const FaultRule& rule : scenario.faults) targets.faults.add(rule);
    for (const ScenarioEvent& event : scenario.events) std::visit(Scheduler{event, targets}, event.action);
}

}  // namespace vp
