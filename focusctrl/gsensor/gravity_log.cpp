#include "focusctrl/gsensor/gravity_log.h"

#include "base/log.h"

namespace ovra {

// Not taken in where it is called: three numbers of double width are many instructions on the board.
[[gnu::noinline]] void log_axes(int level, const char* format, const char* what, const Axes& axes) {
    log_focus_at(level, format, what, static_cast<double>(axes.x), static_cast<double>(axes.y),
                 static_cast<double>(axes.z));
}

}  // namespace ovra
