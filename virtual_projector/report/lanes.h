// What each thread did and when: slices of time, as a viewer of threads shows them.
#ifndef VIRTUAL_PROJECTOR_REPORT_LANES_H
#define VIRTUAL_PROJECTOR_REPORT_LANES_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "virtual_projector/report/trace_reader.h"

namespace vp {

enum class SliceKind : std::uint8_t {
    wait,      // a sleep, or for something of the program's or from outside of it
    call,      // that took time until it returned
    hold,      // a lock was held
    callback,  // the host ran
};

/// "wait", "call", "hold" or "callback".
const char* slice_kind_name(SliceKind kind);

struct Slice {
    std::int64_t begin_us = 0;
    std::int64_t end_us = 0;  // not before begin_us
    std::uint32_t what = 0;   // index into Lanes::names
    SliceKind kind = SliceKind::wait;
};

struct Lane {
    int thread = 0;
    std::string name;
    std::vector<Slice> slices;  // in the order of their ends
};

/// Collects them while a trace's records pass by.
class LaneCollector : public TraceVisitor {
public:
    /// `with_short_calls`: also those that took no time, slices of no length.
    explicit LaneCollector(bool with_short_calls) : with_short_calls_(with_short_calls) {}

    void take_call(const CallAt& call) override;
    void take_wait(const WaitLine& wait) override;
    void take_callback(const CallbackLine& callback) override;
    void take_return(const ReturnLine& end) override;

    /// A thread that still sleeps wakes at `end_us` at the latest.
    void finish(std::int64_t end_us);

    const std::map<int, Lane>& lanes() const { return lanes_; }
    const std::vector<std::string>& names() const { return names_; }

private:
    struct Pending {
        std::int64_t begin_us = 0;
        std::int64_t end_us = 0;
    };
    Lane& lane(int thread, const std::string& name);
    void add(Lane& lane, SliceKind kind, const std::string& what, std::int64_t begin_us, std::int64_t end_us);
    void wake(int thread, std::int64_t t_us);

    bool with_short_calls_;
    std::map<int, Lane> lanes_;
    std::map<int, Pending> sleeping_;
    std::vector<std::string> names_;
    std::map<std::string, std::uint32_t> numbers_;
};

/// Slices of which any two lie one within the other, or apart: as a viewer stacks them. Outer ones come first.
/// What would overlap (a lock held beyond the end of another that was taken before it) stands in a further row.
std::vector<std::vector<Slice>> nested_rows(std::vector<Slice> slices);

/// At most about `limit` slices: waits and calls that follow each other at once and are short are made one,
/// named by the longest. `merged_us` says how long those may have been; 0: nothing was merged.
std::vector<Slice> merge_short(std::vector<Slice> slices, std::size_t limit, std::int64_t& merged_us);

}  // namespace vp

#endif
