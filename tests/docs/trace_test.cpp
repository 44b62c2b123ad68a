// docs/trace.md and docs/trace.schema.json against the records that the virtual projector writes.
#include <gtest/gtest.h>

#include <cerrno>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "virtual_projector/clock/wait.h"
#include "virtual_projector/interpose/state_watch.h"
#include "virtual_projector/storykit/launched_program.h"
#include "virtual_projector/trace/records.h"
#include "virtual_projector/world/wear.h"

namespace {

using Names = std::set<std::string>;
using nlohmann::json;
using nlohmann::ordered_json;

const std::string& page() {
    static const std::string text = storykit::contents_of(storykit::project_file("docs/trace.md"));
    return text;
}

const json& schema() {
    static const json parsed =
        json::parse(storykit::contents_of(storykit::project_file("docs/trace.schema.json")));
    return parsed;
}

void add_quoted(const std::string& cell, Names& names) {
    static const std::regex quoted("`\"([^\"]+)\"`");
    for (std::sregex_iterator match(cell.begin(), cell.end(), quoted), end; match != end; ++match)
        names.insert((*match)[1]);
}

// The names in the first column of the page's table of that heading.
Names listed(const std::string& heading) {
    Names names;
    std::istringstream lines(page());
    bool inside = false;
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("| " + heading + " |", 0) == 0) {
            inside = true;
        } else if (line.empty() || line[0] != '|') {
            inside = false;
        } else if (inside) {
            add_quoted(line.substr(0, line.find('|', 1)), names);
        }
    }
    EXPECT_FALSE(names.empty()) << heading;
    return names;
}

template <typename Json>
Names members_of(const Json& object) {
    Names names;
    for (const auto& member : object.items()) names.insert(member.key());
    return names;
}

Names in_schema(const std::string& definition) {
    return members_of(schema().at("$defs").at(definition).at("properties"));
}

// What is not peculiar to a kind of record.
Names without_common(Names names) {
    for (const char* const common : {"t_us", "thread", "name"}) names.erase(common);
    return names;
}

vp::CallRecord full_call(const char* name) {
    static const ordered_json values = {{"value", 1}};
    vp::CallRecord record;
    record.thread = 1;
    record.thread_name = "main";
    record.call = name;
    record.path = "path";
    record.argument = 1;
    record.request_name = "request";
    record.given = "given";
    record.returned = "returned";
    record.arguments = &values;
    record.outputs = &values;
    record.took_us = 1;
    record.fault = 1;
    record.fault_did = "did";
    return record;
}

const std::vector<const char*> all_calls = {"open", "close",          "read", "write",  "ioctl",  "sleep",
                                            "call", "pthread_create", "lock", "unlock", "outside"};

Names members_of_calls() {
    Names names;
    for (const char* const call : all_calls) {
        for (const std::string_view bytes : {"text", "\xff"}) {
            for (const long result : {0L, -static_cast<long>(EIO)}) {
                vp::CallRecord record = full_call(call);
                record.data = bytes;
                record.result = result;
                names.merge(members_of(json_of(record)));
            }
        }
    }
    return names;
}

TEST(ThePageOnTheTrace, HasEveryMemberOfACallAndNoOther) {
    EXPECT_EQ(listed("Member of `call`"), without_common(members_of_calls()));
    EXPECT_EQ(listed("Member of `fault`"), members_of(json_of(full_call("open")).at("fault")));
}

TEST(ThePageOnTheTrace, HasEveryKindOfCall) {
    const std::size_t table = page().find("| `\"call\"` | What it is |");
    const std::string rows = page().substr(table, page().find("\n\n", table) - table);
    for (const char* const call : all_calls)
        EXPECT_NE(rows.find("`" + std::string(call) + "`"), std::string::npos) << call;
}

Names members_of_waits() {
    return members_of(json_of(vp::WaitRecord{{1, 1, "main"}, "condition", "path", 1, "woken"}));
}

TEST(ThePageOnTheTrace, HasEveryMemberOfAWaitAndNoOther) {
    EXPECT_EQ(listed("Member of `wait`"), without_common(members_of_waits()));
    EXPECT_EQ(in_schema("wait_record"), members_of_waits());
}

// A sleep is a call.
Names kinds_of_waits() {
    Names names;
    for (int kind = 0; *vp::name_of(static_cast<vp::Wait::Kind>(kind)) != '\0'; ++kind)
        names.insert(vp::name_of(static_cast<vp::Wait::Kind>(kind)));
    names.erase(vp::name_of(vp::Wait::Kind::sleep));
    return names;
}

TEST(ThePageOnTheTrace, HasEveryKindOfWait) {
    const std::size_t table = page().find("| `\"wait\"` | What it is |");
    const std::string rows = page().substr(table, page().find("\n\n", table) - table);
    for (const std::string& kind : kinds_of_waits())
        EXPECT_NE(rows.find("`" + kind + "`"), std::string::npos) << kind;
}

TEST(TheSchemaOfTheTrace, HasEveryKindOfWaitAndNoOther) {
    Names kinds;
    for (const auto& kind : schema().at("$defs").at("wait_record").at("properties").at("wait").at("enum"))
        kinds.insert(kind.get<std::string>());
    EXPECT_EQ(kinds, kinds_of_waits());
}

TEST(ThePageOnTheTrace, HasEveryMemberOfWhatLibraryAndHostSayAndNoOther) {
    const vp::ThreadMoment moment{1, 1, "main"};
    const std::int32_t result = 1;
    const ordered_json values = {{"direction", 1}};
    const ordered_json callback = json_of(vp::CallbackRecord{moment, "toast", 5, {6}, "words"});
    EXPECT_EQ(listed("Member of `callback`"), without_common(members_of(callback)));
    EXPECT_EQ(listed("Member of `return`"),
              without_common(members_of(json_of(vp::CallbackReturn{moment, "toast", 5, 1, &result}))));
    EXPECT_EQ(listed("Member of `log`"), without_common(members_of(json_of(vp::LogRecord{moment, "line"}))));
    EXPECT_EQ(without_common(members_of(json_of(vp::StateRecord{moment, &values}))), Names{"state"});
    EXPECT_EQ(listed("Member of what a thread does"), (Names{"thread", "name"}));
    EXPECT_EQ(listed("Member of every record"), Names{"t_us"});
}

TEST(ThePageOnTheTrace, HasEveryVariableThatIsWatchedAndNoOther) {
    Names watched;
    for (const vp::StateWatch::Variable& variable : vp::StateWatch::variables()) watched.insert(variable.name);
    EXPECT_EQ(listed("Member of `state`"), watched);
    EXPECT_EQ(in_schema("state"), watched);
}

TEST(ThePageOnTheTrace, HasEveryMemberOfATruthAndNoOther) {
    const Names written = members_of(vp::json_of(vp::TruthRecord{}));
    EXPECT_EQ(listed("Member of `truth`"), written);
    EXPECT_EQ(in_schema("truth"), written);
}

TEST(ThePageOnTheTrace, HasEveryMemberOfARunAndNoOther) {
    vp::RunRecord run;
    run.unit_seed = 1;
    run.scenario_digest = "digest";
    run.scenario_file = "a.json";
    run.settings = {{"tmr.offset", 1, "world"}};
    const Names written = members_of(vp::run_line(run).at("run"));
    EXPECT_EQ(listed("Member of `run`"), written);
    EXPECT_EQ(in_schema("run"), written);
}

TEST(ThePageOnTheTrace, SaysWhichFormatItDescribes) {
    EXPECT_NE(page().find("the version of what this page describes: " +
                          std::to_string(vp::RunRecord::current_format) + "."),
              std::string::npos);
    EXPECT_EQ(schema().at("$defs").at("run").at("properties").at("format").at("const"),
              vp::RunRecord::current_format);
}

TEST(TheSchemaOfTheTrace, HasEveryMemberOfEachKindOfCallAndNoOther) {
    Names all;
    for (const char* const call : all_calls) all.merge(in_schema("call_" + std::string(call)));
    EXPECT_EQ(all, members_of_calls());
    EXPECT_EQ(schema().at("$defs").at("call_record").at("oneOf").size(), all_calls.size());
}

TEST(TheSchemaOfTheTrace, HasEveryFigureOfWear) {
    Names figures;
    for (const vp::WearFigure& figure : vp::wear_figures()) figures.insert(std::string(figure.name));
    EXPECT_EQ(in_schema("wear"), figures);
}

}  // namespace
