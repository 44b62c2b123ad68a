#include "tests/budgets/figures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <limits>
#include <optional>
#include <sstream>

namespace budgets {
namespace {

constexpr double slack = 1.05;

struct Budget {
    double recorded = 0;
    double limit = std::numeric_limits<double>::infinity();

    double allowed() const { return std::min(recorded * slack, limit); }
};

// Those of every build, and those of the board's.
constexpr const char* files[] = {BUDGETS_FIGURES "/figures.txt", BUDGETS_FIGURES "/figures-mipsel.txt"};

// "NAME RECORDED [LIMIT]"
std::optional<Budget> budget_in(const char* path, const std::string& name) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::string found;
        Budget budget;
        if (!(words >> found >> budget.recorded) || found != name) continue;
        double limit = 0;
        if (words >> limit) budget.limit = limit;
        return budget;
    }
    return std::nullopt;
}

std::optional<Budget> budget_of(const std::string& name) {
    for (const char* path : files) {
        if (const std::optional<Budget> budget = budget_in(path, name)) return budget;
    }
    return std::nullopt;
}

}  // namespace

void expect_within(const std::string& name, double measured, const std::string& unit) {
    const std::optional<Budget> budget = budget_of(name);
    ASSERT_TRUE(budget.has_value()) << "nothing is recorded for " << name << "; measured " << measured << " "
                                    << unit;
    std::printf("figure: %-36s %9g %s (recorded %g, at most %g)\n", name.c_str(), measured, unit.c_str(),
                budget->recorded, budget->allowed());
    EXPECT_LE(measured, budget->allowed()) << name;
}

}  // namespace budgets
