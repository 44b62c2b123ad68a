#include "virtual_projector/live/live_run.h"

#include <poll.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <utility>

#include "virtual_projector/clock/reentrancy_guard.h"
#include "virtual_projector/launcher/located_json.h"
#include "virtual_projector/live/world_state.h"

namespace vp {
namespace {

using Json = nlohmann::ordered_json;

constexpr RealMicroseconds state_interval = 66000;
// After somebody has done something their hand has moved so far that it is seen.
constexpr RealMicroseconds seen_after = 6000;
constexpr std::size_t max_unsent = 1 << 20;
constexpr RealMicroseconds longest_farewell = 1000000;

RealMicroseconds real_now() {
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

timespec timespec_of(RealMicroseconds time) {
    return {static_cast<time_t>(time / microseconds_per_second),
            static_cast<long>(time % microseconds_per_second) * 1000};
}

// What blocks the way for a while becomes two events: the second one's time would else be taken before its
// turn.
Json without_duration(Json event) {
    event.erase("for_s");
    return event;
}

Json way_is_free_again(const Json& event) {
    Json values = Json::object();
    for (const Json& zone : event.at("block")) values["tof.blocked_" + zone.get<std::string>() + "_mm"] = 0;
    return {{"set", values}, {"what", "the way is free again"}};
}

bool blocks_for_a_while(const Json& event) { return event.contains("block") && event.contains("for_s"); }

}  // namespace

LiveRun::LiveRun(int socket) : channel_(socket), pace_(real_now()) {}

void LiveRun::begin(Run run) {
    run_ = std::move(run);
    pace_ = Pace(real_now());
}

// --- Holding time ----------------------------------------------------------------------------------------

bool LiveRun::hold(std::optional<Microseconds> next) {
    const ReentrancyGuard guard;
    for (;;) {
        take_commands();
        if (place_one(next)) return true;
        tell_state_if_due(next);
        const RealMicroseconds now = real_now();
        if (next && (*next <= granted_ || *next <= pace_.reached_at(now))) {
            pace_.note_delay(*next, now);
            return false;
        }
        is_holding_ = true;
        const bool signal_has_come = await_something(next);
        is_holding_ = false;
        if (signal_has_come) return true;
    }
}

bool LiveRun::await_something(std::optional<Microseconds> next) {
    std::array<pollfd, 2> sources{};
    sources[0] = {run_.signals, POLLIN, 0};
    sources[1] = {channel_.is_open() ? channel_.descriptor() : -1, POLLIN, 0};
    if (channel_.unsent() > 0) sources[1].events |= POLLOUT;
    const timespec longest = timespec_of(time_to_wait(next, real_now()));
    (void)::ppoll(sources.data(), sources.size(), &longest, nullptr);
    channel_.flush();
    return sources[0].revents != 0;
}

RealMicroseconds LiveRun::time_to_wait(std::optional<Microseconds> next, RealMicroseconds now) const {
    RealMicroseconds longest = std::max<RealMicroseconds>(state_due_ - now, 0);
    const auto shorten_to = [&](Microseconds time) {
        const std::optional<RealMicroseconds> wait = pace_.wait_until(time, now);
        if (wait) longest = std::min(longest, *wait);
    };
    if (next) shorten_to(*next);
    for (const Pending& pending : pending_) {
        if (pending.not_before > run_.now()) shorten_to(pending.not_before);
    }
    return longest;
}

// --- Commands --------------------------------------------------------------------------------------------

void LiveRun::take_commands() {
    for (const std::string& line : channel_.receive()) obey(Json::parse(line));
}

void LiveRun::obey(const Json& command) {
    const auto what = command.at("do").get<std::string>();
    const RealMicroseconds now = real_now();
    if (what != "event") state_due_ = now;
    if (what == "event") {
        pending_.push_back({command.at("event"), command.value("id", std::int64_t{0}), 0});
    } else if (what == "end") {
        pending_.push_back({nullptr, 0, 0});
    } else if (what == "pause") {
        pace_.pause(now);
    } else if (what == "resume") {
        pace_.resume(now);
    } else if (what == "step") {
        pace_.step(command.at("us").get<Microseconds>(), now);
    } else if (what == "speed") {
        pace_.set_speed(command.at("value").get<double>(), now);
    }
}

// One at a time: the next one comes after it.
bool LiveRun::place_one(std::optional<Microseconds> next) {
    const Microseconds now = run_.now();
    const bool one_is_to_come = granted_ > now;
    const bool has_room = !next || *next - now >= 2;
    if (one_is_to_come || !has_room) return false;
    const Microseconds reached = pace_.reached_at(real_now());
    const auto ready = std::find_if(pending_.begin(), pending_.end(), [&](const Pending& pending) {
        return pending.not_before <= std::max(reached, now);
    });
    if (ready == pending_.end()) return false;
    Pending pending = std::move(*ready);
    pending_.erase(ready);
    const Microseconds latest = next ? *next - 1 : std::max(reached, now + 1);
    place(std::move(pending), std::clamp(reached, now + 1, latest));
    return true;
}

void LiveRun::place(Pending pending, Microseconds time) {
    granted_ = time;
    if (pending.event.is_null()) {
        channel_.send(Json{{"kind", "limit"}, {"t_us", time}}.dump());
        run_.end_at(time);
        return;
    }
    if (blocks_for_a_while(pending.event)) {
        const Microseconds end = time + microseconds(pending.event.at("for_s").get<double>());
        pending_.push_back({way_is_free_again(pending.event), 0, end});
        pending.event = without_duration(pending.event);
    }
    place_event(pending, time);
}

// What goes into the saved scenario is read here just as it will be from there.
void LiveRun::place_event(const Pending& pending, Microseconds time) {
    Json event = {{"at_s", seconds(time)}};
    event.update(pending.event);
    Json answer = {{"id", pending.id}, {"t_us", time}};
    try {
        run_.schedule(parse_event(event.dump(), "command"));
        answer["kind"] = "event";
        answer["event"] = std::move(event);
    } catch (const LocatedError& mistake) {
        answer["kind"] = "refused";
        answer["why"] = mistake.what();
        granted_ = -1;
    }
    channel_.send(answer.dump());
    const bool is_gesture = pending.event.contains("gesture") && !pace_.is_paused();
    state_due_ = is_gesture ? std::min(state_due_, real_now() + seen_after) : 0;
}

// --- Telling ---------------------------------------------------------------------------------------------

void LiveRun::tell(const Json& record) {
    const ReentrancyGuard guard;
    constexpr auto replace = Json::error_handler_t::replace;
    if (channel_.unsent() < max_unsent)
        channel_.send(Json{{"kind", "record"}, {"record", record}}.dump(-1, ' ', false, replace));
}

void LiveRun::tell_state_if_due(std::optional<Microseconds> next) {
    const RealMicroseconds now = real_now();
    if (now < state_due_ || granted_ > run_.now()) return;
    const Microseconds reached = std::max(run_.now(), pace_.reached_at(now));
    tell_state(next ? std::min(*next, reached) : reached);
    state_due_ = now + state_interval;
}

// Whoever does not take the states gets the newest one when they do.
void LiveRun::tell_state(Microseconds time) {
    channel_.flush();
    if (channel_.unsent() > 0) return;
    World world = run_.world();
    world.advance_to(time);
    Json state = {{"kind", "state"}, {"t_us", time}, {"speed", pace_.speed()}, {"paused", pace_.is_paused()}};
    state.update(state_of(world));
    channel_.send(state.dump());
}

void LiveRun::finish() {
    const ReentrancyGuard guard;
    if (!run_.now) return;
    tell_state(run_.now());
    channel_.send(Json{{"kind", "end"}, {"t_us", run_.now()}}.dump());
    const RealMicroseconds last = real_now() + longest_farewell;
    while (channel_.is_open() && channel_.unsent() > 0 && real_now() < last) {
        pollfd launcher = {channel_.descriptor(), POLLOUT, 0};
        const timespec longest = timespec_of(last - std::min(real_now(), last));
        (void)::ppoll(&launcher, 1, &longest, nullptr);
        channel_.flush();
    }
}

}  // namespace vp
