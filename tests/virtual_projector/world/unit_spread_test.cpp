#include "virtual_projector/world/unit_spread.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

namespace vp {
namespace {

constexpr std::uint64_t units = 8000;

Spread spread_of(Distribution distribution, double centre, double sigma, double min, double max) {
    Spread spread;
    spread.parameter = "lens.step_um";
    spread.distribution = distribution;
    spread.centre = centre;
    spread.sigma = sigma;
    spread.min = min;
    spread.max = max;
    return spread;
}

Spread normal(const std::string& parameter) {
    Spread spread = spread_of(Distribution::normal, 0, 1, -1000, 1000);
    spread.parameter = parameter;
    return spread;
}

std::vector<double> draw(const Spread& spread) {
    std::vector<double> drawn;
    for (std::uint64_t unit = 0; unit < units; ++unit) drawn.push_back(draw_value(spread, unit));
    return drawn;
}

double mean(const std::vector<double>& values) {
    double sum = 0;
    for (const double value : values) sum += value;
    return sum / static_cast<double>(values.size());
}

double covariance(const std::vector<double>& a, const std::vector<double>& b) {
    double sum = 0;
    for (std::size_t i = 0; i < a.size(); ++i) sum += (a[i] - mean(a)) * (b[i] - mean(b));
    return sum / static_cast<double>(a.size());
}

double correlation(const std::vector<double>& a, const std::vector<double>& b) {
    return covariance(a, b) / std::sqrt(covariance(a, a) * covariance(b, b));
}

double median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + units / 2, values.end());
    return values[units / 2];
}

double share_below(const std::vector<double>& values, double bound) {
    const auto below = std::count_if(values.begin(), values.end(), [bound](double v) { return v < bound; });
    return static_cast<double>(below) / static_cast<double>(values.size());
}

TEST(ANormalSpread, HasItsMeanAndStandardDeviation) {
    const std::vector<double> drawn = draw(spread_of(Distribution::normal, 5, 0.1, 0.1, 100));
    EXPECT_NEAR(mean(drawn), 5, 0.005);
    EXPECT_NEAR(std::sqrt(covariance(drawn, drawn)), 0.1, 0.004);
    EXPECT_NEAR(share_below(drawn, 4.9), 0.1587, 0.015);
}

// Of a normal one cut off at a sigma on each side, the variance is 1 - 2 phi(1) / (2 Phi(1) - 1) = 0.2911.
TEST(ATruncatedNormalSpread, HasNothingBeyondItsBoundsAndNoHeapAtThem) {
    const std::vector<double> drawn = draw(spread_of(Distribution::truncated_normal, 0, 1, -1, 1));
    EXPECT_GE(*std::min_element(drawn.begin(), drawn.end()), -1);
    EXPECT_LE(*std::max_element(drawn.begin(), drawn.end()), 1);
    EXPECT_EQ(std::count(drawn.begin(), drawn.end(), 1.0), 0);
    EXPECT_NEAR(covariance(drawn, drawn), 0.2911, 0.012);
}

TEST(ALogNormalSpread, HasItsMedianAndTheStandardDeviationOfItsLogarithm) {
    const std::vector<double> drawn = draw(spread_of(Distribution::log_normal, 3, 0.5, 0, 1000));
    EXPECT_NEAR(median(drawn), 3, 0.06);
    std::vector<double> logarithms;
    for (const double value : drawn) logarithms.push_back(std::log(value / 3));
    EXPECT_NEAR(std::sqrt(covariance(logarithms, logarithms)), 0.5, 0.02);
}

TEST(AUniformSpread, IsEvenFromBoundToBound) {
    const std::vector<double> drawn = draw(spread_of(Distribution::uniform, 0, 0, 17.6, 18.4));
    EXPECT_GE(*std::min_element(drawn.begin(), drawn.end()), 17.6);
    EXPECT_LT(*std::max_element(drawn.begin(), drawn.end()), 18.4);
    EXPECT_NEAR(covariance(drawn, drawn), 0.8 * 0.8 / 12, 0.002);
}

TEST(AUniformSpreadOfWholeNumbers, HasEachAsOften) {
    Spread spread = spread_of(Distribution::uniform, 0, 0, 1, 4);
    spread.whole = true;
    const std::vector<double> drawn = draw(spread);
    for (const double number : {1, 2, 3, 4}) {
        const double share = static_cast<double>(std::count(drawn.begin(), drawn.end(), number)) / units;
        EXPECT_NEAR(share, 0.25, 0.02) << number;
    }
}

TEST(AChoice, TakesItsValuesByTheirWeights) {
    Spread spread = spread_of(Distribution::choice, 0, 0, 0, 0);
    spread.values = {-1, 1, 7};
    spread.weights = {3, 1, 0};
    const std::vector<double> drawn = draw(spread);
    EXPECT_NEAR(static_cast<double>(std::count(drawn.begin(), drawn.end(), -1.0)) / units, 0.75, 0.02);
    EXPECT_NEAR(static_cast<double>(std::count(drawn.begin(), drawn.end(), 1.0)) / units, 0.25, 0.02);
}

TEST(ASpread, ThatHardlyReachesItsBoundsEndsAtTheNearest) {
    EXPECT_EQ(draw_value(spread_of(Distribution::normal, 0, 0.001, 5, 6), 1), 5);
}

TEST(AParameter, IsDrawnTheSameWhateverElseIsDrawn) {
    const UnitSpread few = {normal("lens.step_um"), normal("tof.turn_offset_deg")};
    const UnitSpread more = {normal("gravity.offset_x"), normal("tof.turn_offset_deg"), normal("tmr.offset"),
                             normal("lens.step_um")};
    for (std::uint64_t unit = 0; unit < 20; ++unit) {
        const ParameterValues of_few = draw_unit(few, unit);
        const ParameterValues of_more = draw_unit(more, unit);
        EXPECT_EQ(of_few[0], of_more[3]);
        EXPECT_EQ(of_few[1], of_more[1]);
    }
}

TEST(ParametersWithoutACommonFactor, HaveNothingToDoWithEachOther) {
    EXPECT_NEAR(correlation(draw(normal("lens.step_um")), draw(normal("lens.focal_length_mm"))), 0, 0.04);
}

TEST(ParametersThatFollowAFactor, AreCorrelatedByTheProductOfTheirOwn) {
    Spread one = normal("lens.hot_drift_tmr");
    Spread other = normal("lens.cold_drift_tmr");
    const struct {
        double one;
        double other;
    } table[] = {{0.9, 0.9}, {0.9, -0.8}, {1, 1}, {0.5, 0}};
    for (const auto& [by_one, by_other] : table) {
        one.factor = other.factor = "barrel";
        one.correlation = by_one;
        other.correlation = by_other;
        EXPECT_NEAR(correlation(draw(one), draw(other)), by_one * by_other, 0.04) << by_one << " " << by_other;
        EXPECT_NEAR(covariance(draw(one), draw(one)), 1, 0.05);
    }
}

TEST(AUnit, HasTheLastSixDigitsOfItsSeedAsItsNumber) {
    const ParameterValues unit = draw_unit({}, 7000042);
    ASSERT_EQ(unit.size(), 1U);
    EXPECT_EQ(unit[0], (std::pair<std::string, double>("unit.serial", 42)));
}

// To the last digits: another platform draws the same unit.
TEST(AUnit, IsTheSameOnEveryPlatform) {
    EXPECT_EQ(draw_value(normal("lens.step_um"), 1), -0.20742944329587043);
    EXPECT_EQ(draw_value(spread_of(Distribution::uniform, 0, 0, 0, 1), 2), 0.22451198631841951);
    EXPECT_EQ(draw_value(spread_of(Distribution::log_normal, 3, 0.5, 0, 1000), 3), 6.1860370249458354);
}

TEST(TheExponentialFunction, IsThatOfTheLibraryToTheLastDigits) {
    for (const double x : {-30.0, -1.0, -1e-6, 0.0, 0.1, 1.0, 5.0, 18.0})
        EXPECT_NEAR(portable_exp(x) / std::exp(x), 1, 1e-12) << x;
}

}  // namespace
}  // namespace vp
