#include "virtual_projector/report/page.h"

#include <cstdint>

#include "pages/page_templates.h"
#include "virtual_projector/compression/compression.h"

namespace vp {
namespace {

std::string gzipped(std::string_view bytes) {
    const auto compressor = make_compressor(Compression::gzip);
    if (compressor == nullptr) {
        throw NoPage(
            "this program was built without zlib, which packs a page's data: build it with zlib1g-dev");
    }
    std::string packed = compressor->pack(bytes);
    packed += compressor->finish();
    return packed;
}

}  // namespace

std::string base64(std::string_view bytes) {
    static constexpr std::string_view letters =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    constexpr std::size_t group = 3;  // bytes that make
    constexpr std::size_t coded = 4;  // letters
    constexpr unsigned letter_bits = 6;
    constexpr unsigned letter_mask = 63;
    std::string text;
    text.reserve((bytes.size() + group - 1) / group * coded);
    for (std::size_t at = 0; at < bytes.size(); at += group) {
        std::uint32_t bits = 0;
        for (std::size_t i = 0; i < group; ++i) {
            bits = bits << 8U | (at + i < bytes.size() ? static_cast<unsigned char>(bytes[at + i]) : 0U);
        }
        const std::size_t used = bytes.size() - at < group ? bytes.size() - at + 1 : coded;
        for (std::size_t i = 0; i < coded; ++i) {
            const auto shift = static_cast<unsigned>(coded - 1 - i) * letter_bits;
            text += i < used ? letters[bits >> shift & letter_mask] : '=';
        }
    }
    return text;
}

std::string make_run_page(const PageData& data) {
    const std::string_view page = run_page_template();
    if (page.empty()) {
        throw NoPage("this program was built without pages: build it where esbuild is installed");
    }
    const std::size_t place = page.find(page_data_mark);
    std::string made(page.substr(0, place));
    made += base64(gzipped(data.run));
    for (const std::string& part : data.parts) made += "\n" + base64(gzipped(part));
    made += page.substr(place + page_data_mark.size());
    return made;
}

}  // namespace vp
