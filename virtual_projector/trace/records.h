// The records of a trace, one JSON object on each line: what they hold, for those who write and who read them.
//
//     {"t_us":0,"run":{"format":2,"version":"0.1.0","commit":"29d69e93c1","seed":1,"world":"laboratory",...}}
//     {"t_us":20000,"thread":2,"name":"keystonefocus_thread","call":"open","path":"/sys/class/motor/stop",
//      "flags":"O_RDONLY","result":0}
//     {"t_us":20000,...,"call":"read","path":"/sys/class/motor/stop","count":20,"result":2,"data":"1\n"}
//     {"t_us":20000,...,"call":"ioctl","path":"/dev/nds01","request":"0x4004a203","result":-5,"error":"EIO"}
//     {"t_us":20000,...,"call":"sleep","us":1000,"result":0}
//     {"t_us":21000,...,"call":"lock","path":"mutex_focus","took_us":1000,"result":0}
//     {"t_us":21000,...,"wait":"condition","path":"key_pressed","took_us":900,"end":"woken"}
//     {"t_us":21000,...,"callback":"toast","slot":5,"arguments":[6],"means":"the right limit"}
//     {"t_us":21000,...,"return":"is_factory_test","slot":6,"result":0}
//     {"t_us":21000,...,"state":{"g_run_once_AKAF":1}}
//     {"t_us":21000,...,"log":"[ovra_focus]  varnel_autofocus"}
//     {"t_us":22000,"event":"tilt to 12 degrees"}
//     {"t_us":22000,"truth":{"sharpness":0.98}}
//     {"t_us":23000,"wear":{"run":{"full_steps":12},"total":{"full_steps":12}}}
//
// (each on one line). Keys stand in this order always; those that say nothing are left out. Bytes that are no
// text stand as "hex" in place of "data". The run stands first and once. Nothing in it depends on addresses,
// descriptors or the kernel's numbers of threads, so the same run gives the same file, byte for byte.
// docs/trace.md describes every member.
#ifndef VIRTUAL_PROJECTOR_TRACE_RECORDS_H
#define VIRTUAL_PROJECTOR_TRACE_RECORDS_H

#include <array>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

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
constexpr const char* request_name = "request_name";
constexpr const char* us = "us";            // of a sleep
constexpr const char* held_us = "held_us";  // of an unlock
constexpr const char* took_us = "took_us";
constexpr const char* result = "result";
constexpr const char* error = "error";
constexpr const char* data = "data";
constexpr const char* hex = "hex";
constexpr const char* given = "given";
constexpr const char* returned = "returned";
constexpr const char* arguments = "arguments";
constexpr const char* outputs = "outputs";
constexpr const char* fault = "fault";
constexpr const char* fault_number = "number";  // of a fault
constexpr const char* fault_did = "did";
constexpr const char* wait = "wait";
constexpr const char* wait_end = "end";
constexpr const char* callback = "callback";
constexpr const char* callback_return = "return";
constexpr const char* slot = "slot";    // of a callback and its return
constexpr const char* means = "means";  // of a callback
constexpr const char* state = "state";
constexpr const char* log = "log";
constexpr const char* event = "event";
constexpr const char* truth = "truth";
constexpr const char* run = "run";      // the first record; of wear: the run's own
constexpr const char* wear = "wear";    // shortly before the end
constexpr const char* total = "total";  // of wear: with what was before the run
}  // namespace record_key

/// What a run was made of. The records of another format differ from those described here.
struct RunRecord {
    static constexpr int current_format = 2;
    static constexpr const char* standard_world = "laboratory";
    static constexpr const char* standard_unit = "standard";

    struct Setting {
        std::string name;
        double value = 0;
        std::string source;  // "default", "world", "unit", "scenario" or "command line"
    };

    int format = current_format;
    std::string version;  // of the virtual projector
    std::string commit;
    std::uint64_t seed = 1;
    std::optional<std::uint64_t> unit_seed;  // none: the standard unit
    std::string unit;                        // name of the spread that units are drawn from
    std::string world;                       // its name
    std::string scenario_digest;             // empty: no scenario
    std::string scenario_file;               // its name without its folder
    std::vector<Setting> settings;           // at the start, those that are not at their default
};

/// The corners of the picture on the wall, [x, z] each: top left, top right, bottom right, bottom left.
using Outline = std::array<std::array<double, 2>, 4>;

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
    bool on_wall = true;  // false: the angles of sides and edges are not known
    int hdmi_turn_deg = 0;
    int menu_turn_deg = 0;
    double top_edge_deg = 0;
    double bottom_edge_deg = 0;
    double worst_edge_deg = 0;
    double side_difference = 0;
    double blur_px = 0;
    double blur_corner_px = 0;
    double light_used = 1;
    Outline outline_mm{};  // all 0: not on the wall
    double axis_mm = 0;
    std::array<double, 4> zones_mm{};         // -1: nothing there
    double best_tmr = 0;                      // where the lens would have to stand
    bool lens_moving = false;                 // the motor turns
    double backlash_state = 0;                // from 0, taken up to the left, to 1, taken up to the right
    double barrel_c = 0;                      // the lens's
    double drift_tmr = 0;                     // by which its temperature has moved the best place
    double wall_tilt_deg = 0;                 // of the unit against the wall: up and down,
    double wall_turn_deg = 0;                 // and to the sides
    std::array<double, 4> blur_corners_px{};  // in the outline's order; all 0: not on the wall

    /// Calls visit(key, pointer to the member, cause) for each member, in the order in which they stand in a
    /// record. A change of a cause is a reason to write a record; of what follows from them, a last digit alone
    /// is no news.
    template <typename Visit>
    static void for_each_member(Visit&& visit) {
        for_each_of_the_unit(visit);
        for_each_of_the_picture(visit);
        for_each_of_the_lens(visit);
    }

private:
    template <typename Visit>
    static void for_each_of_the_unit(Visit&& visit) {
        visit("distance_mm", &TruthRecord::distance_mm, true);
        visit("pitch_deg", &TruthRecord::pitch_deg, true);
        visit("yaw_deg", &TruthRecord::yaw_deg, true);
        visit("roll_deg", &TruthRecord::roll_deg, true);
        visit("mounting", &TruthRecord::mounting, true);
        visit("led_c", &TruthRecord::led_c, true);
        visit("lens_tmr", &TruthRecord::lens_tmr, true);
        visit("lens_error_tmr", &TruthRecord::lens_error_tmr, true);
        visit("sharpness", &TruthRecord::sharpness, true);
        visit("top_width", &TruthRecord::top_width, true);
        visit("bottom_width", &TruthRecord::bottom_width, true);
    }
    template <typename Visit>
    static void for_each_of_the_picture(Visit&& visit) {
        visit("left_side_deg", &TruthRecord::left_side_deg, true);
        visit("right_side_deg", &TruthRecord::right_side_deg, true);
        visit("edge_difference", &TruthRecord::edge_difference, true);
        visit("on_wall", &TruthRecord::on_wall, true);
        visit("hdmi_turn_deg", &TruthRecord::hdmi_turn_deg, true);
        visit("menu_turn_deg", &TruthRecord::menu_turn_deg, true);
        visit("top_edge_deg", &TruthRecord::top_edge_deg, false);
        visit("bottom_edge_deg", &TruthRecord::bottom_edge_deg, false);
        visit("worst_edge_deg", &TruthRecord::worst_edge_deg, false);
        visit("side_difference", &TruthRecord::side_difference, false);
        visit("blur_px", &TruthRecord::blur_px, false);
        visit("blur_corner_px", &TruthRecord::blur_corner_px, false);
        visit("light_used", &TruthRecord::light_used, true);
        visit("outline_mm", &TruthRecord::outline_mm, false);
        visit("axis_mm", &TruthRecord::axis_mm, true);
        visit("zones_mm", &TruthRecord::zones_mm, false);
    }
    template <typename Visit>
    static void for_each_of_the_lens(Visit&& visit) {
        visit("best_tmr", &TruthRecord::best_tmr, false);
        visit("lens_moving", &TruthRecord::lens_moving, true);
        visit("backlash_state", &TruthRecord::backlash_state, true);
        visit("barrel_c", &TruthRecord::barrel_c, false);
        visit("drift_tmr", &TruthRecord::drift_tmr, false);
        visit("wall_tilt_deg", &TruthRecord::wall_tilt_deg, false);
        visit("wall_turn_deg", &TruthRecord::wall_turn_deg, false);
        visit("blur_corners_px", &TruthRecord::blur_corners_px, false);
    }
};

/// True when nothing is told by one that the other does not tell, consequences left out.
bool tell_the_same(const TruthRecord& a, const TruthRecord& b);

/// A call as it can be read back.
struct CallLine {
    std::int64_t t_us = 0;
    int thread = 0;
    std::string thread_name;
    std::string call;
    std::string path;
    std::int64_t us = 0;  // of a sleep: its length; of an unlock: for how long it was held
    std::int64_t took_us = 0;
    std::uint32_t request = 0;  // an ioctl's number
    std::string request_name;
    long result = 0;
    std::string error;     // the errno's name; empty: none
    std::string data;      // of bytes that are text
    std::string bytes;     // all that moved, text or not
    std::string given;     // bytes
    std::string returned;  // bytes
    int fault = 0;
    std::string fault_did;
};

/// A wait as it can be read back.
struct WaitLine {
    std::int64_t t_us = 0;
    int thread = 0;
    std::string thread_name;
    std::string wait;
    std::string path;
    std::int64_t took_us = 0;
    std::string end;  // empty: the run's
};

/// A callback as it can be read back.
struct CallbackLine {
    std::int64_t t_us = 0;
    int thread = 0;
    std::string thread_name;
    std::string callback;
    int slot = 0;
    std::vector<std::int32_t> arguments;
    std::string means;
};

/// The end of one.
struct ReturnLine {
    std::int64_t t_us = 0;
    int thread = 0;
    std::string callback;
    int slot = 0;
    std::int64_t took_us = 0;
    std::optional<std::int32_t> result;
};

/// What has changed of the library's variables.
struct StateLine {
    std::int64_t t_us = 0;
    int thread = 0;
    std::string thread_name;
    std::vector<std::pair<std::string, double>> values;
};

struct LogLine {
    std::int64_t t_us = 0;
    int thread = 0;
    std::string thread_name;
    std::string text;
};

/// Bytes as they stand in a record: two digits each.
std::string hexadecimal(std::string_view bytes);

/// The objects that stand on the lines of a trace.
nlohmann::ordered_json json_of(const CallRecord& record);
nlohmann::ordered_json json_of(const WaitRecord& record);
nlohmann::ordered_json json_of(const CallbackRecord& record);
nlohmann::ordered_json json_of(const CallbackReturn& record);
nlohmann::ordered_json json_of(const StateRecord& record);
nlohmann::ordered_json json_of(const LogRecord& record);
nlohmann::ordered_json json_of(const TruthRecord& truth);  // the value of "truth"
nlohmann::ordered_json truth_line(std::int64_t t_us, const nlohmann::ordered_json& truth);
nlohmann::ordered_json run_line(const RunRecord& run);
nlohmann::ordered_json wear_line(std::int64_t t_us, const nlohmann::ordered_json& wear);
nlohmann::ordered_json event_line(std::int64_t t_us, std::string_view what);

/// The same read back; members that are missing have their defaults.
CallLine call_line_from(const nlohmann::json& line);
WaitLine wait_line_from(const nlohmann::json& line);
CallbackLine callback_line_from(const nlohmann::json& line);
ReturnLine return_line_from(const nlohmann::json& line);
StateLine state_line_from(const nlohmann::json& line);
LogLine log_line_from(const nlohmann::json& line);
TruthRecord truth_from(const nlohmann::json& truth);
RunRecord run_from(const nlohmann::json& run);

}  // namespace vp

#endif
