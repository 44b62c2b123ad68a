#include "virtual_projector/report/story_page.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>

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
constexpr int decisions = 3;

constexpr std::array<Rank, 14> ranks = {{
    {EntryKind::event, always, "event", "events"},
    {EntryKind::log, always, "log line", "log lines"},
    {EntryKind::fault, 1, "fault", "faults"},
    {EntryKind::refused, 1, "refusal", "refusals"},
    {EntryKind::toast, 1, "toast", "toasts"},
    {EntryKind::turn, 1, "turn of the picture", "turns of the picture"},
    {EntryKind::request, 2, "request", "requests"},
    {EntryKind::chosen, decisions, "decision", "decisions"},
    {EntryKind::lens, 4, "lens order", "lens orders"},
    {EntryKind::width, 4, "keystone step", "keystone steps"},
    {EntryKind::seen, 5, "reading", "readings"},
    {EntryKind::detail, 6, "detail", "details"},
    {EntryKind::failure, 7, "failed call", "failed calls"},
    {EntryKind::ending, 2, "end of a request", "ends of requests"},
}};

const Rank& rank_of(EntryKind kind) {
    return *std::find_if(ranks.begin(), ranks.end(), [kind](const Rank& rank) { return rank.kind == kind; });
}

// A request that failed matters as much as the refusal that it met.
int importance(const StoryEntry& entry) {
    return entry.kind == EntryKind::request && entry.failed ? 1 : rank_of(entry.kind).rank;
}

// --- Drawing together --------------------------------------------------------------------------------------

// An entry that goes on: the latest of its kind in its request, with nothing between that must not be passed.
bool goes_on(const StoryEntry& first, const StoryEntry& next) {
    if (first.kind != next.kind || first.request != next.request) return false;
    switch (first.kind) {
        case EntryKind::lens:
        case EntryKind::width:
            return true;
        case EntryKind::fault:
        case EntryKind::refused:
        case EntryKind::chosen:
        case EntryKind::seen:
        case EntryKind::detail:
        case EntryKind::failure:
            return first.text == next.text;
        default:
            return false;
    }
}

// Nothing is drawn together across what happens to the projector or to a request.
bool separates(const StoryEntry& entry) {
    return entry.kind == EntryKind::event || entry.kind == EntryKind::request ||
           entry.kind == EntryKind::ending || entry.kind == EntryKind::turn || entry.kind == EntryKind::toast;
}

std::string until(const StoryEntry& last) {
    return last.t_us ? text(" until %.3f s", seconds(*last.t_us)) : "";
}

StoryEntry drawn_together(const std::vector<StoryEntry>& series) {
    StoryEntry entry = series.front();
    if (series.size() == 1) return entry;
    const StoryEntry& last = series.back();
    if (entry.kind == EntryKind::lens) {
        std::vector<LensMoveAt> orders;
        for (const StoryEntry& one : series) orders.push_back(one.move);
        entry.text = order_words(orders) + until(last);
    } else if (entry.kind == EntryKind::width) {
        entry.top_width = last.top_width;
        entry.bottom_width = last.bottom_width;
        entry.text = width_words(entry, series.size()) + until(last);
    } else {
        entry.text += ", " + std::to_string(series.size()) + " times" + until(last);
    }
    return entry;
}

// A request is told as a whole where it begins; that stands for its end as well.
std::vector<StoryEntry> with_whole_requests(const std::vector<StoryEntry>& entries) {
    std::vector<StoryEntry> whole;
    for (const StoryEntry& entry : entries) {
        if (entry.kind == EntryKind::ending) continue;
        whole.push_back(entry);
        if (entry.kind == EntryKind::request) whole.back().text = entry.whole_text;
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

std::vector<std::string> left_out_words(const std::map<EntryKind, std::size_t>& counts) {
    std::vector<std::string> words;
    for (const Rank& rank : ranks) {
        const auto found = counts.find(rank.kind);
        if (found == counts.end() || found->second == 0) continue;
        words.push_back(std::to_string(found->second) + " " + (found->second == 1 ? rank.one : rank.several));
    }
    return words;
}

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
    std::map<int, std::vector<std::size_t>> by_importance;
    for (std::size_t i = 0; i < entries.size(); ++i) by_importance[importance(entries[i])].push_back(i);
    Chooser chooser(sizes, lines);
    for (const auto& [importance, indices] : by_importance) {
        if (importance != always) {
            chooser.take(indices, entries);
        } else {
            for (const std::size_t index : indices) chooser.take_always(index);
        }
        if (!chooser.all_fitted()) break;
    }
    return chooser.kept();
}

}  // namespace

std::vector<std::string> wrapped(const std::string& text, std::size_t indent) {
    std::vector<std::string> lines;
    std::string rest = text;
    std::size_t own_indent = 0;
    while (rest.size() > page_width) {
        std::size_t cut = rest.rfind(' ', page_width);
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
    const std::vector<StoryEntry> drawn = with_whole_requests(draw_together(entries));
    const Columns columns = columns_of(drawn);
    std::vector<std::vector<std::string>> texts;
    std::vector<std::size_t> sizes;
    for (const StoryEntry& entry : drawn) {
        texts.push_back(lines_of(entry, columns));
        sizes.push_back(entry.kind == EntryKind::log ? 0 : texts.back().size());
    }
    const std::vector<bool> kept = chosen(drawn, sizes, lines);
    std::map<EntryKind, std::size_t> left_out;
    for (const StoryEntry& entry : entries) {
        if (entry.kind != EntryKind::ending) ++left_out[entry.kind];
    }
    Page page;
    for (std::size_t i = 0; i < drawn.size(); ++i) {
        if (!kept[i] && importance(drawn[i]) <= decisions) page.lacks_what_matters = true;
        if (!kept[i]) continue;
        --left_out[drawn[i].kind];
        page.lines.insert(page.lines.end(), texts[i].begin(), texts[i].end());
    }
    page.left_out = left_out_words(left_out);
    return page;
}

}  // namespace vp
