#include "virtual_projector/interpose/host_tables.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace {

constexpr std::size_t slots = 11;
using Table = std::array<void*, slots>;
using Lines = std::vector<std::string>;

Lines heard;

void on_toast(std::int32_t code) { heard.push_back("host: toast " + std::to_string(code)); }
void on_other_toast(std::int32_t code) { heard.push_back("other host: toast " + std::to_string(code)); }
void on_refresh() { heard.emplace_back("host: refresh"); }
void on_widths(std::int32_t top, std::int32_t bottom) {
    heard.push_back("host: " + std::to_string(top) + " " + std::to_string(bottom));
}
std::int32_t is_in_factory() { return 7; }

template <typename Function>
void* slot_of(Function* function) {
    return reinterpret_cast<void*>(function);
}

struct Observer final : vp::HostCallObserver {
    vp::Microseconds begins(const vp::HostCall& call) override {
        std::string line = std::string(call.name) + " " + std::to_string(call.slot);
        for (const std::int32_t argument : call.arguments) line += " " + std::to_string(argument);
        heard.push_back(line + ": " + call.means);
        return 5;
    }
    void ends(const char* name, int /*slot*/, vp::Microseconds began_us, const std::int32_t* result) override {
        heard.push_back("back from " + std::string(name) + " of " + std::to_string(began_us) +
                        (result == nullptr ? "" : ": " + std::to_string(*result)));
    }
};

struct TheTableGivenToTheLibrary : ::testing::Test {
    TheTableGivenToTheLibrary() {
        heard.clear();
        vp::set_host_call_observer(&observer);
        host[5] = slot_of(on_toast);
    }
    ~TheTableGivenToTheLibrary() override { vp::set_host_call_observer(nullptr); }

    const Table& given() { return *static_cast<const Table*>(vp::stand_in_for(&host)); }
    void toast(std::int32_t code) { reinterpret_cast<void (*)(std::int32_t)>(given()[5])(code); }

    Observer observer;
    Table host{};
};

TEST_F(TheTableGivenToTheLibrary, HandsCallsOnToTheHostAndTellsOfThem) {
    toast(6);
    EXPECT_EQ(heard,
              (Lines{"toast 5 6: the lens is at its right limit", "host: toast 6", "back from toast of 5"}));
}

TEST_F(TheTableGivenToTheLibrary, TellsWhatTheHostAnswers) {
    host[6] = slot_of(is_in_factory);
    EXPECT_EQ(reinterpret_cast<std::int32_t (*)()>(given()[6])(), 7);
    EXPECT_EQ(heard.back(), "back from is_factory_test of 5: 7");
}

TEST_F(TheTableGivenToTheLibrary, HasWhatTheLibraryDoesNotUseAsTheHostHasIt) {
    host[1] = &host;
    EXPECT_EQ(given()[1], &host);
    EXPECT_EQ(given()[2], nullptr);
    EXPECT_NE(given()[5], host[5]);
}

// With it the host applies the keystone in the library's place.
TEST_F(TheTableGivenToTheLibrary, HasASlotForTheHostsKeystoneOnlyWhenTheHostHas) {
    EXPECT_EQ(given()[10], nullptr);
    host[10] = slot_of(on_widths);
    Table again = host;
    EXPECT_NE((*static_cast<const Table*>(vp::stand_in_for(&again)))[10], nullptr);
}

TEST_F(TheTableGivenToTheLibrary, LeavesOutWhatTheHostDoesNotWantToHear) {
    reinterpret_cast<void (*)()>(given()[4])();
    EXPECT_EQ(reinterpret_cast<std::int32_t (*)()>(given()[6])(), 0);
    EXPECT_EQ(heard, Lines{});
}

TEST_F(TheTableGivenToTheLibrary, CallsWhatTheHostHasInItsSlotNow) {
    const Table& table = given();
    host[5] = slot_of(on_other_toast);
    reinterpret_cast<void (*)(std::int32_t)>(table[5])(2);
    EXPECT_EQ(heard[1], "other host: toast 2");
    heard.clear();
    host[5] = nullptr;
    reinterpret_cast<void (*)(std::int32_t)>(table[5])(2);
    EXPECT_EQ(heard, Lines{});
}

TEST_F(TheTableGivenToTheLibrary, PassesEveryArgumentOn) {
    host[4] = slot_of(on_refresh);
    host[10] = slot_of(on_widths);
    reinterpret_cast<void (*)()>(given()[4])();
    reinterpret_cast<void (*)(std::int32_t, std::int32_t)>(given()[10])(1200, 1280);
    EXPECT_EQ(heard[1], "host: refresh");
    EXPECT_EQ(heard[3],
              "host_set_keystone 10 1200 1280: apply a picture 1200 pixels wide at its top and 1280 at "
              "its bottom");
    EXPECT_EQ(heard[4], "host: 1200 1280");
}

TEST_F(TheTableGivenToTheLibrary, IsTheSameForTheSameTableOfTheHosts) {
    EXPECT_EQ(vp::stand_in_for(&host), vp::stand_in_for(&host));
    EXPECT_EQ(vp::stand_in_for(vp::stand_in_for(&host)), vp::stand_in_for(&host));
    EXPECT_EQ(vp::host_table_behind(vp::stand_in_for(&host)), &host);
    EXPECT_EQ(vp::host_table_behind(&host), &host);
}

TEST_F(TheTableGivenToTheLibrary, KeepsSeveralTablesApart) {
    Table other{};
    other[5] = slot_of(on_other_toast);
    const auto* const theirs = static_cast<const Table*>(vp::stand_in_for(&other));
    EXPECT_NE(theirs, &given());
    reinterpret_cast<void (*)(std::int32_t)>((*theirs)[5])(2);
    toast(2);
    EXPECT_EQ(heard[1], "other host: toast 2");
    EXPECT_EQ(heard[4], "host: toast 2");
}

TEST_F(TheTableGivenToTheLibrary, IsTheHostsOwnWhenThereAreTooMany) {
    std::array<Table, 10> many{};
    int own = 0;
    for (const Table& table : many) own += vp::stand_in_for(&table) == &table ? 1 : 0;
    EXPECT_GT(own, 0);
    EXPECT_EQ(vp::stand_in_for(nullptr), nullptr);
}

TEST_F(TheTableGivenToTheLibrary, StillReachesTheHostWithNobodyToTell) {
    vp::set_host_call_observer(nullptr);
    toast(9);
    EXPECT_EQ(heard, Lines{"host: toast 9"});
}

}  // namespace
