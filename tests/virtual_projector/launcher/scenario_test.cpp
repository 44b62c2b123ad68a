#include "virtual_projector/launcher/scenario.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "virtual_projector/launcher/located_json.h"
#include "virtual_projector/storykit/scratch_folder.h"

namespace {

using vp::Scenario;

Scenario parse(const std::string& text) { return vp::parse_scenario(text, "file"); }

std::string mistake_in(const std::string& text) {
    try {
        parse(text);
    } catch (const vp::LocatedError& error) {
        return error.what();
    }
    return "";
}

std::string mistake_in_event(const std::string& members) {
    return mistake_in(R"({"events": [{"at_s": 1, )" + members + "}]}");
}

std::string mistake_in_fault(const std::string& members) {
    return mistake_in(R"({"faults": [{)" + members + "}]}");
}

template <typename Action>
Action only_action(const std::string& members) {
    const Scenario scenario = parse(R"({"events": [{"at_s": 1, )" + members + "}]}");
    return std::get<Action>(scenario.events.at(0).action);
}

// --- What a scenario may say ---------------------------------------------------------------------------

TEST(AScenario, MayBeEmpty) {
    const Scenario scenario = parse("{}");
    EXPECT_EQ(scenario.story, "");
    EXPECT_FALSE(scenario.seed.has_value());
    EXPECT_FALSE(scenario.unit_seed.has_value());
    EXPECT_EQ(scenario.unit, "");
    EXPECT_EQ(scenario.world, "");
    EXPECT_TRUE(scenario.parameters.empty());
    EXPECT_TRUE(scenario.faults.empty());
    EXPECT_TRUE(scenario.events.empty());
}

TEST(AScenario, TypesWhatTheProgramReads) {
    EXPECT_FALSE(parse("{}").types());
    EXPECT_TRUE(parse(R"({"standard_input": ""})").types());
    EXPECT_EQ(parse(R"({"standard_input": "init\nakaf\n"})").standard_input, "init\nakaf\n");
    EXPECT_TRUE(parse(R"({"events": [{"at_s": 1, "type": "akaf"}]})").types());
    EXPECT_EQ(only_action<vp::TypeEvent>(R"("type": "wait idle")").line, "wait idle");
    EXPECT_THAT(mistake_in_event(R"("type": "two\nlines")"),
                testing::HasSubstr("expected one line of at most 1000 bytes"));
}

TEST(AScenario, HasEventsToTheMicrosecond) {
    EXPECT_EQ(vp::parse_event(R"({"at_s": 863999.999999, "key": 1})", "event").at, 863999999999);
    EXPECT_EQ(vp::parse_event(R"({"at_s": 0.000001, "key": 1})", "event").at, 1);
}

TEST(AScenario, NamesItsWorldAndItsUnitsSpread) {
    const Scenario scenario = parse(R"({"world": "living-room", "unit": "./better.json"})");
    EXPECT_EQ(scenario.world, "living-room");
    EXPECT_EQ(scenario.unit, "./better.json");
    EXPECT_EQ(mistake_in(R"({"world": ""})"), "file: $.world: expected a name or a file, found \"\"");
    EXPECT_EQ(mistake_in(R"({"unit": 3})"), "file: $.unit: expected a text, found 3");
}

TEST(AScenario, HasTheDigestOfItsText) {
    EXPECT_EQ(vp::digest_of(""), "fnv1a64:cbf29ce484222325");
    EXPECT_EQ(vp::digest_of("foobar"), "fnv1a64:85944171f73967e8");
    EXPECT_EQ(parse("{}").digest, vp::digest_of("{}"));
    EXPECT_NE(parse("{}").digest, parse("{ }").digest);
}

TEST(AScenario, HasAStoryTwoSeedsAndParametersInTheirOrder) {
    const Scenario scenario = parse(
        R"({"story": "One line.", "seed": 7, "unit_seed": 8, "set": {"pose.pitch_deg": 12, "lens.stuck": 1}})");
    EXPECT_EQ(scenario.story, "One line.");
    EXPECT_EQ(scenario.seed, 7U);
    EXPECT_EQ(scenario.unit_seed, 8U);
    EXPECT_EQ(scenario.parameters, (vp::ParameterValues{{"pose.pitch_deg", 12}, {"lens.stuck", 1}}));
}

TEST(AScenario, HasEventsAtTheirTimesWithTheirWords) {
    const Scenario scenario = parse(
        R"({"events": [{"at_s": 2.5, "what": "it gets dark", "set": {"wall.reflectivity": 0.1}},
                       {"at_s": 0, "key": 28}]})");
    ASSERT_EQ(scenario.events.size(), 2U);
    EXPECT_EQ(scenario.events[0].at, 2500000);
    EXPECT_EQ(scenario.events[0].what, "it gets dark");
    EXPECT_EQ(scenario.events[1].at, 0);
    EXPECT_EQ(scenario.events[1].what, "");
}

TEST(AScenarioEvent, MaySetParameters) {
    const auto set = only_action<vp::SetEvent>(R"("set": {"led.temperature_c": 60})");
    EXPECT_EQ(set.values, (vp::ParameterValues{{"led.temperature_c", 60}}));
}

TEST(AScenarioEvent, MayBeAGestureToAPartOfAPose) {
    const auto gesture =
        only_action<vp::GestureEvent>(R"("gesture": "set_down", "to": {"distance_mm": 1200}, "for_s": 1.5)");
    EXPECT_EQ(gesture.kind, vp::GestureKind::set_down);
    EXPECT_EQ(gesture.duration, 1500000);
    EXPECT_EQ(gesture.to, (vp::ParameterValues{{"pose.distance_mm", 1200}}));
}

TEST(AScenarioEvent, TakesAGesturesUsualTimeWhenItSaysNone) {
    const auto gesture = only_action<vp::GestureEvent>(R"("gesture": "shake")");
    EXPECT_EQ(gesture.duration, vp::usual_duration(vp::GestureKind::shake));
}

TEST(AScenarioEvent, MayBeABumpOfAStrength) {
    EXPECT_EQ(only_action<vp::GestureEvent>(R"("gesture": "bump", "strength_g": 0.02)").strength_g, 0.02);
    EXPECT_EQ(only_action<vp::GestureEvent>(R"("gesture": "bump")").strength_g, vp::usual_bump_g);
}

TEST(AScenarioEvent, MayBlockZonesForAWhileOrForGood) {
    const auto a_while =
        only_action<vp::BlockEvent>(R"("block": ["tr", "bl"], "distance_mm": 600, "for_s": 3)");
    EXPECT_EQ(a_while.zones, (std::vector<std::string>{"tr", "bl"}));
    EXPECT_EQ(a_while.distance_mm, 600);
    EXPECT_EQ(a_while.duration, 3000000);
    const auto for_good = only_action<vp::BlockEvent>(R"("block": ["br"], "distance_mm": 600)");
    EXPECT_FALSE(for_good.duration.has_value());
}

TEST(AScenarioEvent, MayBeAKeyThatGoesDownUnlessItSaysOtherwise) {
    EXPECT_EQ(only_action<vp::KeyPress>(R"("key": 28)").code, 28);
    EXPECT_EQ(only_action<vp::KeyPress>(R"("key": 28)").value, 1);
    EXPECT_EQ(only_action<vp::KeyPress>(R"("key": 28, "value": 0)").value, 0);
}

TEST(AScenarioEvent, MayBeAFaultOrTheirEnd) {
    EXPECT_EQ(only_action<vp::FaultRule>(R"("fault": {"operation": "read", "error": "EIO"})").operation,
              "read");
    only_action<vp::ClearFaults>(R"("clear_faults": true)");
}

TEST(AScenarioFault, HasARuleAndItsEffect) {
    const Scenario scenario = parse(R"({"faults": [
        {"operation": "ioctl", "path": "/dev/nds01", "nth": 3, "probability": 0.5, "error": "ETIMEDOUT"},
        {"delay_ms": 20, "short_count": 4}, {"garbage": "x\n"}, {"stale": true}]})");
    ASSERT_EQ(scenario.faults.size(), 4U);
    const vp::FaultRule& first = scenario.faults[0];
    EXPECT_EQ(first.operation, "ioctl");
    EXPECT_EQ(first.path, "/dev/nds01");
    EXPECT_EQ(first.nth, 3);
    EXPECT_EQ(first.probability, 0.5);
    EXPECT_EQ(first.effect.error_number, ETIMEDOUT);
    EXPECT_EQ(scenario.faults[1].operation, "");
    EXPECT_EQ(scenario.faults[1].nth, 0);
    EXPECT_EQ(scenario.faults[1].effect.delay_us, 20000);
    EXPECT_EQ(scenario.faults[1].effect.short_count, 4);
    EXPECT_EQ(scenario.faults[2].effect.garbage, "x\n");
    EXPECT_TRUE(scenario.faults[3].effect.stale);
}

// --- Mistakes: the file, the place in it, what was expected, what was found ----------------------------

TEST(AMistakeInAScenario, ThatIsNoJsonNamesItsLine) {
    EXPECT_EQ(mistake_in("{\n\"story\": \"x\",\n}"), "file: $: expected JSON, found a mistake in line 3");
    EXPECT_EQ(mistake_in(""), "file: $: expected JSON, found a mistake in line 1");
    EXPECT_EQ(mistake_in("{\n\"story\": \"not closed,\n\"seed\": 1\n}"),
              "file: $: expected JSON, found a mistake in line 2");
}

TEST(AMistakeInAScenario, IsAnythingButAnObject) {
    EXPECT_EQ(
        mistake_in("[1]"),
        "file: $: expected an object with story, seed, unit_seed, unit, world, set, faults, events, found [1]");
}

TEST(AMistakeInAScenario, IsAMemberThatItDoesNotHave) {
    EXPECT_EQ(mistake_in(R"({"sed": 1})"),
              "file: $.sed: expected one of story, seed, unit_seed, unit, world, set, faults, events");
}

TEST(AMistakeInAScenario, IsAValueOfTheWrongKind) {
    EXPECT_EQ(mistake_in(R"({"story": 1})"), "file: $.story: expected a text, found 1");
    EXPECT_EQ(mistake_in(R"({"seed": 1.5})"),
              "file: $.seed: expected a whole number from 0 to 9223372036854775807, found 1.5");
    EXPECT_EQ(mistake_in(R"({"unit_seed": -1})"),
              "file: $.unit_seed: expected a whole number from 0 to 9223372036854775807, found -1");
    EXPECT_EQ(mistake_in(R"({"set": []})"), "file: $.set: expected an object, found []");
    EXPECT_EQ(mistake_in(R"({"events": {}})"), "file: $.events: expected a list, found {}");
    EXPECT_EQ(mistake_in(R"({"faults": 1})"), "file: $.faults: expected a list, found 1");
}

TEST(AMistakeInAScenario, ShowsOnlyTheBeginningOfALongValue) {
    const std::string mistake = mistake_in(R"({"events": ")" + std::string(100, 'x') + R"("})");
    EXPECT_EQ(mistake, "file: $.events: expected a list, found \"" + std::string(39, 'x') + "...");
}

TEST(AMistakeInAScenario, IsShownInWholeCharacters) {
    const std::string umlaut = "\xC3\xA4";
    std::string many;
    for (int i = 0; i < 30; ++i) many += umlaut;
    const std::string mistake = mistake_in(R"({"events": ")" + many + R"("})");
    EXPECT_EQ(mistake, "file: $.events: expected a list, found \"" + many.substr(0, 38) + "...");
}

TEST(AMistakeInAScenario, IsShownOnOneLineWhateverAMemberIsCalled) {
    EXPECT_EQ(mistake_in(R"({"a\nb": 1})"),
              "file: $.a?b: expected one of story, seed, unit_seed, unit, world, set, faults, events");
    EXPECT_EQ(mistake_in(R"({"a\nb": 1, "a\nb": 2})"), "file: $.a?b: expected once, found again");
    EXPECT_EQ(mistake_in(R"({"": 1, "": 2})"), "file: $[\"\"]: expected once, found again");
    EXPECT_EQ(mistake_in("{\"" + std::string(1000, 'x') + "\": 1}"),
              "file: $." + std::string(40, 'x') +
                  "...: expected one of story, seed, unit_seed, unit, world, set, faults, events");
    const std::string parameter = "file: $.set[\"?\"]: unknown parameter '?'; the areas are";
    EXPECT_EQ(mistake_in(R"({"set": {"\n": 1}})").substr(0, parameter.size()), parameter);
}

TEST(AMistakeInAScenario, IsAMemberThatStandsTwice) {
    EXPECT_EQ(mistake_in(R"({"seed": 1, "seed": 2})"), "file: $.seed: expected once, found again");
    EXPECT_EQ(mistake_in(R"({"set": {"lens.stuck": 0, "lens.slip": 0, "lens.stuck": 1}})"),
              "file: $.set[\"lens.stuck\"]: expected once, found again");
    EXPECT_EQ(mistake_in(R"({"events": [{"at_s": 1, "key": 1}, {"at_s": 2, "set": {}, "at_s": 3}]})"),
              "file: $.events[1].at_s: expected once, found again");
    EXPECT_EQ(mistake_in(R"({"faults": [[{}], {"path": "", "path": ""}]})"),
              "file: $.faults[1].path: expected once, found again");
}

TEST(AMistakeInAScenario, IsANumberThatIsTooLarge) {
    EXPECT_EQ(mistake_in(R"({"seed": 1e400})"),
              "file: $.seed: expected a number that can be stored, found one that is too large");
    EXPECT_EQ(mistake_in(R"({"events": [{"at_s": 1, "set": {"pose.pitch_deg": -1e999}}]})"),
              "file: $.events[0].set[\"pose.pitch_deg\"]: expected a number that can be stored, found one that "
              "is too large");
    EXPECT_EQ(mistake_in("1e400"),
              "file: $: expected a number that can be stored, found one that is too large");
    EXPECT_EQ(mistake_in("[[], 1e400]"),
              "file: $[1]: expected a number that can be stored, found one that is too large");
}

TEST(AMistakeInAScenario, IsADepthThatNothingNeeds) {
    const std::string deep = std::string(100000, '[') + std::string(100000, ']');
    EXPECT_EQ(mistake_in(deep), "file: $: expected at most 32 levels");
    EXPECT_EQ(mistake_in(R"({"seed": )" + deep + "}"), "file: $: expected at most 32 levels");
    const std::string flat = std::string(31, '[') + std::string(31, ']');
    EXPECT_EQ(mistake_in(R"({"seed": )" + flat + "}"),
              "file: $.seed: expected a whole number from 0 to 9223372036854775807, found " +
                  std::string(31, '[') + std::string(9, ']') + "...");
}

TEST(AMistakeInAScenario, IsAParameterThatThereIsNot) {
    EXPECT_EQ(mistake_in(R"({"set": {"pose.height": 1}})"),
              "file: $.set[\"pose.height\"]: unknown parameter 'pose.height'; there are pose.distance_mm, "
              "pose.pitch_deg, pose.yaw_deg, pose.roll_deg, pose.mounting");
}

TEST(AMistakeInAScenario, IsAnEarlierNameOfAParameter) {
    EXPECT_EQ(mistake_in(R"({"set": {"tmr.sense": 1}})"),
              "file: $.set[\"tmr.sense\"]: tmr.sense is called tmr.polarity now");
    EXPECT_EQ(mistake_in_event(R"("set": {"lens.left_idle_steps": 1})"),
              "file: $.events[0].set[\"lens.left_idle_steps\"]: lens.left_idle_steps is called "
              "lens.left_backlash_steps now");
}

TEST(AMistakeInAScenario, IsAParameterOutOfItsRange) {
    EXPECT_EQ(mistake_in(R"({"set": {"pose.pitch_deg": 91}})"),
              "file: $.set[\"pose.pitch_deg\"]: expected a number from -90 to 90, found 91");
    EXPECT_EQ(mistake_in(R"({"set": {"pose.pitch_deg": "12"}})"),
              "file: $.set[\"pose.pitch_deg\"]: expected a number from -90 to 90, found \"12\"");
    EXPECT_EQ(mistake_in(R"({"set": {"lens.stuck": 0.5}})"),
              "file: $.set[\"lens.stuck\"]: expected a whole number, found 0.5");
}

TEST(AMistakeInAScenarioEvent, IsATimeThatIsMissingOrNone) {
    EXPECT_EQ(mistake_in(R"({"events": [{"key": 1}]})"),
              "file: $.events[0]: expected an object with \"at_s\", found {\"key\":1}");
    EXPECT_EQ(mistake_in(R"({"events": [{"at_s": -1, "key": 1}]})"),
              "file: $.events[0].at_s: expected a number from 0 to 864000, found -1");
    EXPECT_EQ(mistake_in(R"({"events": [1]})"), "file: $.events[0]: expected an object with \"at_s\", found 1");
}

TEST(AMistakeInAScenarioEvent, IsThatItDoesNothing) {
    EXPECT_EQ(
        mistake_in_event(R"("what": "x")"),
        "file: $.events[0]: expected an event with set, gesture, block, key, fault or clear_faults, found "
        "{\"at_s\":1,\"what\":\"x\"}");
}

TEST(AMistakeInAScenarioEvent, IsAMemberOfAnotherKindOfEvent) {
    EXPECT_EQ(mistake_in_event(R"("set": {}, "for_s": 1)"),
              "file: $.events[0].for_s: expected one of at_s, what, set");
    EXPECT_EQ(mistake_in_event(R"("gesture": "shake", "value": 1)"),
              "file: $.events[0].value: expected one of at_s, what, gesture, to, for_s, strength_g");
    EXPECT_EQ(mistake_in_event(R"("block": ["tr"], "distance_mm": 1, "to": {})"),
              "file: $.events[0].to: expected one of at_s, what, block, distance_mm, for_s");
    EXPECT_EQ(mistake_in_event(R"("key": 1, "set_down": 1)"),
              "file: $.events[0].set_down: expected one of at_s, what, key, value");
    EXPECT_EQ(mistake_in_event(R"("fault": {}, "to": {})"),
              "file: $.events[0].to: expected one of at_s, what, fault");
    EXPECT_EQ(mistake_in_event(R"("clear_faults": true, "to": {})"),
              "file: $.events[0].to: expected one of at_s, what, clear_faults");
}

TEST(AMistakeInAScenarioEvent, IsAGestureThatNobodyMakes) {
    EXPECT_EQ(mistake_in_event(R"("gesture": "throw")"),
              "file: $.events[0].gesture: expected one of pick_up, carry, set_down, tilt, shake, slow_shake, "
              "turn_over, hang, bump, slide, found \"throw\"");
    EXPECT_EQ(mistake_in_event(R"("gesture": "carry", "to": {"height_mm": 1})"),
              "file: $.events[0].to[\"height_mm\"]: unknown parameter 'pose.height_mm'; there are "
              "pose.distance_mm, pose.pitch_deg, pose.yaw_deg, pose.roll_deg, pose.mounting");
    EXPECT_EQ(mistake_in_event(R"("gesture": "carry", "for_s": "long")"),
              "file: $.events[0].for_s: expected a number from 0 to 864000, found \"long\"");
}

TEST(AMistakeInAScenarioEvent, IsAZoneThatThereIsNotOrAnObstacleNowhere) {
    EXPECT_EQ(mistake_in_event(R"("block": ["top"], "distance_mm": 1)"),
              "file: $.events[0].block[0]: expected tr, br, tl or bl, found \"top\"");
    EXPECT_EQ(mistake_in_event(R"("block": "tr", "distance_mm": 1)"),
              "file: $.events[0].block: expected a list, found \"tr\"");
    EXPECT_EQ(mistake_in_event(R"("block": ["tr"], "distance_mm": 0)"),
              "file: $.events[0].distance_mm: expected a number from 1 to 20000, found 0");
    EXPECT_EQ(mistake_in_event(R"("block": ["tr"])"),
              "file: $.events[0]: expected an object with \"distance_mm\", found "
              "{\"at_s\":1,\"block\":[\"tr\"]}");
}

TEST(AMistakeInAScenarioEvent, IsAnEndOfFaultsThatIsNone) {
    EXPECT_EQ(mistake_in_event(R"("clear_faults": false)"),
              "file: $.events[0].clear_faults: expected true, found false");
    EXPECT_EQ(mistake_in_event(R"("clear_faults": 1)"),
              "file: $.events[0].clear_faults: expected true or false, found 1");
}

TEST(AMistakeInAScenarioEvent, IsAKeyThatNoKeyboardHas) {
    EXPECT_EQ(mistake_in_event(R"("key": 65536)"),
              "file: $.events[0].key: expected a whole number from 0 to 65535, found 65536");
    EXPECT_EQ(mistake_in_event(R"("key": 1, "value": 3)"),
              "file: $.events[0].value: expected a whole number from 0 to 2, found 3");
}

TEST(AMistakeInAScenarioFault, IsARuleThatDoesNothing) {
    EXPECT_EQ(mistake_in_fault(R"("path": "/dev/dis")"),
              "file: $.faults[0]: expected a fault with error, short_count, garbage, stale or delay_ms, found "
              "{\"path\":\"/dev/dis\"}");
}

TEST(AScenarioFault, MayNameAnErrnoByItsSecondName) {
    const std::vector<std::pair<std::string, int>> names = {{"EWOULDBLOCK", EWOULDBLOCK},
                                                            {"EDEADLOCK", EDEADLOCK},
                                                            {"ENOTSUP", ENOTSUP},
                                                            {"EOPNOTSUPP", EOPNOTSUPP}};
    for (const auto& [name, number] : names) {
        const vp::Scenario scenario =
            vp::parse_scenario(R"({"faults": [{"error": ")" + name + R"("}]})", "file");
        EXPECT_EQ(scenario.faults.at(0).effect.error_number, number) << name;
    }
}

TEST(AMistakeInAScenarioFault, IsAnOperationOrAnErrorThatThereIsNot) {
    EXPECT_EQ(mistake_in_fault(R"("operation": "seek", "error": "EIO")"),
              "file: $.faults[0].operation: expected one of open, read, write, ioctl, close, call, "
              "pthread_create, found \"seek\"");
    EXPECT_EQ(mistake_in_fault(R"("error": "EWRONG")"),
              "file: $.faults[0].error: expected the name of an errno, as EIO, found \"EWRONG\"");
    EXPECT_EQ(mistake_in_fault(R"("error": "0")"),
              "file: $.faults[0].error: expected the name of an errno, as EIO, found \"0\"");
}

TEST(AMistakeInAScenarioFault, IsANumberOutOfItsRange) {
    EXPECT_EQ(mistake_in_fault(R"("nth": -1, "error": "EIO")"),
              "file: $.faults[0].nth: expected a whole number from 0 to 1000000, found -1");
    EXPECT_EQ(mistake_in_fault(R"("probability": 2, "error": "EIO")"),
              "file: $.faults[0].probability: expected a number from 0 to 1, found 2");
    EXPECT_EQ(mistake_in_fault(R"("short_count": -2)"),
              "file: $.faults[0].short_count: expected a whole number from 0 to 4096, found -2");
    EXPECT_EQ(mistake_in_fault(R"("stale": 1)"), "file: $.faults[0].stale: expected true or false, found 1");
    EXPECT_EQ(mistake_in_fault(R"("delay_ms": "a while")"),
              "file: $.faults[0].delay_ms: expected a number from 0 to 1000000, found \"a while\"");
}

TEST(AScenarioFile, ThatCannotBeReadIsNamed) {
    try {
        vp::read_scenario("/nowhere/story.json");
        FAIL() << "it was read";
    } catch (const vp::LocatedError& error) {
        EXPECT_STREQ(
            error.what(),
            "/nowhere/story.json: $: expected a readable scenario file, found: No such file or directory");
    }
}

TEST(AScenarioFile, ThatIsAFolderIsNamed) {
    try {
        vp::read_scenario("/");
        FAIL();
    } catch (const vp::LocatedError& error) {
        EXPECT_STREQ(error.what(), "/: $: expected a readable scenario file, found: Is a directory");
    }
}

TEST(AScenarioFile, IsReadFromItsPath) {
    const storykit::ScratchFolder folder;
    const std::string path = folder.file("story.json");
    std::ofstream(path) << R"({"story": "From a file."})";
    EXPECT_EQ(vp::read_scenario(path).story, "From a file.");
}

}  // namespace
