#include "virtual_projector/devices/flash.h"

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "tests/virtual_projector/devices/board_fixture.h"
#include "virtual_projector/storykit/scratch_folder.h"
#include "virtual_projector/world/unit_record.h"

namespace vp {
namespace {

struct FlashTest : BoardTest {
    Flash flash{*board};
    std::uint32_t handle = 0;

    void SetUp() override { ASSERT_EQ(flash.open(handle), 0); }
    Record content() {
        Record record{};
        EXPECT_EQ(flash.read(handle, 2, 0, record.data(), record_size), 0);
        return record;
    }
};

struct TemporaryFile {
    const storykit::ScratchFolder folder;
    const std::string name = folder.file("flash");
};

TEST_F(FlashTest, HoldsTheRecordOfTheFactory) { EXPECT_EQ(content(), factory_record(world.settings())); }

TEST_F(FlashTest, TakesARecordManyTimes) {
    Record record{};
    for (const std::uint8_t byte : std::array<std::uint8_t, 3>{1, 2, 3}) {
        record.fill(byte);
        EXPECT_EQ(flash.write(handle, 2, 0, record.data(), record_size), 0);
        EXPECT_EQ(content(), record);
    }
}

TEST_F(FlashTest, CountsTheWritesOfTheRecord) {
    Record record{};
    EXPECT_EQ(flash.write(handle, 2, 0, record.data(), record_size), 0);
    EXPECT_EQ(flash.write(handle, 2, 0, record.data(), record_size), 0);
    EXPECT_EQ(flash.write(handle, 2, 228, record.data(), 1), -EINVAL);
    EXPECT_EQ(flash.write(handle, 1, 0, record.data(), 1), -EINVAL);
    EXPECT_EQ(world.wear().run.record_writes, 2);
    EXPECT_EQ(world.wear().run.width_writes, 0);
}

TEST_F(FlashTest, RefusesOtherAreasAndWhatLiesBeyondItsEnd) {
    Record record{};
    EXPECT_EQ(flash.read(handle, 1, 0, record.data(), record_size), -EINVAL);
    EXPECT_EQ(flash.read(handle, 2, 1, record.data(), record_size), -EINVAL);
    EXPECT_EQ(flash.write(handle, 2, 228, record.data(), 1), -EINVAL);
    EXPECT_EQ(flash.read(handle, 2, 226, record.data(), 1), 0);
}

TEST_F(FlashTest, RefusesHandlesThatAreNotOpen) {
    Record record{};
    EXPECT_EQ(flash.open_handles(), 1u);
    EXPECT_EQ(flash.close(handle), 0);
    EXPECT_EQ(flash.open_handles(), 0u);
    EXPECT_EQ(flash.close(handle), -EBADF);
    EXPECT_EQ(flash.read(handle, 2, 0, record.data(), 1), -EBADF);
    std::array<std::uint8_t, 16> uid{};
    EXPECT_EQ(flash.read_uid(handle, uid), -EBADF);
}

TEST_F(FlashTest, HasAnIdentifierOfItsOwn) {
    std::array<std::uint8_t, 16> uid{};
    std::array<std::uint8_t, 16> again{};
    EXPECT_EQ(flash.read_uid(handle, uid), 0);
    EXPECT_EQ(flash.read_uid(handle, again), 0);
    EXPECT_EQ(uid, again);
    EXPECT_NE(uid, (std::array<std::uint8_t, 16>{}));
}

TEST_F(FlashTest, CanBeBroken) {
    set("board.flash_works", 0);
    EXPECT_EQ(flash.open(handle), -EIO);
}

TEST_F(FlashTest, OutlivesTheBoardInAFile) {
    const TemporaryFile file;
    build({file.name, ""});
    {
        Flash kept(*board);
        ASSERT_EQ(kept.open(handle), 0);
        const std::uint8_t byte = 'x';
        ASSERT_EQ(kept.write(handle, 2, 222, &byte, 1), 0);
    }
    build({file.name, ""});
    Flash later(*board);
    ASSERT_EQ(later.open(handle), 0);
    std::uint8_t byte = 0;
    ASSERT_EQ(later.read(handle, 2, 222, &byte, 1), 0);
    EXPECT_EQ(byte, 'x');
}

TEST_F(FlashTest, AFileOfAnotherSizeIsNotTaken) {
    const TemporaryFile file;
    ASSERT_TRUE(save_memory(file.name, std::vector<std::uint8_t>(228)));
    const Memory memory(file.name, {1, 2, 3});
    EXPECT_EQ(memory.bytes(), (std::vector<std::uint8_t>{1, 2, 3}));
}

TEST_F(FlashTest, AFileThatCannotBeWrittenIsReported) {
    EXPECT_FALSE(save_memory("/nowhere/at/all", {1}));
    EXPECT_TRUE(save_memory("", {1}));
}

TEST_F(FlashTest, TellsOfEachFileWhetherItCouldBeSaved) {
    const TemporaryFile file;
    const std::string missing = file.folder.file("no/such/file");
    for (const auto& [name, saved] : {std::pair{file.name, true}, {missing, false}}) {
        build({name, ""});
        Flash kept(*board);
        ASSERT_EQ(kept.open(handle), 0);
        std::vector<std::pair<std::string, bool>> told;
        board->on_saved([&told](const std::string& f, bool complete) { told.emplace_back(f, complete); });
        const std::uint8_t byte = 'x';
        ASSERT_EQ(kept.write(handle, 2, 222, &byte, 1), 0);
        EXPECT_EQ(told, (std::vector<std::pair<std::string, bool>>{{name, saved}}));
    }
}

}  // namespace
}  // namespace vp
