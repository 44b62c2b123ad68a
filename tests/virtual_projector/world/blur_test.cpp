#include "virtual_projector/world/blur.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "virtual_projector/world/optics.h"
#include "virtual_projector/world/parameters.h"

namespace vp {
namespace {

constexpr double distance_mm = 1500;

// A unit whose lens stands so many TMR units to the right of its best place.
Settings defocused(double error_tmr) {
    Settings settings = standard_settings();
    settings.lens.barrel_c = 44;
    settings.lens.position_steps =
        best_focus_steps(settings.lens, settings.tmr, distance_mm, settings.lens.barrel_c) +
        error_tmr / settings.tmr.slope_per_step;
    return settings;
}

PictureShape shape_of(const Settings& settings, double pitch_deg) {
    return picture_shape({distance_mm, pitch_deg, 0, 0, 0}, settings.wall, settings.picture, Display{});
}

Blur blur_of(const Settings& settings, double pitch_deg = 0) {
    return picture_blur(settings, distance_mm, shape_of(settings, pitch_deg));
}

TEST(Blur, IsNoneAtTheBestPlaceBeforeASquareWall) {
    EXPECT_NEAR(blur_of(defocused(0)).middle_px, 0, 1e-9);
    EXPECT_NEAR(blur_of(defocused(0)).corner_px, 0, 1e-9);
}

// 18 TMR units are a step of 5 um; a cone of 1 : 2 spreads them over half of it. The panel's pixels are
// 3.873 mm / 1.09 / 1280 = 2.776 um wide, and the image of 1500 mm lies 0.26 % behind the focal length.
TEST(Blur, GrowsWithTheErrorOfTheLens) {
    for (const double error_tmr : {-90.0, -18.0, 18.0, 36.0}) {
        const double expected = std::abs(error_tmr) / 18 * 5 / 2 / 2.77590 / 1.002589;
        EXPECT_NEAR(blur_of(defocused(error_tmr)).middle_px, expected, 1e-4) << error_tmr;
    }
}

// Nearer than the focal length there is no image behind the lens; the cone that seems to come from before it is
// cut all the same, the wider the nearer it is.
TEST(Blur, GoesOnGrowingNearerThanTheFocalLength) {
    Settings settings = defocused(0);
    settings.lens.focal_length_mm = 50;
    PictureShape shape = shape_of(settings, 0);
    for (PictureCorner& corner : shape.corners) corner.axial_mm = 40;
    const double v = 50.0 * 40 / (40 - 50);
    const double best = settings.lens.infinity_steps + 1000 * (v - 50) / settings.lens.step_um;
    const double error_mm = std::abs(settings.lens.position_steps - best) * settings.lens.step_um / 1000;
    const double pixel_mm = 50 / settings.picture.throw_ratio / panel_width;
    EXPECT_NEAR(picture_blur(settings, distance_mm, shape).corner_px, error_mm * 50 / (2 * 200) / pixel_mm,
                1e-6);
}

TEST(Blur, ShrinksWithTheOpening) {
    Settings settings = defocused(36);
    const double open = blur_of(settings).middle_px;
    settings.lens.f_number = 4;
    EXPECT_NEAR(blur_of(settings).middle_px, open / 2, 1e-12);
}

// Tilted by 20 degrees and focused in the middle, the foot of the picture is nearer: at 1500 / (1 + h tan 20)
// mm, whose image lies f^2 / u further behind the lens than the middle's.
TEST(Blur, OfACornerIsThatOfItsOwnDistance) {
    const Settings settings = defocused(0);
    const double f = settings.lens.focal_length_mm;
    const double h = panel_height / (2.0 * settings.picture.throw_ratio * panel_width);
    const double near_mm = distance_mm / (1 + h * std::tan(20 * 3.14159265358979 / 180));
    const double image_mm = f * near_mm / (near_mm - f);
    const double error_mm = f * f / (near_mm - f) - f * f / (distance_mm - f);
    const double pixel_mm = f / settings.picture.throw_ratio / panel_width;
    const Blur blur = blur_of(settings, 20);
    EXPECT_NEAR(blur.middle_px, 0, 1e-9);
    EXPECT_NEAR(blur.corner_px, error_mm * f / (2 * image_mm) / pixel_mm, 1e-6);
    EXPECT_GT(blur.corner_px, 0.1);
}

// Focused behind the middle, the far corners gain what the near ones lose.
TEST(Blur, IsToldOfEachCorner) {
    const Blur blur = blur_of(defocused(10), 20);
    const auto [top_left, top_right, bottom_right, bottom_left] = blur.corners_px;
    EXPECT_NEAR(top_left, top_right, 1e-9);
    EXPECT_NEAR(bottom_left, bottom_right, 1e-9);
    EXPECT_GT(std::abs(top_left - bottom_left), 0.2);
    EXPECT_EQ(blur.corner_px, std::max(top_left, bottom_left));
}

TEST(Blur, OfCornersIsNotKnownWithoutAPictureOnTheWall) {
    const Blur blur = blur_of(defocused(36), 85);
    EXPECT_GT(blur.middle_px, 0);
    EXPECT_EQ(blur.corner_px, 0);
    EXPECT_THAT(blur.corners_px, ::testing::Each(0));
}

}  // namespace
}  // namespace vp
