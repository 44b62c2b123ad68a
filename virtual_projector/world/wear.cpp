#include "virtual_projector/world/wear.h"

namespace vp {

const std::array<WearFigure, 11>& wear_figures() {
    static constexpr std::array<WearFigure, 11> figures = {{
        {"full_steps", &Wear::full_steps, true},
        {"half_steps", &Wear::half_steps, true},
        {"orders", &Wear::orders, true},
        {"reversals", &Wear::reversals, true},
        {"travel_mm", &Wear::travel_mm, false},
        {"end_stop_steps", &Wear::end_stop_steps, true},
        {"lost_steps", &Wear::lost_steps, false},
        {"heat_cycles", &Wear::heat_cycles, true},
        {"record_writes", &Wear::record_writes, true},
        {"width_writes", &Wear::width_writes, true},
        {"motor_on_s", &Wear::motor_on_s, false},
    }};
    return figures;
}

Wear operator+(const Wear& a, const Wear& b) {
    Wear sum;
    for (const WearFigure& figure : wear_figures()) sum.*figure.member = a.*figure.member + b.*figure.member;
    return sum;
}

}  // namespace vp
