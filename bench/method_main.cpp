// ovrafocus-method: how good the library's pictures are.
//   ovrafocus-method [--quick]          over many poses, with each effect of the world alone and with all of
//   them;
//                                       quick: a few poses
//   ovrafocus-method stories [UNITS]    every story in the living room, with that many units (100); with one
//   unit
//                                       without the day, which takes long
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <limits>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bench/method_study.h"
#include "virtual_projector/report/trace_reader.h"
#include "virtual_projector/storykit/launched_program.h"
#include "virtual_projector/storykit/story_run.h"

namespace {

using bench::MethodOutcome;
using bench::MethodRow;
using Words = std::vector<std::string>;

constexpr std::size_t quick_step = 11;  // every so many poses; has no factor in common with the tilts

MethodOutcome outcome_of(const vp::TruthAt& end, int exit_code) {
    constexpr double never_square = std::numeric_limits<double>::infinity();
    return {std::abs(end.lens_error_tmr), end.blur_px, end.on_wall ? end.worst_edge_deg : never_square,
            exit_code == 0};
}

MethodOutcome run(const bench::Effect& effect, const Words& pose, std::size_t number) {
    const storykit::ScratchFolder folder;
    Words options = {"--trace", folder.file("trace"),      "--trace-detail", "changes",
                     "--seed",  std::to_string(number + 1)};
    options.insert(options.end(), pose.begin(), pose.end());
    options.insert(options.end(), effect.options.begin(), effect.options.end());
    if (effect.draws_units) options.insert(options.end(), {"--unit-seed", std::to_string(number + 1)});
    Words program = {storykit::host_program, "--library-log", folder.file("log"), "init"};
    if (!effect.asks_at_once) program.emplace_back("wait 3s");
    program.insert(program.end(), {"akaf", "wait idle"});
    program.insert(program.end(), effect.then.begin(), effect.then.end());
    const storykit::Finished finished = storykit::launch_projector(options, program);
    const vp::TraceContents trace = vp::read_trace(folder.file("trace"));
    if (trace.truths.empty()) throw std::runtime_error(effect.name + ": " + finished.complaints);
    return outcome_of(trace.truths.back(), finished.exit_code);
}

// Calls work(i) for each i below `count`, on as many threads as there are processors.
template <typename Work>
void for_all(std::size_t count, Work work) {
    std::atomic<std::size_t> next{0};
    std::vector<std::exception_ptr> failures(std::max(1U, std::thread::hardware_concurrency()));
    std::vector<std::thread> workers;
    workers.reserve(failures.size());
    for (std::exception_ptr& failure : failures) {
        workers.emplace_back([&] {
            try {
                for (std::size_t i = next++; i < count; i = next++) work(i);
            } catch (...) {
                failure = std::current_exception();
            }
        });
    }
    for (std::thread& worker : workers) worker.join();
    for (const std::exception_ptr& failure : failures) {
        if (failure) std::rethrow_exception(failure);
    }
}

MethodRow run_all(const bench::Effect& effect, const std::vector<Words>& poses) {
    MethodRow row{effect, std::vector<MethodOutcome>(poses.size())};
    for_all(poses.size(), [&](std::size_t i) { row.outcomes[i] = run(effect, poses[i], i); });
    return row;
}

// The stories, and those of a folder, which happen one after the other to one unit, as one.
std::vector<std::vector<std::string>> all_stories() {
    const std::filesystem::path folder = storykit::project_file("scenarios");
    std::map<std::string, std::vector<std::string>> stories;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        std::filesystem::path name = std::filesystem::relative(entry.path(), folder);
        if (name.extension() != ".json") continue;
        name.replace_extension();
        stories[name.has_parent_path() ? name.parent_path() : name].push_back(name);
    }
    std::vector<std::vector<std::string>> all;
    for (auto& [name, parts] : stories) {
        std::sort(parts.begin(), parts.end());
        all.push_back(parts);
    }
    return all;
}

constexpr double unknown = std::numeric_limits<double>::infinity();

struct StoryEnd {
    MethodOutcome outcome{unknown, unknown, unknown, false};
    std::string bad_end;  // empty: none
};

StoryEnd run_story(const std::vector<std::string>& parts, std::size_t unit) {
    const storykit::ScratchFolder folder;
    StoryEnd end;
    for (const std::string& part : parts) {
        const Words world = {"--world", "living-room", "--unit-seed", std::to_string(unit)};
        storykit::Story story(part);
        story.with(world);
        if (parts.size() > 1) story.with({"--flash", folder.file("flash")});
        const storykit::StoryResult result = story.run();
        if (!result.trace.truths.empty()) end.outcome = outcome_of(result.at_the_end(), result.exit_code);
        if (!bench::is_bad_end(result.exit_code) && !result.trace.truths.empty()) continue;
        end.bad_end = part + " --world living-room --unit-seed " + std::to_string(unit) + ": exit code " +
                      std::to_string(result.exit_code);
        return end;
    }
    return end;
}

bench::StoryRow run_story_with_all(const std::vector<std::string>& parts, std::size_t units) {
    std::vector<StoryEnd> ends(units);
    for_all(units, [&](std::size_t i) { ends[i] = run_story(parts, i + 1); });
    const std::string& name = parts.front();
    bench::StoryRow row{parts.size() == 1 ? name : name.substr(0, name.find('/')), {}, {}};
    for (const StoryEnd& end : ends) {
        row.outcomes.push_back(end.outcome);
        if (!end.bad_end.empty()) row.bad_ends.push_back(end.bad_end);
    }
    return row;
}

int study_stories(std::size_t units) {
    constexpr const char* longest = "a-day";
    std::vector<bench::StoryRow> rows;
    bool all_well = true;
    for (const std::vector<std::string>& parts : all_stories()) {
        if (units == 1 && parts.front() == longest) continue;
        rows.push_back(run_story_with_all(parts, units));
        all_well = all_well && rows.back().bad_ends.empty();
    }
    bench::print_story_table(stdout, rows);
    return all_well ? 0 : 1;
}

std::vector<Words> poses_of(const bench::Effect& effect, bool quick) {
    const std::vector<Words> all = bench::method_poses(effect.is_near);
    if (!quick) return all;
    std::vector<Words> some;
    for (std::size_t i = 0; i < all.size(); i += quick_step) some.push_back(all[i]);
    return some;
}

int study_poses(bool quick) {
    std::vector<MethodRow> rows;
    for (const bench::Effect& effect : bench::method_effects())
        rows.push_back(run_all(effect, poses_of(effect, quick)));
    bench::print_method_table(stdout, rows);
    return 0;
}

int study(const Words& words) {
    constexpr std::size_t max_units = 100'000;
    if (words.empty()) return study_poses(false);
    if (words == Words{"--quick"}) return study_poses(true);
    if (words.front() == "stories" && words.size() <= 2) {
        char* end = nullptr;
        const unsigned long units = words.size() == 1 ? 100 : std::strtoul(words[1].c_str(), &end, 10);
        const bool is_number = end == nullptr || *end == '\0';
        if (is_number && units >= 1 && units <= max_units) return study_stories(units);
    }
    std::fprintf(stderr, "usage: ovrafocus-method [--quick | stories [UNITS]]; UNITS from 1 to %zu\n",
                 max_units);
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return study(Words(argv + 1, argv + argc));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "ovrafocus-method: %s\n", error.what());
        return 1;
    }
}
