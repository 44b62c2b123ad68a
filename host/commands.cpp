#include "host/commands.h"

#include <pthread.h>
#include <sys/time.h>
#include <unistd.h>

#include <cmath>
#include <iostream>
#include <sstream>

#include "host/console.h"
#include "host/factory_commands.h"
#include "host/host_session.h"
#include "host/peek.h"
#include "host/record_text.h"
#include "ovrafocus/ovrafocus.h"

namespace host {
namespace {

constexpr int idle_timeout_ms = 60 * 1000;
constexpr int wait_slice_ms = 500;
constexpr std::size_t usage_width = 28;  // the list of commands fits a terminal of 80 columns

// --- Requests ------------------------------------------------------------------------------------------

Outcome run_init(const Arguments&) { return start_library() ? Outcome::done : Outcome::failed; }

// The library takes the request all the same and computes the widths.
void look_for_display() {
    if (there_is_a_display()) return;
    say("there is no display: no picture will be squared");
    note_request_failed();
}

Outcome run_akaf(const Arguments&) {
    say("auto-focus and auto-keystone requested");
    begin_request(true);
    if (varnel_get_osd_settings_keystone() != 0) look_for_display();
    if (varnel_get_osd_settings_autofocus() == 0) {
        say("auto-focus is off: the lens will stay where it is");
        note_request_failed();
    }
    varnel_autofocus();
    return Outcome::done;
}

Outcome run_keystone(const Arguments& arguments) {
    int angle = 0;
    if (!parse_int(arguments[0], angle)) return Outcome::misused;
    say("keystone for a tilt of %d degrees requested", angle);
    begin_request(false);
    look_for_display();
    varnel_setDLPkeystone(angle);
    return Outcome::done;
}

Outcome run_switches(const Arguments& arguments) {
    int keystone = 0;
    int autofocus = 0;
    if (!parse_int(arguments[0], keystone) || !parse_int(arguments[1], autofocus)) return Outcome::misused;
    varnel_set_osd_settings(keystone, autofocus);
    say("auto-keystone %s, auto-focus %s", keystone == 1 ? "on" : "off", autofocus == 1 ? "on" : "off");
    return Outcome::done;
}

long milliseconds_now() {
    timeval now{};
    gettimeofday(&now, nullptr);
    return now.tv_sec * 1000L + now.tv_usec / 1000;
}

Outcome wait_idle() {
    const long begin_ms = milliseconds_now();
    if (!wait_until_idle(idle_timeout_ms)) {
        say("still busy after %d seconds", idle_timeout_ms / 1000);
        note_request_failed();
        return Outcome::failed;
    }
    const double waited_s = static_cast<double>(milliseconds_now() - begin_ms) / 1000;
    say("all is quiet after %.2f seconds; %s", waited_s, last_request_words());
    return Outcome::done;
}

Outcome run_wait(const Arguments& arguments) {
    if (arguments[0] == "idle") return wait_idle();
    long milliseconds = 0;
    if (!parse_duration_ms(arguments[0], milliseconds)) return Outcome::misused;
    for (; milliseconds > 0; milliseconds -= wait_slice_ms) {
        usleep(static_cast<useconds_t>(milliseconds < wait_slice_ms ? milliseconds : wait_slice_ms) * 1000);
    }
    return Outcome::done;
}

const char* manual_result_words(int result) {
    switch (result) {
        case OVRA_RESULT_OK:
            return "done";
        case OVRA_RESULT_RIGHT_LIMIT:
            return "stopped at the right limit";
        case OVRA_RESULT_LEFT_LIMIT:
            return "stopped at the left limit";
        default:
            return "failed";
    }
}

Outcome run_manual(const Arguments& arguments) {
    int delta = 0;
    if (!parse_int(arguments[0], delta)) return Outcome::misused;
    const int result = manufocusTMR(delta);
    say("manual focus by %d: %s (%d)", delta, manual_result_words(result), result);
    return result == OVRA_RESULT_LENS_FAILED ? Outcome::failed : Outcome::done;
}

Outcome run_limit(const Arguments& arguments) {
    const bool left = arguments[0] == "left";
    if (!left && arguments[0] != "right") return Outcome::misused;
    int limit = 0;
    const int result = left ? goto_left_limit_safe(&limit) : goto_right_limit_safe(&limit);
    if (result != OVRA_RESULT_OK) {
        say("the lens did not go to its %s limit (is it calibrated?)", arguments[0].c_str());
        return Outcome::failed;
    }
    say("the lens is at its %s limit, TMR %d", arguments[0].c_str(), limit);
    return Outcome::done;
}

Outcome run_offset(const Arguments& arguments) {
    int direction = 0;
    int step = 0;
    if (!parse_int(arguments[0], direction) || !parse_int(arguments[1], step)) return Outcome::misused;
    if (direction != 0 && direction != 1) return Outcome::misused;
    if (!there_is_a_display()) {
        say("there is no display: no keystone can be moved");
        return Outcome::failed;
    }
    set_keystone_offset_api(direction, step);
    say("keystone moved one step of %d pixels in direction %d", step, direction);
    return Outcome::done;
}

// --- Questions -----------------------------------------------------------------------------------------

void say_lens_position() {
    int tmr = 0;
    if (motor_tmr_x_dir_read(&tmr) == 0) {
        say("lens: at TMR %d, limits %d and %d", tmr, peek(g_limitLeft), peek(g_limitRight));
    } else {
        say("lens: its position cannot be read");
    }
}

// Before the first focus step the library holds a distance that nobody measured.
void say_distance() {
    if (!a_focus_step_has_ended()) return;
    const int distance_mm = peek(lastDistance);
    if (distance_mm > 0) {
        say("distance of the last run: %d mm", distance_mm);
    } else {
        say("distance of the last run: out of range");
    }
}

void say_picture() {
    if (!there_is_a_display()) {
        say("picture: there is no display");
        return;
    }
    say("picture: %d pixels at the top, %d at the bottom, for a tilt of %d degrees", peek(preUpW),
        peek(preDownW), get_current_keystone_angle());
}

Outcome run_status(const Arguments&) {
    say("auto-keystone is %s, auto-focus is %s; %s", varnel_get_osd_settings_keystone() != 0 ? "on" : "off",
        varnel_get_osd_settings_autofocus() != 0 ? "on" : "off", last_request_words());
    say_picture();
    say_distance();
    say_lens_position();
    return Outcome::done;
}

Outcome run_record(const Arguments&) {
    ovra_permanent_record record{};
    permanent_data_read(&record);
    for (const std::string& line : describe_record(record)) say("%s", line.c_str());
    return Outcome::done;
}

Outcome run_direction(const Arguments&) {
    say("the picture is turned by %d degrees", 90 * static_cast<int>(get_device_direction()));
    return Outcome::done;
}

Outcome run_keys(const Arguments&) {
    static bool listening = false;
    if (!listening) {
        pthread_t listener;
        if (pthread_create(&listener, nullptr, sensor_main, nullptr) != 0) {
            say("the key listener could not be started");
            return Outcome::failed;
        }
        pthread_detach(listener);
        listening = true;
        say("listening to the keys");
        return Outcome::done;
    }
    say(get_key_state() == 0 ? "a key has been pressed" : "no key has been pressed");
    return Outcome::done;
}

// Rounded, and without a negative zero.
double tenths(float degrees) { return std::round(static_cast<double>(degrees) * 10) / 10 + 0.0; }

Outcome run_angles(const Arguments&) {
    float x = 0;
    float y = 0;
    float z = 0;
    acc_get_degree(&x, &y, &z);
    say("angles of the axes above the horizontal: x %.1f, y %.1f, z %.1f degrees", tenths(x), tenths(y),
        tenths(z));
    return Outcome::done;
}

Outcome run_distance(const Arguments&) {
    int frame[8] = {};
    if (tof_distance_read(frame) != 0) {
        say("the distance cannot be measured");
        return Outcome::failed;
    }
    say("zones: top right %d, bottom right %d, top left %d, bottom left %d mm; mean %d mm", frame[0], frame[1],
        frame[2], frame[3], getAvgDist(frame));
    return Outcome::done;
}

Outcome run_fan(const Arguments& arguments) {
    int speed = 0;
    if (!parse_int(arguments[0], speed)) return Outcome::misused;
    if (fan_target_speed_write(speed) != 0) {
        say("the fan did not take its speed");
        return Outcome::failed;
    }
    say("the fan turns at %d, out of automatic control", speed);
    return Outcome::done;
}

// --- The program itself --------------------------------------------------------------------------------

// For scripts that go on after a step whose failure is part of the plan.
Outcome run_try(const Arguments& arguments) {
    std::string line;
    for (const std::string& word : arguments) line += word + " ";
    const Outcome outcome = run_line(line);
    return outcome == Outcome::failed ? Outcome::done : outcome;
}

// A script hands over to whoever types; when they have no more to say it goes on.
Outcome run_listen(const Arguments&) {
    std::string line;
    while (std::getline(std::cin, line)) {
        if (run_line(line) == Outcome::quit) return Outcome::quit;
    }
    return Outcome::done;
}

Outcome run_quit(const Arguments&) { return Outcome::quit; }

// How a command is used, one line of the list each: all ways in one, or, where that takes too much room, each.
std::vector<std::string> usages_of(const Command& command) {
    const std::string name = std::string(command.name) + " ";
    const std::string or_else = " | ";
    std::string ways = command.arguments;
    if (name.size() + ways.size() <= usage_width) return {name + ways};
    std::vector<std::string> usages;
    for (std::size_t end = ways.find(or_else); end != std::string::npos; end = ways.find(or_else)) {
        usages.push_back(name + ways.substr(0, end));
        ways.erase(0, end + or_else.size());
    }
    usages.push_back(name + ways);
    return usages;
}

void list_command(const Command& command) {
    const std::vector<std::string> usages = usages_of(command);
    say("  %-*s %s", static_cast<int>(usage_width), usages.front().c_str(), command.purpose);
    for (std::size_t i = 1; i < usages.size(); ++i) say("  %s", usages[i].c_str());
}

void list_commands(const std::vector<Command>& table) {
    for (const Command& command : table) list_command(command);
}

Outcome run_help(const Arguments&) {
    list_commands(commands());
    say("  at the factory:");
    list_commands(factory_commands());
    return Outcome::done;
}

const Command* find_command(const std::string& name) {
    for (const std::vector<Command>* table : {&commands(), &factory_commands()}) {
        for (const Command& command : *table) {
            if (name == command.name) return &command;
        }
    }
    return nullptr;
}

Outcome run_command(const Command& command, const Arguments& arguments) {
    if (command.needs_library && !library_is_started()) {
        say("%s: start the library first with 'init'", command.name);
        return Outcome::failed;
    }
    const bool counted = arguments.size() >= command.min_arguments && arguments.size() <= command.max_arguments;
    const Outcome outcome = counted ? command.run(arguments) : Outcome::misused;
    if (outcome != Outcome::misused) return outcome;
    say("usage: %s %s", command.name, command.arguments);
    return Outcome::refused;
}

}  // namespace

const std::vector<Command>& commands() {
    static const std::vector<Command> table = {
        {"init", "", "start the library in its order", 0, 0, false, run_init},
        {"akaf", "", "request one auto-keystone and auto-focus run", 0, 0, true, run_akaf},
        {"keystone", "DEGREES", "request the keystone widths for a tilt", 1, 1, true, run_keystone},
        {"switches", "KEYSTONE AUTOFOCUS", "switch both on (1) or off (0)", 2, 2, true, run_switches},
        {"wait", "DURATION | idle", "wait 500ms, 2s, 1min, or until all is quiet", 1, 1, false, run_wait},
        {"manual", "DELTA", "move the focus by TMR units", 1, 1, true, run_manual},
        {"limit", "left | right", "move the lens to a soft limit", 1, 1, true, run_limit},
        {"offset", "DIRECTION STEP", "move the keystone by hand", 2, 2, true, run_offset},
        {"status", "", "switches, widths, distance, lens", 0, 0, true, run_status},
        {"record", "", "the permanent record in readable form", 0, 0, false, run_record},
        {"direction", "", "how the picture is turned", 0, 0, true, run_direction},
        {"angles", "", "the angles of the gravity sensor", 0, 0, true, run_angles},
        {"distance", "", "the distance of each zone", 0, 0, true, run_distance},
        {"keys", "", "listen to the keys; then: has one been pressed?", 0, 0, true, run_keys},
        {"fan", "SPEED", "set the fan's speed", 1, 1, false, run_fan},
        {"listen", "", "take commands from standard input to its end", 0, 0, false, run_listen},
        {"try", "COMMAND", "carry out a command; go on when it fails", 1, 8, false, run_try},
        {"help", "", "this list", 0, 0, false, run_help},
        {"quit", "", "end the program", 0, 0, false, run_quit},
    };
    return table;
}

Outcome run_line(const std::string& line) {
    std::istringstream words(line);
    std::string name;
    if (!(words >> name) || name[0] == '#') return Outcome::done;
    Arguments arguments;
    for (std::string word; words >> word;) arguments.push_back(word);
    const Command* const command = find_command(name);
    if (command == nullptr) {
        say("unknown command '%s'; 'help' lists them", name.c_str());
        return Outcome::refused;
    }
    return run_command(*command, arguments);
}

}  // namespace host
