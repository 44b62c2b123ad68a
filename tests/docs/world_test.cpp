// The page on the simulated world: nothing that a world or a unit sets is left out.
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "virtual_projector/launcher/unit_file.h"
#include "virtual_projector/launcher/world_file.h"
#include "virtual_projector/storykit/launched_program.h"

namespace {

// In full, or as one of the things of which there are two: `room.box1_`.
bool is_explained(std::string_view name) {
    static const std::string page = storykit::contents_of(storykit::project_file("docs/world.md"));
    const std::string whole = "`" + std::string(name) + "`";
    const std::string thing = "`" + std::string(name.substr(0, name.find('_') + 1)) + "`";
    return page.find(whole) != std::string::npos || page.find(thing) != std::string::npos;
}

TEST(ThePageOnTheWorld, ExplainsWhatTheLivingRoomSets) {
    const vp::WorldFile world = vp::read_world_file(storykit::project_file("worlds/living-room.json"));
    EXPECT_GT(world.parameters.size(), 25U);
    for (const auto& [name, value] : world.parameters) EXPECT_TRUE(is_explained(name)) << name;
}

TEST(ThePageOnTheWorld, ExplainsWhatDiffersFromUnitToUnit) {
    const vp::UnitSpread unit = vp::read_unit_file(storykit::project_file("units/standard.json"));
    EXPECT_GT(unit.size(), 20U);
    for (const vp::Spread& spread : unit) EXPECT_TRUE(is_explained(spread.parameter)) << spread.parameter;
}

}  // namespace
