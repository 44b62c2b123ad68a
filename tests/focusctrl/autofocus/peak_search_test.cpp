#include "ovrafocus/peak_search.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <new>
#include <random>
#include <vector>

namespace {

bool has_memory = true;

}  // namespace

// The library's allocations come here too.
__attribute__((noinline)) void* operator new(std::size_t size) {
    void* memory = has_memory ? std::malloc(size) : nullptr;
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}
__attribute__((noinline)) void operator delete(void* memory) noexcept { std::free(memory); }
__attribute__((noinline)) void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

struct NoMemory {
    NoMemory() { has_memory = false; }
    ~NoMemory() { has_memory = true; }
};

void fill(const std::vector<stepList_>& samples) {
    clearList();
    for (const stepList_& sample : samples) addSharpnessList(sample);
}

std::vector<stepList_> at_unit_steps(const std::vector<double>& sharpness) {
    std::vector<stepList_> samples;
    for (std::size_t i = 0; i < sharpness.size(); ++i)
        samples.push_back({static_cast<int32_t>(i), sharpness[i]});
    return samples;
}

TEST(SampleList, IsEmptyAtLoadAndKeepsCopies) {
    EXPECT_TRUE(m_sharpness.empty());
    stepList_ sample{7, 1.5};
    addSharpnessList(sample);
    sample.step = 9;
    ASSERT_EQ(m_sharpness.size(), 1u);
    EXPECT_EQ(m_sharpness[0].step, 7);
    EXPECT_EQ(m_sharpness[0].sharpness, 1.5);
    clearList();
    EXPECT_TRUE(m_sharpness.empty());
}

TEST(SampleList, LeavesOutASampleForWhichThereIsNoMemory) {
    std::vector<stepList_>().swap(m_sharpness);
    {
        const NoMemory from_here_on;
        addSharpnessList({7, 1.5});
    }
    EXPECT_TRUE(m_sharpness.empty());
}

TEST(CheckList, IsFlatBelowHalfAUnit) {
    fill(at_unit_steps({3.0, 3.1, 3.2, 3.3, 3.4}));
    EXPECT_EQ(checkList(), -1);
    fill(at_unit_steps({3.0, 3.5}));
    EXPECT_EQ(checkList(), 0);
}

TEST(CheckList, JudgesAnEmptyListByItsStartingValues) {
    clearList();
    EXPECT_EQ(checkList(), -1);  // 0 - 100
}

TEST(CheckList, JudgesAListAboveAHundredAgainstAHundred) {
    fill(at_unit_steps({150.0, 150.1, 150.2, 150.3, 150.4}));
    EXPECT_EQ(checkList(), 0);
    fill(at_unit_steps({100.1, 100.2, 100.3, 100.4, 100.49}));
    EXPECT_EQ(checkList(), -1);
}

TEST(CheckList, JudgesNegativeSharpnessAgainstZero) {
    fill(at_unit_steps({-0.6, -0.55, -0.52, -0.51, -0.51}));
    EXPECT_EQ(checkList(), 0);
}

TEST(QuadraticEquationCoef, GivesTheParabolaThroughThreePoints) {
    const auto y = [](double x) { return 2 * x * x - 3 * x + 5; };
    const std::vector<double> abc = quadraticEquationCoef(-1, y(-1), 2, y(2), 4, y(4));
    ASSERT_EQ(abc.size(), 3u);
    EXPECT_NEAR(abc[0], 2, 1e-12);
    EXPECT_NEAR(abc[1], -3, 1e-12);
    EXPECT_NEAR(abc[2], 5, 1e-12);
}

TEST(QuadraticEquationCoef, HasNoGuardAgainstEqualAbscissas) {
    const std::vector<double> abc = quadraticEquationCoef(1, 1, 1, 2, 3, 3);
    EXPECT_FALSE(std::isfinite(abc[0]));
}

TEST(QuadraticEquationCoef, IsEmptyWithoutMemory) {
    const NoMemory from_here_on;
    EXPECT_TRUE(quadraticEquationCoef(0, 1, 1, 2, 2, 5).empty());
}

TEST(CalcPeekStep, FindsTheVertexOfTheBestPredictor) {
    fill(at_unit_steps({1.0, 2.0, 3.0, 2.0, 1.0}));
    EXPECT_EQ(calcPeekStep(), 2);
    EXPECT_DOUBLE_EQ(m_dPeekStep, 2.0);
    EXPECT_EQ(getDoublePeekStep(), m_dPeekStep);
}

TEST(CalcPeekStep, OnAFlatListLeavesTheLastPeak) {
    m_dPeekStep = 12.5;
    fill(at_unit_steps({3.0, 3.1, 3.2, 3.3, 3.4}));
    EXPECT_EQ(calcPeekStep(), 9999);
    EXPECT_EQ(m_dPeekStep, 12.5);
}

TEST(CalcPeekStep, WithFewerThanFiveSamplesLeavesTheLastPeak) {
    m_dPeekStep = 12.5;
    fill(at_unit_steps({1.0, 2.0, 3.0, 2.0}));
    EXPECT_EQ(calcPeekStep(), 9999);
    EXPECT_EQ(m_dPeekStep, 12.5);
}

TEST(CalcPeekStep, SearchesAListThatLiesAboveAHundred) {
    fill(at_unit_steps({150.0, 150.3, 150.4, 150.3, 150.0}));
    EXPECT_EQ(calcPeekStep(), 2);
}

std::vector<stepList_> exact_parabola(double vertex) {
    std::vector<stepList_> samples;
    for (int step = -4; step <= 4; step += 2) {
        const double x = step - vertex;
        samples.push_back({step, 10 - x * x});
    }
    return samples;
}

TEST(CalcPeekStep, RoundsHalvesAwayFromZero) {
    fill(exact_parabola(2.5));
    EXPECT_EQ(calcPeekStep(), 3);
    fill(exact_parabola(-2.5));
    EXPECT_EQ(calcPeekStep(), -3);
}

TEST(CalcPeekStep, TakesTheEarliestOfEquallyGoodCandidates) {
    // Two samples each at 0 and at 2: whichever of them a parabola goes through, it misses the other ones by 2,
    // exactly. Parabolas through both samples of one place do not exist.
    fill({{0, 0.0}, {0, 2.0}, {1, 10.0}, {2, 4.0}, {2, 6.0}});
    calcPeekStep();
    EXPECT_EQ(m_dPeekStep, 1.125);  // through the first, the third and the fourth: -8 x^2 + 18 x
}

TEST(CalcPeekStep, TriesEveryThreeOfTheFirstFive) {
    // Two more samples, far out on the parabola of one choice, leave no other.
    const std::vector<stepList_> five = at_unit_steps({1.0, 2.2, 3.1, 2.8, 0.9});
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = i + 1; j < 4; ++j) {
            for (std::size_t k = j + 1; k < 5; ++k) {
                const std::vector<double> wanted =
                    quadraticEquationCoef(five[i].step, five[i].sharpness, five[j].step, five[j].sharpness,
                                          five[k].step, five[k].sharpness);
                std::vector<stepList_> samples = five;
                for (const int x : {40, -40}) {
                    samples.push_back({x, wanted[0] * x * x + wanted[1] * x + wanted[2]});
                }
                fill(samples);
                calcPeekStep();
                EXPECT_DOUBLE_EQ(m_dPeekStep, -wanted[1] / (2 * wanted[0])) << i << j << k;
            }
        }
    }
}

TEST(CalcPeekStep, CountsTheResidualsOfSamplesAfterTheFifth) {
    // A sixth sample far out on the parabola through the last three of the five leaves no other choice.
    std::vector<stepList_> samples = at_unit_steps({1.0, 2.2, 3.0, 2.8, 0.9});
    const std::vector<double> last = quadraticEquationCoef(2, 3.0, 3, 2.8, 4, 0.9);
    fill(samples);
    calcPeekStep();
    EXPECT_NE(m_dPeekStep, -last[1] / (2 * last[0]));
    samples.push_back({40, last[0] * 1600 + last[1] * 40 + last[2]});
    fill(samples);
    calcPeekStep();
    EXPECT_DOUBLE_EQ(m_dPeekStep, -last[1] / (2 * last[0]));
}

TEST(CalcPeekStep, UsesTheFirstCandidateWhenEveryErrorIsTooLarge) {
    fill({{0, 0.0}, {1, 1e6}, {2, 0.0}, {3, 1e6}, {4, -3e6}});
    calcPeekStep();
    const std::vector<double> first = quadraticEquationCoef(0, 0.0, 1, 1e6, 2, 0.0);
    EXPECT_DOUBLE_EQ(m_dPeekStep, -first[1] / (2 * first[0]));
}

TEST(CalcPeekStep, SurvivesAVertexThatIsNoNumber) {
    fill({{3, 0.0}, {3, 1.0}, {3, 2.0}, {3, 3.0}, {3, 4.0}});
    calcPeekStep();
    EXPECT_FALSE(std::isfinite(m_dPeekStep));
}

// The same search written another way: barycentric evaluation, candidates as bit masks.
double independent_peak(const std::vector<stepList_>& s) {
    const auto through = [&](int i, int j, int k, double x) {
        const auto term = [&](int p, int q, int r) {
            const double xp = s[p].step, xq = s[q].step, xr = s[r].step;
            return s[p].sharpness * (x - xq) * (x - xr) / ((xp - xq) * (xp - xr));
        };
        return term(i, j, k) + term(j, i, k) + term(k, i, j);
    };
    double least = 9999.0;
    double peak = 0;
    bool any = false;
    for (int i = 0; i < 3; ++i) {
        for (int j = i + 1; j < 4; ++j) {
            for (int k = j + 1; k < 5; ++k) {
                double error = 0;
                for (int n = 0; n < static_cast<int>(s.size()); ++n) {
                    if (n != i && n != j && n != k)
                        error += std::abs(s[n].sharpness - through(i, j, k, s[n].step));
                }
                error /= 2;
                if (any && error >= least) continue;
                any = true;
                least = std::min(least, error);
                // The vertex from three values of the parabola at -1, 0 and 1.
                const double below = through(i, j, k, -1), middle = through(i, j, k, 0),
                             above = through(i, j, k, 1);
                peak = (below - above) / (2 * (below - 2 * middle + above));
            }
        }
    }
    return peak;
}

TEST(CalcPeekStep, AgreesWithAnIndependentComputation) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> noise(-0.2, 0.2);
    for (int round = 0; round < 500; ++round) {
        std::vector<stepList_> samples;
        const double vertex = 30 + 20 * noise(random);
        for (int i = 0; i < 5; ++i) {
            const int step = 17 * i + static_cast<int>(20 * noise(random));
            samples.push_back({step, 20 - 0.01 * (step - vertex) * (step - vertex) + noise(random)});
        }
        fill(samples);
        calcPeekStep();
        EXPECT_NEAR(m_dPeekStep, independent_peak(samples), 1e-6 * (1 + std::abs(m_dPeekStep)));
    }
}

}  // namespace
