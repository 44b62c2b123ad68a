// What of a long run is too much to be read when its page is opened: every value of its busiest signals and
// every slice of its busiest lanes, in parts one after the other in time. A page reads those that it shows.
//
// A part is a JSON list, with an entry for each signal and each lane that has something in the part's time:
//
//     {"signal":"gravity.x","from":us,"rise":<column>,"v":<column, null where there is no value>}
//     {"lane":3,"from":us,"rise":<column>,"us":<column: lengths>,"label":<column: indices into labels>}
//
// The first time of an entry is "from", and each of "rise" is how much later the next one is, so these are one
// fewer. A signal's first value is the one that holds when the part begins, a lane's first slices may have
// begun earlier, too.
//
// A column is a list of numbers. One that repeats few different ones is {"of":[number…],"at":"letters"}
// instead: a letter for each of its numbers, which stands in "of" at the letter's code less 93.
#ifndef VIRTUAL_PROJECTOR_REPORT_PAGE_PARTS_H
#define VIRTUAL_PROJECTOR_REPORT_PAGE_PARTS_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "virtual_projector/report/lanes.h"
#include "virtual_projector/report/signals.h"

namespace vp {

class PageParts {
public:
    using Label = std::pair<SliceKind, std::uint32_t>;  // the slice's kind and the index of its words

    /// For a run that ends at `end_us`, with so many values and slices to be told in parts; none: no parts.
    PageParts(std::int64_t end_us, std::size_t told);

    void add(const Signal& signal);
    /// Of a lane; in any order.
    void add(int thread, std::vector<Slice> slices);

    std::size_t count() const { return parts_.size(); }
    /// How long each part is; the last one holds all that is later, too. 0: there are none.
    std::int64_t part_us() const { return part_us_; }
    /// How long the steps of a signal's extremes are to be, see below.
    std::int64_t step_us() const;
    /// Of the slices, in the order in which they were met.
    const std::vector<Label>& labels() const { return labels_; }
    std::vector<std::string> take();

private:
    std::size_t part_at(std::int64_t t_us) const;
    std::int64_t label_of(const Slice& slice);
    void add_entry(std::size_t part, const std::string& entry);
    std::string lane_entry(int thread, const std::vector<Slice>& slices);

    std::int64_t part_us_ = 0;
    std::vector<std::string> parts_;
    std::vector<Label> labels_;
    std::map<Label, std::int64_t> label_numbers_;
};

/// Of each step of time in which a signal changes, only the smallest, the largest and the last value, and the
/// first that is not known.
Signal extremes_of(const Signal& signal, std::int64_t step_us);

}  // namespace vp

#endif
