#include "virtual_projector/report/page_parts.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>
#include <set>
#include <type_traits>

#include "virtual_projector/report/json_text.h"

namespace vp {
namespace {

// A part of this size is read within a few hundredths of a second. More parts than that would only make a page
// that shows many of them slower.
constexpr std::size_t told_in_a_part = 150000;
constexpr std::size_t most_parts = 100;
// A page shows up to twelve parts by every value; with more on it a step is less than a pixel.
constexpr std::int64_t steps_in_a_part = 150;

constexpr std::uint32_t first_letter = 93;  // after the quotation mark and the backslash
constexpr std::size_t most_letters = 500;   // of two bytes at most
static_assert(first_letter + most_letters < 0x800);

std::string letter(std::size_t index) {
    constexpr std::uint32_t one_byte = 0x80;
    const auto code = static_cast<std::uint32_t>(first_letter + index);
    if (code < one_byte) return {static_cast<char>(code)};
    return {static_cast<char>(0xC0U | code >> 6U), static_cast<char>(0x80U | (code & 0x3FU))};
}

// The different numbers of a column, the most frequent ones first, and the letter of each.
template <typename Value>
class Alphabet {
public:
    /// None when there are too many of them.
    static std::optional<Alphabet> of(const std::vector<Value>& column) {
        Alphabet alphabet;
        for (const Value value : column) {
            const auto [found, is_new] = alphabet.places_.emplace(bits(value), alphabet.uses_.size());
            if (is_new) alphabet.uses_.push_back({value, 0});
            if (alphabet.uses_.size() > std::min(most_letters, column.size() / 2)) return std::nullopt;
            ++alphabet.uses_[found->second].count;
        }
        alphabet.sort();
        return alphabet;
    }
    void write(JsonText& text, const std::vector<Value>& column) const {
        text.raw("{\"of\":");
        text.list(uses_, [&text](const Use& use) { text.number(use.value); });
        text.raw(",\"at\":\"");
        for (const Value value : column) text.raw(letter(places_.at(bits(value))));
        text.raw("\"}");
    }

private:
    struct Use {
        Value value;
        std::size_t count;
    };
    static std::uint64_t bits(Value value) {
        static_assert(sizeof value == sizeof(std::uint64_t));
        std::uint64_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        return bits;
    }
    void sort() {
        std::stable_sort(uses_.begin(), uses_.end(),
                         [](const Use& a, const Use& b) { return a.count > b.count; });
        for (std::size_t i = 0; i < uses_.size(); ++i) places_[bits(uses_[i].value)] = i;
    }

    std::vector<Use> uses_;
    std::map<std::uint64_t, std::size_t> places_;
};

template <typename Value>
void write_column(JsonText& text, const char* name, const std::vector<Value>& column) {
    text.raw(std::string(",\"") + name + "\":");
    if (const auto alphabet = Alphabet<Value>::of(column)) {
        alphabet->write(text, column);
    } else {
        text.numbers(column);
    }
}

void write_times(JsonText& text, const std::vector<std::int64_t>& times) {
    text.raw(",\"from\":");
    text.number(times.front());
    std::vector<std::int64_t> rises;
    for (std::size_t i = 1; i < times.size(); ++i) rises.push_back(times[i] - times[i - 1]);
    write_column(text, "rise", rises);
}

std::string signal_entry(const Signal& signal, std::size_t first, std::size_t last) {
    const auto piece = [first, last](const auto& values) {
        const auto begin = values.begin();
        return std::decay_t<decltype(values)>(begin + static_cast<std::ptrdiff_t>(first),
                                              begin + static_cast<std::ptrdiff_t>(last));
    };
    JsonText text;
    text.raw("{\"signal\":");
    text.json(signal.name);
    write_times(text, piece(signal.t_us));
    write_column(text, "v", piece(signal.values));
    text.raw("}");
    return text.take();
}

}  // namespace

PageParts::PageParts(std::int64_t end_us, std::size_t told) {
    if (told == 0) return;
    parts_.resize(std::min(most_parts, 1 + told / told_in_a_part));
    part_us_ = end_us / static_cast<std::int64_t>(parts_.size()) + 1;
}

std::int64_t PageParts::step_us() const { return part_us_ / steps_in_a_part + 1; }

std::size_t PageParts::part_at(std::int64_t t_us) const {
    const auto last = static_cast<std::int64_t>(parts_.size()) - 1;
    return static_cast<std::size_t>(std::clamp<std::int64_t>(t_us / part_us_, 0, last));
}

void PageParts::add_entry(std::size_t part, const std::string& entry) {
    parts_[part] += parts_[part].empty() ? "[" : ",";
    parts_[part] += entry;
}

void PageParts::add(const Signal& signal) {
    std::size_t first = 0;
    for (std::size_t part = 0; part < parts_.size(); ++part) {
        std::size_t last = first;
        while (last < signal.t_us.size() && part_at(signal.t_us[last]) == part) ++last;
        const std::size_t held = first > 0 ? first - 1 : 0;  // when the part begins
        if (last > held) add_entry(part, signal_entry(signal, held, last));
        first = last;
    }
}

void PageParts::add(int thread, std::vector<Slice> slices) {
    std::stable_sort(slices.begin(), slices.end(), [](const Slice& a, const Slice& b) {
        return a.begin_us != b.begin_us ? a.begin_us < b.begin_us : a.end_us > b.end_us;
    });
    std::vector<std::vector<Slice>> of_parts(parts_.size());
    for (const Slice& slice : slices) {
        const std::size_t last = part_at(std::max(slice.begin_us, slice.end_us - 1));
        for (std::size_t part = part_at(slice.begin_us); part <= last; ++part) of_parts[part].push_back(slice);
    }
    for (std::size_t part = 0; part < parts_.size(); ++part) {
        if (!of_parts[part].empty()) add_entry(part, lane_entry(thread, of_parts[part]));
    }
}

std::string PageParts::lane_entry(int thread, const std::vector<Slice>& slices) {
    std::vector<std::int64_t> begins;
    std::vector<std::int64_t> lengths;
    std::vector<std::int64_t> labels;
    for (const Slice& slice : slices) {
        begins.push_back(slice.begin_us);
        lengths.push_back(slice.end_us - slice.begin_us);
        labels.push_back(label_of(slice));
    }
    JsonText text;
    text.raw("{\"lane\":" + std::to_string(thread));
    write_times(text, begins);
    write_column(text, "us", lengths);
    write_column(text, "label", labels);
    text.raw("}");
    return text.take();
}

std::int64_t PageParts::label_of(const Slice& slice) {
    const Label label{slice.kind, slice.what};
    const auto [found, is_new] = label_numbers_.emplace(label, static_cast<std::int64_t>(labels_.size()));
    if (is_new) labels_.push_back(label);
    return found->second;
}

std::vector<std::string> PageParts::take() {
    for (std::string& part : parts_) part += part.empty() ? "[]" : "]";
    return std::move(parts_);
}

Signal extremes_of(const Signal& signal, std::int64_t step_us) {
    Signal few{signal.name, signal.unit, signal.about, {}, {}};
    const auto& values = signal.values;
    for (std::size_t begin = 0, end = 0; begin < values.size(); begin = end) {
        std::size_t lowest = begin;
        std::size_t highest = begin;
        std::size_t unknown = values.size();
        const std::int64_t step = signal.t_us[begin] / step_us;
        for (end = begin; end < values.size() && signal.t_us[end] / step_us == step; ++end) {
            if (std::isnan(values[end])) unknown = std::min(unknown, end);
            if (values[end] < values[lowest] || std::isnan(values[lowest])) lowest = end;
            if (values[end] > values[highest] || std::isnan(values[highest])) highest = end;
        }
        const std::set<std::size_t> told = {lowest, highest, std::min(unknown, end - 1), end - 1};
        for (const std::size_t at : told) {
            few.t_us.push_back(signal.t_us[at]);
            few.values.push_back(values[at]);
        }
    }
    return few;
}

}  // namespace vp
