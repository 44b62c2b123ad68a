// What the viewers of a run are shown: the newest state, and everything that happened. Each viewer takes from
// here what is new to it as fast as it can; nobody waits for a viewer.
#ifndef VIRTUAL_PROJECTOR_LIVE_HUB_H
#define VIRTUAL_PROJECTOR_LIVE_HUB_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>

namespace vp {

class Hub {
public:
    using Json = nlohmann::ordered_json;
    using Clock = std::chrono::steady_clock;

    /// How far a viewer has come; a new one has seen nothing.
    struct Seen {
        std::uint64_t run = 0;
        std::uint64_t state = 0;
        std::uint64_t happenings = 0;
    };

    /// A run begins: of the one before nothing is shown any more. `about` is told to each viewer at first.
    void begin_run(const Json& about);
    void show_state(Json state);
    void show_happening(Json happening);
    void show_end(const Json& end);
    bool has_ended() const;
    /// Simulated time as last heard.
    std::int64_t time_us() const;

    /// No viewer waits any longer.
    void close();
    bool is_closed() const;

    /// Waits until there is something new for this viewer, or that time.
    bool wait_for_news(const Seen& seen, Clock::time_point until) const;
    /// All that is new to the viewer, in one object:
    ///     {"run":{...about...},"curves":[[...]],   of a run that it has not seen yet
    ///      "state":{...},                          the newest, none in between
    ///      "happenings":[...],"missed":N,          the last ones; N more are kept no longer
    ///      "end":{"exit_code":0}}                  and "limit_s" of a run that was ended from the page
    Json news_for(Seen& seen) const;

private:
    bool has_news(const Seen& seen) const;

    mutable std::mutex lock_;
    mutable std::condition_variable changed_;
    bool closed_ = false;
    std::uint64_t run_ = 0;
    Json about_;
    std::uint64_t states_ = 0;
    Json state_;
    std::deque<Json> curves_;
    std::uint64_t first_happening_ = 0;  // number of the first one that is kept
    std::deque<Json> happenings_;
    Json end_;
};

}  // namespace vp

#endif
