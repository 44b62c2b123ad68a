// The generic ranging driver: nine zones as one line of hexadecimal words.
//
// Each word holds the distance in its low half and the zone's quality in its high half. Without power,
// measuring or the distance mode all words are 0.

#include <cerrno>
#include <cmath>
#include <cstdio>

#include "virtual_projector/devices/attribute.h"
#include "virtual_projector/devices/drivers.h"

namespace vp {
namespace {

constexpr char directory[] = "/sys/class/tof/";
constexpr long max_mode = 7;
constexpr long distance_mode = 3;
constexpr long max_channel = 3;
constexpr long min_poll_ms = 10;
constexpr long max_poll_ms = 10000;
constexpr long max_spad_map = 14;

struct ZoneGrid {
    long chip_enable = 1;
    long capture = 0;
    long mode = 0;
    long channel = 0;
    long poll_period_ms = 180;
    long spad_map_id = 0;

    bool is_ranging() const { return chip_enable != 0 && capture != 0 && mode == distance_mode; }
};

std::string word_text(const ZoneReading& zone) {
    char text[9];
    std::snprintf(text, sizeof text, "%04X%04X", zone.quality, zone.distance_mm);
    return text;
}

std::string distance_text(const World& world, const ZoneGrid& grid) {
    std::array<ZoneReading, 9> zones{};
    const std::int64_t frame = world.now() / (grid.poll_period_ms * microseconds_per_millisecond);
    if (grid.is_ranging()) zones = zone_grid(world.tof_scene(), frame);
    std::string text;
    for (const ZoneReading& zone : zones) text += word_text(zone);
    return text;
}

class GridNodes {
public:
    GridNodes(Board& board, DeviceTable& nodes)
        : folder_(board, nodes, directory, [](const Settings& s) { return s.board.has_zone_grid != 0; }) {}

    void add_settings() {
        folder_.add_setting("mode", 0, max_mode, field(&ZoneGrid::mode));
        folder_.add_setting("channel", 0, max_channel, field(&ZoneGrid::channel));
        folder_.add_setting("poll_period", min_poll_ms, max_poll_ms, field(&ZoneGrid::poll_period_ms));
        folder_.add_setting("spad_map_id", 0, max_spad_map, field(&ZoneGrid::spad_map_id));
    }

    // A chip without power cannot measure, and forgets that it did.
    void add_switches() {
        const auto grid = grid_;
        folder_.add("chip_enable", show_number([grid](World&) { return grid->chip_enable; }),
                    store_number(0, 1, [grid](World&, long on) {
                        grid->chip_enable = on;
                        if (on == 0) grid->capture = 0;
                        return 0L;
                    }));
        folder_.add("capture", show_number([grid](World&) { return grid->capture; }),
                    store_number(0, 1, [grid](World&, long on) -> long {
                        if (on != 0 && grid->chip_enable == 0) return -EIO;
                        grid->capture = on;
                        return 0;
                    }));
    }

    void add_readings() {
        const auto grid = grid_;
        folder_.add("distance", show_text([grid](World& world) { return distance_text(world, *grid); }), {});
        folder_.add("sensor_error",
                    show_number([](World& world) { return std::lround(world.get("tof.error_code")); }), {});
    }

private:
    std::shared_ptr<long> field(long ZoneGrid::*member) const { return {grid_, &((*grid_).*member)}; }

    AttributeFolder folder_;
    std::shared_ptr<ZoneGrid> grid_ = std::make_shared<ZoneGrid>();
};

}  // namespace

void add_zone_grid(Board& board, DeviceTable& nodes) {
    GridNodes grid(board, nodes);
    grid.add_settings();
    grid.add_switches();
    grid.add_readings();
}

}  // namespace vp
