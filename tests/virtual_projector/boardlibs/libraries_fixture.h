// A board with its libraries installed.
#ifndef TESTS_VIRTUAL_PROJECTOR_BOARDLIBS_LIBRARIES_FIXTURE_H
#define TESTS_VIRTUAL_PROJECTOR_BOARDLIBS_LIBRARIES_FIXTURE_H

#include <string>
#include <utility>
#include <vector>

#include "tests/virtual_projector/devices/board_fixture.h"
#include "virtual_projector/boardlibs/boardlibs.h"

namespace vp {

struct LibrariesTest : BoardTest {
    FaultPlan faults{1};
    std::vector<std::string> calls;
    boardlibs::CallValues values;  // of the last one
    FaultEffect done_to_it;

    LibrariesTest() { install(); }
    ~LibrariesTest() override { boardlibs::uninstall(); }

    void install() {
        boardlibs::Installation installation;
        installation.board = board.get();
        installation.fault = [this](std::string_view name) { return faults.effect_on("call", name); };
        installation.called = [this](const boardlibs::CallDone& call) {
            calls.push_back(std::string(call.function) + " " + std::to_string(call.result));
            values = call.values;
            done_to_it = call.effect;
        };
        installation.wants_values = true;
        boardlibs::install(std::move(installation));
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
