#include "ovrafocus/nds01_sysfs.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <string>
#include <vector>

#include "tests/support/refused_memory.h"
#include "tests/support/scripted_board.h"

namespace {

using testkit::Fault;
using testkit::RefusedMemory;
using testkit::ScriptedBoard;

constexpr const char* name = "level";
constexpr const char* directory = "/sys/class/nd_tof/nds01";
const std::string path = "/sys/class/nd_tof/nds01/level";

struct Sysfs : ::testing::Test {
    ScriptedBoard board;

    void refuse(const std::string& operation, int error_number) {
        Fault fault;
        fault.operation = operation;
        fault.path = path;
        fault.error_number = error_number;
        board.fail(fault);
    }

    void TearDown() override { EXPECT_EQ(board.open_descriptors(), std::vector<std::string>{}); }
};

/// The helpers, each with arguments that suit a node holding "7".
struct Helper {
    const char* name;
    std::function<int32_t()> call;
};

int32_t read_int() {
    int32_t value = 0;
    return read_sysfs_int(name, directory, &value);
}

int32_t read_float() {
    float value = 0;
    return read_sysfs_float(name, directory, &value);
}

int32_t read_string() {
    char text[4096];
    return read_sysfs_string(name, directory, text);
}

int32_t read_raw() {
    uint8_t byte = 0;
    return read_sysfs_u8data(name, directory, &byte, 1);
}

const uint8_t three_bytes[] = {1, 2, 3};

const std::vector<Helper> writers = {
    {"write_sysfs_int", [] { return write_sysfs_int(name, directory, 7); }},
    {"write_sysfs_float", [] { return write_sysfs_float(name, directory, 7); }},
    {"write_sysfs_string", [] { return write_sysfs_string(name, directory, "7"); }},
    {"write_sysfs_u8data", [] { return write_sysfs_u8data(name, directory, three_bytes, 3); }},
};

const std::vector<Helper> scanning_readers = {
    {"read_sysfs_int", read_int},
    {"read_sysfs_float", read_float},
    {"read_sysfs_string", read_string},
};

std::vector<Helper> all_helpers() {
    std::vector<Helper> helpers = writers;
    helpers.insert(helpers.end(), scanning_readers.begin(), scanning_readers.end());
    helpers.push_back({"read_sysfs_u8data", read_raw});
    return helpers;
}

// --- Success ----------------------------------------------------------------------------------------

TEST_F(Sysfs, WritesAnIntInDecimalWithoutANewline) {
    board.text(path, "");
    EXPECT_EQ(write_sysfs_int(name, directory, -120), 0);
    EXPECT_EQ(write_sysfs_int(name, directory, INT32_MIN), 0);
    EXPECT_EQ(board.writes(path), (std::vector<std::string>{"-120", "-2147483648"}));
}

TEST_F(Sysfs, WritesAFloatWithSixDecimals) {
    board.text(path, "");
    EXPECT_EQ(write_sysfs_float(name, directory, 1.5f), 0);
    EXPECT_EQ(write_sysfs_float(name, directory, -3.4028235e38f), 0);
    EXPECT_EQ(board.writes(path),
              (std::vector<std::string>{"1.500000", "-340282346638528859811704183484516925440.000000"}));
}

TEST_F(Sysfs, WritesATextAsItIs) {
    board.text(path, "");
    EXPECT_EQ(write_sysfs_string(name, directory, "step 1%s"), 0);
    EXPECT_EQ(board.writes(path), std::vector<std::string>{"step 1%s"});
}

TEST_F(Sysfs, WritesRawBytesInOnePieceAndCountsThem) {
    board.text(path, "");
    const uint8_t bytes[12] = {0, 1, 2, 10, 0, 255};
    EXPECT_EQ(write_sysfs_u8data(name, directory, bytes, 12), 12);
    EXPECT_EQ(board.writes(path), (std::vector<std::string>{std::string("\0\1\2\n\0\xFF\0\0\0\0\0\0", 12)}));
}

TEST_F(Sysfs, WritesAndReadsNothingForACountOfZero) {
    board.text(path, "abc");
    uint8_t byte = 9;
    EXPECT_EQ(write_sysfs_u8data(name, directory, &byte, 0), 0);
    EXPECT_EQ(read_sysfs_u8data(name, directory, &byte, 0), 0);
    EXPECT_EQ(byte, 9);
    EXPECT_EQ(board.writes(path), std::vector<std::string>{});
}

TEST_F(Sysfs, ReadsAnIntAndReturnsThePathsLength) {
    board.text(path, " -42 7\n");
    int32_t value = 0;
    EXPECT_EQ(read_sysfs_int(name, directory, &value), static_cast<int32_t>(path.size()));
    EXPECT_EQ(value, -42);
}

TEST_F(Sysfs, ReadsAFloatAndReturnsThePathsLength) {
    board.text(path, "2.25\n");
    float value = 0;
    EXPECT_EQ(read_sysfs_float(name, directory, &value), static_cast<int32_t>(path.size()));
    EXPECT_EQ(value, 2.25f);
}

TEST_F(Sysfs, ReadsTheFirstWordOfAText) {
    board.text(path, "ranging now\n");
    char text[4096];
    EXPECT_EQ(read_sysfs_string(name, directory, text), static_cast<int32_t>(path.size()));
    EXPECT_STREQ(text, "ranging");
}

TEST_F(Sysfs, CutsAWordThatIsLongerThanAnAttributeCanBe) {
    board.text(path, std::string(5000, 'x'));
    std::vector<char> text(5001, '?');
    EXPECT_GE(read_sysfs_string(name, directory, text.data()), 0);
    EXPECT_EQ(std::string(text.data()), std::string(4095, 'x'));
}

TEST_F(Sysfs, ReadsRawBytesAndCountsThem) {
    board.text(path, std::string("\0\1\2\3\4", 5));
    uint8_t bytes[5] = {9, 9, 9, 9, 9};
    EXPECT_EQ(read_sysfs_u8data(name, directory, bytes, 4), 4);
    EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + 5), (std::vector<uint8_t>{0, 1, 2, 3, 9}));
}

TEST_F(Sysfs, ReturnsTheShortCountOfARawRead) {
    board.text(path, "ab");
    uint8_t bytes[4] = {9, 9, 9, 9};
    EXPECT_EQ(read_sysfs_u8data(name, directory, bytes, 4), 2);
    EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + 4), (std::vector<uint8_t>{'a', 'b', 9, 9}));
}

TEST_F(Sysfs, ReturnsTheShortCountOfARawWrite) {
    board.on_write(path, [](const std::string&) { return 2L; });
    EXPECT_EQ(write_sysfs_u8data(name, directory, three_bytes, 3), 2);
    EXPECT_EQ(board.writes(path).size(), 1u);
}

TEST_F(Sysfs, JoinsAnyDirectoryAndName) {
    board.text("/sys/class/tof/deep/level", "5");
    int32_t value = 0;
    EXPECT_EQ(read_sysfs_int("deep/level", "/sys/class/tof", &value), 25);
    EXPECT_EQ(value, 5);
}

TEST_F(Sysfs, IsSilentOnSuccess) {
    board.text(path, "7");
    for (const Helper& helper : all_helpers()) EXPECT_GE(helper.call(), 0) << helper.name;
    EXPECT_EQ(board.log() + board.errors(), "");
}

// --- Failures ---------------------------------------------------------------------------------------

TEST_F(Sysfs, PrintsExactlyWhichAttributeAWriterCannotOpen) {
    const std::string line = "[ovra_tof]  failed to open " + path + "\n\n";
    EXPECT_EQ(writers[0].call(), -ENOENT);
    EXPECT_EQ(board.log(), line);
    EXPECT_EQ(writers[1].call(), -ENOENT);
    EXPECT_EQ(board.log(), line);
    EXPECT_EQ(writers[2].call(), -ENOENT);
    EXPECT_EQ(board.log(), "[ovra_tof]  Could not open " + path + "\n\n");
    EXPECT_EQ(writers[3].call(), -ENOENT);
    EXPECT_EQ(board.log(), line);
}

TEST_F(Sysfs, PrintsExactlyWhichAttributeTheRawReaderCannotOpen) {
    EXPECT_EQ(read_raw(), -ENOENT);
    EXPECT_EQ(board.log(), "[ovra_tof]  failed to open " + path + "\n\n");
}

TEST_F(Sysfs, ReturnsTheErrorOfAScanningReaderThatCannotOpen) {
    for (const Helper& reader : scanning_readers) EXPECT_EQ(reader.call(), -ENOENT) << reader.name;
}

TEST_F(Sysfs, ReturnsTheErrorOfOpening) {
    board.text(path, "7");
    refuse("open", EACCES);
    for (const Helper& helper : all_helpers()) EXPECT_EQ(helper.call(), -EACCES) << helper.name;
}

TEST_F(Sysfs, HasNoDataWhenTheTextIsNoNumber) {
    board.text(path, "abc");
    errno = EACCES;  // an old error does not count
    int32_t number = 3;
    EXPECT_EQ(read_sysfs_int(name, directory, &number), -ENODATA);
    EXPECT_EQ(number, 3);
    float real = 4;
    errno = EACCES;
    EXPECT_EQ(read_sysfs_float(name, directory, &real), -ENODATA);
    EXPECT_EQ(real, 4.0f);
}

TEST_F(Sysfs, HasNoDataWhenTheAttributeIsEmpty) {
    board.text(path, "\n");
    for (const Helper& reader : scanning_readers) EXPECT_EQ(reader.call(), -ENODATA) << reader.name;
}

TEST_F(Sysfs, ReturnsTheErrorOfARefusedScan) {
    board.text(path, "7");
    refuse("read", EIO);
    for (const Helper& reader : scanning_readers) EXPECT_EQ(reader.call(), -EIO) << reader.name;
}

TEST_F(Sysfs, CountsNoBytesWhenARawReadIsRefused) {
    board.text(path, "7");
    refuse("read", EIO);
    EXPECT_EQ(read_raw(), 0);
}

TEST_F(Sysfs, ReturnsTheErrorOfARefusedWrite) {
    board.on_write(path, [](const std::string&) { return -static_cast<long>(EINVAL); });
    for (const Helper& writer : writers) EXPECT_EQ(writer.call(), -EINVAL) << writer.name;
}

TEST_F(Sysfs, FailsWithAnInputOutputErrorWhenTheDriverTakesNoByteAndNamesNoError) {
    board.on_write(path, [](const std::string&) { return 0L; });
    for (const Helper& writer : writers) {
        errno = ENOSPC;  // an old error does not count
        const int32_t expected = writer.name == std::string("write_sysfs_u8data") ? 0 : -EIO;
        EXPECT_EQ(writer.call(), expected) << writer.name;
    }
}

TEST_F(Sysfs, ReturnsTheErrorOfClosing) {
    board.text(path, "7");
    refuse("close", EIO);
    for (const Helper& helper : all_helpers()) EXPECT_EQ(helper.call(), -EIO) << helper.name;
}

TEST_F(Sysfs, PrintsExactlyWhichCloseFailedAfterAWriteAndReturnsTheWritesError) {
    board.on_write(path, [](const std::string&) { return -static_cast<long>(EINVAL); });
    refuse("close", EIO);
    for (const Helper& writer : writers) {
        EXPECT_EQ(writer.call(), -EINVAL);
        EXPECT_EQ(board.errors(), std::string(writer.name) + "(): Failed to close dir: Input/output error\n");
    }
}

TEST_F(Sysfs, ReturnsTheCountOfAShortRawWriteAlsoWhenTheCloseFails) {
    board.on_write(path, [](const std::string&) { return 1L; });
    refuse("close", EIO);
    EXPECT_EQ(write_sysfs_u8data(name, directory, three_bytes, 3), 1);
}

TEST_F(Sysfs, PrintsExactlyWhichCloseFailedAfterAScanAndReturnsTheScansError) {
    board.text(path, "");
    refuse("close", EIO);
    for (const Helper& reader : scanning_readers) {
        EXPECT_EQ(reader.call(), -ENODATA);
        EXPECT_EQ(board.errors(), std::string(reader.name) + "(): Failed to close dir: Input/output error\n");
    }
}

TEST_F(Sysfs, PrintsExactlyWhichCloseFailedAfterARefusedRawRead) {
    board.text(path, "7");
    refuse("read", ENXIO);
    refuse("close", EIO);
    EXPECT_EQ(read_raw(), 0);
    EXPECT_EQ(board.errors(), "read_sysfs_u8data(): Failed to close dir: Input/output error\n");
}

TEST_F(Sysfs, IsSilentAboutFailuresThatAreReturned) {
    for (const Helper& reader : scanning_readers) reader.call();  // the attribute is missing
    board.text(path, "\n");
    for (const Helper& reader : scanning_readers) reader.call();
    board.on_write(path, [](const std::string&) { return -static_cast<long>(EINVAL); });
    for (const Helper& writer : writers) writer.call();
    refuse("read", EIO);
    for (const Helper& helper : all_helpers()) helper.call();
    EXPECT_EQ(board.log() + board.errors(), "");
}

TEST_F(Sysfs, IsSilentAboutACloseWhoseErrorIsReturned) {
    board.text(path, "7");
    refuse("close", EIO);
    for (const Helper& helper : all_helpers()) helper.call();
    EXPECT_EQ(board.log() + board.errors(), "");
}

// --- No memory --------------------------------------------------------------------------------------

struct SysfsWithoutMemory : Sysfs {
    const std::string far_directory = std::string(9000, 'd');
    const size_t path_bytes = far_directory.size() + std::string(name).size() + 2;

    void SetUp() override {
        if (!RefusedMemory::possible) GTEST_SKIP() << "a sanitizer hands out the memory";
    }
};

TEST_F(SysfsWithoutMemory, MostHelpersFailInSilence) {
    const RefusedMemory refused(path_bytes);
    uint8_t byte = 0;
    EXPECT_EQ(write_sysfs_int(name, far_directory.c_str(), 1), -ENOMEM);
    EXPECT_EQ(write_sysfs_float(name, far_directory.c_str(), 1), -ENOMEM);
    EXPECT_EQ(write_sysfs_u8data(name, far_directory.c_str(), &byte, 1), -ENOMEM);
    EXPECT_EQ(read_sysfs_u8data(name, far_directory.c_str(), &byte, 1), -ENOMEM);
    EXPECT_EQ(board.log() + board.errors(), "");
}

TEST_F(SysfsWithoutMemory, TheTextWriterPrintsThatOnStandardOutput) {
    const RefusedMemory refused(path_bytes);
    EXPECT_EQ(write_sysfs_string(name, far_directory.c_str(), "x"), -ENOMEM);
    EXPECT_EQ(board.log(), "[ovra_tof]  Memory allocation failed\n");
}

TEST_F(SysfsWithoutMemory, TheScanningReadersPrintThatOnStandardError) {
    const RefusedMemory refused(path_bytes);
    int32_t number = 0;
    float real = 0;
    char text[8];
    EXPECT_EQ(read_sysfs_int(name, far_directory.c_str(), &number), -ENOMEM);
    EXPECT_EQ(read_sysfs_float(name, far_directory.c_str(), &real), -ENOMEM);
    EXPECT_EQ(read_sysfs_string(name, far_directory.c_str(), text), -ENOMEM);
    const std::string line = "[ovra_tof]  Memory allocation failed\n";
    EXPECT_EQ(board.errors(), line + line + line);
}

}  // namespace
