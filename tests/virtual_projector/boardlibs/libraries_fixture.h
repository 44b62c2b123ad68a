// A board with its libraries installed.
#ifndef TESTS_VIRTUAL_PROJECTOR_BOARDLIBS_LIBRARIES_FIXTURE_H
#define TESTS_VIRTUAL_PROJECTOR_BOARDLIBS_LIBRARIES_FIXTURE_H

#include <string>
#include <vector>

#include "tests/virtual_projector/devices/board_fixture.h"
#include "virtual_projector/boardlibs/boardlibs.h"

namespace vp {

struct LibrariesTest : BoardTest {
    FaultPlan faults{1};
    std::vector<std::string> calls;

    LibrariesTest() { install(); }
    ~LibrariesTest() override { boardlibs::uninstall(); }

    void install() {
        boardlibs::install({board.get(),
                            [this](std::string_view name) { return faults.effect_on("call", name); },
                            [this](std::string_view name, long result) {
                                calls.push_back(std::string(name) + " " + std::to_string(result));
                            }});
    }
    void fail(const std::string& function, FaultEffect effect) {
        FaultRule rule;
        rule.operation = "call";
        rule.path = function;
        rule.effect = std::move(effect);
        faults.add(std::move(rule));
    }
};

}  // namespace vp

#endif
