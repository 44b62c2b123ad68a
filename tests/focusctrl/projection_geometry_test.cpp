#include "ovrafocus/projection_geometry.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/support/scripted_board.h"

namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::FloatEq;
using ::testing::IsEmpty;
using ::testing::Pointwise;
using ::testing::SizeIs;

long allocations = 0;

}  // namespace

// Counted, because the geometry promises to allocate nothing but its result.
__attribute__((noinline)) void* operator new(std::size_t size) {
    ++allocations;
    if (void* memory = std::malloc(size)) return memory;
    throw std::bad_alloc();
}
__attribute__((noinline)) void operator delete(void* memory) noexcept { std::free(memory); }
__attribute__((noinline)) void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

struct ProjectionGeometry : ::testing::Test {
    testkit::ScriptedBoard board;
};

// ---- The same optics once more, in double precision and with plain vectors --------------------------------

struct V {
    double x, y, z;
};
V operator+(V a, V b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
V operator-(V a, V b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
V operator*(double f, V a) { return {f * a.x, f * a.y, f * a.z}; }
double dot(V a, V b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
V cross(V a, V b) { return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x}; }
double length(V a) { return std::sqrt(dot(a, a)); }

struct Placement {
    double halg, valg, offset, ratio;
    int width, height;
    double theta;
};

struct Projector {
    V u, w, n;               // image horizontal, image vertical, optical axis
    V lens;                  // where the light comes from
    std::array<V, 4> image;  // rolled corners
};

constexpr double degree = M_PI / 180.0;

Projector build(const Placement& s) {
    const double ch = std::cos(s.halg * degree), sh = std::sin(s.halg * degree);
    const double cv = std::cos(s.valg * degree), sv = std::sin(s.valg * degree);
    Projector p{{ch, sh, 0}, {-sv * sh, sv * ch, cv}, {-cv * sh, cv * ch, -sv}, {}, {}};
    const double e = (s.offset - 1) * s.height * 0.5 * cv;
    p.lens = (s.width * 0.5) * p.u + (s.ratio * s.width) * p.n;
    // The roll turns about the pixel at the integer half of the width; the lens stands over the true half.
    const V centre = static_cast<double>(s.width / 2) * p.u;
    const V axis = (1 / length(p.lens - centre)) * (p.lens - centre);
    const V across = s.width * p.u;
    const std::array<V, 4> flat{e * p.w, e * p.w + across, (e + s.height) * p.w + across, (e + s.height) * p.w};
    const double c = std::cos(s.theta * degree), sn = std::sin(s.theta * degree);
    for (std::size_t i = 0; i < 4; ++i) {
        const V arm = flat[i] - centre;
        const V along = dot(arm, axis) * axis;
        p.image[i] = centre + along + c * (arm - along) + sn * cross(axis, arm);
    }
    return p;
}

V on_wall(const Projector& p, V corner) {
    const V ray = corner - p.lens;
    return p.lens + (-p.lens.y / ray.y) * ray;
}

V on_image(const Projector& p, V wall) {
    const V ray = wall - p.lens;
    return p.lens - (dot(p.lens, p.n) / dot(ray, p.n)) * ray;
}

double to_line(V point, V a, V b) { return length(cross(point - a, b - a)) / length(b - a); }

V centre_of(const std::array<V, 4>& q) {
    const V d = q[2] - q[0], f = q[3] - q[1], g = q[1] - q[0];
    return q[0] + ((g.x * f.z - g.z * f.x) / (d.x * f.z - d.z * f.x)) * d;
}

// The rectangle grows from the centre until one of its diagonals reaches the line of an edge.
double largest_scale(const std::array<V, 4>& q, V centre, double width, double height) {
    double scale = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i < 4; ++i) {
        const V edge = q[(i + 1) % 4] - q[i];
        const double distance = (q[i].x - centre.x) * edge.z - (q[i].z - centre.z) * edge.x;
        for (const double sign : {1.0, -1.0}) {
            const double rate = width / 2 * edge.z - sign * height / 2 * edge.x;
            scale = std::min(scale, std::fabs(distance / rate));
        }
    }
    return scale;
}

std::array<double, 8> expected(const Placement& s) {
    const Projector p = build(s);
    std::array<V, 4> q{};
    for (std::size_t i = 0; i < 4; ++i) q[i] = on_wall(p, p.image[i]);
    const V centre = centre_of(q);
    const double scale = largest_scale(q, centre, s.width, s.height);
    double left = centre.x - scale * s.width / 2, right = centre.x + scale * s.width / 2;
    double near = centre.z - scale * s.height / 2, far = centre.z + scale * s.height / 2;
    if (std::fabs(s.theta) >= 90) {
        const double side = (q[0].x + q[3].x) / 2, edge = (q[0].z + q[1].z) / 2;
        if (std::fabs(right - side) < std::fabs(left - side)) std::swap(left, right);
        if (std::fabs(far - edge) < std::fabs(near - edge)) std::swap(near, far);
    }
    const V tl = on_image(p, {left, 0, near}), tr = on_image(p, {right, 0, near});
    const V bl = on_image(p, {right, 0, far}), br = on_image(p, {left, 0, far});
    const auto& r = p.image;
    return {to_line(tl, r[0], r[3]), to_line(tl, r[0], r[1]), to_line(tr, r[1], r[2]), to_line(tr, r[0], r[1]),
            to_line(bl, r[1], r[2]), to_line(bl, r[3], r[2]), to_line(br, r[0], r[3]), to_line(br, r[3], r[2])};
}

std::vector<float> computed(const Placement& s) {
    return keystoneDeviation(static_cast<float>(s.halg), static_cast<float>(s.valg),
                             static_cast<float>(s.offset), static_cast<float>(s.ratio), s.width, s.height,
                             static_cast<float>(s.theta));
}

double largest_difference(const Placement& s) {
    const auto want = expected(s);
    const auto have = computed(s);
    double largest = 0;
    for (std::size_t i = 0; i < want.size(); ++i) {
        const double difference = std::fabs(want[i] - static_cast<double>(have.at(i)));
        if (!(difference <= largest)) largest = difference;
    }
    return largest;
}

std::string words(const Placement& s) {
    return "halg " + std::to_string(s.halg) + " valg " + std::to_string(s.valg) + " theta " +
           std::to_string(s.theta) + " Offset " + std::to_string(s.offset) + " ratio " +
           std::to_string(s.ratio) + " panel " + std::to_string(s.width) + "x" + std::to_string(s.height);
}

constexpr double single_precision_px = 0.002;  // twice what the grid below shows

// ---- Angles ---------------------------------------------------------------------------------------------

TEST_F(ProjectionGeometry, ConvertsDegreesToRadiansInSinglePrecision) {
    EXPECT_EQ(degree2radian(0.0F), 0.0F);
    EXPECT_EQ(degree2radian(180.0F), 3.1415927F);
    EXPECT_EQ(degree2radian(-90.0F), -1.5707964F);
    EXPECT_EQ(degree2radian(24.7F), 24.7F * 3.1415927F / 180.0F);
    EXPECT_EQ(degree2radian(2e38F), std::numeric_limits<float>::infinity()) << "the product overflows a float";
}

TEST_F(ProjectionGeometry, ConvertsRadiansToDegreesInDoublePrecision) {
    EXPECT_EQ(radian2degree(0.0F), 0.0F);
    EXPECT_EQ(radian2degree(3.1415927F), 180.0F);
    EXPECT_EQ(radian2degree(0.37F),
              static_cast<float>(static_cast<double>(0.37F) * 180.0 / 3.1415927410125732));
    EXPECT_EQ(radian2degree(5e36F), static_cast<float>(5e36F * 180.0 / 3.1415927410125732))
        << "the product would overflow a float";
}

TEST_F(ProjectionGeometry, StartsWithTheThrowRatioOfTheOptics) { EXPECT_EQ(DLP_RATIO, 1.09F); }

// ---- Vectors --------------------------------------------------------------------------------------------

TEST_F(ProjectionGeometry, RotatesRightHandedAboutAnAxisThroughTheOrigin) {
    float out[3] = {};
    RodriguesRotate({0, 0, 1}, {1, 0, 5}, degree2radian(90), out);
    EXPECT_NEAR(out[0], 0, 1e-6);
    EXPECT_NEAR(out[1], 1, 1e-6);
    EXPECT_FLOAT_EQ(out[2], 5);
}

TEST_F(ProjectionGeometry, UsesARotationAxisAsGiven) {
    // With k = (0, 0, 2): v cos + (k x v) sin + k (k . v) (1 - cos), at 90 degrees.
    float out[3] = {};
    RodriguesRotate({0, 0, 2}, {1, 0, 5}, degree2radian(90), out);
    EXPECT_NEAR(out[0], 0, 1e-6);
    EXPECT_NEAR(out[1], 2, 1e-6);
    EXPECT_NEAR(out[2], 20, 1e-5);
}

TEST_F(ProjectionGeometry, LeavesAVectorAsItIsAtNoRotation) {
    float out[3] = {};
    RodriguesRotate({0.6F, 0, 0.8F}, {1.7F, -3.1F, 0.3F}, 0, out);
    EXPECT_THAT(out, ElementsAre(1.7F, -3.1F, 0.3F));
}

TEST_F(ProjectionGeometry, RotatesAPointAboutALineThroughACentre) {
    float out[3] = {};
    pointRodriguesRotate({3, 2, 7}, {2, 2, 0}, {0, 0, 1}, degree2radian(90), out);
    EXPECT_NEAR(out[0], 2, 1e-6);
    EXPECT_NEAR(out[1], 3, 1e-6);
    EXPECT_FLOAT_EQ(out[2], 7);
}

TEST_F(ProjectionGeometry, MayWriteARotatedVectorOverItsInput) {
    std::vector<float> v{1, 0, 5};
    RodriguesRotate({0, 0, 1}, v, degree2radian(90), v.data());
    EXPECT_NEAR(v[0], 0, 1e-6);
    EXPECT_NEAR(v[1], 1, 1e-6);
}

TEST_F(ProjectionGeometry, TakesTheRotationAxisOfAPointByValue) {
    using Expected =
        void(const std::vector<float>&, const std::vector<float>&, std::vector<float>, float, float*);
    static_assert(std::is_same_v<decltype(pointRodriguesRotate), Expected>);
    using Direction = void(const std::vector<float>&, const std::vector<float>&, float, float*);
    static_assert(std::is_same_v<decltype(RodriguesRotate), Direction>);
}

TEST_F(ProjectionGeometry, MeasuresTheDistanceToAnInfiniteLine) {
    EXPECT_FLOAT_EQ(getpoint2Line({0, 3, 4}, {1, 0, 0}, {2, 0, 0}), 5);
    EXPECT_FLOAT_EQ(getpoint2Line({9, 3, 4}, {2, 0, 0}, {1, 0, 0}), 5) << "beyond both points of the line";
    EXPECT_EQ(getpoint2Line({7, 0, 0}, {1, 0, 0}, {2, 0, 0}), 0) << "on the line";
    EXPECT_TRUE(std::isnan(getpoint2Line({0, 3, 4}, {1, 1, 1}, {1, 1, 1}))) << "no line at all";
}

TEST_F(ProjectionGeometry, FindsWhereALineMeetsAPlane) {
    EXPECT_THAT(CalPlaneLineIntersectPoint({0, 0, 2}, {5, 5, 3}, {1, 2, 4}, {0, 0, 1}),
                ElementsAre(0.5F, 1, 3));
    EXPECT_THAT(CalPlaneLineIntersectPoint({0, 0, 2}, {5, 5, 3}, {-1, -2, -4}, {0, 0, 1}),
                ElementsAre(0.5F, 1, 3));
}

TEST_F(ProjectionGeometry, FindsNothingWhereALineIsParallelToAPlane) {
    EXPECT_THAT(CalPlaneLineIntersectPoint({0, 0, 2}, {5, 5, 3}, {1, 2, 0}, {0, 0, 1}), IsEmpty());
    EXPECT_THAT(CalPlaneLineIntersectPoint({0, 0, 2}, {5, 5, 3}, {1, 2, -0.0F}, {0, 0, 3}), IsEmpty())
        << "also when the line lies in the plane";
}

TEST_F(ProjectionGeometry, CountsAVectorWithoutComponentsAsNotANumber) {
    const auto nothing = CalPlaneLineIntersectPoint({0, 0, 2}, {5, 5, 3}, {1, 2, 0}, {0, 0, 1});
    EXPECT_TRUE(std::isnan(getpoint2Line(nothing, {1, 0, 0}, {2, 0, 0})));
}

// ---- Corner offsets -------------------------------------------------------------------------------------

TEST_F(ProjectionGeometry, PrintsItsArgumentsInOnePlainLine) {
    keystoneDeviation(1.5F, -20, 0.25F, 1.09F, 1280, 720, 3);
    EXPECT_EQ(board.log(),
              "\033[36;1mhalg = 1.500000, valg = -20.000000, theta = 3.000000, Offset = 0.250000, "
              "ratio = 1.090000, width = 1280, height = 720\033[0m\n");
}

TEST_F(ProjectionGeometry, LeavesAllCornersWhereTheyAreWhenSquareToTheWall) {
    for (const float offset : {0.0F, 1.0F, 1.3F})
        EXPECT_THAT(keystoneDeviation(0, 0, offset, 1.09F, 1280, 720, 0),
                    Pointwise(::testing::FloatNear(1e-3F), std::vector<float>(8, 0.0F)))
            << offset;
}

TEST_F(ProjectionGeometry, LeavesAllCornersWhereTheyAreWhenTheProjectorStandsOnItsHead) {
    for (const float theta : {180.0F, -180.0F})
        EXPECT_THAT(keystoneDeviation(0, 0, 1, 1.09F, 1280, 720, theta),
                    Pointwise(::testing::FloatNear(1e-3F), std::vector<float>(8, 0.0F)))
            << theta;
}

TEST_F(ProjectionGeometry, NamesTheBottomPairCrosswiseToTheTopPair) {
    // Turned and not tilted: the picture's far side is the wide one, and its two corners come in further.
    const auto offsets = keystoneDeviation(15, 0, 0, 1.09F, 1280, 720, 0);
    const float tl = offsets[0], tr = offsets[2], bl = offsets[4], br = offsets[6];
    EXPECT_NEAR(tl, br, 0.01) << "both are measured from the side through the first corner";
    EXPECT_NEAR(tr, bl, 0.01) << "both are measured from the other side";
    EXPECT_GT(std::fabs(tl - tr), 10);
}

TEST_F(ProjectionGeometry, AgreesWithTheSameOpticsInDoublePrecision) {
    for (const double halg : {0.0, 3.0, -12.0, 25.0})
        for (const double valg : {0.0, 1.0, 10.0, -17.0, 30.0, -40.0})
            for (const double theta : {0.0, 2.0, -8.0, 30.0, 170.0, -155.0})
                for (const double offset : {0.0, 1.0, 1.2})
                    for (const double ratio : {0.8, 1.09, 1.9})
                        for (const int width : {1280, 1281, 853}) {
                            const Placement s{halg, valg, offset, ratio, width, width == 853 ? 481 : 720,
                                              theta};
                            EXPECT_LT(largest_difference(s), single_precision_px) << words(s);
                        }
}

TEST_F(ProjectionGeometry, AgreesWithTheSameOpticsAtEveryTiltOfAKeystoneRun) {
    for (int valg = -50; valg <= 50; ++valg) {
        const Placement s{0, static_cast<double>(valg), 0, 1.09, 1280, 720, 0};
        EXPECT_LT(largest_difference(s), single_precision_px) << words(s);
    }
}

TEST_F(ProjectionGeometry, RollsAnOddPanelAboutThePixelBesideItsMiddle) {
    // At half a turn the panel comes to lie one pixel beside itself, and loses that pixel on one side.
    const Placement s{0, 0, 1, 1.09, 1281, 721, 180};
    EXPECT_LT(largest_difference(s), single_precision_px);
}

TEST_F(ProjectionGeometry, PutsAllCornersToTheOriginWhenThePictureHasNoCentre) {
    // Tilted by 45 degrees at this throw ratio, the light to the far edge runs parallel to the wall.
    const auto offsets = keystoneDeviation(0, 45, 1, 0.5625F, 1280, 720, 0);
    EXPECT_THAT(offsets, ElementsAre(0, 0, FloatEq(1280), 0, FloatEq(1280), FloatEq(720), 0, FloatEq(720)));
}

TEST_F(ProjectionGeometry, LetsNotANumberFlowIntoTheResult) {
    const auto is_nan = ::testing::Truly([](float f) { return std::isnan(f); });
    EXPECT_THAT(keystoneDeviation(0, 10, 0, 1.09F, 0, 720, 0), Each(is_nan));
    EXPECT_THAT(keystoneDeviation(std::nanf(""), 10, 0, 1.09F, 1280, 720, 0), Each(is_nan));
}

TEST_F(ProjectionGeometry, GivesEightValuesWhateverTheAngles) {
    for (const float angle : {90.0F, -90.0F, 180.0F, 1e30F, std::numeric_limits<float>::infinity()})
        EXPECT_THAT(keystoneDeviation(angle, angle, 0, 1.09F, 1280, 720, angle), SizeIs(8)) << angle;
}

TEST_F(ProjectionGeometry, AllocatesNothingButItsResult) {
    keystoneDeviation(3, 12, 0, 1.09F, 1280, 720, 5);  // standard output may want a buffer the first time
    board.log();
    const long before = allocations;
    const auto offsets = keystoneDeviation(3, 12, 0, 1.09F, 1280, 720, 5);
    EXPECT_EQ(allocations - before, 1);
    EXPECT_THAT(offsets, SizeIs(8));
}

}  // namespace
