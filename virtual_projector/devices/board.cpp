#include "virtual_projector/devices/board.h"

#include "virtual_projector/world/bench.h"
#include "virtual_projector/world/tof_calibration.h"
#include "virtual_projector/world/unit_record.h"

namespace vp {
namespace {

constexpr std::uint8_t erased = 0xFF;

BenchErrors errors_of_bench(const World& world) {
    return bench_errors(world.settings().bench, world.unit_seed());
}

std::vector<std::uint8_t> initial_flash(const World& world) {
    const Record record = factory_record(world.settings(), errors_of_bench(world));
    return {record.begin(), record.end()};
}

std::vector<std::uint8_t> initial_tof_memory(const World& world) {
    const Settings& settings = world.settings();
    if (settings.unit.tof_host_calibration == 0) return std::vector<std::uint8_t>(calibration_size, erased);
    PixelTable table = ideal_table(settings.tof, world.unit_seed());
    // A target that is too far away makes every pixel measure so much too much.
    const auto error_mm = static_cast<std::int16_t>(errors_of_bench(world).depth_mm);
    for (PixelCalibration& pixel : table)
        pixel.offset_mm = static_cast<std::int16_t>(pixel.offset_mm + error_mm);
    constexpr int bench_depth_mm = 500;
    const CalibrationData data = pack_calibration(generate_calibration(table, bench_depth_mm));
    return {data.begin(), data.end()};
}

}  // namespace

Board::Board(World& world, Clock& clock, const MemoryFiles& files)
    : world_(world),
      clock_(clock),
      flash_(files.flash, initial_flash(world)),
      tof_memory_(files.tof_memory, initial_tof_memory(world)) {}

void Board::save_later(const Memory& memory) {
    later([this, file = memory.file(), bytes = memory.bytes()] {
        const bool complete = save_memory(file, bytes);
        if (saved_handler_ && !file.empty()) saved_handler_(file, complete);
    });
}

void Board::do_later() {
    std::vector<std::function<void()>> work;
    {
        const WorldLock lock(clock_);
        work.swap(later_);
    }
    for (const std::function<void()>& piece : work) piece();
}

}  // namespace vp
