// Which calls fail, and how.
//
// Every call on a board node and every function of the board's libraries asks the plan before it does its
// work. A plan without rules lets everything through.
#ifndef VIRTUAL_PROJECTOR_DEVICES_FAULT_PLAN_H
#define VIRTUAL_PROJECTOR_DEVICES_FAULT_PLAN_H

#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "virtual_projector/devices/device.h"

namespace vp {

/// What happens to a call that is hit. The delay comes first and goes with any of the others; of the others
/// the first one that is set counts, in the order of the members.
struct FaultEffect {
    Microseconds delay_us = 0;  // the call takes this much longer
    int error_number = 0;       // the call fails with this errno, without reaching the device
    long short_count = -1;      // 0 and more: a read or write moves and reports at most this many bytes;
                                // an ioctl or a library function reports this result
    std::optional<std::string> garbage;  // a read delivers these bytes in place of the device's own; an ioctl
                                         // finds them written over the start of its argument
    bool stale = false;                  // a read delivers what the read before it on this path delivered; an
                                         // ioctl reports success and leaves its argument as it was
    int number = 0;                      // of its rule, in the order in which they were added; 0: none

    /// True when the call is to go on as if nothing had been asked.
    bool is_harmless() const;
};

/// What it does to a call of this operation, in words.
std::string words_of(const FaultEffect& effect, std::string_view operation);

/// A rule hits the calls whose operation and path match.
struct FaultRule {
    std::string operation;  // "open", "read", "write", "ioctl", "close"; "call" for a function of the board's
                            // libraries; "pthread_create"; empty: any
    std::string path;       // the node; the function's name; the thread's entry function; empty: any;
                            // with a '*' at its end: every path that begins so
    int nth = 0;  // only the n-th matching call since the rule was added, counted from 1; 0: every one
    double probability = 1.0;  // of a matching call to be hit, drawn from the plan's seed
    FaultEffect effect;
};

class FaultPlan {
public:
    explicit FaultPlan(std::uint64_t seed = 1);

    void add(FaultRule rule);
    void clear();

    /// Asked once for each call, before it is made: what happens to it. All matching rules count the call; the
    /// first rule that hits decides.
    FaultEffect effect_on(std::string_view operation, std::string_view path);

private:
    struct CountedRule {
        FaultRule rule;
        int matches = 0;
    };
    bool hits(CountedRule& counted);

    std::vector<CountedRule> rules_;
    int added_ = 0;
    std::mt19937_64 random_;
};

}  // namespace vp

#endif
