#include "ovrafocus/permanent_data.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "tests/support/scripted_board.h"
#include "tests/support/scripted_vendor.h"

using testing::EndsWith;
using testing::StartsWith;
using testkit::ScriptedBoard;
using testkit::vendor;
using Entries = std::vector<std::string>;
using Record = std::array<std::uint8_t, 227>;

namespace {

Record filled(int value) {
    Record record;
    record.fill(static_cast<std::uint8_t>(value));
    return record;
}

Record counting() {
    Record record;
    for (std::size_t i = 0; i < record.size(); ++i) record[i] = static_cast<std::uint8_t>(i);
    return record;
}

Record in_memory() {
    Record record;
    std::memcpy(record.data(), &glb_permanent_data, record.size());
    return record;
}

// The dump as it stands in the log, from the label to the last newline.
template <typename Bytes>
std::string dump(const std::string& label, const Bytes& bytes) {
    std::string text = "varnel: " + label + ":";
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        char two_digits[4];
        std::snprintf(two_digits, sizeof two_digits, "%.2x ", bytes[i]);
        text += (i % 32 == 0 ? "\n" : "") + std::string(two_digits);
    }
    return text + "\n";
}

const std::string uid_dump = "varnel: uid:\n00 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f \n";
const std::string init_opened = "ovra: permanent_data_init, hudi flash open success\n";

struct PermanentData : ::testing::Test {
    ScriptedBoard board;

    PermanentData() {
        permanent_data_inited = 0;
        glb_permanent_data = {};
    }
    Entries calls() { return board.journal({"call"}); }
    void initialise_with(const Record& record) {
        vendor().otp = record;
        ASSERT_EQ(permanent_data_init(), 0);
        board.log();
        board.clear_journal();
    }
    static void break_open() {
        vendor().flash_open = [](std::uint32_t*, int) { return 1; };
    }
    static void break_write() {
        vendor().flash_otp_write = [](std::uint32_t, std::uint32_t, std::uint32_t, const void*, std::uint32_t) {
            return -1;
        };
    }
};

struct Init : PermanentData {};
struct Read : PermanentData {};
struct Write : PermanentData {};
struct Clean : PermanentData {};
struct Dump : PermanentData {};

TEST(PermanentDataLoad, LooksUncalibratedBeforeAnythingIsRead) {
    EXPECT_EQ(permanent_data_inited, 0);
    EXPECT_EQ(in_memory(), filled(0));
    EXPECT_EQ(sizeof glb_permanent_data, 227U);
}

// --- Initialising ------------------------------------------------------------------------------------

TEST_F(Init, ReadsTheRecord) {
    vendor().otp = counting();
    EXPECT_EQ(permanent_data_init(), 0);
    EXPECT_EQ(permanent_data_inited, 1);
    EXPECT_EQ(in_memory(), counting());
    EXPECT_EQ(calls(), (Entries{"call hudi_flash_open", "call hudi_flash_uid_read", "call hudi_flash_otp_read",
                                "call hudi_flash_close"}));
}

TEST_F(Init, AsksForAreaTwoWithTheHandleItWasGiven) {
    vendor().flash_open = [](std::uint32_t* handle, int mode) {
        EXPECT_EQ(mode, 1);
        *handle = 0x89abcdef;
        return 0;
    };
    vendor().flash_uid_read = [](std::uint32_t handle, std::uint8_t*, std::uint32_t* length) {
        EXPECT_EQ(handle, 0x89abcdefU);
        EXPECT_EQ(*length, 0U);
        return 16;
    };
    vendor().flash_otp_read = [](std::uint32_t handle, std::uint32_t area, std::uint32_t offset, void* buffer,
                                 std::uint32_t length) {
        EXPECT_EQ(handle, 0x89abcdefU);
        EXPECT_EQ(area, 2U);
        EXPECT_EQ(offset, 0U);
        EXPECT_EQ(length, 227U);
        std::memset(buffer, '1', length);
        return 227;
    };
    std::uint32_t closed = 0;
    vendor().flash_close = [&closed](std::uint32_t handle) {
        closed = handle;
        return 0;
    };
    EXPECT_EQ(permanent_data_init(), 0);
    EXPECT_EQ(in_memory(), filled('1'));
    EXPECT_EQ(closed, 0x89abcdefU);
}

TEST_F(Init, PrintsExactlyTheRecord) {
    vendor().otp = counting();
    permanent_data_init();
    EXPECT_EQ(board.log(), init_opened + uid_dump + dump("permanent_data_init", counting()));
}

TEST_F(Init, ShowsTheRecordInEightLines) {
    vendor().otp = filled(0xa5);
    permanent_data_init();
    const std::string log = board.log();
    const std::string shown = log.substr(log.find("varnel: permanent_data_init:"));
    EXPECT_EQ(std::count(shown.begin(), shown.end(), '\n'), 9);  // the label's line and eight of bytes
    EXPECT_EQ(shown.substr(shown.size() - 11), "\na5 a5 a5 \n");
}

TEST_F(Init, IsRefusedTheSecondTime) {
    initialise_with(counting());
    vendor().otp = filled(0);
    EXPECT_EQ(permanent_data_init(), -1);
    EXPECT_EQ(board.log(), "ovra: permanent_data_init, already init\n");
    EXPECT_EQ(calls(), Entries{});
    EXPECT_EQ(in_memory(), counting());
}

TEST_F(Init, IsNotTriedAgainAfterAFlashThatCouldNotBeOpened) {
    break_open();
    EXPECT_EQ(permanent_data_init(), -1);
    EXPECT_EQ(permanent_data_inited, 1);
    EXPECT_EQ(board.log(), "ovra: permanent_data_init, hudi flash open fail\n");
    EXPECT_EQ(calls(), Entries{"call hudi_flash_open"});
    EXPECT_EQ(permanent_data_init(), -1);
    EXPECT_EQ(calls(), Entries{"call hudi_flash_open"});
}

TEST_F(Init, CountsAsMadeBeforeTheFlashIsTouched) {
    std::int32_t inited_at_open = 0;
    vendor().flash_open = [&inited_at_open](std::uint32_t*, int) {
        inited_at_open = permanent_data_inited;
        return 1;
    };
    permanent_data_init();
    EXPECT_EQ(inited_at_open, 1);
}

TEST_F(Init, LeavesTheFlashOpenWhenTheUidCannotBeRead) {
    vendor().flash_uid_read = [](std::uint32_t, std::uint8_t*, std::uint32_t*) { return -1; };
    vendor().otp = counting();
    EXPECT_EQ(permanent_data_init(), -1);
    EXPECT_EQ(calls(), (Entries{"call hudi_flash_open", "call hudi_flash_uid_read"}));
    EXPECT_EQ(board.log(), init_opened + "ovra: hudi_flash_uid_read fail.\n");
    EXPECT_EQ(in_memory(), filled(0));
}

TEST_F(Init, LeavesTheFlashOpenAndTheRecordZeroWhenTheRecordCannotBeRead) {
    vendor().flash_otp_read = [](std::uint32_t, std::uint32_t, std::uint32_t, void* buffer, std::uint32_t) {
        std::memset(buffer, '7', 100);
        return -5;
    };
    EXPECT_EQ(permanent_data_init(), -1);
    EXPECT_EQ(calls(),
              (Entries{"call hudi_flash_open", "call hudi_flash_uid_read", "call hudi_flash_otp_read"}));
    EXPECT_THAT(board.log(), EndsWith("\novra: hudi_flash_otp_read fail.\n"));
    EXPECT_EQ(in_memory(), filled(0));
}

TEST_F(Init, DumpsSixteenBytesOfUidWhateverItsLength) {
    vendor().flash_uid_read = [](std::uint32_t, std::uint8_t* uid, std::uint32_t* length) {
        std::memset(uid, 0xee, 8);
        *length = 8;
        return 0;
    };
    permanent_data_init();
    EXPECT_EQ(board.log().substr(0, init_opened.size() + 62),
              init_opened + "varnel: uid:\nee ee ee ee ee ee ee ee 00 00 00 00 00 00 00 00 \n");
}

// --- Reading -----------------------------------------------------------------------------------------

TEST_F(Read, IsServedFromMemory) {
    initialise_with(counting());
    vendor().otp = filled(0);
    Record out{};
    EXPECT_EQ(permanent_data_read(out.data()), 0);
    EXPECT_EQ(out, counting());
    EXPECT_EQ(calls(), Entries{});
}

TEST_F(Read, FillsTwoHundredAndTwentySevenBytesAndNoMore) {
    initialise_with(counting());
    std::array<std::uint8_t, 228> out{};
    out.back() = 0x55;
    EXPECT_EQ(permanent_data_read(out.data()), 0);
    EXPECT_EQ(out[226], 226);
    EXPECT_EQ(out.back(), 0x55);
}

TEST_F(Read, InitialisesWhenNobodyHas) {
    vendor().otp = counting();
    Record out{};
    EXPECT_EQ(permanent_data_read(out.data()), 0);
    EXPECT_EQ(out, counting());
    EXPECT_THAT(board.log(), StartsWith("ovra: permanent_data_read, permanent data is not init\n"));
}

TEST_F(Read, IsAllZeroWithoutAFlash) {
    break_open();
    Record out = filled(0x55);
    EXPECT_EQ(permanent_data_read(out.data()), 0);
    EXPECT_EQ(out, filled(0));
}

// Only 1 is the library's own mark; whatever else a host puts there is neither initialised nor fresh.
TEST_F(Read, CountsAForeignMarkAsNotInitialisedAndYetDoesNotReadTheFlash) {
    permanent_data_inited = 2;
    Record out = filled(0x55);
    EXPECT_EQ(permanent_data_read(out.data()), 0);
    EXPECT_EQ(out, filled(0));
    EXPECT_EQ(calls(), Entries{});
}

// --- Writing -----------------------------------------------------------------------------------------

TEST_F(Write, GoesToTheFlashAndToTheCopy) {
    initialise_with(filled(0));
    EXPECT_EQ(permanent_data_write(counting().data()), 0);
    EXPECT_EQ(vendor().otp, counting());
    EXPECT_EQ(in_memory(), counting());
    EXPECT_EQ(calls(), (Entries{"call hudi_flash_open", "call hudi_flash_otp_write", "call hudi_flash_close"}));
}

TEST_F(Write, IsOneRequestForTheWholeRecord) {
    initialise_with(filled(0));
    vendor().flash_otp_write = [](std::uint32_t handle, std::uint32_t area, std::uint32_t offset, const void*,
                                  std::uint32_t length) {
        EXPECT_EQ(handle, 0x1234U);
        EXPECT_EQ(area, 2U);
        EXPECT_EQ(offset, 0U);
        EXPECT_EQ(length, 227U);
        return 227;
    };
    EXPECT_EQ(permanent_data_write(filled(1).data()), 0);
    EXPECT_EQ(in_memory(), filled(1));
}

TEST_F(Write, TakesTheCopyItself) {
    initialise_with(counting());
    glb_permanent_data.tmr_flag = '4';
    EXPECT_EQ(permanent_data_write(&glb_permanent_data), 0);
    EXPECT_EQ(vendor().otp[224], '4');
    EXPECT_EQ(glb_permanent_data.tmr_flag, '4');
}

TEST_F(Write, LeavesTheCopyWhenTheFlashRefuses) {
    initialise_with(counting());
    break_write();
    EXPECT_EQ(permanent_data_write(filled(9).data()), -1);
    EXPECT_EQ(calls(), (Entries{"call hudi_flash_open", "call hudi_flash_otp_write", "call hudi_flash_close"}));
    Record out{};
    permanent_data_read(out.data());
    EXPECT_EQ(out, counting());
}

TEST_F(Write, ClosesTheFlashBeforeItLogsTheFailure) {
    initialise_with(counting());
    break_write();
    permanent_data_write(filled(9).data());
    EXPECT_EQ(board.journal({"call", "print"}),
              (Entries{"call hudi_flash_open", "call hudi_flash_otp_write", "call hudi_flash_close",
                       "print ovra: hudi_flash_otp_write fail.", "print ovra: permanent_data_write, fail."}));
}

TEST_F(Write, PrintsExactlyThatTheFlashCannotBeOpened) {
    initialise_with(counting());
    break_open();
    EXPECT_EQ(permanent_data_write(filled(9).data()), -1);
    EXPECT_EQ(board.log(), "varnel: hudi flash open fail\novra: permanent_data_write, fail.\n");
    EXPECT_EQ(calls(), Entries{"call hudi_flash_open"});
    EXPECT_EQ(in_memory(), counting());
}

TEST_F(Write, RefusesANullPointer) {
    initialise_with(counting());
    EXPECT_EQ(permanent_data_write(nullptr), -1);
    EXPECT_EQ(board.log(), "ovra: Invalid data address!\novra: permanent_data_write, fail.\n");
    EXPECT_EQ(calls(), Entries{});
    EXPECT_EQ(in_memory(), counting());
}

TEST_F(Write, InitialisesWhenNobodyHas) {
    vendor().otp = filled(3);
    EXPECT_EQ(permanent_data_write(counting().data()), 0);
    EXPECT_EQ(in_memory(), counting());
    EXPECT_THAT(board.log(), StartsWith("ovra: permanent_data_write, permanent data is not init\n"));
}

// --- Cleaning ----------------------------------------------------------------------------------------

TEST_F(Clean, ErasesFlashAndCopy) {
    initialise_with(counting());
    EXPECT_EQ(permanent_data_clean(), 0);
    EXPECT_EQ(vendor().otp, filled(0xff));
    EXPECT_EQ(in_memory(), filled(0xff));
}

TEST_F(Clean, ErasesTheCopyEvenWhenTheFlashRefuses) {
    initialise_with(counting());
    break_write();
    EXPECT_EQ(permanent_data_clean(), -1);
    EXPECT_EQ(vendor().otp, counting());
    EXPECT_EQ(in_memory(), filled(0xff));
    EXPECT_THAT(board.log(), EndsWith("ovra: permanent_data_clean, fail.\n"));
}

TEST_F(Clean, ErasesTheCopyBeforeTheFlashIsWritten) {
    initialise_with(counting());
    std::uint8_t first_byte = 0;
    vendor().flash_otp_write = [&first_byte](std::uint32_t, std::uint32_t, std::uint32_t, const void*,
                                             std::uint32_t) {
        first_byte = static_cast<std::uint8_t>(glb_permanent_data.tmr_table_text[0]);
        return 0;
    };
    EXPECT_EQ(permanent_data_clean(), 0);
    EXPECT_EQ(first_byte, 0xff);
}

TEST_F(Clean, InitialisesWhenNobodyHas) {
    vendor().otp = filled(3);
    EXPECT_EQ(permanent_data_clean(), 0);
    EXPECT_EQ(in_memory(), filled(0xff));
    EXPECT_THAT(board.log(), StartsWith("ovra: permanent_data_clean, permanent data is not init\n"));
}

TEST_F(PermanentData, IsReadWrittenAndCleanedInSilence) {
    initialise_with(counting());
    Record out{};
    permanent_data_read(out.data());
    permanent_data_write(filled(1).data());
    permanent_data_clean();
    EXPECT_EQ(board.log(), "");
}

// --- The dump ----------------------------------------------------------------------------------------

const std::string dump_start = "ovra: -------dump_permanent_data_for_debug, start---------\n";
const std::string dump_end = "ovra: -------dump_permanent_data_for_debug, end---------\n";
const std::string dump_failed = "ovra: dump_permanent_data_for_debug, fail.\n";

Record with_serial_numbers(const std::string& device, const std::string& mainboard) {
    Record record{};
    std::memcpy(record.data() + 174, device.data(), device.size());
    std::memcpy(record.data() + 198, mainboard.data(), mainboard.size());
    return record;
}

TEST_F(Dump, ReadsTheFlashOnce) {
    const Record record = with_serial_numbers("PJ-0001", "MB-77");
    initialise_with(record);
    EXPECT_EQ(dump_permanent_data_for_debug(), 0);
    EXPECT_EQ(calls(), (Entries{"call hudi_flash_open", "call hudi_flash_otp_read", "call hudi_flash_close"}));
    EXPECT_EQ(board.log().find("not same"), std::string::npos);
}

TEST_F(Dump, PrintsExactlyBothAndWarnsWhenTheyDiffer) {
    initialise_with(filled(1));
    Record record = filled(1);
    record[226] = 2;
    record[174] = record[198] = 0;
    vendor().otp = record;
    EXPECT_EQ(dump_permanent_data_for_debug(), 0);
    EXPECT_EQ(board.log(), dump_start + dump("read otp2 data", record) + "ovra: device_sn=, mainboard_sn=\n" +
                               dump("otp_permanent_data", record) + dump("glb_permanent_data", filled(1)) +
                               "ovra: permanent_data is not same fail!!!!!!!!\n" + dump_end);
    EXPECT_EQ(in_memory(), filled(1));
}

TEST_F(Dump, PrintsSerialNumbersThatFillTheirFields) {
    const std::string device = "ABCDEFGHIJKLMNOPQRSTUVWX";
    const std::string mainboard = "abcdefghijklmnopqrstuvwx";
    initialise_with(with_serial_numbers(device, mainboard));
    dump_permanent_data_for_debug();
    const std::string line = "ovra: device_sn=" + device + ", mainboard_sn=" + mainboard + "\n";
    EXPECT_NE(board.log().find("\n" + line), std::string::npos);
}

TEST_F(Dump, IsRefusedBeforeTheRecordIsInitialised) {
    EXPECT_EQ(dump_permanent_data_for_debug(), -1);
    EXPECT_EQ(permanent_data_inited, 0);
    EXPECT_EQ(board.log(), "ovra: dump_permanent_data_for_debug, permanent data is not init\n");
    EXPECT_EQ(calls(), Entries{});
}

TEST_F(Dump, PrintsExactlyThatTheFlashCannotBeOpened) {
    initialise_with(counting());
    break_open();
    EXPECT_EQ(dump_permanent_data_for_debug(), -1);
    EXPECT_EQ(board.log(), dump_start + "varnel: hudi flash open fail\n" + dump_failed);
}

TEST_F(Dump, ClosesTheFlashBeforeItLogsAFailedRead) {
    initialise_with(counting());
    vendor().flash_otp_read = [](std::uint32_t, std::uint32_t, std::uint32_t, void*, std::uint32_t) {
        return -1;
    };
    EXPECT_EQ(dump_permanent_data_for_debug(), -1);
    EXPECT_EQ(
        board.journal({"call", "print"}),
        (Entries{"print ovra: -------dump_permanent_data_for_debug, start---------", "call hudi_flash_open",
                 "call hudi_flash_otp_read", "call hudi_flash_close", "print ovra: hudi_flash_otp_read fail.",
                 "print ovra: dump_permanent_data_for_debug, fail."}));
    EXPECT_EQ(in_memory(), counting());
}

}  // namespace
