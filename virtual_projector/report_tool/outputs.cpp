#include "virtual_projector/report_tool/outputs.h"

#include <filesystem>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>

#include "virtual_projector/report/page.h"
#include "virtual_projector/report/page_data.h"
#include "virtual_projector/report/perfetto.h"
#include "virtual_projector/report/tables.h"
#include "virtual_projector/report_tool/report_file.h"

namespace vp {
namespace {

void write_file(const std::string& path, std::string_view text) {
    ReportFile file(path);
    file.write(text);
    file.finish();
}

void write_perfetto_file(const RunData& run, const std::string& path) {
    ReportFile file(path);
    write_perfetto(run, [&file](std::string_view text) { file.write(text); });
    file.finish();
}

// Of another run, which would stand between those of this one as if they were its own.
void refuse_other_tables(const std::string& folder, const std::set<std::string>& own) {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        if (entry.path().extension() == ".csv" && own.count(name) == 0)
            throw std::runtime_error("--csv " + folder + ": has a table that this run has not, " + name +
                                     ": expected an empty folder");
    }
}

void write_csv_folder(const RunData& run, const std::string& folder) {
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) throw std::runtime_error("--csv " + folder + ": cannot make the folder: " + error.message());
    refuse_other_tables(folder, table_files(run));
    write_tables(run, [&folder](const std::string& file, const std::string& text) {
        write_file((std::filesystem::path(folder) / file).string(), text);
    });
}

void write_page(const RunData& run, const std::string& title, const std::vector<std::string>& story,
                const ReportOptions& options) {
    const PageData data = page_data(run, title, story);
    if (!options.data.empty()) write_file(options.data, as_one_object(data));
    if (!options.page.empty()) write_file(options.page, make_run_page(data));
}

}  // namespace

void write_outputs(const RunData& run, const std::string& title, const std::vector<std::string>& story,
                   const ReportOptions& options) {
    if (!options.data.empty() || !options.page.empty()) write_page(run, title, story, options);
    if (!options.perfetto.empty()) write_perfetto_file(run, options.perfetto);
    if (!options.csv.empty()) write_csv_folder(run, options.csv);
}

}  // namespace vp
