// The benchmarks by name, and what they count besides the time.
#ifndef BENCH_BENCHMARKS_H
#define BENCH_BENCHMARKS_H

#include <string>

namespace bench {

/// Redirects what the library says on standard output: taken and thrown away, or refused, in which case the C
/// library does not even format it.
enum class Output { taken, refused };
void set_standard_output(Output output);

// --- Geometry: the time is of one call ------------------------------------------------------------------
constexpr const char* allocations_counter = "allocations";

/// "tilt" or "pose" (what is asked), "library", "library and line", "OpenCV", "OpenCV matrices" or "Eigen" (who
/// is asked).
std::string geometry_benchmark(const std::string& question, const std::string& who);
void add_geometry_benchmarks();

// --- Runs: the time is simulated, from request to refresh -------------------------------------------------
constexpr const char* focus_benchmark = "focus run";
constexpr const char* keystone_20_benchmark = "keystone run up to 20 degrees";
constexpr const char* keystone_30_benchmark = "keystone run up to 30 degrees";
constexpr const char* pauses_ms = "pauses";
constexpr const char* frames_ms = "frames";
constexpr const char* lens_ms = "lens";
constexpr const char* rest_ms = "rest";
constexpr const char* floor_ms = "floor";  // one frame of the sensor and the shortest travel
constexpr const char* processor_percent = "processor";
constexpr const char* moves = "moves";
constexpr const char* min_moves = "min moves";
constexpr const char* steps = "steps";
constexpr const char* min_steps = "min steps";
constexpr const char* extra_steps = "extra steps";
constexpr const char* error_tmr = "error";
constexpr const char* widths_ms = "widths";
constexpr const char* side_deg = "side";

/// The same distances and starting places; the time is simulated.
constexpr const char* contrast_scan_benchmark = "contrast scan";
constexpr const char* contrast_climb_benchmark = "contrast climb";
void add_run_benchmarks();

// --- The virtual projector and the library at rest: the time is real ---------------------------------------
constexpr const char* rest_benchmark = "at rest";
constexpr const char* busy_benchmark = "in runs";
constexpr const char* day_benchmark = "a day";
constexpr const char* real_rest_benchmark = "at rest on the wall clock";
constexpr const char* rest_calls_benchmark = "calls at rest";
constexpr const char* simulated_s = "simulated";
constexpr const char* processor_s = "processor seconds";
constexpr const char* calls_per_sample = "sampling calls";
constexpr const char* all_calls_per_sample = "all calls";
void add_projector_benchmarks();

}  // namespace bench

#endif
