#include "virtual_projector/report/story_page.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
#include <set>
#include <string_view>

#include "virtual_projector/report/story_words.h"
#include "virtual_projector/world/microseconds.h"

namespace vp {
namespace {

// How much a kind matters; those of less are left out first. Below that: what one and several of it are called.
struct Rank {
    EntryKind kind;
    int rank;
    const char* one;
    const char* several;
};

constexpr int always = 0;  // and never left out
constexpr int how_it_ends = 1;
constexpr int told_to_the_host = 2;
constexpr int decisions = 4;

// Lines for what came of the events, however many of those there are.
constexpr std::size_t least_besides_events = 12;

constexpr std::array<Rank, 14> ranks = {{
    {EntryKind::event, always, "event", "events"},
    {EntryKind::log, always, "log line", "log lines"},
    {EntryKind::fault, told_to_the_host, "fault", "faults"},
    {EntryKind::refused, told_to_the_host, "refusal", "refusals"},
    {EntryKind::toast, told_to_the_host, "toast", "toasts"},
    {EntryKind::turn, told_to_the_host, "turn of the picture", "turns of the picture"},
    {EntryKind::request, 3, "request", "requests"},
    {EntryKind::chosen, decisions, "decision", "decisions"},
    {EntryKind::lens, 5, "lens order", "lens orders"},
    {EntryKind::width, 5, "keystone step", "keystone steps"},
    {EntryKind::seen, 6, "reading", "readings"},
    {EntryKind::detail, 7, "detail", "details"},
    {EntryKind::failure, 8, "failed call", "failed calls"},
    {EntryKind::ending, 3, "end of a request", "ends of requests"},
}};

const Rank& rank_of(EntryKind kind) {
    return *std::find_if(ranks.begin(), ranks.end(), [kind](const Rank& rank) { return rank.kind == kind; });
}

// What is known of the requests of a story before it is told.
struct Requests {
    std::set<int> failed;
    int last = 0;  // that was not asked for by following a movement: it leaves the picture as it ends
};

Requests requests_among(const std::vector<StoryEntry>& entries) {
    Requests requests;
    for (const StoryEntry& entry : entries) {
        if (!entry.asked) continue;
        if (entry.asked->failed) requests.failed.insert(entry.request);
        if (entry.asked->kind != RequestKind::following) requests.last = entry.request;
    }
    return requests;
}

// A request that failed matters as much as the refusal that it met, one of which the host was told as much as
// the toast, and the last one more than those. That a movement is followed matters no more than a decision, and
// there are many. A refusal in a request that failed matters less: the request tells of it.
int importance(const StoryEntry& entry, const Requests& requests) {
    if (entry.asked && entry.request == requests.last) return how_it_ends;
    if (entry.asked && entry.asked->kind == RequestKind::following) return decisions;
    const bool is_as_toast = entry.asked && (entry.asked->failed || !entry.asked->toasts.empty());
    if (is_as_toast) return told_to_the_host;
    const bool is_told = entry.kind == EntryKind::refused && requests.failed.count(entry.request) != 0;
    return is_told ? decisions : rank_of(entry.kind).rank;
}

// --- Drawing together --------------------------------------------------------------------------------------

// What two looks of one kind have in common: all before the first number.
std::string_view stem_of(const StoryEntry& entry) {
    const std::string_view text = entry.text;
    return text.substr(0, text.find_first_of("0123456789"));
}

// An entry that goes on: the latest of its kind in its request, with nothing between that must not be passed.
bool goes_on(const StoryEntry& first, const StoryEntry& next) {
    if (first.kind != next.kind || first.request != next.request) return false;
    switch (first.kind) {
        case EntryKind::lens:
        case EntryKind::width:
            return true;
        case EntryKind::fault:
        case EntryKind::failure:
            return first.text == next.text;
        case EntryKind::refused:
        case EntryKind::chosen:
        case EntryKind::seen:
        case EntryKind::detail:
            return stem_of(first) == stem_of(next);
        default:
            return false;
    }
}

// Nothing is drawn together across what happens to the projector or to a request.
bool separates(const StoryEntry& entry) {
    return entry.kind == EntryKind::event || entry.kind == EntryKind::request ||
           entry.kind == EntryKind::ending || entry.kind == EntryKind::turn || entry.kind == EntryKind::toast;
}

// Of a series that took some time.
std::string until(const std::vector<StoryEntry>& series) {
    const StoryEntry& last = series.back();
    return last.t_us && last.t_us != series.front().t_us ? text(" until %.3f s", seconds(*last.t_us)) : "";
}

// Where that which differs begins, with the words that name it: "top edge 1024 pixels"
std::size_t news_of(const StoryEntry& entry) {
    const std::size_t end = stem_of(entry).size();
    const std::size_t colon = entry.text.rfind(": ", end);
    return colon == std::string::npos ? end : colon + 2;
}

std::string repeated_words(const std::vector<StoryEntry>& series) {
    const std::string& first = series.front().text;
    const std::string& last = series.back().text;
    const std::string words = first + ", " + counted(series.size(), "time") + until(series);
    return first == last ? words : words + ", at last " + last.substr(news_of(series.back()));
}

StoryEntry drawn_together(const std::vector<StoryEntry>& series) {
    StoryEntry entry = series.front();
    if (series.size() == 1) return entry;
    const StoryEntry& last = series.back();
    if (entry.kind == EntryKind::lens) {
        std::vector<LensMoveAt> orders;
        orders.reserve(series.size());
        for (const StoryEntry& one : series) orders.push_back(one.move);
        entry.text = order_words(orders) + until(series);
    } else if (entry.kind == EntryKind::width) {
        entry.top_width = last.top_width;
        entry.bottom_width = last.bottom_width;
        entry.text = width_words(entry, series.size()) + until(series);
    } else {
        entry.text = repeated_words(series);
    }
    return entry;
}

// --- Requests ----------------------------------------------------------------------------------------------

// A movement is followed again and again. What somebody asked for is told each by itself.
bool went_alike(const Request& one, const Request& other) {
    return one.kind == RequestKind::following && one.kind == other.kind && one.what == other.what &&
           one.by == other.by && one.failed == other.failed && one.outcome == other.outcome && one.ended_us &&
           other.ended_us && one.toasts.empty() && other.toasts.empty();
}

// Requests one after the other that went alike, with nothing between that matters to a viewer. They are told
// as the first of them, and what belongs to them belongs to it.
class Alike {
public:
    void take(const StoryEntry& entry) {
        const bool is_between = entry.kind == EntryKind::event || entry.kind == EntryKind::turn;
        if (is_between) latest_ = 0;
        if (!entry.asked) return;
        if (latest_ == 0 || !went_alike(told_.at(latest_).front(), *entry.asked)) latest_ = entry.request;
        told_[latest_].push_back(*entry.asked);
        first_[entry.request] = latest_;
    }
    int first_of(int request) const {
        const auto found = first_.find(request);
        return found == first_.end() ? request : found->second;
    }
    const std::vector<Request>& told_as(int request) const { return told_.at(request); }

private:
    int latest_ = 0;
    std::map<int, int> first_;                  // of each request
    std::map<int, std::vector<Request>> told_;  // by the first
};

// A request is told as a whole where it begins; that stands for its end as well.
std::vector<StoryEntry> with_whole_requests(const std::vector<StoryEntry>& entries) {
    Alike alike;
    for (const StoryEntry& entry : entries) alike.take(entry);
    std::vector<StoryEntry> whole;
    for (const StoryEntry& entry : entries) {
        const int first = alike.first_of(entry.request);
        const bool is_told_before = entry.asked && first != entry.request;
        if (entry.kind == EntryKind::ending || is_told_before) continue;
        whole.push_back(entry);
        whole.back().request = first;
        if (entry.asked) whole.back().text = whole_words(alike.told_as(first));
    }
    return whole;
}

// --- Cutting -----------------------------------------------------------------------------------------------

// Columns of the time and of the request's number.
struct Columns {
    int time = 0;
    int request = 0;
};

Columns columns_of(const std::vector<StoryEntry>& entries) {
    Columns columns;
    for (const StoryEntry& entry : entries) {
        const int digits = static_cast<int>(std::to_string(entry.request).size());
        if (entry.request != 0) columns.request = std::max(columns.request, digits);
        if (entry.t_us)
            columns.time = std::max(columns.time, static_cast<int>(text("%.3f", seconds(*entry.t_us)).size()));
    }
    return columns;
}

std::string head_of(const StoryEntry& entry, const Columns& columns) {
    std::string head = entry.t_us ? text("%*.3f s", columns.time, seconds(*entry.t_us))
                                  : std::string(static_cast<std::size_t>(columns.time) + 2, ' ');
    if (columns.request == 0) return head + "  ";
    const std::string number = entry.request == 0 ? "" : std::to_string(entry.request);
    head += text("  %*s ", columns.request, number.c_str());
    const bool is_inside = entry.request != 0 && entry.kind != EntryKind::request;
    return head + (is_inside ? "  " : " ");
}

std::vector<std::string> lines_of(const StoryEntry& entry, const Columns& columns) {
    const std::string head = head_of(entry, columns);
    return wrapped(head + entry.text, head.size() + 2);
}

// What a page leaves out: all that there is but for what is taken away. Requests that are told as one are one,
// and the others its repetitions.
class LeftOut {
public:
    LeftOut(const std::vector<StoryEntry>& all, const std::vector<StoryEntry>& whole)
        : repeated_(requests_in(all) - requests_in(whole)) {
        for (const StoryEntry& entry : whole) {
            ++counts_[entry.kind];
            if (tells_of_failure(entry)) ++failed_;
        }
    }
    void take_away(const StoryEntry& entry) {
        --counts_[entry.kind];
        if (tells_of_failure(entry)) --failed_;
    }
    std::vector<std::string> words() const {
        std::vector<std::string> words;
        for (const Rank& rank : ranks) {
            const auto found = counts_.find(rank.kind);
            if (found == counts_.end() || found->second == 0) continue;
            const std::size_t count = found->second;
            words.push_back(std::to_string(count) + " " + (count == 1 ? rank.one : rank.several));
            if (rank.kind == EntryKind::request && failed_ > 0)
                words.back() += " (" + std::to_string(failed_) + " failed)";
        }
        if (repeated_ > 0) words.push_back(counted(repeated_, "repeated request"));
        return words;
    }

private:
    static std::size_t requests_in(const std::vector<StoryEntry>& entries) {
        return static_cast<std::size_t>(
            std::count_if(entries.begin(), entries.end(),
                          [](const StoryEntry& entry) { return entry.kind == EntryKind::request; }));
    }
    static bool tells_of_failure(const StoryEntry& entry) { return entry.asked && entry.asked->failed; }

    std::map<EntryKind, std::size_t> counts_;
    std::size_t failed_ = 0;  // of the requests
    std::size_t repeated_;
};

// Chooses among entries of one importance that do not all fit: in turns one of each request.
class Chooser {
public:
    Chooser(const std::vector<std::size_t>& sizes, std::size_t room)
        : sizes_(sizes), room_(room), kept_(sizes.size()) {}

    void take(const std::vector<std::size_t>& all_of_it, const std::vector<StoryEntry>& entries) {
        std::map<int, std::vector<std::size_t>> by_request;
        for (const std::size_t index : all_of_it) by_request[entries[index].request].push_back(index);
        for (std::size_t round = 0; !by_request.empty() && round < all_of_it.size(); ++round) {
            for (const auto& [request, own] : by_request) {
                if (round < own.size()) take_if_it_fits(own[round]);
            }
        }
    }
    void take_always(std::size_t index) {
        kept_[index] = true;
        room_ -= std::min(room_, sizes_[index]);
    }
    void make_room(std::size_t lines) { room_ = std::max(room_, lines); }
    bool all_fitted() const { return all_fitted_; }
    const std::vector<bool>& kept() const { return kept_; }

private:
    void take_if_it_fits(std::size_t index) {
        if (sizes_[index] > room_) {
            all_fitted_ = false;
        } else {
            take_always(index);
        }
    }

    const std::vector<std::size_t>& sizes_;
    std::size_t room_;
    std::vector<bool> kept_;
    bool all_fitted_ = true;
};

std::vector<bool> chosen(const std::vector<StoryEntry>& entries, const std::vector<std::size_t>& sizes,
                         std::size_t lines) {
    const Requests requests = requests_among(entries);
    std::map<int, std::vector<std::size_t>> by_importance;
    for (std::size_t i = 0; i < entries.size(); ++i)
        by_importance[importance(entries[i], requests)].push_back(i);
    Chooser chooser(sizes, lines);
    for (const auto& [importance, indices] : by_importance) {
        if (importance != always) {
            chooser.take(indices, entries);
        } else {
            for (const std::size_t index : indices) chooser.take_always(index);
            chooser.make_room(std::min(lines, least_besides_events));
        }
        if (!chooser.all_fitted()) break;
    }
    return chooser.kept();
}

// Whether the blank stands between a number and its unit.
bool is_before_unit(const std::string& text, std::size_t blank) {
    constexpr std::size_t longest_unit = 4;  // with what follows it: "deg,"
    const std::size_t end = std::min(text.find(' ', blank + 1), text.size());
    const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
    return blank > 0 && is_digit(text[blank - 1]) && blank + 1 < end && !is_digit(text[blank + 1]) &&
           text[blank + 1] != '-' && end - blank - 1 <= longest_unit;
}

// The last blank up to `end` at which a line may end; npos: there is none.
std::size_t last_break(const std::string& text, std::size_t end) {
    std::size_t blank = text.rfind(' ', end);
    while (blank != std::string::npos && blank > 0 && is_before_unit(text, blank))
        blank = text.rfind(' ', blank - 1);
    return blank;
}

}  // namespace

std::vector<std::string> wrapped(const std::string& text, std::size_t indent) {
    std::vector<std::string> lines;
    std::string rest = text;
    std::size_t own_indent = 0;
    while (rest.size() > page_width) {
        std::size_t cut = last_break(rest, page_width);
        const bool has_blank = cut != std::string::npos && cut > std::max(own_indent, indent);
        if (!has_blank) cut = page_width;
        lines.push_back(rest.substr(0, cut));
        rest = std::string(indent, ' ') + rest.substr(has_blank ? cut + 1 : cut);
        own_indent = indent;
    }
    lines.push_back(rest);
    return lines;
}

std::vector<StoryEntry> draw_together(const std::vector<StoryEntry>& entries) {
    std::vector<std::vector<StoryEntry>> series;
    std::size_t closed = 0;  // so many of the series take no more
    for (const StoryEntry& entry : entries) {
        if (separates(entry)) closed = series.size() + 1;
        const auto first_open = series.begin() + static_cast<std::ptrdiff_t>(std::min(closed, series.size()));
        const auto same = std::find_if(first_open, series.end(), [&entry](const std::vector<StoryEntry>& one) {
            return goes_on(one.front(), entry);
        });
        if (same == series.end()) {
            series.push_back({entry});
        } else {
            same->push_back(entry);
        }
    }
    std::vector<StoryEntry> drawn;
    drawn.reserve(series.size());
    for (const std::vector<StoryEntry>& one : series) drawn.push_back(drawn_together(one));
    return drawn;
}

std::vector<std::string> full_page(const std::vector<StoryEntry>& entries) {
    const Columns columns = columns_of(entries);
    std::vector<std::string> lines;
    for (const StoryEntry& entry : entries) {
        for (const std::string& line : lines_of(entry, columns)) lines.push_back(line);
    }
    return lines;
}

Page cut_page(const std::vector<StoryEntry>& entries, std::size_t lines) {
    const std::vector<StoryEntry> whole = with_whole_requests(entries);
    const std::vector<StoryEntry> drawn = draw_together(whole);
    const Columns columns = columns_of(drawn);
    std::vector<std::vector<std::string>> texts;
    std::vector<std::size_t> sizes;
    for (const StoryEntry& entry : drawn) {
        texts.push_back(lines_of(entry, columns));
        sizes.push_back(entry.kind == EntryKind::log ? 0 : texts.back().size());
    }
    const std::vector<bool> kept = chosen(drawn, sizes, lines);
    LeftOut left_out(entries, whole);
    const Requests requests = requests_among(drawn);
    Page page;
    for (std::size_t i = 0; i < drawn.size(); ++i) {
        if (!kept[i] && importance(drawn[i], requests) <= decisions) page.lacks_what_matters = true;
        if (!kept[i]) continue;
        left_out.take_away(drawn[i]);
        page.lines.insert(page.lines.end(), texts[i].begin(), texts[i].end());
    }
    page.left_out = left_out.words();
    return page;
}

}  // namespace vp
