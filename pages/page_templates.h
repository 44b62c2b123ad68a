// The pages as they are compiled into the programs: each one HTML file with its scripts and style sheet inside.
#ifndef PAGES_PAGE_TEMPLATES_H
#define PAGES_PAGE_TEMPLATES_H

#include <string_view>

namespace vp {

/// What stands in the run's page where its data go: gzip, then base 64.
constexpr std::string_view page_data_mark = "{{data}}";

/// Both are empty when the programs were built without the bundler of the pages.
std::string_view run_page_template();
std::string_view live_page_template();

}  // namespace vp

#endif
