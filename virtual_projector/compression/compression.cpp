#include "virtual_projector/compression/compression.h"

#if VP_HAS_ZLIB
#include <zlib.h>
#endif
#if VP_HAS_ZSTD
#include <zstd.h>
#endif

#include <algorithm>
#include <cstdint>
#include <limits>

namespace vp {
namespace {

#if VP_HAS_ZLIB
constexpr int gzip_window = 15 + 16;  // the largest window; with gzip's header
constexpr std::size_t max_gzip_piece = std::numeric_limits<uInt>::max();

// zlib takes its input without const and does not write to it.
Bytef* input_bytes(std::string_view bytes) { return reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data())); }

class GzipDecompressor : public Decompressor {
public:
    GzipDecompressor() { is_ready_ = inflateInit2(&stream_, gzip_window) == Z_OK; }
    ~GzipDecompressor() override {
        if (is_ready_) inflateEnd(&stream_);
    }
    GzipDecompressor(const GzipDecompressor&) = delete;
    GzipDecompressor& operator=(const GzipDecompressor&) = delete;

    Result unpack(std::string_view input, char* output, std::size_t size) override {
        if (!is_ready_) return {0, 0, true};
        if (is_between_ && !input.empty()) begin_member();
        stream_.next_in = input_bytes(input);
        const std::size_t offered = std::min(input.size(), max_gzip_piece);
        stream_.avail_in = static_cast<uInt>(offered);
        stream_.next_out = reinterpret_cast<Bytef*>(output);
        const std::size_t room = std::min(size, max_gzip_piece);
        stream_.avail_out = static_cast<uInt>(room);
        const int status = inflate(&stream_, Z_NO_FLUSH);
        if (status == Z_STREAM_END) is_between_ = true;
        const bool is_wrong = status != Z_OK && status != Z_STREAM_END && status != Z_BUF_ERROR;
        return {offered - stream_.avail_in, room - stream_.avail_out, is_wrong};
    }
    bool is_between_frames() const override { return is_between_; }

private:
    // A file may hold several, one after the other.
    void begin_member() {
        if (has_begun_) inflateReset(&stream_);
        has_begun_ = true;
        is_between_ = false;
    }

    z_stream stream_{};
    bool is_ready_ = false;
    bool has_begun_ = false;
    bool is_between_ = true;
};

class GzipCompressor : public Compressor {
public:
    GzipCompressor() {
        constexpr int level = 6;
        constexpr int memory = 8;
        is_ready_ = deflateInit2(&stream_, level, Z_DEFLATED, gzip_window, memory, Z_DEFAULT_STRATEGY) == Z_OK;
    }
    ~GzipCompressor() override {
        if (is_ready_) deflateEnd(&stream_);
    }
    GzipCompressor(const GzipCompressor&) = delete;
    GzipCompressor& operator=(const GzipCompressor&) = delete;

    std::string pack(std::string_view bytes) override { return run(bytes, Z_NO_FLUSH); }
    std::string flush() override { return run({}, Z_SYNC_FLUSH); }
    std::string finish() override { return run({}, Z_FINISH); }

private:
    std::string run(std::string_view bytes, int how) {
        constexpr std::size_t room = 65536;
        std::string packed;
        stream_.next_in = input_bytes(bytes);
        stream_.avail_in = static_cast<uInt>(bytes.size());
        do {
            const std::size_t held = packed.size();
            packed.resize(held + room);
            stream_.next_out = reinterpret_cast<Bytef*>(packed.data() + held);
            stream_.avail_out = static_cast<uInt>(room);
            deflate(&stream_, how);
            packed.resize(held + room - stream_.avail_out);
        } while (stream_.avail_out == 0);
        return packed;
    }

    z_stream stream_{};
    bool is_ready_ = false;
};
#endif

#if VP_HAS_ZSTD
class ZstdDecompressor : public Decompressor {
public:
    ZstdDecompressor() : stream_(ZSTD_createDStream(), ZSTD_freeDStream) {}

    Result unpack(std::string_view input, char* output, std::size_t size) override {
        ZSTD_inBuffer in{input.data(), input.size(), 0};
        ZSTD_outBuffer out{output, size, 0};
        const std::size_t status = ZSTD_decompressStream(stream_.get(), &out, &in);
        if (ZSTD_isError(status) != 0) return {0, 0, true};
        if (in.pos > 0 || out.pos > 0) is_between_ = status == 0;
        return {in.pos, out.pos, false};
    }
    bool is_between_frames() const override { return is_between_; }

private:
    std::unique_ptr<ZSTD_DStream, std::size_t (*)(ZSTD_DStream*)> stream_;
    bool is_between_ = true;
};

class ZstdCompressor : public Compressor {
public:
    ZstdCompressor() : stream_(ZSTD_createCCtx(), ZSTD_freeCCtx) {
        ZSTD_CCtx_setParameter(stream_.get(), ZSTD_c_checksumFlag, 1);
    }

    std::string pack(std::string_view bytes) override { return run(bytes, ZSTD_e_continue); }
    std::string flush() override { return run({}, ZSTD_e_flush); }
    std::string finish() override { return run({}, ZSTD_e_end); }

private:
    std::string run(std::string_view bytes, ZSTD_EndDirective how) {
        std::string packed;
        ZSTD_inBuffer in{bytes.data(), bytes.size(), 0};
        std::size_t left = 0;
        do {
            const std::size_t held = packed.size();
            packed.resize(held + ZSTD_CStreamOutSize());
            ZSTD_outBuffer out{packed.data() + held, packed.size() - held, 0};
            left = ZSTD_compressStream2(stream_.get(), &out, &in, how);
            packed.resize(held + out.pos);
            if (ZSTD_isError(left) != 0) break;
        } while (in.pos < in.size || (how != ZSTD_e_continue && left > 0));
        return packed;
    }

    std::unique_ptr<ZSTD_CCtx, std::size_t (*)(ZSTD_CCtx*)> stream_;
};
#endif

bool ends_with(const std::string& text, std::string_view ending) {
    return text.size() >= ending.size() &&
           text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

}  // namespace

const char* compression_name(Compression compression) {
    switch (compression) {
        case Compression::gzip:
            return "gzip";
        case Compression::zstd:
            return "zstd";
        case Compression::none:
            break;
    }
    return "nothing";
}

Compression compression_of_name(const std::string& path) {
    if (ends_with(path, ".gz")) return Compression::gzip;
    return ends_with(path, ".zst") ? Compression::zstd : Compression::none;
}

Compression compression_of_bytes(std::string_view start) {
    constexpr std::string_view gzip_magic = "\x1f\x8b";
    constexpr std::string_view zstd_magic = "\x28\xb5\x2f\xfd";
    if (start.substr(0, gzip_magic.size()) == gzip_magic) return Compression::gzip;
    return start.substr(0, zstd_magic.size()) == zstd_magic ? Compression::zstd : Compression::none;
}

std::unique_ptr<Decompressor> make_decompressor([[maybe_unused]] Compression compression) {
#if VP_HAS_ZLIB
    if (compression == Compression::gzip) return std::make_unique<GzipDecompressor>();
#endif
#if VP_HAS_ZSTD
    if (compression == Compression::zstd) return std::make_unique<ZstdDecompressor>();
#endif
    return nullptr;
}

std::unique_ptr<Compressor> make_compressor([[maybe_unused]] Compression compression) {
#if VP_HAS_ZLIB
    if (compression == Compression::gzip) return std::make_unique<GzipCompressor>();
#endif
#if VP_HAS_ZSTD
    if (compression == Compression::zstd) return std::make_unique<ZstdCompressor>();
#endif
    return nullptr;
}

}  // namespace vp
