// What a unit wears out by, counted.
#ifndef VIRTUAL_PROJECTOR_WORLD_WEAR_H
#define VIRTUAL_PROJECTOR_WORLD_WEAR_H

#include <array>
#include <string_view>

#include "virtual_projector/world/settings.h"

namespace vp {

/// One of the figures: the parameter "wear.NAME" says what of it was before the run.
struct WearFigure {
    std::string_view name;
    double Wear::*member;
    bool whole;  // a number of times
};

const std::array<WearFigure, 11>& wear_figures();

Wear operator+(const Wear& a, const Wear& b);

/// Of this run, and with all that was before it.
struct WearAccount {
    Wear run;
    Wear total;
};

}  // namespace vp

#endif
