// Commands one after the other, with the library on a board that has nothing but what a test gives it.
#include "host/script.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "host/commands.h"
#include "host/factory_commands.h"
#include "host/host_session.h"
#include "tests/support/scripted_board.h"

namespace {

struct ScriptTest : ::testing::Test {
    testkit::ScriptedBoard board;

    ScriptTest() { host::begin_request(false); }  // no failure is left from before

    int script(const std::string& text) {
        std::istringstream lines(text);
        return host::run_script(lines, "name.host");
    }
    int dialogue(const std::string& text) {
        std::istringstream lines(text);
        return host::run_dialogue(lines);
    }
};

TEST_F(ScriptTest, PassesOverEmptyLinesAndRemarks) {
    EXPECT_EQ(script("\n   \n# a remark\n  # another\n"), host::exit_success);
    EXPECT_EQ(board.log(), "");
}

TEST_F(ScriptTest, TakesWhatTheEnvironmentSays) {
    setenv("SCRIPT_TEST_WAIT", "2s", 1);
    unsetenv("SCRIPT_TEST_OTHER");
    EXPECT_EQ(script("wait ${SCRIPT_TEST_WAIT}\nwait ${SCRIPT_TEST_WAIT:-1h}\nwait ${SCRIPT_TEST_OTHER:-1s}\n"
                     "# ${SCRIPT_TEST_OTHER}\n"),
              host::exit_success);
    EXPECT_EQ(board.log(), "");
    EXPECT_EQ(board.now_us(), 5000000);
    setenv("SCRIPT_TEST_WAIT", "", 1);
    EXPECT_EQ(script("wait 1${SCRIPT_TEST_WAIT:-h}s${SCRIPT_TEST_WAIT}\n"), host::exit_success);
    EXPECT_EQ(board.now_us(), 6000000);
}

TEST_F(ScriptTest, StopsAtAValueThatTheEnvironmentDoesNotHave) {
    unsetenv("SCRIPT_TEST_OTHER");
    EXPECT_EQ(script("wait ${SCRIPT_TEST_OTHER}\n"), host::exit_usage);
    EXPECT_EQ(board.log(),
              "SCRIPT_TEST_OTHER is not set; expected it in the environment, or ${SCRIPT_TEST_OTHER:-VALUE}\n"
              "name.host:1: stopped at 'wait ${SCRIPT_TEST_OTHER}'\n");
    EXPECT_EQ(script("wait ${1s}\n"), host::exit_usage);
    EXPECT_EQ(board.log(),
              "'${1s}' is no variable; expected ${NAME} or ${NAME:-VALUE}\n"
              "name.host:1: stopped at 'wait ${1s}'\n");
    EXPECT_EQ(script("wait ${SOON\n"), host::exit_usage);
    EXPECT_EQ(board.log(), "'${SOON' has no end; expected a '}'\nname.host:1: stopped at 'wait ${SOON'\n");
}

TEST_F(ScriptTest, StopsAtAnUnknownCommandAndSaysWhere) {
    EXPECT_EQ(script("# first\n\nfocus now\nwait 1h\n"), host::exit_usage);
    EXPECT_EQ(board.log(),
              "unknown command 'focus'; 'help' lists them\n"
              "name.host:3: stopped at 'focus now'\n");
    EXPECT_EQ(board.now_us(), 0);
}

TEST_F(ScriptTest, StopsAtACommandWithWrongArgumentsAndSaysWhatWouldBeRight) {
    EXPECT_EQ(script("wait\n"), host::exit_usage);
    EXPECT_EQ(board.log(), "usage: wait DURATION | idle\nname.host:1: stopped at 'wait'\n");
    EXPECT_EQ(script("wait soon\n"), host::exit_usage);
    EXPECT_EQ(board.log(), "usage: wait DURATION | idle\nname.host:1: stopped at 'wait soon'\n");
    EXPECT_EQ(script("fan fast\n"), host::exit_usage);
    EXPECT_EQ(board.log(), "usage: fan SPEED\nname.host:1: stopped at 'fan fast'\n");
    EXPECT_EQ(script("fan 1 2\n"), host::exit_usage);
    EXPECT_EQ(board.log(), "usage: fan SPEED\nname.host:1: stopped at 'fan 1 2'\n");
}

TEST_F(ScriptTest, StopsAtACommandThatNeedsTheLibraryBeforeItIsStarted) {
    EXPECT_EQ(script("akaf\nwait 1h\n"), host::exit_failed);
    EXPECT_EQ(board.log(), "akaf: start the library first with 'init'\nname.host:1: stopped at 'akaf'\n");
    EXPECT_EQ(board.now_us(), 0);
}

TEST_F(ScriptTest, StopsAtAStepThatFailsAndSaysWhichAndWhy) {
    EXPECT_EQ(script("calibrate gravity 1 2 30000\nwait 1h\n"), host::exit_failed);
    EXPECT_EQ(board.log(),
              "gravity offsets must lie in -20000 to 20000\n"
              "name.host:1: stopped at 'calibrate gravity 1 2 30000'\n");
}

TEST_F(ScriptTest, GoesOnAfterAFailureThatIsPartOfThePlan) {
    EXPECT_EQ(script("try calibrate gravity 1 2 30000\nwait 1s\n"), host::exit_failed);
    EXPECT_EQ(board.log(), "gravity offsets must lie in -20000 to 20000\n");
    EXPECT_EQ(board.now_us(), 1000000);
}

TEST_F(ScriptTest, StopsAtAMistakeEvenInATry) {
    EXPECT_EQ(script("try focus\nwait 1s\n"), host::exit_usage);
    EXPECT_EQ(board.log(), "unknown command 'focus'; 'help' lists them\nname.host:1: stopped at 'try focus'\n");
    EXPECT_EQ(script("try\n"), host::exit_usage);
    EXPECT_EQ(board.log(), "usage: try COMMAND\nname.host:1: stopped at 'try'\n");
}

TEST_F(ScriptTest, EndsAtQuit) {
    EXPECT_EQ(script("quit\nnonsense\n"), host::exit_success);
    EXPECT_EQ(board.log(), "");
}

TEST_F(ScriptTest, WaitsInTheBoardsOwnTime) {
    EXPECT_EQ(script("wait 1.5s\nwait 250ms\nwait 3\nwait 2min\nwait 1h\n"), host::exit_success);
    EXPECT_EQ(board.now_us(), 1500000 + 250000 + 3000000 + 120000000 + 3600000000LL);
}

TEST_F(ScriptTest, ListsEveryCommandOnRequest) {
    EXPECT_EQ(script("help\n"), host::exit_success);
    const std::string list = board.log();
    for (const std::vector<host::Command>* table : {&host::commands(), &host::factory_commands()}) {
        for (const host::Command& command : *table) {
            EXPECT_NE(list.find("  " + std::string(command.name) + " "), std::string::npos) << command.name;
            EXPECT_NE(list.find(command.purpose), std::string::npos) << command.name;
        }
    }
}

TEST_F(ScriptTest, ListsCommandsUntilOneFails) {
    EXPECT_EQ(host::run_commands({"wait 1s", "bogus", "wait 1s"}), host::exit_usage);
    EXPECT_EQ(board.now_us(), 1000000);
    EXPECT_EQ(host::run_commands({}), host::exit_success);
}

TEST_F(ScriptTest, APersonMayTryAgain) {
    EXPECT_EQ(dialogue("bogus\nwait 1s\nquit\nwait 1h\n"), host::exit_success);
    EXPECT_EQ(board.log(), "unknown command 'bogus'; 'help' lists them\n");
    EXPECT_EQ(board.now_us(), 1000000);
}

TEST(ANumber, IsReadWhole) {
    int value = 7;
    EXPECT_TRUE(host::parse_int("-12", value));
    EXPECT_EQ(value, -12);
    for (const char* text : {"", "x", "1x", "1.5", "2147483648", "-2147483649", "99999999999999999999"}) {
        EXPECT_FALSE(host::parse_int(text, value)) << text;
    }
    EXPECT_EQ(value, -12);
}

TEST(ADuration, MayHaveAUnit) {
    long milliseconds = 0;
    EXPECT_TRUE(host::parse_duration_ms("250ms", milliseconds));
    EXPECT_EQ(milliseconds, 250);
    EXPECT_TRUE(host::parse_duration_ms("0", milliseconds));
    EXPECT_EQ(milliseconds, 0);
    EXPECT_TRUE(host::parse_duration_ms("8h", milliseconds));
    EXPECT_EQ(milliseconds, 8 * 3600 * 1000L);
    for (const char* text : {"", "s", "1x", "-1s", "1 s", "nan", "inf", "300h"}) {
        EXPECT_FALSE(host::parse_duration_ms(text, milliseconds)) << text;
    }
}

}  // namespace
