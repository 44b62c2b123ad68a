#include "virtual_projector/report/trace_input.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "virtual_projector/compression/compression.h"

namespace vp {
namespace {

constexpr std::size_t piece = std::size_t{256} * 1024;

std::string name_of(const std::string& path) { return path == "-" ? "standard input" : path; }

class FileSource : public ByteSource {
public:
    FileSource(std::string name, const std::string& path)
        : name_(std::move(name)), file_(path == "-" ? stdin : std::fopen(path.c_str(), "re")) {
        if (file_ == nullptr) fail();
    }
    ~FileSource() override {
        if (file_ != stdin) std::fclose(file_);
    }
    FileSource(const FileSource&) = delete;
    FileSource& operator=(const FileSource&) = delete;

    std::size_t read(char* buffer, std::size_t size) override {
        const std::size_t count = std::fread(buffer, 1, size, file_);
        if (count < size && std::ferror(file_) != 0) fail();
        return count;
    }

private:
    [[noreturn]] void fail() const {
        throw TraceError(TraceError::Kind::unreadable, name_ + ": cannot read it: " + std::strerror(errno));
    }

    std::string name_;
    std::FILE* file_;
};

// What was read to see what it is, and the rest.
class PeekedSource : public ByteSource {
public:
    PeekedSource(std::string start, std::unique_ptr<ByteSource> rest)
        : start_(std::move(start)), rest_(std::move(rest)) {}

    std::size_t read(char* buffer, std::size_t size) override {
        const std::size_t from_start = start_.copy(buffer, size, given_);
        given_ += from_start;
        return from_start > 0 ? from_start : rest_->read(buffer, size);
    }

private:
    std::string start_;
    std::size_t given_ = 0;
    std::unique_ptr<ByteSource> rest_;
};

class UnpackedSource : public ByteSource {
public:
    UnpackedSource(std::string name, Compression compression, std::unique_ptr<ByteSource> packed)
        : name_(std::move(name)), packed_(std::move(packed)), decompressor_(make_decompressor(compression)) {
        if (decompressor_ == nullptr) {
            throw TraceError(TraceError::Kind::unreadable,
                             name_ + ": compressed by " + compression_name(compression) +
                                 ", which this program was built without: expected plain lines");
        }
    }

    std::size_t read(char* buffer, std::size_t size) override {
        while (true) {
            const Decompressor::Result result = decompressor_->unpack(input_, buffer, size);
            input_.remove_prefix(result.taken);
            if (result.is_wrong) {
                throw TraceError(TraceError::Kind::garbled, "the compressed bytes are garbled");
            }
            if (result.given > 0) return result.given;
            if (!input_.empty() && result.taken > 0) continue;
            if (!refill()) return end();
        }
    }

private:
    bool refill() {
        packed_bytes_.resize(piece);
        const std::size_t count = packed_->read(packed_bytes_.data(), packed_bytes_.size());
        input_ = std::string_view(packed_bytes_.data(), count);
        return count > 0;
    }
    std::size_t end() const {
        if (decompressor_->is_between_frames()) return 0;
        throw TraceError(TraceError::Kind::cut, "cut: the compressed bytes end too early");
    }

    std::string name_;
    std::unique_ptr<ByteSource> packed_;
    std::unique_ptr<Decompressor> decompressor_;
    std::string packed_bytes_;
    std::string_view input_;
};

std::string first_bytes(ByteSource& source) {
    std::string bytes(compression_magic_bytes, '\0');
    std::size_t count = 0;
    while (count < bytes.size()) {
        const std::size_t more = source.read(bytes.data() + count, bytes.size() - count);
        if (more == 0) break;
        count += more;
    }
    bytes.resize(count);
    return bytes;
}

}  // namespace

TraceInput TraceInput::open(const std::string& path) {
    const std::string name = name_of(path);
    std::unique_ptr<ByteSource> source = std::make_unique<FileSource>(name, path);
    const std::string start = first_bytes(*source);
    source = std::make_unique<PeekedSource>(start, std::move(source));
    const Compression compression = compression_of_bytes(start);
    if (compression != Compression::none)
        source = std::make_unique<UnpackedSource>(name, compression, std::move(source));
    return {name, std::move(source)};
}

TraceInput::TraceInput(std::string name, std::unique_ptr<ByteSource> source)
    : name_(std::move(name)), source_(std::move(source)) {}

// False: nothing more is to be had.
bool TraceInput::fill() {
    buffer_.erase(0, std::exchange(begin_, 0));
    const std::size_t held = buffer_.size();
    buffer_.resize(held + piece);
    std::size_t count = 0;
    try {
        count = source_->read(buffer_.data() + held, piece);
    } catch (const TraceError& error) {
        buffer_.resize(held);
        throw TraceError(error.kind(),
                         name_ + ": line " + std::to_string(line_number_ + 1) + ": " + error.what());
    }
    buffer_.resize(held + count);
    return count > 0;
}

bool TraceInput::next(std::string& line) {
    std::size_t looked = begin_;
    std::size_t newline = buffer_.find('\n', looked);
    while (newline == std::string::npos) {
        looked = buffer_.size() - begin_;
        if (!fill()) break;
        newline = buffer_.find('\n', looked);
    }
    ended_by_newline_ = newline != std::string::npos;
    const std::size_t end = ended_by_newline_ ? newline : buffer_.size();
    if (!ended_by_newline_ && end == begin_) return false;
    line.assign(buffer_, begin_, end - begin_);
    begin_ = ended_by_newline_ ? end + 1 : end;
    ++line_number_;
    return true;
}

}  // namespace vp
