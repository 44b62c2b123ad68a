// What the library does while nothing happens: a unit that is started up and left alone on its table.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "tests/budgets/figures.h"
#include "virtual_projector/storykit/launched_program.h"

namespace {

constexpr double second_us = 1e6;
constexpr double begin_us = 10 * second_us;  // by then all that follows a start is over
constexpr double end_us = 70 * second_us;
constexpr double seconds = (end_us - begin_us) / second_us;

constexpr const char* gravity_node = "/dev/gsensor_daemon";

struct Rest {
    std::map<std::string, double> wake_ups;  // by thread
    std::map<std::string, double> calls;     // by thread: waits and calls of the board's nodes and libraries
    std::vector<std::string> open_nodes;     // sorted
};

void close_one(std::vector<std::string>& nodes, const std::string& path) {
    const auto found = std::find(nodes.begin(), nodes.end(), path);
    if (found != nodes.end()) nodes.erase(found);
}

Rest rest_of(const std::string& trace) {
    Rest rest;
    std::istringstream lines(trace);
    for (std::string line; std::getline(lines, line);) {
        const nlohmann::json record = nlohmann::json::parse(line);
        if (!record.contains("call") || record.at("t_us").get<double>() >= end_us) continue;
        const std::string call = record.at("call");
        const std::string path = record.value("path", "");
        if (call == "open" && record.at("result") >= 0) rest.open_nodes.push_back(path);
        if (call == "close") close_one(rest.open_nodes, path);
        const std::string thread = record.at("name");
        if (thread == "main" || record.at("t_us").get<double>() < begin_us) continue;
        // The gravity sensor keeps who asks waiting for its next sample.
        if (call == "sleep" || path == gravity_node) rest.wake_ups[thread] += 1 / seconds;
        rest.calls[thread] += 1 / seconds;
    }
    std::sort(rest.open_nodes.begin(), rest.open_nodes.end());
    return rest;
}

Rest rest() {
    const storykit::ScratchFolder folder;
    const storykit::Finished finished = storykit::launch_projector(
        {"--trace", folder.file("trace")},
        {storykit::host_program, "--library-log", folder.file("log"), "init", "wait 75s"});
    EXPECT_EQ(finished.exit_code, 0) << finished.words << finished.complaints;
    return rest_of(storykit::contents_of(folder.file("trace")));
}

TEST(AtRest, OnlyTheDisplayTheToFSensorAndTheGravitySensorAreOpen) {
    const std::vector<std::string> open_nodes = {"/dev/dis", gravity_node, gravity_node, "/dev/nds01"};
    EXPECT_EQ(rest().open_nodes, open_nodes);
    std::printf("figure: %zu descriptors at rest:", open_nodes.size());
    for (const std::string& path : open_nodes) std::printf(" %s", path.c_str());
    std::printf("\n");
}

TEST(AtRest, EachThreadWakesAndCallsAsOftenAsItsLoopSays) {
    const Rest now = rest();
    for (const char* thread :
         {"gsensor_det_thread", "ovra_gsensor_thread", "keystonefocus_thread", "UI_update_thread"}) {
        const auto figure = [thread](const std::map<std::string, double>& table) {
            const auto found = table.find(thread);
            return found == table.end() ? 0 : found->second;
        };
        budgets::expect_within(std::string("wake_ups.") + thread, figure(now.wake_ups), "a second");
        budgets::expect_within(std::string("calls.") + thread, figure(now.calls), "a second");
    }
}

}  // namespace
