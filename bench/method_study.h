// How good the library's method is: where the picture ends over many poses, when one thing or all things are
// other than in a laboratory. Pure: the runs are somebody else's.
#ifndef BENCH_METHOD_STUDY_H
#define BENCH_METHOD_STUDY_H

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace bench {

/// Where a picture is good enough.
constexpr double lens_limit_tmr = 20;
constexpr double blur_limit_px = 1;
constexpr double edge_limit_deg = 0.5;

/// How a run ended.
struct MethodOutcome {
    double lens_error_tmr = 0;  // true, without sign
    double blur_px = 0;         // in the picture's middle
    double worst_edge_deg = 0;  // of all four; infinite when the picture is not on the wall
    bool told_success = false;  // to the host

    bool is_sharp() const;
    bool is_square() const;
    bool is_within_limits() const;  // both
    /// A limit is missed, and the host was told success.
    bool is_escape() const;
};

/// One thing that is other than in the laboratory, as virtual-projector's options say it.
struct Effect {
    std::string name;
    std::string value;  // as a reader says it: "2 %"; empty: none
    std::vector<std::string> options;
    std::vector<std::string> then;  // what the host does when the run is over: "wait 3600s"
    bool draws_units = false;       // another unit for each pose
    bool is_near = false;           // at 450 mm, where only the gravity sensor knows the tilt
    bool asks_at_once = false;      // before the gravity sensor has found rest
};

/// The laboratory, each effect at its usual and at its extreme value, and the living room.
std::vector<Effect> method_effects();

/// Distances of 0.5 to 3 m by tilts of -20 to 20 degrees, as options; the near ones are at 450 mm alone.
std::vector<std::vector<std::string>> method_poses(bool near = false);

/// The smallest of the values that at least this share (0 to 1) of them does not exceed.
double percentile(std::vector<double> values, double share);

struct MethodRow {
    Effect effect;
    std::vector<MethodOutcome> outcomes;  // one a pose
};

/// How the runs of one story ended in the living room, over many units.
struct StoryRow {
    std::string story;
    std::vector<MethodOutcome> outcomes;
    std::vector<std::string> bad_ends;  // crashes, stuck runs, limits: the command that repeats each
};

/// True for an exit code of the launcher's that no host program asks for: stuck, a limit, a signal, no start.
bool is_bad_end(int exit_code);

/// The stories as a table in Markdown, and after it every bad end.
void print_story_table(std::FILE* out, const std::vector<StoryRow>& rows);

/// The rows as a table in Markdown: of each figure the median and the 95th percentile over the poses, the share
/// of poses that ended within all three limits, and the escapes.
void print_method_table(std::FILE* out, const std::vector<MethodRow>& rows);

}  // namespace bench

#endif
