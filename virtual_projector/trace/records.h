// The records of a trace, one JSON object on each line: what they hold, for those who write and who read them.
//
//     {"t_us":20000,"thread":2,"name":"keystonefocus_thread","call":"open","path":"/sys/class/motor/stop",
//      "flags":"O_RDONLY","result":0}
//     {"t_us":20000,...,"call":"read","path":"/sys/class/motor/stop","count":20,"result":2,"data":"1\n"}
//     {"t_us":20000,...,"call":"ioctl","path":"/dev/nds01","request":"0x4004a203","result":-5,"error":"EIO"}
//     {"t_us":21000,...,"call":"sleep","us":1000,"result":0}
//     {"t_us":22000,"event":"tilt to 12 degrees"}
//     {"t_us":22000,"truth":{"sharpness":0.98}}
//     {"t_us":23000,"wear":{"run":{"full_steps":12},"total":{"full_steps":12}}}
//
// (each on one line). Keys stand in this order always; those that say nothing are left out. Bytes that are no
// text stand as "hex" in place of "data". Nothing in it depends on addresses, descriptors or the kernel's
// numbers of threads, so the same run gives the same file, byte for byte.
#ifndef VIRTUAL_PROJECTOR_TRACE_RECORDS_H
#define VIRTUAL_PROJECTOR_TRACE_RECORDS_H

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

#include "virtual_projector/trace/trace_sink.h"

namespace vp {

/// The members of a record.
namespace record_key {
constexpr const char* t_us = "t_us";  // of every record
constexpr const char* thread = "thread";
constexpr const char* name = "name";  // the thread's
constexpr const char* call = "call";
constexpr const char* path = "path";
constexpr const char* flags = "flags";      // of an open
constexpr const char* count = "count";      // of a read or write
constexpr const char* request = "request";  // of an ioctl
constexpr const char* us = "us";            // of a sleep
constexpr const char* result = "result";
constexpr const char* error = "error";
constexpr const char* data = "data";
constexpr const char* hex = "hex";
constexpr const char* event = "event";
constexpr const char* truth = "truth";
constexpr const char* wear = "wear";    // the last record
constexpr const char* run = "run";      // of wear
constexpr const char* total = "total";  // of wear: with what was before the run
}  // namespace record_key

/// The world's truth as it stands in a record.
struct TruthRecord {
    double distance_mm = 0;
    double pitch_deg = 0;
    double yaw_deg = 0;
    double roll_deg = 0;
    double mounting = 0;
    double led_c = 0;
    double lens_tmr = 0;
    double lens_error_tmr = 0;
    double sharpness = 0;
    int top_width = 0;
    int bottom_width = 0;
    double left_side_deg = 0;
    double right_side_deg = 0;
    double edge_difference = 0;
    bool on_wall = true;  // false: the sides' angles are not known
    int hdmi_turn_deg = 0;
    int menu_turn_deg = 0;

    /// Calls visit(key, member) for each member, in the order in which they stand in a record.
    template <typename Truth, typename Visit>
    static void for_each_member(Truth& truth, Visit&& visit) {
        visit("distance_mm", truth.distance_mm);
        visit("pitch_deg", truth.pitch_deg);
        visit("yaw_deg", truth.yaw_deg);
        visit("roll_deg", truth.roll_deg);
        visit("mounting", truth.mounting);
        visit("led_c", truth.led_c);
        visit("lens_tmr", truth.lens_tmr);
        visit("lens_error_tmr", truth.lens_error_tmr);
        visit("sharpness", truth.sharpness);
        visit("top_width", truth.top_width);
        visit("bottom_width", truth.bottom_width);
        visit("left_side_deg", truth.left_side_deg);
        visit("right_side_deg", truth.right_side_deg);
        visit("edge_difference", truth.edge_difference);
        visit("on_wall", truth.on_wall);
        visit("hdmi_turn_deg", truth.hdmi_turn_deg);
        visit("menu_turn_deg", truth.menu_turn_deg);
    }
};

/// A call as it can be read back.
struct CallLine {
    std::string call;
    std::string path;
    long result = 0;
    std::string error;  // the errno's name; empty: none
    std::string data;   // of bytes that are text
};

/// The objects that stand on the lines of a trace.
nlohmann::ordered_json json_of(const CallRecord& record);
nlohmann::ordered_json json_of(const TruthRecord& truth);  // the value of "truth"
nlohmann::ordered_json truth_line(std::int64_t t_us, const nlohmann::ordered_json& truth);
nlohmann::ordered_json wear_line(std::int64_t t_us, const nlohmann::ordered_json& wear);
nlohmann::ordered_json event_line(std::int64_t t_us, std::string_view what);

/// The same read back; members that are missing have their defaults.
CallLine call_line_from(const nlohmann::json& line);
TruthRecord truth_from(const nlohmann::json& truth);

}  // namespace vp

#endif
