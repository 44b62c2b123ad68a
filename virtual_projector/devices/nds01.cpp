// The nds01 ToF sensor's driver: the device that ranging frames are read from, and its attributes.
//
// A frame request waits for a frame that its descriptor has not had yet; the text attribute shows the
// latest one. Neither has anything to give while ranging is stopped (EAGAIN).

#include <cerrno>

#include "virtual_projector/devices/drivers.h"
#include "virtual_projector/devices/nds01_commands.h"
#include "virtual_projector/devices/request_device.h"

namespace vp {
namespace {

constexpr char directory[] = "/sys/class/nd_tof/nds01/";
constexpr std::uint32_t get_frame = 0x4004A203;
constexpr long max_frames_per_s = 120;
constexpr long max_point_mode = 2;
constexpr long max_depth_mm = 5000;
constexpr std::size_t old_crosstalk_bytes = 2;

#pragma pack(push, 1)
struct ZoneRecord {
    std::uint16_t distance_mm;
    std::uint16_t quality;
    std::uint32_t reserved;
};
#pragma pack(pop)
static_assert(sizeof(ZoneRecord) == 8);

bool has_tof(const Settings& settings) { return settings.board.has_tof != 0; }

class FrameFile : public OpenFile {
public:
    FrameFile(Board& board, std::shared_ptr<Nds01Chip> chip) : board_(board), chip_(std::move(chip)) {}

    Answer request(std::uint32_t number, void* argument) override {
        if (number != get_frame) return Answer::error(ENOTTY);
        if (argument == nullptr) return Answer::error(EFAULT);
        return board_.with_world([&](World& world) { return next_frame(world, argument); });
    }

    std::size_t request_size(std::uint32_t number) const override {
        if (number != get_frame) return 0;
        return board_.with_world(
            [](World& world) { return zone_count(world.tof_point_mode()) * sizeof(ZoneRecord); });
    }

    RequestKind request_kind(std::uint32_t number) const override {
        return number == get_frame ? RequestKind{"get_frame", false, true} : RequestKind{};
    }

private:
    Answer next_frame(const World& world, void* argument) {
        if (!chip_->is_ranging()) return Answer::error(EAGAIN);
        const std::int64_t frame = chip_->latest_frame(world);
        if (frame == last_frame_) return Answer::wait_until(chip_->frame_time(world, frame + 1));
        last_frame_ = frame;
        auto* memory = static_cast<char*>(argument);
        for (const ZoneReading& zone : chip_->zones(world, board_.tof_memory())) {
            deliver(memory, ZoneRecord{zone.distance_mm, zone.quality, 0});
            memory += sizeof(ZoneRecord);
        }
        return Answer::done(0);
    }

    Board& board_;
    std::shared_ptr<Nds01Chip> chip_;
    std::int64_t last_frame_ = -1;
};

// Four corners' distances, then their qualities.
Answer show_ranging(const World& world, const Memory& memory, const Nds01Chip& chip, std::string& text) {
    if (!chip.is_ranging()) return Answer::error(EAGAIN);
    const std::vector<ZoneReading> zones = chip.zones(world, memory);
    std::string qualities;
    for (const std::size_t corner : corner_zones(world.tof_point_mode())) {
        text += std::to_string(zones.at(corner).distance_mm) + ",";
        qualities += (qualities.empty() ? "" : ",") + std::to_string(zones.at(corner).quality);
    }
    text += qualities + "\n";
    return Answer::done(0);
}

std::string raw_bytes(const void* data, std::size_t size) { return {static_cast<const char*>(data), size}; }

bool is_isp_config(std::string_view bytes) {
    return (bytes.size() == 2 && bytes[0] == 0) || (bytes.size() == 5 && bytes[0] == 1);
}

class Nds01Nodes {
public:
    Nds01Nodes(Board& board, DeviceTable& nodes)
        : board_(board),
          nodes_(nodes),
          folder_(board, nodes, directory, has_tof),
          chip_(board.with_world([](World& world) { return std::make_shared<Nds01Chip>(world.settings()); })) {}

    void add_device() {
        nodes_.add("/dev/nds01", make_request_device(board_, has_tof, [&board = board_, chip = chip_](int) {
                       return std::make_unique<FrameFile>(board, chip);
                   }));
    }

    void add_settings() {
        const auto chip = chip_;
        folder_.add("running_state", show_number([chip](World&) { return chip->running_state; }),
                    store_number(0, 1, [chip](World&, long on) -> long {
                        if (chip->xshut == 0) return -EIO;
                        chip->running_state = on;
                        return 0;
                    }));
        folder_.add_setting("fps", 0, max_frames_per_s, field(&Nds01Chip::frames_per_s));
        folder_.add("point_mode", show_number([](World& world) { return world.tof_point_mode(); }),
                    store_number(0, max_point_mode, [](World& world, long mode) -> long {
                        world.set_tof_point_mode(static_cast<int>(mode));
                        return 0;
                    }));
    }

    void add_readings() {
        const auto chip = chip_;
        folder_.add("ranging_data",
                    [chip, &board = board_](World& world, std::string& text) {
                        return show_ranging(world, board.tof_memory(), *chip, text);
                    },
                    {});
        folder_.add("firmware_version", show_text([](World& world) {
                        const std::uint32_t version = packed_firmware_version(world.settings().tof);
                        return raw_bytes(&version, sizeof version);
                    }),
                    {});
        folder_.add("xtalk_value", show_text([chip](World& world) {
                        const bool four = has_four_crosstalk_values(world.settings().tof);
                        return raw_bytes(chip->crosstalk.data(),
                                         four ? sizeof chip->crosstalk : old_crosstalk_bytes);
                    }),
                    {});
    }

    void add_calibrations() {
        const auto chip = chip_;
        folder_.add("config", {}, store_number(1, 1, [](World&, long) { return 0L; }));
        folder_.add("xtalk_calibration", {}, store_number(1, 1, [chip](World& world, long) -> long {
                        if (!chip->is_ranging()) return -EAGAIN;
                        chip->measure_crosstalk(world.unit_seed());
                        return 0;
                    }));
        folder_.add("offset_calibration_at_depth_for_dev", {},
                    store_number(1, max_depth_mm, [chip, &board = board_](World& world, long depth) -> long {
                        if (!chip->is_ranging()) return -EAGAIN;
                        chip->calibrate_at(world, board.tof_memory(), depth);
                        return 0;
                    }));
        folder_.add("offset_calibration_at_depth_for_isp", {}, [chip](World&, std::string_view text) -> long {
            return chip->enter_calibration_step(text) ? 0 : -EINVAL;
        });
    }

    void add_raw_transfers() {
        const auto chip = chip_;
        folder_.add("isp_config", {}, [chip](World&, std::string_view bytes) -> long {
            if (!is_isp_config(bytes)) return -EINVAL;
            chip->isp_config = bytes;
            return 0;
        });
        folder_.add(
            "lib_data", {},
            [chip, &board = board_](World& world, std::string_view record) {
                return carry_out_command(world, board, *chip, record);
            },
            describe_command);
    }

private:
    std::shared_ptr<long> field(long Nds01Chip::*member) const { return {chip_, &((*chip_).*member)}; }

    Board& board_;
    DeviceTable& nodes_;
    AttributeFolder folder_;
    std::shared_ptr<Nds01Chip> chip_;
};

}  // namespace

void add_nds01(Board& board, DeviceTable& nodes) {
    Nds01Nodes nds01(board, nodes);
    nds01.add_device();
    nds01.add_settings();
    nds01.add_readings();
    nds01.add_calibrations();
    nds01.add_raw_transfers();
}

}  // namespace vp
