// JSON written piece by piece: long lists of numbers need no tree of values.
#ifndef VIRTUAL_PROJECTOR_REPORT_JSON_TEXT_H
#define VIRTUAL_PROJECTOR_REPORT_JSON_TEXT_H

#include <charconv>
#include <cmath>
#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <utility>

namespace vp {

/// The shortest text that reads back as the same number; "null" of none.
inline std::string number_as_text(double value) {
    if (!std::isfinite(value)) return "null";
    char digits[32];
    return {digits, std::to_chars(digits, digits + sizeof digits, value).ptr};
}

class JsonText {
public:
    using Sink = std::function<void(std::string_view)>;

    /// Hands on what was written, in pieces; without a sink all is kept for take().
    explicit JsonText(Sink sink = {}) : sink_(std::move(sink)) {}

    void raw(std::string_view text) {
        text_ += text;
        constexpr std::size_t piece = 65536;
        if (sink_ && text_.size() >= piece) hand_on();
    }
    void json(const nlohmann::ordered_json& value) {
        raw(value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
    }
    void number(std::int64_t value) { raw(std::to_string(value)); }
    void number(double value) { raw(number_as_text(value)); }

    /// Each value by `write`, in brackets, with commas between.
    template <typename Values, typename Write>
    void list(const Values& values, Write write) {
        raw("[");
        bool is_first = true;
        for (const auto& value : values) {
            if (!std::exchange(is_first, false)) raw(",");
            write(value);
        }
        raw("]");
    }
    template <typename Values>
    void numbers(const Values& values) {
        list(values, [this](const auto& value) { this->number(value); });
    }

    void hand_on() {
        sink_(text_);
        text_.clear();
    }
    std::string take() { return std::move(text_); }

private:
    Sink sink_;
    std::string text_;
};

}  // namespace vp

#endif
