// What a run's curves are drawn of: named quantities over time. There is one list of them; pages, tables and
// counters are made from it.
//
//   truth.NAME       a member of the world's truth, docs/trace.md; zones as truth.zone_tr_mm, _br_, _tl_, _bl_
//   state.NAME       a variable of the library
//   reading.…        what the board's sensors told the program
//   gravity.x|y|z    the samples of the gravity sensor
//   order.…          what the program ordered of the motor and the display
//   tilt.…           the tilt that the library sensed and chose; target.… where it wants the lens
//
// A value holds until the next. One that is not known (angles of a picture that is not on the wall, a zone that
// sees nothing) is not a number.
#ifndef VIRTUAL_PROJECTOR_REPORT_SIGNALS_H
#define VIRTUAL_PROJECTOR_REPORT_SIGNALS_H

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "virtual_projector/report/trace_reader.h"

namespace vp {

struct Signal {
    std::string name;
    std::string unit;                // "mm", "TMR", "deg", "C", "px", "g", …; empty: a number or a switch
    std::string about;               // one line
    std::vector<std::int64_t> t_us;  // rising
    std::vector<double> values;      // as many; no two equal ones in a row

    /// From this time on. At one time the last value counts; what is earlier than the last time counts as at
    /// it.
    void add(std::int64_t at_us, double value);
};

/// What a ToF frame told of the four corner zones: top right, bottom right, top left, bottom left.
struct ZonesAt {
    std::int64_t t_us = 0;
    std::array<int, 4> distance_mm{};
    std::array<int, 4> quality{};
    std::array<bool, 4> valid{};
};

constexpr std::array<const char*, 4> zone_names = {"tr", "br", "tl", "bl"};

/// Collects them while a trace's records pass by.
class SignalCollector : public TraceVisitor {
public:
    void take_run(const RunRecord& run) override;
    void take_truth(const TruthAt& truth) override;
    void take_call(const CallAt& call) override;
    void take_state(const StateLine& state) override;
    void take_log(const LogLine& log) override;

    /// Those that have values, ordered by name.
    const std::map<std::string, Signal>& signals() const { return signals_; }
    /// One for each frame that differs from the one before.
    const std::vector<ZonesAt>& zones() const { return zones_; }

private:
    Signal& signal(const std::string& name);
    void add(const std::string& name, std::int64_t t_us, double value) { signal(name).add(t_us, value); }
    void take_read(const CallAt& call);
    void take_motor(const CallAt& call, std::string_view node);
    void take_request(const CallAt& call);
    void take_gravity(const CallAt& call);
    void take_frame(const CallAt& call);
    void take_widths(const CallAt& call);
    void take_angles(const CallAt& call);
    void take_zones(const ZonesAt& zones);
    void take_choice(const LogLine& log);

    std::map<std::string, Signal> signals_;
    std::vector<ZonesAt> zones_;
    std::array<Signal*, 3> gravity_{};  // the three that grow the most
    double units_per_g_ = 1000;         // of the gravity sensor's driver
    bool half_steps_ = false;
    double ordered_steps_ = 0;
    bool tof_told_ = false;       // a tilt, for which the picture has not been squared yet
    std::int64_t chosen_us_ = 0;  // when the picture was squared last
};

/// Unit and meaning of the signal of this name; empty ones of a name that is not in the list.
struct SignalInfo {
    std::string_view unit;
    std::string_view about;
};
SignalInfo signal_info(const std::string& name);

}  // namespace vp

#endif
