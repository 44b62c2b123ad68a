#include "virtual_projector/report/lanes.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace vp {
namespace {

// "ioctl /dev/dis GET_SCREEN", "lock mutex_focus", "nx_cal_pc"
std::string words_of(const CallAt& call) {
    if (call.call == "call") return call.path;
    std::string words = call.call;
    if (!call.path.empty()) words += " " + call.path;
    if (call.path.empty() && call.call == "lock") words += " of no name";
    if (!call.request_name.empty()) words += " " + call.request_name;
    return words;
}

// "wait for condition key_pressed", "wait for semaphore 1", "wait for pipe", "wait for a signal"
std::string words_of(const WaitLine& wait) {
    if (wait.path.empty()) return "wait for a " + wait.wait;
    const bool names_its_kind = wait.path.compare(0, wait.wait.size(), wait.wait) == 0;
    if (names_its_kind || wait.wait == "descriptor") return "wait for " + wait.path;
    return "wait for " + wait.wait + " " + wait.path;
}

// A lock that is held for the whole of a call is told after it.
bool is_outer(const Slice& a, const Slice& b) {
    if (a.begin_us != b.begin_us) return a.begin_us < b.begin_us;
    if (a.end_us != b.end_us) return a.end_us > b.end_us;
    return a.kind == SliceKind::hold && b.kind != SliceKind::hold;
}

// The rest of what is open at a time in one row.
class Row {
public:
    bool takes(const Slice& slice) {
        while (!open_.empty() && open_.back() <= slice.begin_us) open_.pop_back();
        if (!open_.empty() && slice.end_us > open_.back()) return false;
        open_.push_back(slice.end_us);
        slices.push_back(slice);
        return true;
    }
    std::vector<Slice> slices;

private:
    std::vector<std::int64_t> open_;  // the ends
};

bool may_be_merged(const Slice& slice, std::int64_t longest_us) {
    const bool is_plain = slice.kind == SliceKind::wait || slice.kind == SliceKind::call;
    return is_plain && slice.end_us - slice.begin_us <= longest_us;
}

// By their begins; those that follow one another at once become one.
std::vector<Slice> merged(const std::vector<Slice>& slices, std::int64_t longest_us) {
    std::vector<Slice> fewer;
    bool last_merges = false;
    std::int64_t piece_us = 0;  // the longest one of the last
    for (const Slice& slice : slices) {
        const std::int64_t took_us = slice.end_us - slice.begin_us;
        const bool merges = may_be_merged(slice, longest_us);
        if (merges && last_merges && slice.begin_us - fewer.back().end_us <= longest_us) {
            Slice& last = fewer.back();
            last.end_us = std::max(last.end_us, slice.end_us);
            if (took_us > piece_us) std::tie(last.kind, last.what) = std::tie(slice.kind, slice.what);
            piece_us = std::max(piece_us, took_us);
        } else {
            fewer.push_back(slice);
            piece_us = took_us;
        }
        last_merges = merges;
    }
    return fewer;
}

}  // namespace

const char* slice_kind_name(SliceKind kind) {
    switch (kind) {
        case SliceKind::wait:
            return "wait";
        case SliceKind::call:
            return "call";
        case SliceKind::hold:
            return "hold";
        case SliceKind::callback:
            break;
    }
    return "callback";
}

Lane& LaneCollector::lane(int thread, const std::string& name) {
    Lane& lane = lanes_[thread];
    lane.thread = thread;
    if (lane.name.empty()) lane.name = name;
    return lane;
}

void LaneCollector::add(Lane& lane, SliceKind kind, const std::string& what, std::int64_t begin_us,
                        std::int64_t end_us) {
    const auto [found, is_new] = numbers_.emplace(what, static_cast<std::uint32_t>(names_.size()));
    if (is_new) names_.push_back(what);
    lane.slices.push_back(
        {std::max<std::int64_t>(begin_us, 0), std::max(end_us, begin_us), found->second, kind});
}

// A sleep is told when it begins; a signal may end it before its time.
void LaneCollector::wake(int thread, std::int64_t t_us) {
    const auto found = sleeping_.find(thread);
    if (found == sleeping_.end()) return;
    const auto [begin_us, end_us] = found->second;
    sleeping_.erase(found);
    add(lanes_[thread], SliceKind::wait, "sleep", begin_us, std::max(begin_us, std::min(end_us, t_us)));
}

void LaneCollector::take_call(const CallAt& call) {
    Lane& own = lane(call.thread, call.thread_name);
    const std::int64_t took_us = std::clamp<std::int64_t>(call.took_us, 0, call.t_us);
    wake(call.thread, call.t_us - took_us);
    if (call.call == "sleep") {
        if (took_us > 0) {
            add(own, SliceKind::wait, "sleep", call.t_us - took_us, call.t_us);
        } else {
            sleeping_[call.thread] = {call.t_us,
                                      call.t_us + std::clamp<std::int64_t>(call.us, 0, INT64_MAX / 4)};
        }
    } else if (call.call == "lock") {
        add(own, SliceKind::wait, words_of(call), call.t_us - took_us, call.t_us);
    } else if (call.call == "unlock") {
        const std::int64_t held_us = std::clamp<std::int64_t>(call.us, 0, call.t_us);
        add(own, SliceKind::hold, call.path.empty() ? "hold a lock" : "hold " + call.path, call.t_us - held_us,
            call.t_us);
    } else if (took_us > 0 || with_short_calls_) {
        add(own, SliceKind::call, words_of(call), call.t_us - took_us, call.t_us);
    }
}

void LaneCollector::take_wait(const WaitLine& wait) {
    Lane& own = lane(wait.thread, wait.thread_name);
    const std::int64_t took_us = std::clamp<std::int64_t>(wait.took_us, 0, wait.t_us);
    wake(wait.thread, wait.t_us - took_us);
    add(own, SliceKind::wait, words_of(wait), wait.t_us - took_us, wait.t_us);
}

void LaneCollector::take_callback(const CallbackLine& callback) {
    lane(callback.thread, callback.thread_name);
    wake(callback.thread, callback.t_us);
}

void LaneCollector::take_return(const ReturnLine& end) {
    Lane& own = lane(end.thread, "");
    wake(end.thread, end.t_us);
    const std::int64_t took_us = std::clamp<std::int64_t>(end.took_us, 0, end.t_us);
    if (took_us > 0 || with_short_calls_)
        add(own, SliceKind::callback, "callback " + end.callback, end.t_us - took_us, end.t_us);
}

void LaneCollector::finish(std::int64_t end_us) {
    while (!sleeping_.empty()) wake(sleeping_.begin()->first, end_us);
}

std::vector<std::vector<Slice>> nested_rows(std::vector<Slice> slices) {
    std::stable_sort(slices.begin(), slices.end(), is_outer);
    std::vector<Row> rows;
    for (const Slice& slice : slices) {
        const bool is_taken =
            std::any_of(rows.begin(), rows.end(), [&slice](Row& row) { return row.takes(slice); });
        if (!is_taken) rows.emplace_back().takes(slice);
    }
    std::vector<std::vector<Slice>> result;
    result.reserve(rows.size());
    for (Row& row : rows) result.push_back(std::move(row.slices));
    return result;
}

std::vector<Slice> merge_short(std::vector<Slice> slices, std::size_t limit, std::int64_t& merged_us) {
    constexpr std::int64_t first_us = 1000;
    constexpr std::int64_t last_us = std::int64_t{24} * 3600 * 1000000;
    merged_us = 0;
    std::stable_sort(slices.begin(), slices.end(), is_outer);
    for (std::int64_t longest_us = first_us; slices.size() > limit && longest_us <= last_us; longest_us *= 2) {
        slices = merged(slices, longest_us);
        merged_us = longest_us;
    }
    return slices;
}

}  // namespace vp
