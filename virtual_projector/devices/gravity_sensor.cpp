// The gravity sensor's driver.
//
// A sample request waits for the sensor: each descriptor gets at most one sample per sensor period. The
// calibration offsets that are handed to the driver are taken off every sample.

#include <array>
#include <cerrno>
#include <cmath>
#include <cstdlib>

#include "virtual_projector/devices/drivers.h"
#include "virtual_projector/devices/request_device.h"

namespace vp {
namespace {

constexpr std::uint32_t set_calibration = 0x8004A106;
constexpr std::uint32_t get_sample = 0x4004A109;
constexpr std::int32_t max_offset = 20000;

using Axes = std::array<std::int32_t, 3>;  // x, y, z as the driver's users hand them over

struct GravityDriver {
    Axes offsets{};
};

bool is_allowed(const Axes& offsets) {
    for (const std::int32_t offset : offsets) {
        if (offset < -max_offset || offset > max_offset) return false;
    }
    return true;
}

Axes sample(const World& world, const Axes& offsets) {
    const std::array<double, 3> felt = world.gravity_now();
    Axes axes{};
    for (std::size_t i = 0; i < axes.size(); ++i) {
        axes.at(i) = static_cast<std::int32_t>(std::lround(felt.at(i))) - offsets.at(i);
    }
    return axes;
}

Microseconds period_us(const World& world) {
    return static_cast<Microseconds>(world.settings().gravity.period_ms * microseconds_per_millisecond);
}

class GravityFile : public OpenFile {
public:
    GravityFile(Board& board, std::shared_ptr<GravityDriver> driver)
        : board_(board), driver_(std::move(driver)) {}

    Answer request(std::uint32_t number, void* argument) override {
        if (number != set_calibration && number != get_sample) return Answer::error(ENOTTY);
        if (argument == nullptr) return Answer::error(EFAULT);
        return board_.with_world([&](World& world) {
            return number == get_sample ? next_sample(world, argument) : calibrate(argument);
        });
    }

    std::size_t request_size(std::uint32_t number) const override {
        return number == set_calibration || number == get_sample ? sizeof(Axes) : 0;
    }

    RequestKind request_kind(std::uint32_t number) const override {
        if (number == set_calibration) return {"set_calibration", true, false};
        return number == get_sample ? RequestKind{"get_sample", false, true} : RequestKind{};
    }

private:
    Answer calibrate(const void* argument) {
        const auto offsets = fetch<Axes>(argument);
        if (!is_allowed(offsets)) return Answer::error(EINVAL);
        driver_->offsets = offsets;
        return Answer::done(0);
    }

    Answer next_sample(const World& world, void* argument) {
        const Microseconds due = last_sample_ + period_us(world);
        if (has_sampled_ && world.now() < due) return Answer::wait_until(due);
        has_sampled_ = true;
        last_sample_ = world.now();
        deliver(argument, sample(world, driver_->offsets));
        return Answer::done(0);
    }

    Board& board_;
    std::shared_ptr<GravityDriver> driver_;
    bool has_sampled_ = false;
    Microseconds last_sample_ = 0;
};

}  // namespace

void add_gravity_sensor(Board& board, DeviceTable& nodes) {
    const Presence present = [](const Settings& s) { return s.board.has_gravity_sensor != 0; };
    const auto driver = std::make_shared<GravityDriver>();
    nodes.add("/dev/gsensor_daemon", make_request_device(board, present, [&board, driver](int) {
                  return std::make_unique<GravityFile>(board, driver);
              }));
    nodes.add("/sys/class/sensors/sensor_error",
              make_attribute(
                  board, present,
                  show_number([](World& world) { return std::lround(world.get("gravity.error_code")); }), {}));
}

}  // namespace vp
