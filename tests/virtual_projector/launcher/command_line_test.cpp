// The virtual-projector command as its user meets it.
#include <elf.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "tests/stories/odd_program/odd_program.h"
#include "virtual_projector/storykit/launched_program.h"
#include "virtual_projector/world/hand.h"
#include "virtual_projector/world/parameters.h"

namespace {

using storykit::contents_of;
using storykit::Finished;
using storykit::host_program;
using storykit::launch;
using storykit::launch_projector;
using storykit::launcher;
using storykit::project_file;
using storykit::ScratchFolder;
using storykit::write_file;
using testkit::odd_program;

// A mistake is one line on standard error and exit code 2, and nothing is run.
void expect_mistake(const std::vector<std::string>& options, const std::string& line) {
    const Finished finished = launch_projector(options, {odd_program, "arguments", "it ran"});
    EXPECT_EQ(finished.complaints, "virtual-projector: " + line + "\n");
    EXPECT_EQ(finished.words, "");
    EXPECT_EQ(finished.exit_code, 2);
}

// The beginning of a program at a fixed place, with one segment.
template <typename Header, typename Segment>
std::string program_file(unsigned char file_class, unsigned segment_type) {
    Header header{};
    std::memcpy(header.e_ident, ELFMAG, SELFMAG);
    header.e_ident[EI_CLASS] = file_class;
    header.e_ident[EI_DATA] = ELFDATA2LSB;
    header.e_type = ET_EXEC;
    header.e_phoff = sizeof header;
    header.e_phnum = 1;
    Segment segment{};
    segment.p_type = segment_type;
    return std::string(reinterpret_cast<const char*>(&header), sizeof header) +
           std::string(reinterpret_cast<const char*>(&segment), sizeof segment);
}

// --- What ends the command -----------------------------------------------------------------------------

TEST(VirtualProjectorCommand, ReturnsTheProgramsExitCode) {
    EXPECT_EQ(launch_projector({}, {odd_program, "exit", "0"}).exit_code, 0);
    EXPECT_EQ(launch_projector({}, {odd_program, "exit", "42"}).exit_code, 42);
}

TEST(VirtualProjectorCommand, NamesTheSignalThatEndedTheProgram) {
    const Finished finished = launch_projector({}, {odd_program, "signal", std::to_string(SIGTERM)});
    EXPECT_EQ(finished.complaints, "virtual-projector: the program was ended by signal 15 (Terminated)\n");
    EXPECT_EQ(finished.exit_code, 128 + SIGTERM);
}

TEST(VirtualProjectorCommand, SaysWhenAProgramCannotBeRun) {
    const Finished finished = launch_projector({}, {"/nowhere/program"});
    EXPECT_EQ(finished.complaints,
              "virtual-projector: cannot run /nowhere/program: No such file or directory\n");
    EXPECT_EQ(finished.exit_code, 127);
}

// It would run, and meet the plain PC in silence.
TEST(VirtualProjectorCommand, DoesNotRunAProgramThatItCannotBeLoadedInto) {
    const ScratchFolder folder;
    const std::string program = folder.file("program");
    for (const std::string& contents : {program_file<Elf64_Ehdr, Elf64_Phdr>(ELFCLASS64, PT_LOAD),
                                        program_file<Elf32_Ehdr, Elf32_Phdr>(ELFCLASS32, PT_LOAD)}) {
        write_file(program, contents);
        chmod(program.c_str(), 0700);
        const Finished finished = launch({launcher, "--", program});
        EXPECT_EQ(finished.complaints,
                  "virtual-projector: cannot run " + program +
                      ": it is statically linked; expected a program that loads its libraries\n");
        EXPECT_EQ(finished.exit_code, 127);
    }
}

TEST(VirtualProjectorCommand, LeavesItToTheSystemToRefuseAnyOtherFile) {
    const ScratchFolder folder;
    const std::string program = folder.file("program");
    for (const std::string& contents : {program_file<Elf64_Ehdr, Elf64_Phdr>(ELFCLASS64, PT_INTERP),
                                        program_file<Elf32_Ehdr, Elf32_Phdr>(ELFCLASS32, PT_INTERP),
                                        std::string(ELFMAG), std::string("#!/nowhere/shell\n")}) {
        write_file(program, contents);
        chmod(program.c_str(), 0700);
        const Finished finished = launch({launcher, "--", program});
        EXPECT_EQ(finished.complaints.find("statically linked"), std::string::npos) << finished.complaints;
        EXPECT_NE(finished.exit_code, 0);
    }
}

TEST(VirtualProjectorCommand, EndsWithATableWhenNoThreadCanGoOn) {
    const Finished finished = launch_projector({}, {odd_program, "block"});
    EXPECT_EQ(finished.exit_code, 120);
    EXPECT_NE(finished.complaints.find("No thread can go on at 0.002000 s. What each waits for:\n"),
              std::string::npos)
        << finished.complaints;
    EXPECT_NE(finished.complaints.find("held by 2 "), std::string::npos) << finished.complaints;
    EXPECT_NE(finished.complaints.find("held by 1 "), std::string::npos) << finished.complaints;
}

// --- What it hands to the program ----------------------------------------------------------------------

TEST(VirtualProjectorCommand, LeavesTheProgramsOwnArgumentsAlone) {
    const Finished finished =
        launch_projector({}, {odd_program, "arguments", "--seed", "x", "--", "--help", "two words"});
    EXPECT_EQ(finished.words, "[--seed][x][--][--help][two words]\n");
    EXPECT_EQ(finished.exit_code, 0);
}

TEST(VirtualProjectorCommand, LeavesNoTraceOfItselfInTheEnvironmentOfAProgramThatUsesTheBoard) {
    const Finished finished =
        launch_projector({}, {odd_program, "node and environment", "/sys/class/motor/stop"});
    EXPECT_EQ(finished.words, "1\nLD_PRELOAD is not set\nVIRTUAL_PROJECTOR_RUN is not set\n");
}

TEST(VirtualProjectorCommand, PutsTheBoardsNodesIntoTheProgramsView) {
    const Finished finished =
        launch_projector({"--set", "tmr.noise_sigma=0", "--set", "lens.position_steps=18"},
                         {odd_program, "node", "/sys/class/motor/tmr_adc"});
    EXPECT_EQ(finished.words, "6\n");  // the reading at the zero position, 18 steps from the left end
}

TEST(VirtualProjectorCommand, LetsHoursPassInNoTime) {
    const Finished finished = launch_projector({}, {odd_program, "sleep", "7200"});
    EXPECT_EQ(finished.words, "7200000000 us went by\n");
}

// --- Its options ---------------------------------------------------------------------------------------

TEST(VirtualProjectorCommand, WithoutAProgramSaysHowItIsCalled) {
    const std::string line =
        "virtual-projector: expected a program to run: virtual-projector [OPTIONS] [--] PROGRAM "
        "[ARGUMENTS...]\n";
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{launcher}, {launcher, "--"}, {launcher, "--seed", "3"}}) {
        const Finished finished = launch(command);
        EXPECT_EQ(finished.complaints, line);
        EXPECT_EQ(finished.exit_code, 2);
    }
}

TEST(VirtualProjectorCommand, HelpNamesEveryOptionAndEveryParameter) {
    const Finished finished = launch({launcher, "--help"});
    EXPECT_EQ(finished.exit_code, 0);
    EXPECT_EQ(finished.complaints, "");
    for (const char* option : {"virtual-projector [OPTIONS] [--] PROGRAM [ARGUMENTS...]",
                               "--help",
                               "--scenario FILE",
                               "--seed N",
                               "--set NAME=VALUE",
                               "--trace FILE",
                               "--trace-detail LEVEL",
                               "--flash FILE",
                               "--summary FILE",
                               "--exact-stacks",
                               "--limit SECONDS",
                               "--real-limit SECONDS=60",
                               "--outside wait|skip=wait",
                               "--debug",
                               "--valgrind",
                               "--perf",
                               "--strace",
                               "--tool-options WORDS",
                               "--world NAME|FILE",
                               "--unit-seed N",
                               "--unit NAME|FILE",
                               "--print-settings",
                               "--version",
                               "--real-time",
                               "--preempt P",
                               "--schedule random|pct:D|FILE",
                               "--record-schedule FILE",
                               "--story",
                               "--library-log FILE",
                               "--emulator COMMAND"}) {
        EXPECT_NE(finished.words.find(option), std::string::npos) << option;
    }
    for (const vp::Parameter& parameter : vp::parameters()) {
        EXPECT_NE(finished.words.find("  " + std::string(parameter.name) + " "), std::string::npos)
            << parameter.name;
    }
}

std::string one_line(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    return std::regex_replace(text, std::regex(" +"), " ");
}

TEST(VirtualProjectorCommand, HelpFitsATerminalOf80Columns) {
    std::istringstream help(launch({launcher, "--help"}).words);
    for (std::string line; std::getline(help, line);) EXPECT_LE(line.size(), 80U) << line;
}

TEST(VirtualProjectorCommand, TellsItsVersionAndCommit) {
    const Finished finished = launch({launcher, "--version"});
    EXPECT_TRUE(std::regex_match(
        finished.words, std::regex("virtual-projector [0-9]+[.][0-9]+[.][0-9]+ [(]commit [0-9a-z-]+[)]\n")))
        << finished.words;
    EXPECT_EQ(finished.exit_code, 0);
}

Finished launch_without_dashes(const std::vector<std::string>& options,
                               const std::vector<std::string>& program) {
    std::vector<std::string> command = storykit::projector_command(options, program);
    command.erase(std::find(command.begin(), command.end(), "--"));
    return storykit::launch_own(command);
}

TEST(VirtualProjectorCommand, NeedsNoDashesBeforeTheProgram) {
    EXPECT_EQ(launch_without_dashes({"--seed", "3"}, {odd_program, "exit", "4"}).exit_code, 4);
    EXPECT_EQ(launch_without_dashes({}, {odd_program, "arguments", "--seed", "x", "--", "--help"}).words,
              "[--seed][x][--][--help]\n");
}

TEST(VirtualProjectorCommand, RefusesALimitThatIsNone) {
    for (const std::string option : {"--limit", "--real-limit"}) {
        for (const std::string limit : {"-1", "864001", "soon"}) {
            expect_mistake({option, limit}, option + ": Value " + limit +
                                                " not in range 0.000000 to 864000.000000 (see --help)");
        }
    }
}

TEST(VirtualProjectorCommand, RefusesAWayWithTheOutsideThatItDoesNotKnow) {
    for (const std::string way : {"wait a bit", "0", ""})
        expect_mistake({"--outside", way}, "--outside: " + way + " not in {wait,skip} (see --help)");
}

TEST(VirtualProjectorCommand, StartsOneToolAtMost) {
    const Finished finished = launch({launcher, "--debug", "--strace", "--", odd_program, "exit", "0"});
    EXPECT_EQ(finished.complaints, "virtual-projector: --debug excludes --strace (see --help)\n");
    EXPECT_EQ(finished.exit_code, 2);
}

TEST(VirtualProjectorCommand, HelpSaysInWordsWhatExcludesWhat) {
    const std::string help = launch({launcher, "--help"}).words;
    EXPECT_NE(help.find("--real-time "), std::string::npos);
    EXPECT_NE(one_line(help).find("; not with the three below"), std::string::npos);
    EXPECT_EQ(help.find("Excludes"), std::string::npos);
}

TEST(VirtualProjectorCommand, HelpDescribesScenarioFiles) {
    const std::string help = launch({launcher, "--help"}).words;
    for (const char* member :
         {"\"story\"", "\"seed\"", "\"unit_seed\"", "\"unit\"", "\"world\"", "\"set\"", "\"faults\"",
          "\"events\"", "\"at_s\"", "\"gesture\"", "\"block\"", "\"key\"", "\"fault\"", "\"clear_faults\""}) {
        EXPECT_NE(help.find(member), std::string::npos) << member;
    }
    for (const std::string_view gesture : vp::gesture_names())
        EXPECT_NE(help.find(gesture), std::string::npos) << gesture;
}

TEST(VirtualProjectorCommand, RefusesOptionsThatItDoesNotHave) {
    expect_mistake({"--bogus"}, "The following argument was not expected: --bogus (see --help)");
}

TEST(VirtualProjectorCommand, RefusesASeedThatIsNoWholeNumber) {
    for (const std::string seed :
         {"abc", "-1", "1.5", "", "1x", "9223372036854775808", "99999999999999999999"}) {
        expect_mistake({"--seed", seed},
                       "--seed: Value " + seed + " not in range 0 to 9223372036854775807 (see --help)");
    }
    expect_mistake({"--seed"}, "--seed: 1 required N missing (see --help)");
    EXPECT_EQ(launch_projector({"--seed", "9223372036854775807"}, {odd_program, "exit", "4"}).exit_code, 4);
}

TEST(VirtualProjectorCommand, RefusesAProbabilityOutOfItsRange) {
    for (const std::string probability : {"-0.1", "1.01", "often"}) {
        expect_mistake({"--preempt", probability},
                       "--preempt: Value " + probability + " not in range 0.000000 to 1.000000 (see --help)");
    }
    for (const std::string none : {"nan", "-NaN"}) {
        expect_mistake({"--preempt", none}, "--preempt: expected a number, found " + none + " (see --help)");
    }
}

TEST(VirtualProjectorCommand, RefusesAScheduleThatIsNone) {
    const ScratchFolder folder;
    for (const std::string choice : {"pct:", "pct:0", "pct:100", "pct:3:", "pct:3:0", "pct:3:x", "pct:-1"}) {
        expect_mistake(
            {"--schedule", choice},
            "--schedule: expected pct:D or pct:D:K with a depth D from 1 to 99 and K steps, found '" + choice +
                "'");
    }
    const std::string file = folder.file("schedule");
    for (const std::string& missing : {file, std::string("RANDOM"), std::string()}) {
        expect_mistake(
            {"--schedule", missing},
            "--schedule: expected random, pct:D, pct:D:K or a file, found no file '" + missing + "'");
    }
    write_file(file, "1 2 worker\n");
    expect_mistake(
        {"--schedule", file},
        "--schedule: " + file + ": expected a schedule, which begins with 'virtual-projector schedule 1'");
    expect_mistake({"--schedule", "pct:3", "--preempt", "0.1"},
                   "--schedule: --preempt goes with the random schedule only");
    expect_mistake({"--record-schedule", "/no/folder/f"},
                   "--record-schedule /no/folder/f: cannot write it: No such file or directory");
}

// The recording takes the place of what has its name.
TEST(VirtualProjectorCommand, RecordsAScheduleOnlyWhereAFileMayStand) {
    const ScratchFolder folder;
    const std::string place = folder.file("schedule");
    ASSERT_EQ(mkdir(place.c_str(), 0700), 0);
    expect_mistake({"--record-schedule", place},
                   "--record-schedule " + place + ": expected a file to write, found something else");
    ASSERT_EQ(rmdir(place.c_str()), 0);
    ASSERT_EQ(mkfifo(place.c_str(), 0600), 0);
    expect_mistake({"--record-schedule", place},
                   "--record-schedule " + place + ": expected a file to write, found something else");
    EXPECT_NE(access((place + ".part").c_str(), F_OK), 0);
}

TEST(VirtualProjectorCommand, DoesNotRecordOverTheScheduleThatItPlays) {
    const ScratchFolder folder;
    const std::string part = folder.file("schedule.part");
    write_file(part, "virtual-projector schedule 1\n");
    expect_mistake({"--schedule", part, "--record-schedule", folder.file("schedule")},
                   "--record-schedule " + folder.file("schedule") + ": would write over " + part +
                       ", which is --schedule " + part + " as well");
    EXPECT_EQ(contents_of(part), "virtual-projector schedule 1\n");
}

TEST(VirtualProjectorCommand, RefusesAScheduleOnTheWallClock) {
    expect_mistake({"--real-time", "--schedule", "pct:3"}, "--real-time excludes --schedule (see --help)");
    expect_mistake({"--real-time", "--record-schedule", "f"},
                   "--real-time excludes --record-schedule (see --help)");
    expect_mistake({"--real-time", "--preempt", "0.1"}, "--real-time excludes --preempt (see --help)");
}

TEST(VirtualProjectorCommand, RefusesATraceDetailThatItDoesNotKnow) {
    for (const std::string level : {"all", "0", "2", ""}) {
        expect_mistake({"--trace-detail", level},
                       "--trace-detail: " + level + " not in {events,changes,calls} (see --help)");
    }
}

TEST(VirtualProjectorCommand, RefusesASettingThatIsNone) {
    expect_mistake({"--set", "lens.backlash_state"}, "--set lens.backlash_state: expected NAME=VALUE");
    expect_mistake({"--set", "depth=1"}, "--set depth=1: " + vp::unknown_parameter("depth"));
    expect_mistake({"--set", "lens.play=1"}, "--set lens.play=1: lens.play is called lens.backlash_state now");
    expect_mistake({"--set", "wall.colour=1"},
                   "--set wall.colour=1: unknown parameter 'wall.colour'; there are wall.lean_deg, "
                   "wall.reflectivity");
}

TEST(VirtualProjectorCommand, RefusesAValueThatItsParameterDoesNotTake) {
    expect_mistake(
        {"--set", "lens.backlash_state=much"},
        "--set lens.backlash_state=much: lens.backlash_state cannot be 'much': it takes a number from 0 to 1");
    expect_mistake(
        {"--set", "lens.backlash_state=7"},
        "--set lens.backlash_state=7: lens.backlash_state cannot be 7: it takes a number from 0 to 1");
    expect_mistake({"--set", "lens.stuck=0.5"},
                   "--set lens.stuck=0.5: lens.stuck cannot be 0.5: it takes a whole number from 0 to 1");
    expect_mistake({"--set", "pose.distance_mm="},
                   "--set pose.distance_mm=: pose.distance_mm cannot be '': it takes a number from 100 to "
                   "20000 mm");
}

TEST(VirtualProjectorCommand, TheLastSettingOfAParameterCounts) {
    const Finished finished =
        launch_projector({"--set", "led.temperature_c=30", "--set", "led.temperature_c=50"},
                         {odd_program, "node", "/sys/devices/platform/pwm-fan/r_temp"});
    EXPECT_EQ(finished.words.substr(0, 2), "50") << finished.words;
}

TEST(VirtualProjectorCommand, RefusesFilesThatItCannotWrite) {
    for (const std::string option : {"--trace", "--summary", "--flash"}) {
        expect_mistake({option, "/nowhere/file"},
                       option + " /nowhere/file: cannot write it: No such file or directory");
    }
}

TEST(VirtualProjectorCommand, RefusesAFlashFileThatIsNone) {
    const ScratchFolder folder;
    const std::string flash = folder.file("flash");
    write_file(flash, "short");
    expect_mistake({"--flash", flash}, "--flash " + flash + ": expected a file of 227 bytes, found 5");
    expect_mistake({"--flash", "/dev/null"},
                   "--flash /dev/null: expected a file of 227 bytes, found something else");
    write_file(flash, std::string(227, '\xff'));
    write_file(flash + ".tof", "short");
    expect_mistake({"--flash", flash}, "--flash " + flash + ".tof: expected a file of 4096 bytes, found 5");
}

TEST(VirtualProjectorCommand, RefusesAScenarioThatCannotBeRead) {
    expect_mistake({"--scenario", "/nowhere/file"},
                   "/nowhere/file: $: expected a readable scenario file, found: No such file or directory");
}

TEST(VirtualProjectorCommand, NamesTheFileThePlaceAndTheExpectationOfAMistakeInAScenario) {
    const ScratchFolder folder;
    const std::string scenario = folder.file("scenario.json");
    write_file(scenario, R"({"events": [{"at_s": "soon", "gesture": "shake"}]})");
    expect_mistake({"--scenario", scenario},
                   scenario + ": $.events[0].at_s: expected a number from 0 to 864000, found \"soon\"");
}

// --- Worlds and units ----------------------------------------------------------------------------------

// The line of a parameter, without its blanks.
std::string printed(const std::vector<std::string>& options, const std::string& parameter) {
    std::vector<std::string> command = {launcher, "--print-settings"};
    command.insert(command.end(), options.begin(), options.end());
    const Finished finished = launch(command);
    EXPECT_EQ(finished.exit_code, 0) << finished.complaints;
    const std::size_t begin = finished.words.find("\n  " + parameter + " ");
    if (begin == std::string::npos) return "";
    return one_line(finished.words.substr(begin + 3, finished.words.find('\n', begin + 1) - begin - 3));
}

TEST(VirtualProjectorCommand, PrintsTheSettingsOfAWorldByItsNameOrFileAndRunsNothing) {
    EXPECT_EQ(printed({}, "bench.camera_tmr_sigma"), "bench.camera_tmr_sigma 0 TMR default");
    EXPECT_EQ(printed({"--world", "laboratory"}, "bench.camera_tmr_sigma"),
              "bench.camera_tmr_sigma 0 TMR default");
    EXPECT_EQ(printed({"--world", "living-room"}, "bench.camera_tmr_sigma"),
              "bench.camera_tmr_sigma 3 TMR world");
    EXPECT_EQ(printed({"--world", project_file("worlds/living-room.json")}, "bench.camera_tmr_sigma"),
              "bench.camera_tmr_sigma 3 TMR world");
    const Finished with_program = launch_projector({"--print-settings"}, {odd_program, "arguments", "it ran"});
    EXPECT_EQ(with_program.words.find("it ran"), std::string::npos);
    EXPECT_EQ(with_program.exit_code, 0);
}

TEST(VirtualProjectorCommand, TakesWorldAndUnitFromTheScenarioAndRatherFromTheCommandLine) {
    const ScratchFolder folder;
    const std::string scenario = folder.file("scenario.json");
    write_file(scenario, R"({"world": "./cave.json", "unit": "./one.json", "unit_seed": 7})");
    write_file(folder.file("cave.json"), R"({"set": {"wall.reflectivity": 0.2}})");
    write_file(folder.file("one.json"),
               R"({"draw": {"tmr.offset": {"distribution": "choice", "values": [11]}}})");
    EXPECT_EQ(printed({"--scenario", scenario}, "wall.reflectivity"), "wall.reflectivity 0.2 world");
    EXPECT_EQ(printed({"--scenario", scenario}, "tmr.offset"), "tmr.offset 11 TMR unit");
    EXPECT_EQ(printed({"--scenario", scenario}, "unit.serial"), "unit.serial 7 unit");
    const std::vector<std::string> own = {"--scenario", scenario,   "--world",     "laboratory",
                                          "--unit",     "standard", "--unit-seed", "8"};
    EXPECT_EQ(printed(own, "wall.reflectivity"), "wall.reflectivity 0.8 default");
    EXPECT_EQ(printed(own, "lens.stuck"), "lens.stuck 0 default");
    EXPECT_EQ(printed(own, "unit.serial"), "unit.serial 8 unit");
}

TEST(VirtualProjectorCommand, RefusesAWorldOrUnitThatThereIsNot) {
    const ScratchFolder folder;
    expect_mistake({"--world", "moon"}, "--world: expected laboratory, living-room, or a file, found moon");
    expect_mistake({"--unit", "moon"}, "--unit: expected exact, standard, or a file, found moon");
    expect_mistake({"--world", "/nowhere/file"},
                   "/nowhere/file: $: expected a readable world file, found: No such file or directory");
    const std::string scenario = folder.file("scenario.json");
    write_file(scenario, R"({"world": "moon"})");
    expect_mistake({"--scenario", scenario},
                   scenario + ": $.world: expected laboratory, living-room, or a file, found moon");
    write_file(folder.file("unit.json"), R"({"draw": {"tmr.offset": {"distribution": "normal"}}})");
    expect_mistake({"--unit", folder.file("unit.json")},
                   folder.file("unit.json") +
                       ": $.draw[\"tmr.offset\"]: expected an object with \"mean\", found "
                       "{\"distribution\":\"normal\"}");
}

TEST(VirtualProjectorCommand, TellsInTheTracesFirstRecordWhatTheRunIsMadeOf) {
    const ScratchFolder folder;
    const std::string trace = folder.file("trace");
    launch_projector(
        {"--world", "living-room", "--unit-seed", "4", "--set", "pose.pitch_deg=12", "--trace", trace},
        {odd_program, "arguments", "it ran"});
    const std::string first = contents_of(trace).substr(0, contents_of(trace).find('\n'));
    for (const char* member :
         {R"({"t_us":0,"run":{"format":2,"version":")", R"("seed":1,"unit_seed":4,"unit":"standard",)",
          R"("world":"living-room",)", R"("pose.pitch_deg":{"value":12.0,"from":"command line"})",
          R"("unit.serial":{"value":4.0,"from":"unit"})"}) {
        EXPECT_NE(first.find(member), std::string::npos) << first;
    }
}

TEST(VirtualProjectorCommand, WritesATraceOfTheDetailThatIsAskedFor) {
    const ScratchFolder folder;
    const auto lines_with = [&folder](const std::string& detail, const std::string& call) {
        const std::string trace = folder.file("trace");
        launch_projector({"--trace", trace, "--trace-detail", detail},
                         {odd_program, "node", "/sys/class/motor/stop"});
        const std::string text = contents_of(trace);
        EXPECT_NE(text.find("\"truth\""), std::string::npos);
        return text.find(call) != std::string::npos;
    };
    EXPECT_TRUE(lines_with("calls", "\"call\":\"open\",\"path\":\"/sys/class/motor/stop\""));
    EXPECT_FALSE(lines_with("changes", "\"call\":\"open\""));
    EXPECT_FALSE(lines_with("events", "\"call\""));
}

TEST(VirtualProjectorCommand, KeepsTheTraceOfARunThatDoesNotComeToItsEnd) {
    const ScratchFolder folder;
    const std::string trace = folder.file("trace");
    launch_projector({"--trace", trace}, {odd_program, "block"});
    EXPECT_NE(contents_of(trace).find(R"("call":"sleep")"), std::string::npos) << contents_of(trace);
    launch_projector({"--trace", trace}, {odd_program, "signal", std::to_string(SIGSEGV)});
    EXPECT_NE(contents_of(trace).find(R"("truth")"), std::string::npos) << contents_of(trace);
}

TEST(VirtualProjectorCommand, SaysWhenADiskIsTooFullForATraceOrASummary) {
    for (const std::string option : {"--trace", "--summary"}) {
        const Finished finished = launch_projector({option, "/dev/full"}, {odd_program, "exit", "3"});
        EXPECT_EQ(finished.complaints, "virtual-projector: /dev/full: not all of it could be written\n");
        EXPECT_EQ(finished.exit_code, 3);
        EXPECT_EQ(launch_projector({option, "/dev/full"}, {odd_program, "exit", "0"}).exit_code, 123);
    }
}

TEST(VirtualProjectorCommand, WritesASummaryOfTheRun) {
    const ScratchFolder folder;
    launch_projector({"--summary", folder.file("summary")}, {odd_program, "sleep", "3"});
    const std::string text = contents_of(folder.file("summary"));
    EXPECT_EQ(text.find(R"({"simulated_us":3000000,"real_us":)"), 0U) << text;
}

TEST(VirtualProjectorCommand, RunsUnderEverySchedule) {
    const ScratchFolder folder;
    for (const std::string choice : {"random", "pct:1", "pct:3:500"}) {
        const Finished finished = launch_projector({"--schedule", choice}, {odd_program, "exit", "3"});
        EXPECT_EQ(finished.complaints, "") << choice;
        EXPECT_EQ(finished.exit_code, 3) << choice;
    }
}

// The first light of a new unit, in which several threads are at work.
Finished first_light(const std::vector<std::string>& options) {
    std::vector<std::string> all = {"--scenario", project_file("scenarios/first-light.json")};
    all.insert(all.end(), options.begin(), options.end());
    return launch_projector(all, {host_program, "--script", project_file("scenarios/first-light.host")});
}

TEST(VirtualProjectorCommand, GivesTheSameTraceAgainForARecordedSchedule) {
    const ScratchFolder folder;
    const std::string schedule = folder.file("schedule");
    const std::vector<std::vector<std::string>> ways = {{"--preempt", "0.2"}, {"--schedule", "pct:3"}};
    for (std::vector<std::string> way : ways) {
        way.insert(way.end(), {"--trace", folder.file("recorded"), "--record-schedule", schedule});
        EXPECT_EQ(first_light(way).complaints, "");
        EXPECT_EQ(first_light({"--trace", folder.file("played"), "--schedule", schedule}).complaints, "");
        EXPECT_GT(contents_of(folder.file("recorded")).size(), 10000U);
        EXPECT_TRUE(contents_of(folder.file("played")) == contents_of(folder.file("recorded")));
    }
}

TEST(VirtualProjectorCommand, EndsARunThatARecordedScheduleDoesNotFit) {
    const ScratchFolder folder;
    const std::string schedule = folder.file("schedule");
    write_file(schedule, "virtual-projector schedule 1\n1 9 nobody\n");
    const Finished finished = first_light({"--schedule", schedule});
    EXPECT_EQ(
        finished.complaints.find("virtual-projector: " + schedule +
                                 ": does not fit this run at step 1: recorded is 9 nobody, runnable are "),
        0U)
        << finished.complaints;
    EXPECT_EQ(finished.exit_code, 2);
}

TEST(VirtualProjectorCommand, SaysWhenARecordedScheduleIsNotPlayedToItsEnd) {
    const ScratchFolder folder;
    const std::string schedule = folder.file("schedule");
    write_file(schedule, "virtual-projector schedule 1\n1 2 worker\n");
    const Finished finished = launch_projector({"--schedule", schedule}, {odd_program, "exit", "3"});
    EXPECT_EQ(finished.complaints,
              "virtual-projector: " + schedule +
                  ": does not fit this run, which ended at step 0: recorded is 2 worker at "
                  "step 1\n");
    EXPECT_EQ(finished.exit_code, 3);
}

TEST(VirtualProjectorCommand, RecordsTheScheduleOfARunThatCannotGoOn) {
    const ScratchFolder folder;
    EXPECT_EQ(
        launch_projector({"--record-schedule", folder.file("schedule")}, {odd_program, "block"}).exit_code,
        120);
    EXPECT_EQ(contents_of(folder.file("schedule")).find("virtual-projector schedule 1\n"), 0U);
}

TEST(VirtualProjectorCommand, RunsOnTheWallClockOnRequest) {
    const ScratchFolder folder;
    const Finished finished = launch_projector({"--real-time", "--summary", folder.file("summary")},
                                               {odd_program, "node", "/sys/class/motor/stop"});
    EXPECT_EQ(finished.words, "1\n");
    EXPECT_EQ(contents_of(folder.file("summary")).find("switches"), std::string::npos);
}

TEST(VirtualProjectorCommand, BeginsTheTraceOnTheWallClockWithTheScenariosFirstEvents) {
    const ScratchFolder folder;
    write_file(folder.file("scenario"), R"({"events": [{"at_s": 0, "key": 28}, {"at_s": 0, "key": 29}]})");
    launch_projector({"--real-time", "--scenario", folder.file("scenario"), "--trace", folder.file("trace")},
                     {odd_program, "exit", "0"});
    const std::string beginning = R"({"t_us":0,"event":"key 28"})"
                                  "\n"
                                  R"({"t_us":0,"event":"key 29"})"
                                  "\n"
                                  R"({"t_us":0,"truth")";
    const std::string trace = contents_of(folder.file("trace"));
    EXPECT_EQ(trace.substr(trace.find('\n') + 1, beginning.size()),
              beginning);  // after what the run is made of
}

}  // namespace
