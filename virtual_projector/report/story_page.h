// What a page holds of a story's entries, and how they stand on it.
#ifndef VIRTUAL_PROJECTOR_REPORT_STORY_PAGE_H
#define VIRTUAL_PROJECTOR_REPORT_STORY_PAGE_H

#include <cstddef>
#include <string>
#include <vector>

#include "virtual_projector/report/story_entry.h"

namespace vp {

constexpr std::size_t page_width = 80;
constexpr std::size_t page_lines = 40;

/// `text` cut at blanks into lines of at most page_width columns, those after the first indented. A word that
/// is too long for a line of its own is cut.
std::vector<std::string> wrapped(const std::string& text, std::size_t indent);

/// Entries that say the same of one request one after the other as one: orders to the lens, steps of the
/// widths, looks that saw the same. Its time is that of the first; its words say how many and until when.
std::vector<StoryEntry> draw_together(const std::vector<StoryEntry>& entries);

struct Page {
    std::vector<std::string> lines;
    std::vector<std::string> left_out;  // "12 readings", "3 lens orders"; empty: nothing
    bool lacks_what_matters = false;    // a decision was left out, or something that matters more
};

/// Lines for all of the entries, each with its time and its request's number.
std::vector<std::string> full_page(const std::vector<StoryEntry>& entries);

/// At most `lines` lines, of the entries that matter most; but all events of the scenario, and all log lines.
/// Entries that are drawn together count as left out but for one; requests that went alike are one.
Page cut_page(const std::vector<StoryEntry>& entries, std::size_t lines);

}  // namespace vp

#endif
