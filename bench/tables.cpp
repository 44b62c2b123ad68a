#include "bench/tables.h"

#include <algorithm>
#include <cstdarg>
#include <string>
#include <vector>

#include "bench/benchmarks.h"

namespace bench {
namespace {

constexpr double ns_per_s = 1e9;
constexpr double ms_per_s = 1e3;
constexpr double s_per_hour = 3600;

__attribute__((format(printf, 1, 2))) std::string text(const char* format, ...) {
    char line[160];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    return line;
}

using Row = std::vector<std::string>;

// Columns as wide as their widest entry; the first one is of words, the others of numbers.
void print_row(std::FILE* out, const Row& row, const std::vector<std::size_t>& widths) {
    for (std::size_t i = 0; i < row.size(); ++i)
        std::fprintf(out, i == 0 ? "| %-*s " : "| %*s ", static_cast<int>(widths[i]), row[i].c_str());
    std::fputs("|\n", out);
}

void print_table(std::FILE* out, const std::string& title, const std::vector<Row>& rows) {
    std::vector<std::size_t> widths(rows.front().size(), 3);
    for (const Row& row : rows)
        for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
    std::fprintf(out, "\n%s\n\n", title.c_str());
    print_row(out, rows.front(), widths);
    for (std::size_t i = 0; i < widths.size(); ++i)
        std::fprintf(out, i == 0 ? "|%s" : "|%s:", std::string(widths[i] + (i == 0 ? 2 : 1), '-').c_str());
    std::fputs("|\n", out);
    for (std::size_t i = 1; i < rows.size(); ++i) print_row(out, rows[i], widths);
}

// --- Geometry ------------------------------------------------------------------------------------------

void print_geometry(std::FILE* out, const Figures& figures, const std::string& question,
                    const std::string& title) {
    const std::string library = geometry_benchmark(question, "library");
    std::vector<std::string> all;
    for (const char* who : {"library", "OpenCV matrices", "Eigen", "OpenCV", "library and line"})
        all.push_back(geometry_benchmark(question, who));
    if (!figures.have(all)) return;
    std::vector<Row> rows = {{"", "time (ns)", "of the library's", "allocations"}};
    const auto add = [&](const char* words, const char* who) {
        const std::string name = geometry_benchmark(question, who);
        rows.push_back({words, text("%.0f", figures.own_time_s(name) * ns_per_s),
                        text("%.2f", figures.own_time_s(name) / figures.own_time_s(library)),
                        text("%.0f", figures.counter(name, allocations_counter))});
    };
    add("keystoneDeviation, its line refused", "library");
    add("closed form on cv::Matx33d", "OpenCV matrices");
    add("closed form on Eigen's matrices", "Eigen");
    add("OpenCV's general solver", "OpenCV");
    add("keystoneDeviation with its line printed", "library and line");
    print_table(out, title, rows);
}

// --- Runs ----------------------------------------------------------------------------------------------

class RunTable {
public:
    RunTable(const Figures& figures, const std::string& benchmark)
        : figures_(figures), benchmark_(benchmark), rows_{{"", "median", "worst"}} {}

    void add_time(const char* words) {
        add(words, "%.0f ms", ms_per_s, figures_.time_s(benchmark_), figures_.time_s(benchmark_, worst));
    }
    void add_counter(const char* words, const char* format, const char* counter) {
        add(words, format, 1, figures_.counter(benchmark_, counter),
            figures_.counter(benchmark_, counter, worst));
    }
    void add_split() {
        add_counter("- stated pauses", "%.0f ms", pauses_ms);
        add_counter("- waits for the sensor's frames", "%.0f ms", frames_ms);
        add_counter("- lens travel", "%.0f ms", lens_ms);
        add_counter("- beyond these three, simulated", "%.0f ms", rest_ms);
        add_counter("beyond these three, as processor time", "%.2f %%", processor_percent);
    }
    void print(std::FILE* out, const std::string& title) const { print_table(out, title, rows_); }

private:
    void add(const char* words, const char* format, double factor, double median_value, double worst_value) {
        rows_.push_back(
            {words, formatted(format, factor * median_value), formatted(format, factor * worst_value)});
    }
    static std::string formatted(const char* format, double value) {
        char words[40];
        std::snprintf(words, sizeof words, format, value);
        return words;
    }

    const Figures& figures_;
    std::string benchmark_;
    std::vector<Row> rows_;
};

void print_focus(std::FILE* out, const Figures& figures) {
    if (!figures.have({focus_benchmark})) return;
    RunTable table(figures, focus_benchmark);
    table.add_time("request to refresh");
    table.add_split();
    table.add_counter("physical floor: one frame, shortest travel", "%.0f ms", floor_ms);
    table.add_counter("lens moves", "%.0f", moves);
    table.add_counter("lens moves, least possible", "%.0f", min_moves);
    table.add_counter("motor steps", "%.0f", steps);
    table.add_counter("motor steps, least possible", "%.0f", min_steps);
    table.add_counter("motor steps beyond the least", "%.0f", extra_steps);
    table.add_counter("lens error (TMR units)", "%.1f", error_tmr);
    table.print(out, "Focus run, from 13 places to 12 distances of 0.25 to 3 m (simulated time):");
}

void print_contrast(std::FILE* out, const Figures& figures) {
    if (!figures.have({contrast_scan_benchmark, contrast_climb_benchmark, focus_benchmark})) return;
    const auto row = [&](const char* words, const char* benchmark) {
        return Row{words,
                   text("%.0f ms", figures.time_s(benchmark) * ms_per_s),
                   text("%.0f ms", figures.time_s(benchmark, worst) * ms_per_s),
                   text("%.2f", figures.time_s(benchmark) / figures.time_s(focus_benchmark)),
                   text("%.1f", figures.counter(benchmark, error_tmr)),
                   text("%.1f", figures.counter(benchmark, error_tmr, worst)),
                   text("%.0f", figures.counter(benchmark, moves)),
                   text("%.0f", figures.counter(benchmark, steps))};
    };
    print_table(out, "Focus by measured distance against focus by contrast, on the same lens:",
                {{"", "time", "worst", "of the focus run's", "error (TMR)", "worst", "moves", "steps"},
                 row("focus run", focus_benchmark),
                 row("contrast, climb from the present place", contrast_climb_benchmark),
                 row("contrast, scan from the end stop", contrast_scan_benchmark)});
}

void print_keystone(std::FILE* out, const Figures& figures, const char* benchmark, int tilt_deg) {
    if (!figures.have({benchmark})) return;
    RunTable table(figures, benchmark);
    table.add_counter("request to last width", "%.0f ms", widths_ms);
    table.add_counter("sides from upright (degrees)", "%.2f", side_deg);
    table.add_time("request to refresh");
    table.add_split();
    table.print(out, text("Keystone run, tilts of -%d to %d degrees (simulated time):", tilt_deg, tilt_deg));
}

// --- The virtual projector -----------------------------------------------------------------------------

void print_speed(std::FILE* out, const Figures& figures) {
    if (!figures.have({rest_benchmark, busy_benchmark, day_benchmark})) return;
    std::vector<Row> rows = {
        {"", "simulated (s)", "real (s)", "simulated per real second", "per processor second"}};
    for (const char* name : {rest_benchmark, busy_benchmark, day_benchmark}) {
        const double simulated = figures.counter(name, simulated_s);
        rows.push_back({name, text("%.0f", simulated), text("%.2f", figures.time_s(name)),
                        text("%.0f", simulated / figures.time_s(name)),
                        text("%.0f", simulated / figures.counter(name, processor_s))});
    }
    print_table(out, "The virtual projector, on one processor:", rows);
}

void print_rest(std::FILE* out, const Figures& figures) {
    if (!figures.have({rest_benchmark, real_rest_benchmark, rest_calls_benchmark})) return;
    const auto per_hour = [&](const char* name) {
        return text("%.2f s",
                    figures.counter(name, processor_s) / figures.counter(name, simulated_s) * s_per_hour);
    };
    print_table(out, "At rest, the library and the simulated board under it:",
                {{"", "figure"},
                 {"processor time per hour, in virtual time", per_hour(rest_benchmark)},
                 {"processor time per hour, on the wall clock", per_hour(real_rest_benchmark)},
                 {"calls per gravity sample, of the sampling threads",
                  text("%.2f", figures.counter(rest_calls_benchmark, calls_per_sample))},
                 {"calls per gravity sample, of all threads",
                  text("%.2f", figures.counter(rest_calls_benchmark, all_calls_per_sample))}});
}

}  // namespace

void print_tables(std::FILE* out, const Figures& figures) {
    print_geometry(out, figures, "tilt", "Corner offsets, tilts of -30 to 30 degrees (one call):");
    print_geometry(out, figures, "pose", "Corner offsets, turned, tilted and rolled (one call):");
    print_focus(out, figures);
    print_contrast(out, figures);
    print_keystone(out, figures, keystone_20_benchmark, 20);
    print_keystone(out, figures, keystone_30_benchmark, 30);
    print_rest(out, figures);
    print_speed(out, figures);
}

}  // namespace bench
