// The driver of the gravity sensor, as far as a test needs it.
#ifndef TESTS_SUPPORT_SCRIPTED_GRAVITY_H
#define TESTS_SUPPORT_SCRIPTED_GRAVITY_H

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "ovrafocus/acceleration.h"
#include "ovrafocus/permanent_data.h"
#include "tests/support/scripted_board.h"

namespace testkit {

inline const std::string gravity_node = "/dev/gsensor_daemon";

/// x, y and z in the driver's unit.
using Gravity = std::array<std::int32_t, 3>;

inline constexpr Gravity on_table{0, 0, 1000};
inline constexpr Gravity under_ceiling{0, 0, -1000};

/// On a table, the front lifted: the angles become 0, `degrees` and 90 - `degrees`.
inline Gravity lifted(double degrees) {
    constexpr double length = 1e7;
    const double radians = degrees * 3.141592653589793 / 180.0;
    return {0, static_cast<std::int32_t>(std::lround(length * std::sin(radians))),
            static_cast<std::int32_t>(std::lround(length * std::cos(radians)))};
}

class ScriptedGravity {
public:
    explicit ScriptedGravity(ScriptedBoard& board) : board_(board) {
        board_.on_ioctl(gravity_node, [this](std::uint32_t number, void* argument) {
            if (number == 0x8004A106) return take_calibration(argument);
            if (number == 0x4004A109) return deliver(argument);
            return static_cast<long>(-ENOTTY);
        });
    }

    /// The permanent record, as it would be had it been read from the flash.
    static void set_record(const std::string& offset_text, char flag) {
        permanent_data_inited = 1;
        glb_permanent_data = {};
        std::memcpy(glb_permanent_data.gsensor_offset_text, offset_text.data(),
                    std::min(offset_text.size(), sizeof glb_permanent_data.gsensor_offset_text));
        glb_permanent_data.gsensor_flag = flag;
    }

    /// Opens the sensor of an uncalibrated unit and forgets what was logged meanwhile.
    void open() {
        set_record("", '0');
        acc_init_set();
        board_.log();
        board_.clear_journal();
    }

    void samples(const Gravity& gravity, int count) {
        now = gravity;
        for (int i = 0; i < count; ++i) acc_event_read();
    }

    void block(const Gravity& gravity) { samples(gravity, 10); }

    void blocks(const Gravity& gravity, int count) { samples(gravity, 10 * count); }

    Gravity now = on_table;
    long sample_answer = 0;                 // a negated errno: the sample is refused
    std::vector<long> calibration_answers;  // one for each request; then 0
    std::vector<Gravity> calibrations;      // the offsets that were handed over
    Gravity found_in_argument{};            // what the caller's record held before a sample was put into it

private:
    long take_calibration(const void* argument) {
        Gravity offsets{};
        std::memcpy(offsets.data(), argument, sizeof offsets);
        calibrations.push_back(offsets);
        if (calibration_answers.empty()) return 0;
        const long answer = calibration_answers.front();
        calibration_answers.erase(calibration_answers.begin());
        return answer;
    }

    long deliver(void* argument) {
        std::memcpy(found_in_argument.data(), argument, sizeof found_in_argument);
        if (sample_answer < 0) return sample_answer;
        std::memcpy(argument, now.data(), sizeof now);
        return sample_answer;
    }

    ScriptedBoard& board_;
};

}  // namespace testkit

#endif
