// docs/scenarios.md against what the virtual projector knows.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "virtual_projector/launcher/located_json.h"
#include "virtual_projector/launcher/scenario.h"
#include "virtual_projector/launcher/unit_file.h"
#include "virtual_projector/storykit/launched_program.h"
#include "virtual_projector/world/hand.h"
#include "virtual_projector/world/parameters.h"

namespace {

std::string page() {
    static const std::string text = storykit::contents_of(storykit::project_file("docs/scenarios.md"));
    return text;
}

bool stands_there(const std::string& text) { return page().find(text) != std::string::npos; }

std::set<std::string> all_matches(const std::string& text, const std::string& pattern) {
    const std::regex regex(pattern);
    std::set<std::string> found;
    for (std::sregex_iterator match(text.begin(), text.end(), regex), end; match != end; ++match)
        found.insert((*match)[1]);
    return found;
}

std::string number(double value) {
    char text[40];
    std::snprintf(text, sizeof text, "%.10g", value);
    return text;
}

// The parameter's row as it has to stand in the page's tables.
std::string row_of(const vp::Parameter& parameter) {
    std::ostringstream row;
    row << "| `" << parameter.name << "` |" << (parameter.unit.empty() ? "" : " ") << parameter.unit << " | "
        << number(parameter.standard) << " | " << number(parameter.min) << " to " << number(parameter.max)
        << (parameter.whole ? ", whole" : "") << " | " << parameter.meaning << " |";
    return row.str();
}

// What the reader of scenario files says about one that is wrong.
std::string complaint_about(const std::string& scenario) {
    try {
        vp::parse_scenario(scenario, "file");
    } catch (const vp::LocatedError& error) {
        return error.what();
    }
    return "nothing";
}

// The names in "...: expected one of a, b, c, found ..." and the like.
std::set<std::string> names_expected(const std::string& scenario, const std::string& introduction) {
    const std::string complaint = complaint_about(scenario);
    const std::size_t begin = complaint.find(introduction);
    EXPECT_NE(begin, std::string::npos) << complaint;
    if (begin == std::string::npos) return {};
    const std::size_t end = complaint.find(", found", begin);
    return all_matches(complaint.substr(begin + introduction.size(), end - begin - introduction.size()),
                       R"((\w+))");
}

TEST(ThePageOnScenarios, HasEveryParameterWithItsUnitDefaultRangeAndMeaning) {
    for (const vp::Parameter& parameter : vp::parameters()) {
        EXPECT_TRUE(stands_there("\n" + row_of(parameter) + "\n")) << row_of(parameter);
    }
}

TEST(ThePageOnScenarios, HasNoParameterThatThereIsNot) {
    const std::set<std::string> named = all_matches(page(), R"(\n\| `(\w+\.\w+)` \|)");
    EXPECT_EQ(named.size(), vp::parameters().size());
    for (const std::string& name : named) EXPECT_NE(vp::find_parameter(name), nullptr) << name;
}

TEST(ThePageOnScenarios, HasEveryGestureWithItsUsualTime) {
    for (const std::string_view name : vp::gesture_names()) {
        const double usual_s = static_cast<double>(vp::usual_duration(*vp::gesture_named(name))) / 1e6;
        const std::string row = "\n| `" + std::string(name) + "` | " + number(usual_s) + " s | ";
        EXPECT_TRUE(stands_there(row)) << row;
    }
}

TEST(ThePageOnScenarios, HasEveryMemberOfAScenario) {
    for (const std::string& member : names_expected(R"({"x": 1})", "expected one of "))
        EXPECT_TRUE(stands_there("\n| `\"" + member + "\"` | ")) << member;
}

TEST(ThePageOnScenarios, HasEveryKindOfEventWithItsMembers) {
    std::set<std::string> kinds = names_expected(R"({"events": [{"at_s": 1}]})", "an event with ");
    kinds.erase("or");
    EXPECT_EQ(kinds.size(), 7U);
    for (const std::string& kind : kinds) {
        EXPECT_TRUE(stands_there("\n| `" + kind + "` | `\"" + kind + "\"`")) << kind;
        const std::string with_mistake = R"({"events": [{"at_s": 1, "x": 1, ")" + kind + R"(": 1}]})";
        for (const std::string& member : names_expected(with_mistake, "expected one of "))
            EXPECT_TRUE(stands_there("`\"" + member + "\"`")) << kind << " has " << member;
    }
}

TEST(ThePageOnScenarios, HasEveryMemberAndOperationOfAFault) {
    for (const std::string& member : names_expected(R"({"faults": [{"x": 1}]})", "expected one of "))
        EXPECT_TRUE(stands_there("\n| `\"" + member + "\"` | ")) << member;
    for (const std::string& name : names_expected(R"({"faults": [{"operation": "x"}]})", "expected one of "))
        EXPECT_TRUE(stands_there("`" + name + "`")) << name;
}

TEST(ThePageOnScenarios, NamesErrnosThatAFaultTakes) {
    const std::set<std::string> names = all_matches(page(), "`(E[A-Z]+)`");
    EXPECT_GE(names.size(), 4U);
    for (const std::string& name : names)
        EXPECT_EQ(complaint_about(R"({"faults": [{"error": ")" + name + R"("}]})"), "nothing") << name;
}

TEST(ThePageOnScenarios, HasEveryOptionOfTheCommandAndNoOther) {
    const std::string help = storykit::launch({storykit::launcher, "--help"}).words;
    const std::set<std::string> options = all_matches(help, R"(\n  (?:-h,)?(--[a-z-]+))");
    EXPECT_GE(options.size(), 10U);
    EXPECT_EQ(all_matches(page(), R"(\n\| (?:`-h`, )?`(--[a-z-]+))"), options);
}

TEST(ThePageOnScenarios, ShowsScenariosAndUnitsThatCanBeRead) {
    const std::set<std::string> examples = all_matches(page(), "```json\n([^`]*)```");
    EXPECT_FALSE(examples.empty());
    for (const std::string& example : examples) {
        const bool is_unit = example.find("\"draw\"") != std::string::npos;
        if (is_unit)
            EXPECT_FALSE(vp::parse_unit_file(example, "the page").empty());
        else
            EXPECT_EQ(complaint_about(example), "nothing");
    }
}

TEST(ThePageOnScenarios, HasEveryWorld) {
    std::set<std::string> worlds;
    for (const auto& entry : std::filesystem::directory_iterator(storykit::project_file("worlds")))
        worlds.insert(entry.path().stem().string());
    const std::string section = page().substr(page().find("\n## Worlds\n"), page().find("\n## Units\n"));
    for (const std::string& world : worlds)
        EXPECT_NE(section.find("\n| `" + world + "` | "), std::string::npos) << world;
    EXPECT_GE(worlds.size(), 2U);
}

TEST(ThePageOnScenarios, HasEveryDistributionOfAUnit) {
    std::string complaint;
    try {
        vp::parse_unit_file(R"({"draw": {"tmr.offset": {"distribution": "x"}}})", "file");
    } catch (const vp::LocatedError& error) {
        complaint = error.what();
    }
    const std::string names = complaint.substr(complaint.find("one of "), complaint.find(", found"));
    for (const std::string& name : all_matches(names.substr(7), R"((\w+),)"))
        EXPECT_TRUE(stands_there("\n| `" + name + "` | ")) << name;
}

}  // namespace
