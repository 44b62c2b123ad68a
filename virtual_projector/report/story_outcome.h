// What a run was like before and after, as tables and sums.
#ifndef VIRTUAL_PROJECTOR_REPORT_STORY_OUTCOME_H
#define VIRTUAL_PROJECTOR_REPORT_STORY_OUTCOME_H

#include <string>
#include <vector>

#include "virtual_projector/report/trace_reader.h"
#include "virtual_projector/world/wear.h"

namespace vp {

/// A row for each figure, with a heading.
std::vector<std::string> outcome_table(const TruthAt& before, const TruthAt& after);

/// Where the picture is, what is left of its light, and what the sensors should say.
std::vector<std::string> place_lines(const TruthAt& after);

/// Of the run alone: what was before it is no part of its story.
std::string wear_words(const Wear& wear);

}  // namespace vp

#endif
