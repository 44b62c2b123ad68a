#include "virtual_projector/live/hub.h"

#include <algorithm>
#include <utility>

namespace vp {
namespace {

constexpr std::size_t kept_happenings = 400;
constexpr std::size_t kept_curve_points = 1200;  // of a minute, 20 a second

// What the curves of the last minute need of a state.
Hub::Json curve_point(const Hub::Json& state) {
    const Hub::Json& truth = state.at("truth");
    return {state.at("t_us"),        truth.at("lens_tmr"),      truth.at("best_tmr"),
            truth.at("sharpness"),   truth.at("left_side_deg"), truth.at("right_side_deg"),
            truth.at("distance_mm"), truth.at("pitch_deg"),     truth.at("led_c")};
}

}  // namespace

void Hub::begin_run(const Json& about) {
    {
        const std::lock_guard<std::mutex> lock(lock_);
        ++run_;
        about_ = about;
        states_ = 0;
        state_ = nullptr;
        curves_.clear();
        first_happening_ = 0;
        happenings_.clear();
        end_ = nullptr;
    }
    changed_.notify_all();
}

void Hub::show_state(Json state) {
    {
        const std::lock_guard<std::mutex> lock(lock_);
        curves_.push_back(curve_point(state));
        if (curves_.size() > kept_curve_points) curves_.pop_front();
        state_ = std::move(state);
        ++states_;
    }
    changed_.notify_all();
}

void Hub::show_happening(Json happening) {
    {
        const std::lock_guard<std::mutex> lock(lock_);
        happenings_.push_back(std::move(happening));
        if (happenings_.size() > kept_happenings) {
            happenings_.pop_front();
            ++first_happening_;
        }
    }
    changed_.notify_all();
}

void Hub::show_end(const Json& end) {
    {
        const std::lock_guard<std::mutex> lock(lock_);
        end_ = end;
        ++states_;
    }
    changed_.notify_all();
}

bool Hub::has_ended() const {
    const std::lock_guard<std::mutex> lock(lock_);
    return !end_.is_null();
}

std::int64_t Hub::time_us() const {
    const std::lock_guard<std::mutex> lock(lock_);
    return state_.is_null() ? 0 : state_.at("t_us").get<std::int64_t>();
}

void Hub::close() {
    {
        const std::lock_guard<std::mutex> lock(lock_);
        closed_ = true;
    }
    changed_.notify_all();
}

bool Hub::is_closed() const {
    const std::lock_guard<std::mutex> lock(lock_);
    return closed_;
}

bool Hub::has_news(const Seen& seen) const {
    return seen.run != run_ || seen.state != states_ ||
           seen.happenings != first_happening_ + happenings_.size();
}

bool Hub::wait_for_news(const Seen& seen, Clock::time_point until) const {
    std::unique_lock<std::mutex> lock(lock_);
    return changed_.wait_until(lock, until, [&] { return closed_ || has_news(seen); });
}

Hub::Json Hub::news_for(Seen& seen) const {
    const std::lock_guard<std::mutex> lock(lock_);
    Json news = Json::object();
    if (seen.run != run_) {
        news["run"] = about_;
        news["curves"] = curves_;
        seen = {run_, 0, 0};
    }
    if (seen.state != states_ && !state_.is_null()) news["state"] = state_;
    seen.state = states_;
    const std::uint64_t first = std::max(seen.happenings, first_happening_);
    if (first > seen.happenings) news["missed"] = first - seen.happenings;
    Json happenings = Json::array();
    for (std::size_t i = first - first_happening_; i < happenings_.size(); ++i)
        happenings.push_back(happenings_[i]);
    if (!happenings.empty()) news["happenings"] = std::move(happenings);
    seen.happenings = first_happening_ + happenings_.size();
    if (!end_.is_null()) news["end"] = end_;
    return news;
}

}  // namespace vp
