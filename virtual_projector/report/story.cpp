#include "virtual_projector/report/story.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>

#include "virtual_projector/report/library_log.h"
#include "virtual_projector/report/story_entries.h"
#include "virtual_projector/report/story_outcome.h"
#include "virtual_projector/report/story_page.h"
#include "virtual_projector/report/story_words.h"
#include "virtual_projector/world/microseconds.h"

namespace vp {
namespace {

constexpr std::size_t list_indent = 2;
constexpr std::size_t lines_for_left_out = 2;

void append(std::vector<std::string>& lines, const std::vector<std::string>& more) {
    lines.insert(lines.end(), more.begin(), more.end());
}

std::vector<std::string> paragraph(const std::string& text) { return wrapped(text, list_indent); }

// Unless it is the standard unit in the laboratory.
std::vector<std::string> place_of(const RunRecord& run) {
    const bool is_elsewhere = !run.world.empty() && run.world != RunRecord::standard_world;
    if (!is_elsewhere && !run.unit_seed) return {};
    std::string line = "World: " + (is_elsewhere ? run.world : RunRecord::standard_world);
    if (run.unit_seed) line += "; unit: " + std::to_string(*run.unit_seed) + " of " + run.unit;
    return paragraph(line + ".");
}

std::string start_words(const TruthAt& before) {
    return text("At the start: %.0f mm from the wall, tilted by %.1f degrees, LED at %.0f C.",
                before.distance_mm, before.pitch_deg, before.led_c);
}

std::string times_words(const std::string& summary_path, std::int64_t end_us) {
    if (summary_path.empty()) return text("Simulated time %.3f s.", seconds(end_us));
    std::ifstream file(summary_path);
    const nlohmann::json summary = nlohmann::json::parse(file, nullptr, false);
    if (!summary.is_object()) return "The run left no figures behind.";
    return text("Simulated time %.3f s, real time %.3f s.",
                seconds(summary.value("simulated_us", std::int64_t{0})),
                seconds(summary.value("real_us", std::int64_t{0})));
}

std::string listed(const std::vector<std::string>& parts) {
    std::string words;
    for (const std::string& part : parts) words += (&part == &parts.front() ? "" : ", ") + part;
    return words;
}

std::vector<std::string> left_out_lines(const std::vector<std::string>& left_out) {
    if (left_out.empty()) return {};
    return paragraph("Not shown, or drawn together: " + listed(left_out) + "; --full shows all.");
}

}  // namespace

class StoryTeller::Work {
public:
    explicit Work(const StoryOptions& options) : entries(options.log), is_full_(options.full) {}

    RunRecord run;
    std::optional<TruthAt> first;
    TruthAt last;
    std::optional<WearAccount> wear;
    EntryCollector entries;
    std::map<std::string, int> toasts;  // each with how often it was sent
    std::int64_t end_us = 0;

    bool is_empty = true;  // but for the run's record

    void see(std::int64_t t_us) {
        is_empty = false;
        end_us = std::max(end_us, t_us);
    }
    std::vector<std::string> tell(const StorySources& sources);

private:
    std::vector<std::string> toast_lines() const;
    std::vector<std::string> beginning(const std::string& title) const;
    std::vector<std::string> places_and_wear() const;

    bool is_full_;
};

std::vector<std::string> StoryTeller::Work::toast_lines() const {
    std::vector<std::string> parts;
    for (const auto& [words, times] : toasts)
        parts.push_back(words + (times == 1 ? "" : ", " + std::to_string(times) + " times"));
    return paragraph("Toasts sent to the host: " + (parts.empty() ? "none" : listed(parts)) + ".");
}

std::vector<std::string> StoryTeller::Work::beginning(const std::string& title) const {
    std::vector<std::string> lines;
    if (!title.empty()) append(lines, paragraph(title));
    append(lines, place_of(run));
    lines.push_back(first ? start_words(*first) : "What was really so the trace does not say.");
    return lines;
}

std::vector<std::string> StoryTeller::Work::places_and_wear() const {
    std::vector<std::string> lines;
    if (first) {
        for (const std::string& line : place_lines(last)) append(lines, paragraph(line));
    }
    if (wear) append(lines, paragraph(wear_words(wear->run)));
    return lines;
}

// Where the picture is and the wear give way to decisions and to all that matters more.
std::vector<std::string> StoryTeller::Work::tell(const StorySources& sources) {
    if (is_empty) {
        const std::string name = sources.trace.empty() ? "" : " " + sources.trace;
        return {"There is nothing to tell: the trace" + name + " is empty."};
    }
    if (!entries.has_log()) entries.take_log_without_times(read_library_log(sources.library_log));
    const std::vector<StoryEntry> all = entries.finish();
    std::vector<std::string> lines = beginning(sources.title);
    std::vector<std::string> end = toast_lines();
    if (first) append(end, outcome_table(*first, last));
    const std::vector<std::string> extra = places_and_wear();
    const std::string times = times_words(sources.summary, end_us);
    if (is_full_) {
        append(lines, full_page(all));
        append(lines, end);
        append(lines, extra);
    } else {
        const std::size_t taken = lines.size() + end.size() + lines_for_left_out + 1;
        const std::size_t room = page_lines - std::min(page_lines, taken);
        Page page = cut_page(all, room - std::min(room, extra.size()));
        const bool has_extra = !page.lacks_what_matters;
        if (!has_extra) page = cut_page(all, room);
        append(lines, page.lines);
        append(lines, end);
        if (has_extra) append(lines, extra);
        if (!has_extra) page.left_out.emplace_back("where the picture is, wear");
        append(lines, left_out_lines(page.left_out));
    }
    lines.push_back(times);
    return lines;
}

StoryTeller::StoryTeller(const StoryOptions& options) : work_(std::make_unique<Work>(options)) {}
StoryTeller::~StoryTeller() = default;

void StoryTeller::take_run(const RunRecord& run) { work_->run = run; }

void StoryTeller::take_truth(const TruthAt& truth) {
    work_->see(truth.t_us);
    if (!work_->first) work_->first = truth;
    work_->last = truth;
    work_->entries.take_truth(truth);
}

void StoryTeller::take_event(const EventAt& event) {
    work_->see(event.t_us);
    work_->entries.take_event(event);
}

void StoryTeller::take_wear(std::int64_t t_us, const WearAccount& wear) {
    work_->see(t_us);
    work_->wear = wear;
}

void StoryTeller::take_call(const CallAt& call) {
    work_->see(call.t_us);
    work_->entries.take_call(call);
}

void StoryTeller::take_callback(const CallbackLine& callback) {
    work_->see(callback.t_us);
    if (callback.callback == "toast") ++work_->toasts[toast_name(callback)];
    work_->entries.take_callback(callback);
}

void StoryTeller::take_state(const StateLine& state) {
    work_->see(state.t_us);
    work_->entries.take_state(state);
}

void StoryTeller::take_log(const LogLine& log) {
    work_->see(log.t_us);
    work_->entries.take_log(log);
}

std::vector<std::string> StoryTeller::tell(const StorySources& sources) { return work_->tell(sources); }

std::vector<std::string> format_story(const StorySources& sources, const StoryOptions& options) {
    StoryTeller teller(options);
    std::string mistake;
    try {
        read_trace(sources.trace, teller);
    } catch (const TraceError& error) {
        mistake = error.what();
    }
    std::vector<std::string> lines = teller.tell(sources);
    if (!mistake.empty()) append(lines, paragraph("The trace cannot be read to its end: " + mistake));
    return lines;
}

}  // namespace vp
