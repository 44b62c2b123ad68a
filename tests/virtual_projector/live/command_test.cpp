#include "virtual_projector/live/command.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "virtual_projector/launcher/located_json.h"

namespace {

nlohmann::json line_of(const std::string& text) {
    return nlohmann::json::parse(vp::parse_command(text, 7).line);
}

std::string mistake_in(const std::string& text) {
    try {
        (void)vp::parse_command(text, 7);
    } catch (const vp::LocatedError& error) {
        return error.what();
    }
    return "";
}

TEST(ACommand, HandsAnEventOnAsItStandsWithItsNumber) {
    const nlohmann::json line =
        line_of(R"({"do": "event", "event": {"gesture": "carry", "to": {"yaw_deg": 4.5}}})");
    EXPECT_EQ(line, nlohmann::json::parse(
                        R"({"do": "event", "id": 7, "event": {"gesture": "carry", "to": {"yaw_deg": 4.5}}})"));
}

TEST(ACommand, PausesStepsAndSetsTheSpeed) {
    EXPECT_EQ(line_of(R"({"do": "pause"})").at("do"), "pause");
    EXPECT_EQ(line_of(R"({"do": "step", "ms": 2.5})").at("us"), 2500);
    EXPECT_EQ(line_of(R"({"do": "speed", "value": 0.1})").at("value"), 0.1);
    EXPECT_TRUE(vp::parse_command(R"({"do": "restart"})", 7).is_restart);
}

struct Wrong {
    const char* text;
    const char* mistake;
};

class AWrongCommand : public testing::TestWithParam<Wrong> {};

TEST_P(AWrongCommand, IsRefusedWithItsPlaceAndWhatWouldBeRight) {
    EXPECT_THAT(mistake_in(GetParam().text), testing::HasSubstr(GetParam().mistake));
}

INSTANTIATE_TEST_SUITE_P(
    Each, AWrongCommand,
    testing::Values(
        Wrong{"nonsense", "command"}, Wrong{"[1]", "expected an object"},
        Wrong{R"({"do": "dance"})", "$.do: expected one of event, pause"},
        Wrong{R"({"do": "pause", "for": 3})", "for"},
        Wrong{R"({"do": "speed", "value": 101})", "$.value: expected a number"},
        Wrong{R"({"do": "step", "ms": 0})", "$.ms: expected a number"},
        Wrong{R"({"do": "event", "event": {"at_s": 3, "gesture": "shake"}})", "$.event.at_s: expected no time"},
        Wrong{R"({"do": "event", "event": null})", "$.event: expected an object"},
        Wrong{R"({"do": "event", "event": [1]})", "$.event: expected an object"},
        Wrong{R"({"do": "event", "event": {"gesture": "throw"}})", "event: $.gesture: expected one of"},
        Wrong{R"({"do": "event", "event": {"set": {"pose.distance_mm": -1}}})", "pose.distance_mm"},
        Wrong{R"({"do": "event", "event": {"type": "two\nlines"}})", "one line"}));

}  // namespace
