#include "virtual_projector/report_tool/report_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace vp {

ReportFile::ReportFile(const std::string& path) : path_(path) {
    const Compression compression = compression_of_name(path);
    if (compression != Compression::none) {
        compressor_ = make_compressor(compression);
        if (compressor_ == nullptr) {
            throw std::runtime_error(path + ": this program was built without " +
                                     compression_name(compression) + ": expected a name without this ending");
        }
    }
    file_ = OutputFile::open(path);
    if (file_ == nullptr) throw std::runtime_error(path + ": cannot write it: " + std::strerror(errno));
}

ReportFile::~ReportFile() {
    if (!is_finished_) file_->discard();
}

void ReportFile::put(std::string_view bytes) {
    static_cast<void>(std::fwrite(bytes.data(), 1, bytes.size(), file_->stream()));
}

void ReportFile::write(std::string_view text) {
    if (compressor_ == nullptr) {
        put(text);
    } else {
        put(compressor_->pack(text));
    }
}

void ReportFile::finish() {
    if (compressor_ != nullptr) put(compressor_->finish());
    if (!file_->finish()) throw std::runtime_error(incomplete_output(path_));
    is_finished_ = true;
}

}  // namespace vp
