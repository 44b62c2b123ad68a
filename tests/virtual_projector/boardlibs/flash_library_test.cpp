#include "platform/hudi_flash.h"

#include "tests/virtual_projector/boardlibs/libraries_fixture.h"
#include "virtual_projector/world/unit_record.h"

namespace vp {
namespace {

struct FlashLibrary : LibrariesTest {
    std::uint32_t handle = 0;
    Record record{};
};

TEST_F(FlashLibrary, ReadsAndWritesTheRecord) {
    EXPECT_EQ(hudi_flash_open(&handle, 1), 0);
    EXPECT_EQ(hudi_flash_otp_read(handle, 2, 0, record.data(), record_size), 0);
    EXPECT_EQ(record, factory_record(world.settings()));
    record.fill(0xFF);
    EXPECT_EQ(hudi_flash_otp_write(handle, 2, 0, record.data(), record_size), 0);
    Record again{};
    EXPECT_EQ(hudi_flash_otp_read(handle, 2, 0, again.data(), record_size), 0);
    EXPECT_EQ(again, record);
    EXPECT_EQ(boardlibs::open_flash_handles(), 1u);
    EXPECT_EQ(hudi_flash_close(handle), 0);
    EXPECT_EQ(boardlibs::open_flash_handles(), 0u);
}

TEST_F(FlashLibrary, HandsOutSixteenBytesOfIdentifier) {
    hudi_flash_open(&handle, 1);
    std::array<std::uint8_t, 16> uid{};
    std::uint32_t length = 0;
    EXPECT_EQ(hudi_flash_uid_read(handle, uid.data(), &length), 0);
    EXPECT_EQ(length, 16u);
    EXPECT_NE(uid, (std::array<std::uint8_t, 16>{}));
}

using boardlibs::Bytes;

const Bytes& bytes_in(const boardlibs::Values& values, std::size_t place) {
    return std::get<Bytes>(values.at(place).second);
}

TEST_F(FlashLibrary, TellsWhatItIsGivenAndHandsOut) {
    hudi_flash_open(&handle, 1);
    ASSERT_EQ(values.outputs.size(), 1u);
    EXPECT_STREQ(values.outputs[0].first, "handle");
    EXPECT_EQ(std::get<std::int64_t>(values.outputs[0].second), handle);

    hudi_flash_otp_read(handle, 2, 0, record.data(), record_size);
    ASSERT_EQ(values.arguments.size(), 4u);
    EXPECT_STREQ(values.arguments[3].first, "length");
    EXPECT_EQ(std::get<std::int64_t>(values.arguments[3].second), static_cast<std::int64_t>(record_size));
    EXPECT_EQ(bytes_in(values.outputs, 0).content, std::string(record.begin(), record.end()));

    record.fill(0xFF);
    hudi_flash_otp_write(handle, 2, 0, record.data(), record_size);
    ASSERT_EQ(values.arguments.size(), 5u);
    EXPECT_EQ(bytes_in(values.arguments, 4).content, std::string(record_size, static_cast<char>(0xFF)));
    EXPECT_TRUE(values.outputs.empty());
}

TEST_F(FlashLibrary, TellsNoOutputsOfACallThatFails) {
    FaultEffect failing;
    failing.error_number = EIO;
    fail("hudi_flash_open", failing);
    EXPECT_EQ(hudi_flash_open(&handle, 1), -EIO);
    EXPECT_TRUE(values.outputs.empty());
    EXPECT_EQ(done_to_it.number, 1);
}

TEST_F(FlashLibrary, RefusesNoMemoryAndHandlesThatAreNotOpen) {
    EXPECT_LT(hudi_flash_open(nullptr, 1), 0);
    EXPECT_LT(hudi_flash_otp_read(7, 2, 0, record.data(), record_size), 0);
    EXPECT_LT(hudi_flash_otp_write(7, 2, 0, record.data(), record_size), 0);
    EXPECT_LT(hudi_flash_uid_read(7, record.data(), nullptr), 0);
    EXPECT_LT(hudi_flash_close(7), 0);
    hudi_flash_open(&handle, 1);
    EXPECT_LT(hudi_flash_otp_read(handle, 2, 0, nullptr, record_size), 0);
    EXPECT_LT(hudi_flash_otp_write(handle, 2, 0, nullptr, record_size), 0);
}

TEST_F(FlashLibrary, ABrokenFlashDoesNotOpen) {
    set("board.flash_works", 0);
    EXPECT_NE(hudi_flash_open(&handle, 1), 0);
}

TEST_F(FlashLibrary, FailsAsTheFaultPlanSays) {
    FaultEffect broken;
    broken.error_number = EIO;
    fail("hudi_flash_otp_write", broken);
    hudi_flash_open(&handle, 1);
    record.fill('x');
    EXPECT_EQ(hudi_flash_otp_write(handle, 2, 0, record.data(), record_size), -EIO);
    hudi_flash_otp_read(handle, 2, 0, record.data(), record_size);
    EXPECT_EQ(record, factory_record(world.settings()));
}

TEST_F(FlashLibrary, ReadsGarbageAsTheFaultPlanSays) {
    FaultEffect spoilt;
    spoilt.garbage = "garbage";
    fail("hudi_flash_otp_read", spoilt);
    hudi_flash_open(&handle, 1);
    EXPECT_EQ(hudi_flash_otp_read(handle, 2, 0, record.data(), record_size), 0);
    EXPECT_EQ(std::string(record.begin(), record.begin() + 7), "garbage");
    EXPECT_EQ(record[7], factory_record(world.settings())[7]);
}

TEST_F(FlashLibrary, LeavesTheBufferAloneWhenStale) {
    FaultEffect stale;
    stale.stale = true;
    fail("hudi_flash_otp_read", stale);
    hudi_flash_open(&handle, 1);
    EXPECT_EQ(hudi_flash_otp_read(handle, 2, 0, record.data(), record_size), 0);
    EXPECT_EQ(record, Record{});
}

TEST_F(FlashLibrary, ReturnsAResultThatTheFaultPlanGives) {
    FaultEffect odd;
    odd.short_count = 5;
    fail("hudi_flash_close", odd);
    EXPECT_EQ(hudi_flash_close(1), 5);
}

TEST_F(FlashLibrary, ReportsEveryCallAndItsResult) {
    hudi_flash_open(&handle, 1);
    hudi_flash_close(99);
    EXPECT_EQ(calls, (std::vector<std::string>{"hudi_flash_open 0", "hudi_flash_close -9"}));
}

TEST_F(FlashLibrary, FailsWithoutABoard) {
    boardlibs::uninstall();
    EXPECT_EQ(hudi_flash_open(&handle, 1), -ENODEV);
    EXPECT_EQ(boardlibs::open_flash_handles(), 0u);
}

}  // namespace
}  // namespace vp
