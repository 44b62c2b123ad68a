#include "virtual_projector/world/unit_record.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "virtual_projector/world/gravity.h"
#include "virtual_projector/world/lens_sensor.h"
#include "virtual_projector/world/optics.h"

namespace vp {
namespace {

constexpr std::size_t lens_text_at = 0;
constexpr std::size_t gravity_text_at = 150;
constexpr std::size_t device_serial_at = 174;
constexpr std::size_t board_serial_at = 198;
constexpr std::size_t gsensor_flag_at = 222;
constexpr std::size_t tof_flag_at = 223;
constexpr std::size_t tmr_flag_at = 224;

constexpr int places = 25;
constexpr int measured_places = 14;    // one full step from each other
constexpr int reference_place = 2;     // the measurement at the target of the sweep
constexpr double reference_mm = 1000;  // the distance of that target
constexpr double bench_led_c = 44;     // the bench lets the LED warm up
constexpr int left_margin_tmr = 20;
constexpr int right_margin_tmr = 40;
constexpr int left_backlash_surplus = 1;  // the sweep counts one step of the way back with the left backlash

constexpr std::size_t curve_numbers = 20;
constexpr std::size_t curve_points = 13;  // the last of them, nearest distance first
constexpr int curve_header_number = 13;   // the numbers before them: how many points follow, then zeros
constexpr int two_to_16 = 65536;

// Where the bench's lens stands when its camera finds the target's picture sharpest.
double reference_steps(const Settings& settings, const BenchErrors& bench) {
    const double true_mm = reference_mm + bench.depth_mm;
    const double best = best_focus_steps(settings.lens, settings.tmr, true_mm, bench_led_c);
    const double found = best + bench.camera_tmr / settings.tmr.slope_per_step;
    return bench.whole_steps ? std::round(found) : found;
}

// What the library reads there when the lens has come from the left, polarity taken out.
int measured_at(const Settings& settings, double position) {
    const double reading = clean_reading(settings.tmr, settings.lens, position, Side::right);
    return static_cast<int>(std::lround(settings.tmr.polarity < 0 ? -reading : reading));
}

std::array<int, measured_places> sweep(const Settings& settings, const BenchErrors& bench) {
    const double reference = reference_steps(settings, bench);
    std::array<int, measured_places> measured{};
    for (int i = 0; i < measured_places; ++i)
        measured.at(static_cast<std::size_t>(i)) = measured_at(settings, reference + (i - reference_place));
    return measured;
}

// What does not fit into the field and leaves a byte 0 at its end is cut off.
void put_text(Record& record, std::size_t at, std::size_t field_size, const std::string& text) {
    const std::size_t length = std::min(text.size(), field_size - 1);
    std::copy_n(text.begin(), length, record.begin() + static_cast<std::ptrdiff_t>(at));
}

std::string serial(const char* prefix, double number) {
    char text[25];
    std::snprintf(text, sizeof text, "%s%08d", prefix, static_cast<int>(number));
    return text;
}

std::uint8_t digit(double flag) { return static_cast<std::uint8_t>('0' + static_cast<int>(flag)); }

}  // namespace

std::array<int, 30> lens_table(const Settings& settings, const BenchErrors& bench) {
    const std::array<int, measured_places> measured = sweep(settings, bench);
    std::array<int, 30> table{};
    for (std::size_t place = 0; place < places; ++place) {
        const int lower = measured.at(place / 2);
        const int upper = measured.at(place / 2 + 1);
        table.at(place) = place % 2 == 0 ? lower : (lower + upper) / 2;
    }
    table.at(25) = measured.front() - left_margin_tmr;
    table.at(26) = measured.back() + right_margin_tmr;
    table.at(27) = settings.tmr.polarity < 0 ? 1 : 0;
    table.at(28) = static_cast<int>(std::lround(settings.lens.left_backlash_steps)) + left_backlash_surplus;
    table.at(29) = static_cast<int>(std::lround(settings.lens.right_backlash_steps));
    return table;
}

std::string lens_table_text(const Settings& settings, const BenchErrors& bench) {
    std::string text;
    for (const int number : lens_table(settings, bench))
        text += (text.empty() ? "" : ",") + std::to_string(number);
    return text;
}

std::string gravity_offsets_text(const Settings& settings, const BenchErrors& bench) {
    // The mean of many samples: what swings about 0 is gone, and a tilting table's fan stands still.
    GravitySettings quiet = settings.gravity;
    quiet.noise_sigma = 0;
    quiet.fan_vibration_mg = 0;
    quiet.spike_probability = 0;
    const std::array<double, 3> read = gravity_sample(quiet, pose_on_bench({}, bench), {}, 0, 0, bench_led_c);
    return std::to_string(std::lround(read[0])) + "," + std::to_string(std::lround(read[1])) + "," +
           std::to_string(std::lround(read[2] - quiet.units_per_g));
}

int sharpest_tmr(const Settings& settings, const BenchErrors& bench) {
    return measured_at(settings, reference_steps(settings, bench));
}

// The points are the sensor's own readings, its polarity left in, as 16-bit numbers.
std::string elepn_curve_text(const Settings& settings, const BenchErrors& bench) {
    const std::array<int, 30> table = lens_table(settings, bench);
    std::array<int, curve_numbers> numbers{};
    numbers.front() = curve_header_number;
    for (std::size_t point = 0; point < curve_points; ++point) {
        const double cold = table.at(2 * point) + settings.lens.cold_drift_tmr;
        const int reading = static_cast<int>(std::lround(settings.tmr.polarity < 0 ? -cold : cold));
        numbers.at(curve_numbers - 1 - point) = reading < 0 ? reading + two_to_16 : reading;
    }
    std::string text;
    for (const int number : numbers) text += (text.empty() ? "" : " ") + std::to_string(number);
    return text + "\n";
}

Record blank_record() {
    Record record{};
    record.fill(0xFF);
    return record;
}

Record factory_record(const Settings& settings, const BenchErrors& bench) {
    if (settings.unit.calibrated == 0) return blank_record();
    Record record{};
    put_text(record, lens_text_at, gravity_text_at - lens_text_at, lens_table_text(settings, bench));
    put_text(record, gravity_text_at, device_serial_at - gravity_text_at,
             gravity_offsets_text(settings, bench));
    put_text(record, device_serial_at, board_serial_at - device_serial_at, serial("VP", settings.unit.serial));
    put_text(record, board_serial_at, gsensor_flag_at - board_serial_at, serial("VPMB", settings.unit.serial));
    record.at(gsensor_flag_at) = digit(settings.unit.gsensor_flag);
    record.at(tof_flag_at) = digit(settings.unit.tof_flag);
    record.at(tmr_flag_at) = digit(settings.unit.tmr_flag);
    return record;
}

}  // namespace vp
