// docs/factory.md against the permanent record and the host's commands.
#include <gtest/gtest.h>

#include <cstddef>
#include <fstream>
#include <sstream>
#include <string>

#include "host/factory_commands.h"
#include "ovrafocus/permanent_data.h"
#include "virtual_projector/storykit/launched_program.h"

namespace {

std::string page() {
    static const std::string text = storykit::contents_of(storykit::project_file("docs/factory.md"));
    return text;
}

bool stands_there(const std::string& text) { return page().find(text) != std::string::npos; }

void expect_row(std::size_t offset, std::size_t size, const char* field) {
    const std::string row =
        "\n| " + std::to_string(offset) + " | " + std::to_string(size) + " | `" + field + "` | ";
    EXPECT_TRUE(stands_there(row)) << row;
}

#define EXPECT_ROW(field) \
    expect_row(offsetof(ovra_permanent_record, field), sizeof(ovra_permanent_record::field), #field)

TEST(ThePageOnTheFactory, HasEveryFieldOfTheRecordWithItsPlace) {
    EXPECT_ROW(tmr_table_text);
    EXPECT_ROW(gsensor_offset_text);
    EXPECT_ROW(device_sn);
    EXPECT_ROW(mainboard_sn);
    EXPECT_ROW(gsensor_flag);
    EXPECT_ROW(tof_flag);
    EXPECT_ROW(tmr_flag);
    EXPECT_ROW(reserved);
    EXPECT_TRUE(stands_there("\n" + std::to_string(sizeof(ovra_permanent_record)) + " bytes "));
}

// A command of the script without the bench's numbers.
std::string known_part(const std::string& line) {
    std::istringstream words(line);
    std::string known;
    for (std::string word; words >> word;) {
        if (word.find_first_of("0123456789") == std::string::npos) known += (known.empty() ? "" : " ") + word;
    }
    return known;
}

TEST(ThePageOnTheFactory, ExplainsEveryCommandOfTheScript) {
    std::ifstream script(storykit::project_file("host/factory.script"));
    int commands = 0;
    for (std::string line; std::getline(script, line);) {
        if (line.empty() || line[0] == '#') continue;
        ++commands;
        EXPECT_TRUE(stands_there("`" + known_part(line))) << line;
    }
    EXPECT_GE(commands, 10);
}

TEST(ThePageOnTheFactory, NamesEveryCommandThatTheFactoryHas) {
    for (const host::Command& command : host::factory_commands()) {
        const std::string name = command.name;
        EXPECT_TRUE(stands_there("`" + name) || stands_there(" " + name + "`")) << name;
    }
}

}  // namespace
