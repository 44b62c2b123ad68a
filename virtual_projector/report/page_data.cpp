#include "virtual_projector/report/page_data.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string_view>
#include <type_traits>
#include <utility>

#include "virtual_projector/report/json_text.h"
#include "virtual_projector/report/page_parts.h"
#include "virtual_projector/report/repeat_command.h"

namespace vp {
namespace {

using nlohmann::ordered_json;

constexpr int page_data_format = 2;
constexpr std::size_t most_points = 200000;
constexpr std::size_t most_slices = 20000;

bool is_long(const Signal& signal) { return signal.values.size() > most_points; }

// What takes time; there is nothing to be seen of the rest.
std::vector<Slice> slices_of(const Lane& lane) {
    std::vector<Slice> slices;
    std::copy_if(lane.slices.begin(), lane.slices.end(), std::back_inserter(slices),
                 [](const Slice& slice) { return slice.end_us > slice.begin_us; });
    return slices;
}

// How many values and slices are too much to be read at once.
std::size_t told_in_parts(const RunData& run) {
    std::size_t told = 0;
    for (const auto& [name, signal] : run.signals) told += is_long(signal) ? signal.values.size() : 0;
    for (const auto& [thread, lane] : run.lanes) {
        const std::size_t count = slices_of(lane).size();
        told += count > most_slices ? count : 0;
    }
    return told;
}

ordered_json time_or_none(const std::optional<std::int64_t>& t_us) {
    return t_us ? ordered_json(*t_us) : ordered_json(nullptr);
}

// Of a trace without truths nobody knows.
ordered_json truth_or_none(const TruthRecord& truth, bool is_known) {
    return is_known ? json_of(truth) : ordered_json(nullptr);
}

ordered_json json_of(const Request& request, bool has_truths) {
    return {{"n", request.number},
            {"kind", name_of(request.kind)},
            {"what", request.what},
            {"by", request.by},
            {"thread", request.thread},
            {"t", request.asked_us},
            {"begin", time_or_none(request.begun_us)},
            {"end", time_or_none(request.ended_us)},
            {"failed", request.failed},
            {"outcome", request.outcome},
            {"before", truth_or_none(request.before, has_truths)},
            {"after", truth_or_none(request.after, has_truths)}};
}

class Writer {
public:
    explicit Writer(const RunData& run) : run_(run), parts_(run.contents.end_us, told_in_parts(run)) {}
    PageData write(const std::string& title, const std::vector<std::string>& story);

private:
    void write_head(const std::string& title);
    void write_signal(const Signal& signal);
    void write_signals();
    void write_outlines();
    void write_zones();
    void write_true_zones();
    void write_flags();
    void write_requests();
    void write_lanes();
    void write_slice(const Slice& slice);
    void write_log();
    void write_parts();
    template <typename Member>
    void write_frames(const char* name, Member ZonesAt::*member);

    const RunData& run_;
    PageParts parts_;
    JsonText text_;
};

void Writer::write_signal(const Signal& signal) {
    ordered_json head = {{"name", signal.name}, {"unit", signal.unit}, {"about", signal.about}};
    if (is_long(signal)) {
        parts_.add(signal);
        head["step_us"] = parts_.step_us();
    }
    const Signal& told = is_long(signal) ? extremes_of(signal, parts_.step_us()) : signal;
    std::string begin = head.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
    begin.pop_back();  // its brace
    text_.raw(begin + ",\"t\":");
    text_.numbers(told.t_us);
    text_.raw(",\"v\":");
    text_.numbers(told.values);
    text_.raw("}");
}

void Writer::write_signals() {
    text_.list(run_.signals, [this](const auto& named) { write_signal(named.second); });
}

void Writer::write_outlines() {
    std::vector<const TruthAt*> news;
    for (const TruthAt& truth : run_.contents.truths) {
        const bool is_same = !news.empty() && news.back()->on_wall == truth.on_wall &&
                             news.back()->outline_mm == truth.outline_mm;
        if (!is_same) news.push_back(&truth);
    }
    text_.raw("{\"t\":");
    text_.list(news, [this](const TruthAt* truth) { text_.number(truth->t_us); });
    text_.raw(",\"xz\":");
    text_.list(news, [this](const TruthAt* truth) {
        if (!truth->on_wall) return text_.raw("[]");
        text_.list(truth->outline_mm, [this](const auto& corner) { text_.numbers(corner); });
    });
    text_.raw("}");
}

template <typename Member>
void Writer::write_frames(const char* name, Member ZonesAt::*member) {
    text_.raw(std::string(",\"") + name + "\":");
    text_.list(run_.zones, [&](const ZonesAt& frame) {
        text_.list(frame.*member, [this](auto value) {
            if constexpr (std::is_same_v<decltype(value), bool>) {
                text_.raw(value ? "true" : "false");
            } else {
                text_.number(std::int64_t{value});
            }
        });
    });
}

// As they were when the frame was taken.
void Writer::write_true_zones() {
    const std::vector<TruthAt>& truths = run_.contents.truths;
    std::size_t next = 0;  // the first truth after the frame
    text_.raw(",\"true_mm\":");
    text_.list(run_.zones, [&](const ZonesAt& frame) {
        while (next < truths.size() && truths[next].t_us <= frame.t_us) ++next;
        if (next == 0) return text_.raw("[null,null,null,null]");
        text_.list(truths[next - 1].zones_mm, [this](double mm) { text_.number(mm < 0 ? std::nan("") : mm); });
    });
}

void Writer::write_zones() {
    text_.raw("{\"t\":");
    text_.list(run_.zones, [&](const ZonesAt& frame) { text_.number(frame.t_us); });
    write_frames("sensed_mm", &ZonesAt::distance_mm);
    write_true_zones();
    write_frames("quality", &ZonesAt::quality);
    write_frames("valid", &ZonesAt::valid);
    text_.raw("}");
}

void Writer::write_flags() {
    text_.list(run_.flags, [this](const Flag& flag) {
        text_.json({{"t", flag.t_us}, {"kind", flag.kind}, {"text", flag.text}});
    });
}

void Writer::write_requests() {
    const bool has_truths = !run_.contents.truths.empty();
    text_.list(run_.requests, [&](const Request& request) { text_.json(json_of(request, has_truths)); });
}

void Writer::write_slice(const Slice& slice) {
    text_.raw("[" + std::to_string(slice.begin_us) + "," + std::to_string(slice.end_us - slice.begin_us) +
              ",\"" + slice_kind_name(slice.kind) + "\",");
    text_.json(run_.slice_names.at(slice.what));
    text_.raw("]");
}

void Writer::write_lanes() {
    text_.list(run_.lanes, [this](const auto& numbered) {
        const Lane& lane = numbered.second;
        std::vector<Slice> slices = slices_of(lane);
        if (slices.size() > most_slices) parts_.add(lane.thread, slices);
        std::int64_t merged_us = 0;
        slices = merge_short(std::move(slices), most_slices, merged_us);
        text_.raw("{\"thread\":" + std::to_string(lane.thread) + ",\"name\":");
        text_.json(lane.name);
        text_.raw(",\"merged_us\":" + std::to_string(merged_us) + ",\"slices\":");
        text_.list(slices, [this](const Slice& slice) { write_slice(slice); });
        text_.raw("}");
    });
}

void Writer::write_log() {
    text_.list(run_.contents.log, [this](const LogLine& line) {
        text_.json({{"t", line.t_us}, {"thread", line.thread}, {"text", line.text}});
    });
}

void Writer::write_parts() {
    text_.raw("{\"us\":" + std::to_string(parts_.part_us()) + ",\"count\":" + std::to_string(parts_.count()) +
              ",\"labels\":");
    text_.list(parts_.labels(), [this](const PageParts::Label& label) {
        text_.json({slice_kind_name(label.first), run_.slice_names.at(label.second)});
    });
    text_.raw("}");
}

void Writer::write_head(const std::string& title) {
    text_.raw("{\"format\":" + std::to_string(page_data_format) + ",\"title\":");
    text_.json(title);
    text_.raw(",\"run\":");
    text_.json(run_line(run_.contents.run).at(record_key::run));
    text_.raw(",\"command\":");
    text_.json(repeat_command(run_.contents.run));
    text_.raw(",\"end_us\":" + std::to_string(run_.contents.end_us));
}

PageData Writer::write(const std::string& title, const std::vector<std::string>& story) {
    write_head(title);
    const std::pair<const char*, void (Writer::*)()> parts[] = {
        {"signals", &Writer::write_signals},   {"outlines", &Writer::write_outlines},
        {"zones", &Writer::write_zones},       {"flags", &Writer::write_flags},
        {"requests", &Writer::write_requests}, {"lanes", &Writer::write_lanes},
        {"log", &Writer::write_log},           {"parts", &Writer::write_parts}};
    for (const auto& [name, write] : parts) {
        text_.raw(std::string(",\"") + name + "\":");
        (this->*write)();
    }
    text_.raw(",\"story\":");
    text_.json(story);
    text_.raw("}\n");
    return {text_.take(), parts_.take()};
}

}  // namespace

PageData page_data(const RunData& run, const std::string& title, const std::vector<std::string>& story) {
    return Writer(run).write(title, story);
}

std::string as_one_object(const PageData& data) {
    JsonText text;
    text.raw(std::string_view(data.run).substr(0, data.run.rfind('}')));
    text.raw(",\"told\":");
    text.list(data.parts, [&text](const std::string& part) { text.raw(part); });
    text.raw("}\n");
    return text.take();
}

}  // namespace vp
