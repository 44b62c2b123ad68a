// A run that people watch and have a hand in, inside the program's process.
//
// Simulated time does not jump at once: before each jump the run waits until the pace has come so far, tells
// the launcher meanwhile how the world is, and takes commands. What somebody does becomes an event of the
// scenario at a microsecond of its own, between the present and whatever comes next, at which nothing else
// happens. A run of the same scenario with these events in it takes the same course, call by call, however fast
// it goes:
//
//     now            the event         next deadline
//      |-----------------|------------------|
//                        T    now < T < next; with no room for that it waits for the next gap
//
// The messages are lines of JSON. From the launcher:
//     {"do":"event","id":7,"event":{"gesture":"shake"}}      as in a scenario, without its time
//     {"do":"pause"} {"do":"resume"} {"do":"step","us":100000} {"do":"speed","value":10}
//     {"do":"end"}                                           as a limit of simulated time would
// To it:
//     {"kind":"state","t_us":1200,"speed":1,"paused":false,"truth":{...},...}   see world_state.h
//     {"kind":"event","id":7,"t_us":1201,"event":{"at_s":0.001201,"gesture":"shake"}}
//     {"kind":"record","record":{...}}                       a line of the trace
//     {"kind":"limit","t_us":5000}                           where it will end
//     {"kind":"end","t_us":5000}
#ifndef VIRTUAL_PROJECTOR_LIVE_LIVE_RUN_H
#define VIRTUAL_PROJECTOR_LIVE_LIVE_RUN_H

#include <atomic>
#include <deque>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "virtual_projector/launcher/scenario.h"
#include "virtual_projector/live/line_channel.h"
#include "virtual_projector/live/pace.h"
#include "virtual_projector/world/world.h"

namespace vp {

class LiveRun {
public:
    /// What it does to the run.
    struct Run {
        std::function<Microseconds()> now;
        std::function<World()> world;  // a copy
        std::function<void(const ScenarioEvent&)> schedule;
        std::function<void(Microseconds)> end_at;
        int signals = -1;  // readable when a signal for the program has come
    };

    /// Takes over the socket to the launcher.
    explicit LiveRun(int socket);
    LiveRun(const LiveRun&) = delete;
    LiveRun& operator=(const LiveRun&) = delete;

    /// The run begins.
    void begin(Run run);
    int descriptor() const { return channel_.descriptor(); }

    /// Holds back a jump of time to `next`; true: something is to come before it now, or a signal has come.
    bool hold(std::optional<Microseconds> next);
    /// True while time is held back. Asked for on any thread.
    bool is_holding() const { return is_holding_.load(); }

    /// A line of the trace that a person should see.
    void tell(const nlohmann::ordered_json& record);
    /// The run is over.
    void finish();

private:
    struct Pending {
        nlohmann::ordered_json event;  // null: the end
        std::int64_t id = 0;
        Microseconds not_before = 0;
    };

    void take_commands();
    void obey(const nlohmann::ordered_json& command);
    bool place_one(std::optional<Microseconds> next);
    void place(Pending pending, Microseconds time);
    void place_event(const Pending& pending, Microseconds time);
    bool await_something(std::optional<Microseconds> next);
    RealMicroseconds time_to_wait(std::optional<Microseconds> next, RealMicroseconds now) const;
    void tell_state_if_due(std::optional<Microseconds> next);
    void tell_state(Microseconds time);

    LineChannel channel_;
    Pace pace_;
    Run run_;
    std::deque<Pending> pending_;
    Microseconds granted_ = -1;  // the last event's time, to which it may go however the pace is
    RealMicroseconds state_due_ = 0;
    std::atomic<bool> is_holding_{false};
};

}  // namespace vp

#endif
