// ovrafocus-method [--quick]: runs the unchanged library over many poses with each effect of the world, and
// prints how good its pictures are. Quick: a few poses, for a test.
#include <atomic>
#include <cmath>
#include <cstdio>
#include <exception>
#include <string>
#include <thread>
#include <vector>

#include "bench/method_study.h"
#include "virtual_projector/report/trace_reader.h"
#include "virtual_projector/storykit/launched_program.h"

namespace {

using bench::MethodOutcome;
using bench::MethodRow;
using Words = std::vector<std::string>;

constexpr std::size_t quick_step = 11;  // every so many poses; has no factor in common with the tilts

MethodOutcome run(const bench::Effect& effect, const Words& pose, std::size_t number) {
    const storykit::ScratchFolder folder;
    Words options = {"--trace", folder.file("trace"),      "--trace-detail", "changes",
                     "--seed",  std::to_string(number + 1)};
    options.insert(options.end(), pose.begin(), pose.end());
    options.insert(options.end(), effect.options.begin(), effect.options.end());
    Words program = {storykit::host_program, "--library-log", folder.file("log"), "init", "akaf", "wait idle"};
    program.insert(program.end(), effect.then.begin(), effect.then.end());
    const storykit::Finished finished = storykit::launch_projector(options, program);
    const vp::TraceContents trace = vp::read_trace(folder.file("trace"));
    if (trace.truths.empty()) throw std::runtime_error(effect.name + ": " + finished.complaints);
    const vp::TruthAt& end = trace.truths.back();
    return {std::abs(end.lens_error_tmr), end.blur_px, end.worst_edge_deg, finished.exit_code == 0};
}

MethodRow run_all(const bench::Effect& effect, const std::vector<Words>& poses) {
    MethodRow row{effect, std::vector<MethodOutcome>(poses.size())};
    std::atomic<std::size_t> next{0};
    std::vector<std::exception_ptr> failures(std::max(1U, std::thread::hardware_concurrency()));
    std::vector<std::thread> workers;
    for (std::exception_ptr& failure : failures) {
        workers.emplace_back([&] {
            try {
                for (std::size_t i = next++; i < poses.size(); i = next++)
                    row.outcomes[i] = run(effect, poses[i], i);
            } catch (...) {
                failure = std::current_exception();
            }
        });
    }
    for (std::thread& worker : workers) worker.join();
    for (const std::exception_ptr& failure : failures) {
        if (failure) std::rethrow_exception(failure);
    }
    return row;
}

std::vector<Words> poses(bool quick) {
    const std::vector<Words> all = bench::method_poses();
    if (!quick) return all;
    std::vector<Words> some;
    for (std::size_t i = 0; i < all.size(); i += quick_step) some.push_back(all[i]);
    return some;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const bool quick = argc == 2 && std::string(argv[1]) == "--quick";
        if (argc > 1 && !quick) {
            std::fprintf(stderr, "usage: ovrafocus-method [--quick]\n");
            return 2;
        }
        std::vector<MethodRow> rows;
        for (const bench::Effect& effect : bench::method_effects())
            rows.push_back(run_all(effect, poses(quick)));
        bench::print_method_table(stdout, rows);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "ovrafocus-method: %s\n", error.what());
        return 1;
    }
}
