#include "virtual_projector/devices/attribute.h"

#include "tests/virtual_projector/devices/board_fixture.h"

namespace vp {
namespace {

struct AttributeTest : BoardTest {
    long value = 5;
    bool present = true;

    void add(Show show, Store store) {
        nodes.add("/sys/class/motor/test",
                  make_attribute(
                      *board, [this](const Settings&) { return present; }, std::move(show), std::move(store)));
    }
    void add_readable() {
        add(show_number([this](World&) { return value; }), {});
    }
    void add_writable() {
        add({}, store_number(-3, 9, [this](World&, long taken) {
                value = taken;
                return 0L;
            }));
    }
    std::string path = "/sys/class/motor/test";
};

TEST_F(AttributeTest, ShowsItsNumberWithANewline) {
    add_readable();
    EXPECT_EQ(read(path), "5\n");
}

TEST_F(AttributeTest, ReadsOnFromWhereTheLastReadEnded) {
    value = 123;
    add_readable();
    const auto file = open(path, O_RDONLY);
    char buffer[3] = {};
    EXPECT_EQ(file->read(buffer, 2).result, 2);
    EXPECT_STREQ(buffer, "12");
    value = 999;  // the text was made at the first read
    EXPECT_EQ(file->read(buffer, 2).result, 2);
    EXPECT_STREQ(buffer, "3\n");
    EXPECT_EQ(file->read(buffer, 2).result, 0);
}

TEST_F(AttributeTest, WithoutAStoreFunctionIsNotOpenedForWriting) {
    add_readable();
    EXPECT_EQ(open_error(path, O_WRONLY), EACCES);
    EXPECT_EQ(open_error(path, O_RDWR), EACCES);
    EXPECT_NE(open(path, O_RDONLY), nullptr);
}

TEST_F(AttributeTest, WithoutAShowFunctionIsNotOpenedForReading) {
    add_writable();
    EXPECT_EQ(open_error(path, O_RDONLY), EACCES);
    EXPECT_EQ(open_error(path, O_RDWR), EACCES);
    EXPECT_NE(open(path, O_WRONLY | O_CREAT | O_TRUNC), nullptr);
}

TEST_F(AttributeTest, IsMissingWhileItsHardwareIs) {
    add_readable();
    present = false;
    EXPECT_EQ(open_error(path, O_RDONLY), ENOENT);
    present = true;
    EXPECT_EQ(read(path), "5\n");
}

TEST_F(AttributeTest, RefusesTheCallThatTheFileWasNotOpenedFor) {
    add(show_number([](World&) { return 1; }), store_number(0, 1, [](World&, long) { return 0L; }));
    char byte = '1';
    EXPECT_EQ(open(path, O_WRONLY)->read(&byte, 1).result, -EBADF);
    EXPECT_EQ(open(path, O_RDONLY)->write(&byte, 1).result, -EBADF);
}

TEST_F(AttributeTest, KnowsNoRequests) {
    add_readable();
    EXPECT_EQ(open(path, O_RDONLY)->request(0x4004A203, nullptr).result, -ENOTTY);
}

TEST_F(AttributeTest, TakesNumbersWithAndWithoutANewline) {
    add_writable();
    EXPECT_EQ(write(path, "7"), 1);
    EXPECT_EQ(value, 7);
    EXPECT_EQ(write(path, "-3\n"), 3);
    EXPECT_EQ(value, -3);
    EXPECT_EQ(write(path, "+4"), 2);
    EXPECT_EQ(value, 4);
}

TEST_F(AttributeTest, RefusesWhatIsNoNumberOrOutOfRange) {
    add_writable();
    for (const char* text :
         {"x", "7x", " 7", "7 ", "\n", "7\n\n", "--7", "10", "-4", "99999999999999999999", "0x1"}) {
        EXPECT_EQ(write(path, text), -EINVAL) << text;
    }
    EXPECT_EQ(value, 5);
}

TEST_F(AttributeTest, AnEmptyWriteDoesNothing) {
    add_writable();
    EXPECT_EQ(write(path, ""), 0);
    EXPECT_EQ(value, 5);
}

}  // namespace
}  // namespace vp
