// Budgets: what is measured, against what was recorded in the files of figures beside this one. A figure may
// grow by 5 % over what was recorded, so that growth is seen and decided upon; it may never pass its limit.
#ifndef TESTS_BUDGETS_FIGURES_H
#define TESTS_BUDGETS_FIGURES_H

#include <string>

namespace budgets {

/// Prints the figure beside its budget; fails the test when it is over, or when nothing is recorded for it.
void expect_within(const std::string& name, double measured, const std::string& unit);

}  // namespace budgets

#endif
