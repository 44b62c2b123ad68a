#include "virtual_projector/world/text.h"

#include <cstdio>

namespace vp {

std::string number_text(double value) {
    char text[40];
    std::snprintf(text, sizeof text, "%.10g", value);
    return text;
}

std::string join(const std::vector<std::string_view>& names) {
    std::string text;
    for (const std::string_view& name : names) {
        if (&name != &names.front()) text += ", ";
        text += name;
    }
    return text;
}

}  // namespace vp
