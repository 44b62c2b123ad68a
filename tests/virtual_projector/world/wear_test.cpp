#include "virtual_projector/world/wear.h"

#include <gtest/gtest.h>

#include <string>

#include "virtual_projector/world/parameters.h"

namespace vp {
namespace {

TEST(WearFigures, AreTheParametersOfTheirNames) {
    Settings settings;
    std::size_t count = 0;
    for (const Parameter& parameter : parameters()) count += parameter.name.substr(0, 5) == "wear." ? 1 : 0;
    EXPECT_EQ(count, wear_figures().size());
    for (const WearFigure& figure : wear_figures()) {
        const Parameter* parameter = find_parameter("wear." + std::string(figure.name));
        ASSERT_NE(parameter, nullptr) << figure.name;
        EXPECT_EQ(&parameter->field(settings), &(settings.wear.*figure.member)) << figure.name;
        EXPECT_EQ(parameter->whole, figure.whole) << figure.name;
    }
}

TEST(WearFigures, AddUpOneByOne) {
    Wear a;
    Wear b;
    double number = 1;
    for (const WearFigure& figure : wear_figures()) {
        a.*figure.member = number;
        b.*figure.member = 100 * number++;
    }
    const Wear sum = a + b;
    number = 1;
    for (const WearFigure& figure : wear_figures())
        EXPECT_EQ(sum.*figure.member, 101 * number++) << figure.name;
}

}  // namespace
}  // namespace vp
