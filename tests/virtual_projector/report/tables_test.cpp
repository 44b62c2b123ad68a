#include "virtual_projector/report/tables.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <string>

namespace {

std::map<std::string, std::string> tables_of(const vp::RunData& run) {
    std::map<std::string, std::string> tables;
    vp::write_tables(run, [&tables](const std::string& file, const std::string& text) { tables[file] = text; });
    return tables;
}

TEST(AField, IsQuotedOnlyWhereItMustBe) {
    EXPECT_EQ(vp::csv_field("plain text"), "plain text");
    EXPECT_EQ(vp::csv_field(""), "");
    EXPECT_EQ(vp::csv_field("a,b"), "\"a,b\"");
    EXPECT_EQ(vp::csv_field("say \"yes\""), "\"say \"\"yes\"\"\"");
    EXPECT_EQ(vp::csv_field("two\nlines"), "\"two\nlines\"");
}

TEST(ATable, OfASignalHasTimesInSecondsAndTheUnitInItsHead) {
    vp::RunData run;
    run.signals["truth.lens_tmr"] = {
        "truth.lens_tmr", "TMR", "", {0, 1000001, 7200000000}, {-66, 0.1, std::nan("")}};
    EXPECT_EQ(tables_of(run).at("truth.lens_tmr.csv"),
              "t_s,truth.lens_tmr [TMR]\r\n0.000000,-66\r\n1.000001,0.1\r\n7200.000000,\r\n");
}

TEST(ATable, HoldsRequestsWithWhatWasTrueBeforeAndAfter) {
    vp::RunData run;
    vp::Request request;
    request.number = 1;
    request.what = "lens, by hand";
    request.by = "the host";
    request.asked_us = 1500000;
    request.outcome = "focused";
    request.before.lens_tmr = 132;
    request.after.lens_tmr = -66;
    run.requests = {request};
    const std::string table = tables_of(run).at("requests.csv");
    EXPECT_EQ(table.find("number,kind,what,by,asked_s,begun_s,ended_s,failed,outcome,before.distance_mm,"), 0U);
    EXPECT_NE(table.find("\r\n1,run,\"lens, by hand\",the host,1.500000,,,0,focused,"), std::string::npos);
    EXPECT_NE(table.find(",132,"), std::string::npos);
    EXPECT_NE(table.find(",-66,"), std::string::npos);
}

TEST(ATable, HoldsFlagsAndTheLog) {
    vp::RunData run;
    run.flags = {{1, "event", "it is shaken"}};
    vp::LogLine line;
    line.t_us = 2;
    line.thread = 4;
    line.text = "x = 1, y = 2";
    run.contents.log = {line};
    EXPECT_EQ(tables_of(run).at("flags.csv"), "t_s,kind,text\r\n0.000001,event,it is shaken\r\n");
    EXPECT_EQ(tables_of(run).at("log.csv"), "t_s,thread,text\r\n0.000002,4,\"x = 1, y = 2\"\r\n");
}

TEST(ATable, HasAPlainFileNameWhateverATraceCallsItsSignal) {
    vp::RunData run;
    run.signals["../../etc/x"] = {"../../etc/x", "", "", {0}, {1}};
    run.signals[""] = {"", "", "", {0}, {1}};
    const auto tables = tables_of(run);
    EXPECT_EQ(tables.count("_.._.._etc_x.csv"), 1U);
    EXPECT_EQ(tables.count("_.csv"), 1U);
}

}  // namespace
