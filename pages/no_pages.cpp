// Stands in for the pages where there is no bundler to make them.
#include "pages/page_templates.h"

namespace vp {

std::string_view run_page_template() { return {}; }
std::string_view live_page_template() { return {}; }

}  // namespace vp
