// A file of a report: written beside its place and renamed, compressed where its name says so.
#ifndef VIRTUAL_PROJECTOR_REPORT_TOOL_REPORT_FILE_H
#define VIRTUAL_PROJECTOR_REPORT_TOOL_REPORT_FILE_H

#include <memory>
#include <string>
#include <string_view>

#include "virtual_projector/compression/compression.h"
#include "virtual_projector/files/output_file.h"

namespace vp {

class ReportFile {
public:
    /// "-" is standard output. Throws std::runtime_error: "FILE: why".
    explicit ReportFile(const std::string& path);
    ~ReportFile();  // one that was not finished leaves nothing behind
    ReportFile(const ReportFile&) = delete;
    ReportFile& operator=(const ReportFile&) = delete;

    void write(std::string_view text);
    /// Throws when not all of it could be written; what stood there before is still there then.
    void finish();

private:
    void put(std::string_view bytes);

    std::string path_;
    std::unique_ptr<Compressor> compressor_;  // null: none
    std::unique_ptr<OutputFile> file_;
    bool is_finished_ = false;
};

}  // namespace vp

#endif
