#include "virtual_projector/report/page_data.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>

#include "virtual_projector/report/lanes.h"
#include "virtual_projector/report/lens_words.h"
#include "virtual_projector/report/repeat_command.h"
#include "virtual_projector/report/signals.h"

namespace vp {
namespace {

using nlohmann::ordered_json;

constexpr int page_data_format = 1;
constexpr std::size_t most_points = 200000;
constexpr std::size_t most_slices = 20000;

// Long lists of numbers are written without a tree of values between.
class Text {
public:
    void raw(std::string_view text) { text_ += text; }
    void json(const ordered_json& value) {
        text_ += value.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
    }
    void number(std::int64_t value) { text_ += std::to_string(value); }
    void number(double value) {
        if (!std::isfinite(value)) {
            text_ += "null";
            return;
        }
        char digits[32];
        const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
        text_.append(digits, end);
    }
    template <typename Values, typename Write>
    void list(const Values& values, Write write) {
        text_ += '[';
        bool is_first = true;
        for (const auto& value : values) {
            if (!std::exchange(is_first, false)) text_ += ',';
            write(value);
        }
        text_ += ']';
    }
    template <typename Values>
    void numbers(const Values& values) {
        list(values, [this](const auto& value) { number(value); });
    }
    std::string take() { return std::move(text_); }

private:
    std::string text_;
};

// The smallest band about the last told value that leaves few enough changes. A doubling search: the first
// bands are far below what a curve on a page can show.
double thin(Signal& signal) {
    double within = 0;
    while (signal.values.size() > most_points) {
        const auto [low, high] = std::minmax_element(signal.values.begin(), signal.values.end());
        within = within == 0 ? (*high - *low) / 16384 : 2 * within;
        if (!(within > 0) || !std::isfinite(within)) break;
        Signal fewer;
        double last = 0;
        for (std::size_t i = 0; i < signal.values.size(); ++i) {
            const double value = signal.values[i];
            if (i > 0 && std::abs(value - last) <= within) continue;
            fewer.t_us.push_back(signal.t_us[i]);
            fewer.values.push_back(value);
            last = value;
        }
        signal.t_us = std::move(fewer.t_us);
        signal.values = std::move(fewer.values);
    }
    return within;
}

ordered_json flag(std::int64_t t_us, const char* kind, const std::string& text) {
    return {{"t", t_us}, {"kind", kind}, {"text", text}};
}

std::string toast_words(const CallbackLine& toast) {
    if (!toast.means.empty()) return toast.means;
    return "toast" + (toast.arguments.empty() ? std::string() : " " + std::to_string(toast.arguments.front()));
}

// What a run that is not over tells of its requests is the finder's; here is only what stands in records.
std::vector<ordered_json> flags_of(const TraceContents& contents) {
    std::vector<ordered_json> flags;
    for (const EventAt& event : contents.events) flags.push_back(flag(event.t_us, "event", event.what));
    for (const FaultAt& fault : contents.faults)
        flags.push_back(flag(fault.t_us, "fault", fault.what + ": " + fault.did));
    for (const CallbackLine& callback : contents.callbacks) {
        if (callback.callback == "toast") flags.push_back(flag(callback.t_us, "toast", toast_words(callback)));
    }
    for (const LensMoveAt& move : contents.lens_moves)
        flags.push_back(flag(move.t_us, "move", lens_words(move)));
    std::stable_sort(flags.begin(), flags.end(), [](const ordered_json& a, const ordered_json& b) {
        return a.at("t").get<std::int64_t>() < b.at("t").get<std::int64_t>();
    });
    return flags;
}

}  // namespace

class PageDataCollector::Work {
public:
    Work() {
        for (TraceVisitor* const visitor :
             {static_cast<TraceVisitor*>(&contents_), static_cast<TraceVisitor*>(&signals_),
              static_cast<TraceVisitor*>(&lanes_)}) {
            visitors.add(*visitor);
        }
    }

    std::string finish(const std::string& title, const std::vector<std::string>& story);

    TraceVisitors visitors;

private:
    void write_signals();
    void write_outlines(const TraceContents& contents);
    void write_zones(const TraceContents& contents);
    void write_lanes();
    void write_log(const TraceContents& contents);

    TraceCollector contents_;
    SignalCollector signals_;
    LaneCollector lanes_{false};
    Text text_;
};

void PageDataCollector::Work::write_signals() {
    text_.list(signals_.signals(), [this](const auto& named) {
        Signal signal = named.second;
        const double within = thin(signal);
        ordered_json head = {{"name", signal.name}, {"unit", signal.unit}, {"about", signal.about}};
        if (within > 0) head["within"] = within;
        std::string begin = head.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
        begin.pop_back();  // its brace
        text_.raw(begin + ",\"t\":");
        text_.numbers(signal.t_us);
        text_.raw(",\"v\":");
        text_.numbers(signal.values);
        text_.raw("}");
    });
}

void PageDataCollector::Work::write_outlines(const TraceContents& contents) {
    std::vector<const TruthAt*> news;
    for (const TruthAt& truth : contents.truths) {
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

void PageDataCollector::Work::write_zones(const TraceContents& contents) {
    const std::vector<ZonesAt>& zones = signals_.zones();
    const auto part = [&](const char* name, auto write) {
        text_.raw(std::string(",\"") + name + "\":");
        text_.list(zones, write);
    };
    const auto whole = [this](auto value) { text_.number(static_cast<std::int64_t>(value)); };
    text_.raw("{\"t\":");
    text_.list(zones, [&](const ZonesAt& frame) { text_.number(frame.t_us); });
    part("sensed_mm", [&](const ZonesAt& frame) { text_.list(frame.distance_mm, whole); });
    std::size_t next = 0;  // the first truth after the frame
    part("true_mm", [&](const ZonesAt& frame) {
        while (next < contents.truths.size() && contents.truths[next].t_us <= frame.t_us) ++next;
        if (next == 0) return text_.raw("[null,null,null,null]");
        text_.list(contents.truths[next - 1].zones_mm,
                   [this](double mm) { text_.number(mm < 0 ? std::nan("") : mm); });
    });
    part("quality", [&](const ZonesAt& frame) { text_.list(frame.quality, whole); });
    part("valid", [&](const ZonesAt& frame) {
        text_.list(frame.valid, [this](bool valid) { text_.raw(valid ? "true" : "false"); });
    });
    text_.raw("}");
}

void PageDataCollector::Work::write_lanes() {
    text_.list(lanes_.lanes(), [this](const auto& numbered) {
        const Lane& lane = numbered.second;
        std::int64_t merged_us = 0;
        const std::vector<Slice> slices = merge_short(lane.slices, most_slices, merged_us);
        text_.raw("{\"thread\":" + std::to_string(lane.thread) + ",\"name\":");
        text_.json(lane.name);
        text_.raw(",\"merged_us\":" + std::to_string(merged_us) + ",\"slices\":");
        text_.list(slices, [this](const Slice& slice) {
            text_.raw("[" + std::to_string(slice.begin_us) + "," +
                      std::to_string(slice.end_us - slice.begin_us) + ",\"" + slice_kind_name(slice.kind) +
                      "\",");
            text_.json(lanes_.names().at(slice.what));
            text_.raw("]");
        });
        text_.raw("}");
    });
}

void PageDataCollector::Work::write_log(const TraceContents& contents) {
    text_.list(contents.log, [this](const LogLine& line) {
        text_.json({{"t", line.t_us}, {"thread", line.thread}, {"text", line.text}});
    });
}

std::string PageDataCollector::Work::finish(const std::string& title, const std::vector<std::string>& story) {
    const TraceContents contents = std::move(contents_).contents();
    lanes_.finish(contents.end_us);
    text_.raw("{\"format\":" + std::to_string(page_data_format) + ",\"title\":");
    text_.json(title);
    text_.raw(",\"run\":");
    text_.json(run_line(contents.run).at(record_key::run));
    text_.raw(",\"command\":");
    text_.json(repeat_command(contents.run));
    text_.raw(",\"end_us\":" + std::to_string(contents.end_us) + ",\"signals\":");
    write_signals();
    text_.raw(",\"outlines\":");
    write_outlines(contents);
    text_.raw(",\"zones\":");
    write_zones(contents);
    text_.raw(",\"flags\":");
    text_.json(flags_of(contents));
    text_.raw(",\"requests\":[],\"lanes\":");
    write_lanes();
    text_.raw(",\"log\":");
    write_log(contents);
    text_.raw(",\"story\":");
    text_.json(story);
    text_.raw("}\n");
    return text_.take();
}

PageDataCollector::PageDataCollector() : work_(std::make_unique<Work>()) {}
PageDataCollector::~PageDataCollector() = default;

void PageDataCollector::take_run(const RunRecord& run) { work_->visitors.take_run(run); }
void PageDataCollector::take_truth(const TruthAt& truth) { work_->visitors.take_truth(truth); }
void PageDataCollector::take_event(const EventAt& event) { work_->visitors.take_event(event); }
void PageDataCollector::take_wear(std::int64_t t_us, const WearAccount& wear) {
    work_->visitors.take_wear(t_us, wear);
}
void PageDataCollector::take_call(const CallAt& call) { work_->visitors.take_call(call); }
void PageDataCollector::take_callback(const CallbackLine& callback) { work_->visitors.take_callback(callback); }
void PageDataCollector::take_return(const ReturnLine& end) { work_->visitors.take_return(end); }
void PageDataCollector::take_state(const StateLine& state) { work_->visitors.take_state(state); }
void PageDataCollector::take_log(const LogLine& log) { work_->visitors.take_log(log); }

std::string PageDataCollector::finish(const std::string& title, const std::vector<std::string>& story) {
    return work_->finish(title, story);
}

std::string page_data_of(const std::string& trace_path, const std::string& title,
                         const std::vector<std::string>& story) {
    PageDataCollector collector;
    read_trace(trace_path, collector);
    return collector.finish(title, story);
}

}  // namespace vp
