// How the lens barrel follows the LED's temperature, and how often it has been warm and cold.
//
// Both are bodies of one time constant: the LED goes from L0 to its final temperature F, the barrel after it:
//     L(t) = F + (L0 - F) e^(-t/tau)                          tau:  the LED's time constant, s
//     dB/dt = (L - B) / taub                                  taub: the barrel's, s
//     B(t) = F + (L0 - F) tau / (tau - taub) (e^(-t/tau) - e^(-t/taub)) + (B0 - F) e^(-t/taub)
// (lumped capacities in series without reaction of the second on the first; any text on heat transfer).
#ifndef VIRTUAL_PROJECTOR_WORLD_LENS_HEAT_H
#define VIRTUAL_PROJECTOR_WORLD_LENS_HEAT_H

#include <optional>

namespace vp {

/// Temperatures from a time 0 on, from which nothing is set any more. All in C and seconds.
struct HeatPath {
    double led_c = 0;  // at time 0
    double led_final_c = 0;
    double led_time_constant_s = 1;
    double barrel_c = 0;                // at time 0
    double barrel_time_constant_s = 0;  // 0: the barrel is as warm as the LED
};

double led_after(const HeatPath& path, double time_s);
double barrel_after(const HeatPath& path, double time_s);

/// When the barrel has turned from warming to cooling or back: where its way crosses the LED's. Nothing when it
/// never does after time 0.
std::optional<double> barrel_turn_s(const HeatPath& path);

/// Counts how often the lens has become warmer by more than 10 degrees after it had become colder by more than
/// 10 degrees, or for the first time.
class HeatCycles {
public:
    static constexpr double threshold_c = 10;

    explicit HeatCycles(double barrel_c) : extreme_c_(barrel_c) {}

    /// The barrel has come to this temperature without turning on its way.
    void reach(double barrel_c);

    /// It has followed this path for so long.
    void follow(const HeatPath& path, double time_s);

    int count() const { return count_; }

private:
    bool is_counted_ = false;  // the present warming; then the highest temperature since matters
    double extreme_c_;         // the lowest before, the highest after a warming is counted
    int count_ = 0;
};

}  // namespace vp

#endif
