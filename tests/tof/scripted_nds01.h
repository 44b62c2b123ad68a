// The kernel driver of the nds01 sensor, as far as a test needs it: its device node, its attributes and the
// commands of lib_data, whose records it reads byte by byte and whose addresses it follows, as the driver does.
#ifndef TESTS_TOF_SCRIPTED_NDS01_H
#define TESTS_TOF_SCRIPTED_NDS01_H

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "tests/support/scripted_board.h"

namespace testkit {

inline const std::string nds01_node = "/dev/nds01";
inline const std::string nds01_directory = "/sys/class/nd_tof/nds01";
inline std::string nds01_attribute(const std::string& name) { return nds01_directory + "/" + name; }

/// A line with the ToF layer's tag. A text that ends in a newline leaves an empty line after it.
inline std::string tof_tagged(const std::string& text) { return "[ovra_tof]  " + text + "\n"; }

/// Little-endian numbers of a record.
template <typename Number>
Number number_at(const std::string& bytes, size_t offset) {
    Number value{};
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

template <typename Number>
std::string bytes_of(std::initializer_list<Number> numbers) {
    std::string bytes;
    for (const Number number : numbers) {
        bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
    }
    return bytes;
}

inline std::string hex(const std::string& bytes) {
    std::string text;
    for (const char byte : bytes) {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned>(static_cast<unsigned char>(byte)));
        text += digits;
    }
    return text;
}

inline std::string at_address(std::uint64_t address, size_t count) {
    return {reinterpret_cast<const char*>(static_cast<std::uintptr_t>(address)), count};
}

class ScriptedNds01 {
public:
    explicit ScriptedNds01(ScriptedBoard& board) : board_(board) {
        for (const char* name :
             {"running_state", "point_mode", "config", "xtalk_calibration", "isp_config",
              "offset_calibration_at_depth_for_dev", "offset_calibration_at_depth_for_isp"}) {
            board_.text(nds01_attribute(name), "");
        }
        board_.text(nds01_attribute("running_state"), "1\n");
        board_.text(nds01_attribute("fps"), "15\n");
        set_firmware(0x010300);
        board_.on_write(nds01_attribute("lib_data"), [this](const std::string& bytes) { return take(bytes); });
        board_.on_ioctl(nds01_node, [this](std::uint32_t, void* target) { return deliver_frame(target); });
    }

    void set_firmware(std::uint32_t version) {
        board_.text(nds01_attribute("firmware_version"), bytes_of<std::uint32_t>({version}));
    }

    /// A frame whose zones all have this quality and the distances 1000, 1001, 1002, ...
    void set_frame(std::uint16_t quality) {
        for (size_t zone = 0; zone < 8; ++zone)
            set_zone(zone, static_cast<std::uint16_t>(1000 + zone), quality);
    }

    void set_zone(size_t zone, std::uint16_t distance, std::uint16_t quality) {
        std::memcpy(frame.data() + zone * 8, &distance, 2);
        std::memcpy(frame.data() + zone * 8 + 2, &quality, 2);
    }

    /// Refuses the n-th command with this code (1 is the first) by taking 8 of its 12 bytes.
    void refuse(std::uint32_t code, int nth = 1) { refused_[code] = nth; }

    /// What happened, without lib_data's raw records (the driver notes them as "driver ...") and with the
    /// attributes' directory left out: "write fps 0".
    std::vector<std::string> story(const std::vector<std::string>& first_words) {
        std::vector<std::string> entries = board_.journal(first_words);
        const std::string record = "write " + nds01_attribute("lib_data");
        entries.erase(std::remove_if(entries.begin(), entries.end(),
                                     [&](const std::string& entry) { return entry.rfind(record, 0) == 0; }),
                      entries.end());
        for (std::string& entry : entries) {
            const size_t at = entry.find(nds01_directory + "/");
            if (at != std::string::npos) entry.erase(at, nds01_directory.size() + 1);
        }
        return entries;
    }

    std::array<std::uint8_t, 64> frame{};
    std::vector<long> frame_answers;                           // one for each request; then 0
    std::map<std::uint32_t, std::string> lib_data;             // by index
    std::map<std::uint32_t, std::vector<std::string>> stored;  // every write of library data, by index
    std::string pixels = std::string(480, '\0');
    std::string register_content = std::string(16, '\x5A');
    std::string written_register_data;
    std::int32_t xshut_level = -1;

private:
    long deliver_frame(void* target) {
        std::memcpy(target, frame.data(), frame.size());
        if (frame_answers.empty()) return 0;
        const long answer = frame_answers.front();
        frame_answers.erase(frame_answers.begin());
        return answer;
    }

    long take(const std::string& bytes) {
        if (bytes.size() != 12) return -22;
        const auto argument = number_at<std::uint64_t>(bytes, 0);
        const auto code = number_at<std::uint32_t>(bytes, 8);
        if (refused_.count(code) != 0 && --refused_[code] == 0) {
            board_.note("driver refuses " + std::to_string(code));
            return 8;
        }
        board_.note("driver " + execute(code, argument));
        return 12;
    }

    std::string execute(std::uint32_t code, std::uint64_t argument) {
        switch (code) {
            case 1:
                return read_lib_data(at_address(argument, 16));
            case 2:
                return write_lib_data(at_address(argument, 16));
            case 3:
                return "enables SPADs " + hex(at_address(argument, 8));
            case 5:
                return "selects SPADs " + hex(at_address(argument, 8));
            case 6:
                std::memcpy(pointer(argument), pixels.data(), pixels.size());
                return "reads pixels";
            case 7:
                return "reads " + transfer_register(at_address(argument, 22), true);
            case 8:
                return "writes " + transfer_register(at_address(argument, 22), false);
            case 9:
                std::memcpy(&xshut_level, pointer(argument), sizeof xshut_level);
                return "sets xshut " + std::to_string(xshut_level);
            default:
                return "does not know " + std::to_string(code);
        }
    }

    static void* pointer(std::uint64_t address) {
        return reinterpret_cast<void*>(static_cast<std::uintptr_t>(address));
    }

    static std::string describe(std::uint32_t index, std::uint32_t size) {
        char text[40];
        std::snprintf(text, sizeof text, "lib data 0x%x, %u bytes", index, size);
        return text;
    }

    std::string read_lib_data(const std::string& record) {
        const auto size = number_at<std::uint32_t>(record, 8);
        const auto index = number_at<std::uint32_t>(record, 12);
        const std::string& content = lib_data[index];
        std::memcpy(pointer(number_at<std::uint64_t>(record, 0)), content.data(),
                    std::min<size_t>(size, content.size()));
        return "reads " + describe(index, size);
    }

    std::string write_lib_data(const std::string& record) {
        const auto size = number_at<std::uint32_t>(record, 8);
        const auto index = number_at<std::uint32_t>(record, 12);
        stored[index].push_back(at_address(number_at<std::uint64_t>(record, 0), size));
        return "writes " + describe(index, size);
    }

    std::string transfer_register(const std::string& record, bool read) {
        const std::string number =
            at_address(number_at<std::uint64_t>(record, 2), number_at<std::uint16_t>(record, 10));
        const auto data = number_at<std::uint64_t>(record, 12);
        const auto length = number_at<std::uint16_t>(record, 20);
        if (read) {
            std::memcpy(pointer(data), register_content.data(), length);
        } else {
            written_register_data = at_address(data, length);
        }
        return "register " + hex(number) + " of chip " + hex(record.substr(0, 2)) + ", " +
               std::to_string(length) + " bytes";
    }

    ScriptedBoard& board_;
    std::map<std::uint32_t, int> refused_;
};

}  // namespace testkit

#endif
