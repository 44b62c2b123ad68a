// The page of a run: one HTML file that opens from disk, with the run's data inside.
#ifndef VIRTUAL_PROJECTOR_REPORT_PAGE_H
#define VIRTUAL_PROJECTOR_REPORT_PAGE_H

#include <stdexcept>
#include <string>
#include <string_view>

#include "virtual_projector/report/page_data.h"

namespace vp {

/// Its text is one line that says why there is no page.
class NoPage : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The page with these data, as page_data.h makes them. They stand in it compressed and in base 64, so that no
/// text of theirs can end the element that holds them: the run on a line, then each of the parts on one, which
/// can so be read by itself. Throws NoPage where the program was
/// built without the pages' bundler or without gzip.
std::string make_run_page(const PageData& data);

/// RFC 4648, with padding.
std::string base64(std::string_view bytes);

}  // namespace vp

#endif
