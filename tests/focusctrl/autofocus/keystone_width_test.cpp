#include "ovrafocus/keystone_width.h"

#include <dlfcn.h>
#include <gmock/gmock.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "ovrafocus/acceleration.h"
#include "ovrafocus/display_keystone.h"
#include "ovrafocus/host_interface.h"
#include "ovrafocus/lifecycle.h"
#include "ovrafocus/nds01_device.h"
#include "ovrafocus/nds01_isp.h"
#include "ovrafocus/nds01_start.h"
#include "ovrafocus/projection_geometry.h"
#include "tests/support/log_lines.h"
#include "tests/support/scripted_board.h"
#include "tests/support/scripted_nds01.h"
#include "tests/support/scripted_vendor.h"

namespace {

bool library_has_memory = true;

bool called_by_the_library(const void* return_address) {
    Dl_info caller{};
    return ::dladdr(return_address, &caller) != 0 && std::strstr(caller.dli_fname, "libovrafocus") != nullptr;
}

struct NoMemoryForTheLibrary {
    NoMemoryForTheLibrary() { library_has_memory = false; }
    ~NoMemoryForTheLibrary() { library_has_memory = true; }
};

}  // namespace

__attribute__((noinline)) void* operator new(std::size_t size) {
    const bool refused = !library_has_memory && called_by_the_library(__builtin_return_address(0));
    void* memory = refused ? nullptr : std::malloc(size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}
__attribute__((noinline)) void operator delete(void* memory) noexcept { std::free(memory); }
__attribute__((noinline)) void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testkit::tagged;
using Entries = std::vector<std::string>;

constexpr int no_focus_run = 0;
constexpr int focus_run = 9999;

testkit::ScriptedBoard* current_board = nullptr;
int mutex_during_handover = 0;

void take_over(int32_t top, int32_t bottom) {
    current_board->note("widths " + std::to_string(top) + " " + std::to_string(bottom));
    mutex_during_handover = pthread_mutex_trylock(&mutex_keystone);
}

template <typename... Values>
std::string text(const char* format, Values... values) {
    char buffer[400];
    std::snprintf(buffer, sizeof buffer, format, values...);
    return buffer;
}

// A picture that the host draws: each pair of widths arrives as one note.
struct KeystoneWidth : ::testing::Test {
    testkit::ScriptedBoard board;
    app_callback_table table{};

    KeystoneWidth() {
        current_board = &board;
        board.text("/dev/dis", "");
        board.on_ioctl("/dev/dis", [](uint32_t, void* record) {
            const uint16_t panel[2] = {1280, 720};
            std::memcpy(static_cast<char*>(record) + 8, panel, sizeof panel);
            return 0;
        });
        table.host_set_keystone = take_over;
        g_app_callback = &table;
        keystone_api_init();
        forget();
    }

    void forget() {
        board.log();
        board.clear_journal();
    }

    Entries applied() { return board.journal({"widths"}); }

    // The offsets that the geometry gives for a tilt, as the line that logs them.
    static std::string geometry_lines(int angle) {
        testkit::ScriptedBoard& b = *current_board;
        const std::string before = b.log();
        const auto o = keystoneDeviation(0, static_cast<float>(angle), 0, DLP_RATIO, width, height, 0);
        const std::string input = b.log();
        return before + input +
               tagged(text("finalOffsetPoints：\ntl: %f, %f\ttr: %f, %f\nbl: %f, %f\tbr: %f, %f\n\n",
                           static_cast<double>(o[0]), static_cast<double>(o[1]), static_cast<double>(o[2]),
                           static_cast<double>(o[3]), static_cast<double>(o[4]), static_cast<double>(o[5]),
                           static_cast<double>(o[6]), static_cast<double>(o[7])));
    }
};

// ---- Defaults -------------------------------------------------------------------------------------------

TEST_F(KeystoneWidth, StartsWithTheFullPanel) {
    EXPECT_EQ(width, 1280);
    EXPECT_EQ(height, 720);
    EXPECT_EQ(preUpW, 1280);
    EXPECT_EQ(preDownW, 1280);
    EXPECT_EQ(currentKeystoneAngle, 0);
    EXPECT_EQ(focusAndKeystone, 0);
    EXPECT_EQ(get_current_keystone_angle(), 0);
    EXPECT_EQ(pthread_mutex_trylock(&mutex_keystone), 0);
    pthread_mutex_unlock(&mutex_keystone);
}

// ---- Computing ------------------------------------------------------------------------------------------

TEST_F(KeystoneWidth, NarrowsTheTopForAPositiveTilt) {
    int up = 0, down = 0;
    EXPECT_EQ(varnel_cacu_keystone_width(10, &up, &down), 0);
    // By hand: br.x 52.635, br.y 34.851, tl.y 5.714, so 1280 - 2 * 52.635 * 714.286 / 679.434.
    EXPECT_EQ(up, 1169);
    EXPECT_EQ(down, 1280);
    EXPECT_EQ(get_current_keystone_angle(), 10);
}

TEST_F(KeystoneWidth, NarrowsTheBottomForANegativeTilt) {
    int up = 0, down = 0;
    EXPECT_EQ(varnel_cacu_keystone_width(-10, &up, &down), 0);
    // By hand: tl.x 52.635, tl.y 34.402, br.y 5.224, so 1280 - 2 * 52.635 * 714.776 / 680.374.
    EXPECT_EQ(up, 1280);
    EXPECT_EQ(down, 1169);
    EXPECT_EQ(get_current_keystone_angle(), -10);
}

TEST_F(KeystoneWidth, LeavesALevelPictureAtFullWidth) {
    int up = 0, down = 0;
    varnel_cacu_keystone_width(0, &up, &down);
    EXPECT_EQ(up, 1280);
    EXPECT_EQ(down, 1280);
}

TEST_F(KeystoneWidth, NarrowsOneEdgeMoreTheSteeperTheTilt) {
    // Worked out in a program of their own, with the geometry's formulas on plain arrays.
    const struct {
        int angle, up, down;
    } known[] = {{-50, 1280, 772},  {-45, 1280, 822}, {-40, 1280, 871}, {-30, 1280, 968},
                 {-20, 1280, 1066}, {-5, 1280, 1223}, {5, 1223, 1280},  {20, 1065, 1280},
                 {30, 961, 1280},   {40, 847, 1280},  {45, 780, 1280},  {50, 699, 1280}};
    for (const auto& k : known) {
        int up = 0, down = 0;
        varnel_cacu_keystone_width(k.angle, &up, &down);
        EXPECT_EQ(up, k.up) << k.angle;
        EXPECT_EQ(down, k.down) << k.angle;
    }
}

TEST_F(KeystoneWidth, PrintsExactlyWhatItComputes) {
    const std::string expected =
        geometry_lines(10) + tagged("varnel_cacu_keystone_width: keystone upWidth = 1169, downWidth = 1280\n");
    int up = 0, down = 0;
    varnel_cacu_keystone_width(10, &up, &down);
    EXPECT_EQ(board.log(), expected);
}

TEST_F(KeystoneWidth, HandsTheTiltAndThePanelToTheGeometry) {
    int up = 0, down = 0;
    varnel_cacu_keystone_width(-7, &up, &down);
    const std::string log = board.log();
    EXPECT_EQ(log.substr(0, log.find('\n') + 1),
              "\033[36;1mhalg = 0.000000, valg = -7.000000, theta = 0.000000, Offset = 0.000000, "
              "ratio = 1.090000, width = 1280, height = 720\033[0m\n");
    width = 1920;
    height = 1080;
    DLP_RATIO = 1.5F;
    varnel_cacu_keystone_width(-7, &up, &down);
    const std::string other = board.log();
    EXPECT_EQ(other.substr(0, other.find('\n') + 1),
              "\033[36;1mhalg = 0.000000, valg = -7.000000, theta = 0.000000, Offset = 0.000000, "
              "ratio = 1.500000, width = 1920, height = 1080\033[0m\n");
    EXPECT_EQ(up, 1920);
}

TEST_F(KeystoneWidth, ComputesWithoutTheLockAndWithoutTheDisplay) {
    pthread_mutex_lock(&mutex_keystone);
    int up = 0, down = 0;
    EXPECT_EQ(varnel_cacu_keystone_width(10, &up, &down), 0);
    pthread_mutex_unlock(&mutex_keystone);
    EXPECT_THAT(applied(), IsEmpty());
    EXPECT_EQ(preUpW, 1280);
}

// ---- Applying in one step -------------------------------------------------------------------------------

TEST_F(KeystoneWidth, AppliesAManualRequestInOneStep) {
    g_run_once_keystone = 1;
    focusAndKeystone = 1;
    EXPECT_EQ(varnel_thread_setDLPKeystone(10), 0);
    EXPECT_THAT(applied(), ElementsAre("widths 1169 1280"));
    EXPECT_THAT(board.journal({"sleep"}), IsEmpty());
    EXPECT_EQ(preUpW, 1169);
    EXPECT_EQ(preDownW, 1280);
    EXPECT_EQ(get_current_keystone_angle(), 10);
    EXPECT_EQ(focusAndKeystone, 1) << "only the stepped way clears it";
    EXPECT_EQ(g_run_once_keystone, 1) << "the request is the worker's to clear";
}

TEST_F(KeystoneWidth, TakesAnyRequestFlagButZeroAsSet) {
    g_run_once_keystone = 255;
    varnel_thread_setDLPKeystone(-10);
    EXPECT_THAT(applied(), ElementsAre("widths 1280 1169"));
}

TEST_F(KeystoneWidth, AppliesAChangeOfEightPixelsInOneStep) {
    preUpW = 1177;
    varnel_thread_setDLPKeystone(10);
    EXPECT_THAT(applied(), ElementsAre("widths 1169 1280"));
    preUpW = 1161;
    preDownW = 1272;
    varnel_thread_setDLPKeystone(10);
    EXPECT_EQ(applied().back(), "widths 1169 1280");
    EXPECT_EQ(applied().size(), 2U);
}

TEST_F(KeystoneWidth, ClearsTheFocusRunsMarkAlsoAfterASmallChange) {
    focusAndKeystone = 1;
    preUpW = 1169;
    varnel_thread_setDLPKeystone(10);
    EXPECT_EQ(focusAndKeystone, 0);
    EXPECT_THAT(applied(), ElementsAre("widths 1169 1280"));
}

// ---- Applying in halving steps --------------------------------------------------------------------------

TEST_F(KeystoneWidth, NarrowsTheTopInHalvingSteps) {
    EXPECT_EQ(varnel_thread_setDLPKeystone(10), 0);
    EXPECT_EQ(
        board.journal({"widths", "sleep"}),
        (Entries{"widths 1280 1280", "widths 1225 1280", "sleep 30000", "widths 1197 1280", "sleep 30000",
                 "widths 1183 1280", "sleep 30000", "widths 1176 1280", "sleep 30000", "widths 1169 1280"}));
    EXPECT_EQ(preUpW, 1169);
    EXPECT_EQ(preDownW, 1280);
}

TEST_F(KeystoneWidth, NarrowsTheBottomInHalvingSteps) {
    EXPECT_EQ(varnel_thread_setDLPKeystone(-10), 0);
    EXPECT_EQ(
        board.journal({"widths", "sleep"}),
        (Entries{"widths 1280 1280", "widths 1280 1225", "sleep 30000", "widths 1280 1197", "sleep 30000",
                 "widths 1280 1183", "sleep 30000", "widths 1280 1176", "sleep 30000", "widths 1280 1169"}));
    EXPECT_EQ(preUpW, 1280);
    EXPECT_EQ(preDownW, 1169);
}

TEST_F(KeystoneWidth, WidensTheTopInHalvingSteps) {
    preUpW = 1000;
    preDownW = 900;
    varnel_thread_setDLPKeystone(10);
    EXPECT_EQ(applied(), (Entries{"widths 1000 1280", "widths 1084 1280", "widths 1126 1280",
                                  "widths 1147 1280", "widths 1158 1280", "widths 1169 1280"}))
        << "the bottom is full at once, the top goes half of the way each time";
}

TEST_F(KeystoneWidth, WidensTheBottomInHalvingSteps) {
    preUpW = 900;
    preDownW = 1000;
    varnel_thread_setDLPKeystone(-10);
    EXPECT_EQ(applied(), (Entries{"widths 1280 1000", "widths 1280 1084", "widths 1280 1126",
                                  "widths 1280 1147", "widths 1280 1158", "widths 1280 1169"}));
}

TEST_F(KeystoneWidth, LogsEachStepOfTheTop) {
    preUpW = 1200;
    const std::string geometry = geometry_lines(10);
    varnel_thread_setDLPKeystone(10);
    EXPECT_EQ(board.log(),
              geometry + tagged("varnel_thread_setDLPKeystone: keystone upWidth = 1169, downWidth = 1280\n") +
                  "ovra: set_keystone_api, top=1200, bottom=1280\n" +
                  tagged("varnel_thread_setDLPKeystone: circle upWidth = 1169, preUpW = 1185\n") +
                  "ovra: set_keystone_api, top=1185, bottom=1280\n" +
                  tagged("varnel_thread_setDLPKeystone: circle upWidth = 1169, preUpW = 1177\n") +
                  "ovra: set_keystone_api, top=1177, bottom=1280\n" +
                  "ovra: set_keystone_api, top=1169, bottom=1280\n");
}

TEST_F(KeystoneWidth, LogsEachStepOfTheBottom) {
    preDownW = 1190;
    varnel_thread_setDLPKeystone(-10);
    EXPECT_THAT(
        board.log(),
        testing::HasSubstr(tagged("varnel_thread_setDLPKeystone: circle downWidth = 1169, preDownW = 1180\n")));
}

TEST_F(KeystoneWidth, FillsTheOtherEdgeFirstFromAChangeOfNinePixels) {
    preUpW = 1178;
    varnel_thread_setDLPKeystone(10);
    EXPECT_THAT(applied(), ElementsAre("widths 1178 1280", "widths 1169 1280"));
    forget();
    preDownW = 1271;
    varnel_thread_setDLPKeystone(10);
    EXPECT_THAT(applied(), ElementsAre("widths 1169 1280", "widths 1169 1280")) << "9 pixels at the full edge";
}

TEST_F(KeystoneWidth, HalvesFromThirteenPixels) {
    preUpW = 1181;
    varnel_thread_setDLPKeystone(10);
    EXPECT_THAT(applied(), ElementsAre("widths 1181 1280", "widths 1169 1280")) << "12 pixels";
    EXPECT_THAT(board.journal({"sleep"}), IsEmpty());
    forget();
    preUpW = 1182;
    varnel_thread_setDLPKeystone(10);
    EXPECT_THAT(applied(), ElementsAre("widths 1182 1280", "widths 1176 1280", "widths 1169 1280")) << "13";
}

TEST_F(KeystoneWidth, HalvesAtMostTenTimes) {
    preUpW = 1169 + 102400;
    varnel_thread_setDLPKeystone(10);
    EXPECT_EQ(board.journal({"sleep"}).size(), 10U);
    EXPECT_EQ(*(applied().end() - 2), "widths 1269 1280")
        << "a hundred pixels are left, and then the goal is set";
    EXPECT_EQ(applied().size(), 12U);
    EXPECT_EQ(applied().back(), "widths 1169 1280");
    EXPECT_EQ(preUpW, 1169);
}

TEST_F(KeystoneWidth, ClearsTheFocusRunsMarkAfterSteps) {
    focusAndKeystone = 1;
    varnel_thread_setDLPKeystone(10);
    EXPECT_EQ(focusAndKeystone, 0);
}

TEST_F(KeystoneWidth, GoesOnWhenTheDisplayRefuses) {
    preUpW = 0;  // refused by the display: no width
    EXPECT_EQ(varnel_thread_setDLPKeystone(10), 0);
    EXPECT_EQ(applied().front(), "widths 584 1280");
    EXPECT_EQ(applied().back(), "widths 1169 1280");
}

TEST_F(KeystoneWidth, StepsToTheWidthThatTheHostHasSet) {
    width = 1000;
    height = 600;
    preUpW = 1000;
    preDownW = 900;
    varnel_thread_setDLPKeystone(10);
    EXPECT_EQ(applied().front(), "widths 1000 1000");
    EXPECT_EQ(preDownW, 1000);
}

// ---- The driver -----------------------------------------------------------------------------------------

// A picture that the library draws: the widths that the driver has to show.
struct KeystoneWidthAtTheDriver : KeystoneWidth {
    Entries shown;

    KeystoneWidthAtTheDriver() {
        table.host_set_keystone = nullptr;
        board.on_ioctl("/dev/dis", [this](uint32_t request, void* record) {
            if (request == 0x801C0E10) note_shown(static_cast<const char*>(record));
            return 0;
        });
    }

    void note_shown(const char* record) {
        int32_t bottom = 0, top = 0;
        std::memcpy(&bottom, record + 8, 4);
        std::memcpy(&top, record + 12, 4);
        if (record[4] == 1) shown.push_back(std::to_string(top) + " " + std::to_string(bottom));
    }
};

TEST_F(KeystoneWidthAtTheDriver, ShowsEachStepOfANarrowingTop) {
    varnel_thread_setDLPKeystone(10);
    EXPECT_THAT(shown,
                ElementsAre("1280 1280", "1225 1280", "1197 1280", "1183 1280", "1176 1280", "1169 1280"));
}

TEST_F(KeystoneWidthAtTheDriver, ShowsEachStepOfAChangeOfSides) {
    varnel_thread_setDLPKeystone(10);
    shown.clear();
    varnel_thread_setDLPKeystone(-10);
    EXPECT_THAT(shown,
                ElementsAre("1280 1280", "1280 1225", "1280 1197", "1280 1183", "1280 1176", "1280 1169"));
}

TEST_F(KeystoneWidthAtTheDriver, RemembersWidthsThatTheDisplayRefused) {
    varnel_thread_setDLPKeystone(60);
    EXPECT_LT(preUpW, 690);
    EXPECT_EQ(preDownW, 1280);
    EXPECT_EQ(shown.back().substr(shown.back().find(' ')), " 1280");
}

// ---- The lock -------------------------------------------------------------------------------------------

TEST_F(KeystoneWidth, HoldsTheLockWhileItApplies) {
    mutex_during_handover = 0;
    varnel_thread_setDLPKeystone(10);
    EXPECT_EQ(mutex_during_handover, EBUSY);
    EXPECT_EQ(pthread_mutex_trylock(&mutex_keystone), 0) << "and gives it back";
    pthread_mutex_unlock(&mutex_keystone);
}

TEST_F(KeystoneWidth, FailsWithoutMemoryAndKeepsTheLock) {
    int up = 7, down = 8, result = 0, computed = 0;
    {
        const NoMemoryForTheLibrary refused;
        computed = varnel_cacu_keystone_width(10, &up, &down);
        result = varnel_thread_setDLPKeystone(10);
    }
    EXPECT_EQ(computed, -1);
    EXPECT_EQ(up, 7);
    EXPECT_EQ(down, 8);
    EXPECT_EQ(result, -1);
    EXPECT_EQ(pthread_mutex_trylock(&mutex_keystone), EBUSY);
    EXPECT_EQ(get_current_keystone_angle(), 0);
    EXPECT_THAT(applied(), IsEmpty());
}

// ---- The ToF sensor's angle -----------------------------------------------------------------------------

struct Reading {
    int16_t yaw, pitch;  // hundredths of a degree
    uint16_t depth_mm;
};

// A running ToF sensor whose readings are given, each one once and the last one for ever.
struct TofAngle : KeystoneWidth {
    testkit::ScriptedNds01 sensor{board};
    std::vector<Reading> readings{{0, 0, 1000}};
    std::size_t next = 0;

    TofAngle() {
        sensor.set_frame(50);
        testkit::vendor().angle_cal = [this](void*, const void*, void* result) {
            std::memcpy(result, &readings[next], sizeof(Reading));
            if (next + 1 < readings.size()) ++next;
            return 0;
        };
        nds01_dev_init(0);
        forget();
    }

    void measure(int degrees) {
        const auto yaw = static_cast<int16_t>(degrees * 100);
        readings = {{yaw, 0, 1000}};
        next = 0;
    }

    static void lean(float x, float y, float z) {
        acc_degree.x = x;
        acc_degree.y = y;
        acc_degree.z = z;
    }

    static std::string gravity_line(double x, double y, double z, int angle) {
        return tagged(
            text("\033[36;1mgsensor angle : x = %f, y = %f, z = %f, vAngle = %d\033[0m\n", x, y, z, angle));
    }
};

TEST_F(TofAngle, IsTheMeanOfTheSecondAndThirdReadingAndPrintsExactlyAllThree) {
    readings = {{3200, 100, 900}, {510, -250, 1000}, {620, -1234, 1001}};
    int angle = 0;
    EXPECT_EQ(get_tof_angle(&angle), 0);
    EXPECT_EQ(angle, 6) << "5.65";
    EXPECT_EQ(board.log(), tagged("TOF: yaw = 32.0 degree, pitch = 1.0 degree, Depth = 900mm\n") +
                               tagged("TOF: yaw = 5.1 degree, pitch = -2.5 degree, Depth = 1000mm\n") +
                               tagged("TOF: yaw = 6.2 degree, pitch = -12.3 degree, Depth = 1001mm\n") +
                               tagged("tof angle = 6 degree\n"));
}

TEST_F(TofAngle, PrintsReadingsDividedInDoublePrecision) {
    // 0.15 is just below fifteen hundredths in double precision, and just above it in single precision.
    readings = {{15, -15, 65535}};
    int angle = 9;
    get_tof_angle(&angle);
    const std::string line = tagged("TOF: yaw = 0.1 degree, pitch = -0.1 degree, Depth = 65535mm\n");
    EXPECT_EQ(board.log(), line + line + line + tagged("tof angle = 0 degree\n"));
}

TEST_F(TofAngle, IsRoundedToWholeDegrees) {
    int angle = 0;
    readings = {{-550, 0, 0}};
    get_tof_angle(&angle);
    EXPECT_EQ(angle, -6) << "halves go away from 0";
    readings = {{549, 0, 0}};
    get_tof_angle(&angle);
    EXPECT_EQ(angle, 5);
}

TEST_F(TofAngle, CountsOneDegreeAsLevel) {
    int angle = 9;
    for (const Reading& reading : {Reading{140, 0, 0}, {-140, 0, 0}, {149, 0, 0}, {-149, 0, 0}}) {
        readings = {reading};
        EXPECT_EQ(get_tof_angle(&angle), 0);
        EXPECT_EQ(angle, 0) << reading.yaw;
    }
    readings = {{150, 0, 0}};
    get_tof_angle(&angle);
    EXPECT_EQ(angle, 2);
    readings = {{-150, 0, 0}};
    get_tof_angle(&angle);
    EXPECT_EQ(angle, -2);
}

TEST_F(TofAngle, IsMissingWhenAnyReadingFails) {
    const Reading good{500, 0, 1000}, bad{32767, 0, 1000};
    int angle = 9;
    readings = {bad};
    EXPECT_EQ(get_tof_angle(&angle), -1);
    readings = {good, bad};
    EXPECT_EQ(get_tof_angle(&angle), -1);
    readings = {good, good, bad};
    next = 0;
    EXPECT_EQ(get_tof_angle(&angle), -1);
    EXPECT_EQ(angle, 9) << "untouched";
    EXPECT_THAT(board.log(), testing::EndsWith(tagged("VKeystone: nds01_get_angle failed")));
}

// ---- The tilt by distances ------------------------------------------------------------------------------

TEST_F(KeystoneWidth, ComputesATiltFromDistancesAndPrintsExactlyItsSteps) {
    board.text("/sys/class/nd_tof/nds01/ranging_data", "1001,2003,1004,2002,91,92,93,94");
    int angle = 0;
    EXPECT_EQ(cacuTofAngle(&angle), 0);
    EXPECT_EQ(angle, -57);
    EXPECT_EQ(board.log(),
              tagged("VKeystone: cacuTofAngle by distance") +
                  tagged("tof distance ret=0, tr:1001, br:2003, tl:1004, bl=2002\n") +
                  tagged("tof confidence ret=0, tr:91, br:92, tl:93, bl=94\n") + tagged("avgDistUp = 1002\n") +
                  tagged("avgDistDown = 2002\n") +
                  tagged("TOF keystone cali param: phi = 24.000000, beta = 12.000000\n") +
                  tagged("TOF keystone: avgDistUp = 1002, avgDistDown = 2002, result = -57.440958\n") +
                  tagged("VKeystone: cacuTofAngle success"));
}

TEST_F(KeystoneWidth, ComputesNoTiltWithoutDistances) {
    int angle = 9;
    EXPECT_EQ(cacuTofAngle(&angle), -1);
    EXPECT_EQ(angle, 9);
    EXPECT_THAT(board.log(), testing::EndsWith(tagged("cacuTofAngle error: get tof distance failed")));
}

// ---- A whole run ----------------------------------------------------------------------------------------

TEST_F(TofAngle, IsNotReadWhenKeystoneIsSwitchedOff) {
    g_osd_keystone = 0;
    EXPECT_EQ(varnel_keystone(focus_run), 0);
    EXPECT_THAT(board.journal(), IsEmpty());
    EXPECT_EQ(focusAndKeystone, 0);
}

TEST_F(TofAngle, LogsGravityBesideItAndTheSuccessOfARun) {
    measure(10);
    lean(44.9F, 3.5F, -80);
    varnel_keystone(no_focus_run);
    EXPECT_THAT(board.log(), testing::AllOf(testing::HasSubstr(gravity_line(44.9F, 3.5, -80, 3)),
                                            testing::EndsWith("\n" + tagged("VKeystone success")),
                                            testing::Not(testing::HasSubstr("use gsensor"))));
}

TEST_F(TofAngle, CorrectsThePictureUpTo25DegreesEitherWay) {
    lean(0, 3, -80);
    for (const int degrees : {25, -25}) {
        measure(degrees);
        EXPECT_EQ(varnel_keystone(no_focus_run), 0);
        EXPECT_EQ(get_current_keystone_angle(), degrees);
    }
    for (const int degrees : {26, -26, 30}) {
        measure(degrees);
        EXPECT_EQ(varnel_keystone(no_focus_run), 0);
        EXPECT_EQ(get_current_keystone_angle(), 3) << "gravity is used";
    }
}

TEST_F(TofAngle, IsReplacedByGravityWhenItIsMissing) {
    readings = {{32767, 0, 0}};
    lean(-44.9F, 10.9F, -80);
    preUpW = 1169;
    EXPECT_EQ(varnel_keystone(no_focus_run), 0);
    EXPECT_EQ(get_current_keystone_angle(), 10);
    EXPECT_THAT(applied(), ElementsAre("widths 1169 1280"));
    EXPECT_THAT(board.log(),
                testing::EndsWith(tagged("\033[36;1muse gsensor vAngle\033[0m") + tagged("VKeystone success")));
}

TEST_F(TofAngle, IsRequiredWhenTheProjectorLiesOnItsSide) {
    readings = {{32767, 0, 0}};
    for (const float x : {45.0F, -45.0F}) {
        lean(x, 10, -80);
        board.log();
        EXPECT_EQ(varnel_keystone(no_focus_run), -101);
        EXPECT_THAT(board.log(),
                    testing::EndsWith(tagged("VKeystone: get_tof_angle fail") + gravity_line(x, 10, -80, 10)));
    }
    EXPECT_THAT(applied(), IsEmpty());
}

TEST_F(TofAngle, IsBelievedUpTo80DegreesWhenTheProjectorLiesOnItsSide) {
    lean(60, 3, -80);
    for (const int degrees : {81, -81}) {
        measure(degrees);
        EXPECT_EQ(varnel_keystone(no_focus_run), -101);
    }
    EXPECT_THAT(applied(), IsEmpty());
    for (const int degrees : {80, -80, 30}) {
        measure(degrees);
        EXPECT_EQ(varnel_keystone(no_focus_run), 0);
        EXPECT_EQ(get_current_keystone_angle(), degrees);
    }
}

struct GravityAngle : TofAngle {
    GravityAngle() { readings = {{32767, 0, 0}}; }  // no other angle

    int angle_used(float y, float z) {
        lean(0, y, z);
        EXPECT_EQ(varnel_keystone(no_focus_run), 0);
        return get_current_keystone_angle();
    }
};

TEST_F(GravityAngle, IsTheTiltOfTheYAxisByTheWayUp) {
    EXPECT_EQ(angle_used(12.9F, -70), 12);
    EXPECT_EQ(angle_used(12.9F, 70), -12);
    EXPECT_EQ(angle_used(-12.9F, 0), -12);
}

TEST_F(GravityAngle, IsCountedFromTheVerticalFrom50Degrees) {
    EXPECT_EQ(angle_used(49.9F, -40), 49);
    EXPECT_EQ(angle_used(50, -40), -40);
    EXPECT_EQ(angle_used(-50, -40), 40);
    EXPECT_EQ(angle_used(80, 5), 10);
}

TEST_F(GravityAngle, IsRefusedBeyond90Degrees) {
    lean(0, 181, -10);
    EXPECT_EQ(varnel_keystone(no_focus_run), -1);
    EXPECT_THAT(board.log(), testing::EndsWith(tagged("keystone error: vAngle > 90")));
    EXPECT_THAT(applied(), IsEmpty());
    EXPECT_EQ(angle_used(-180, -10), -90) << "90 is not";
}

TEST_F(TofAngle, FailsTheRunWithoutMemory) {
    measure(10);
    lean(0, 10, -80);
    board.log();
    int result = 0;
    {
        const NoMemoryForTheLibrary refused;
        result = varnel_keystone(no_focus_run);
    }
    EXPECT_EQ(result, -1);
    EXPECT_THAT(board.log(), ::testing::EndsWith("height = 720\033[0m\n" +
                                                 tagged("VKeystone: varnel_thread_setDLPKeystone fail")));
}

TEST_F(GravityAngle, FailsTheRunWithoutMemory) {
    lean(0, 10, -80);
    board.log();
    int result = 0;
    {
        const NoMemoryForTheLibrary refused;
        result = varnel_keystone(no_focus_run);
    }
    EXPECT_EQ(result, -1);
    EXPECT_THAT(board.log(), ::testing::EndsWith(tagged("\033[36;1muse gsensor vAngle\033[0m") +
                                                 tagged("VKeystone: varnel_thread_setDLPKeystone fail")));
}

TEST_F(TofAngle, IsMarkedAsAFocusRunsByTheCode9999) {
    // A run that ends before the widths leaves the mark.
    readings = {{32767, 0, 0}};
    lean(60, 0, -30);
    varnel_keystone(9998);
    EXPECT_EQ(focusAndKeystone, 0);
    varnel_keystone(focus_run);
    EXPECT_EQ(focusAndKeystone, 1);
    measure(5);
    varnel_keystone(no_focus_run);
    EXPECT_EQ(focusAndKeystone, 0) << "cleared by the first run that applies widths";
}

TEST_F(TofAngle, ServesAFocusRunWhileAManualRequestWaits) {
    g_run_once_keystone = 1;
    measure(10);
    lean(0, 0, -80);
    EXPECT_EQ(varnel_keystone(focus_run), 0);
    EXPECT_THAT(applied(), ElementsAre("widths 1169 1280"));
    EXPECT_EQ(focusAndKeystone, 1);
}

}  // namespace
