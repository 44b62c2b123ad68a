#include "virtual_projector/report/lanes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace {

vp::CallAt call(std::int64_t t_us, const std::string& kind, const std::string& path, std::int64_t took_us) {
    vp::CallAt call;
    call.t_us = t_us;
    call.thread = 2;
    call.thread_name = "worker";
    call.call = kind;
    call.path = path;
    call.took_us = took_us;
    return call;
}

vp::CallAt sleep_call(std::int64_t t_us, std::int64_t us) {
    vp::CallAt sleep = call(t_us, "sleep", "", 0);
    sleep.us = us;
    return sleep;
}

std::vector<std::string> words_of(const vp::LaneCollector& collector) {
    std::vector<std::string> words;
    for (const vp::Slice& slice : collector.lanes().at(2).slices) {
        words.push_back(std::to_string(slice.begin_us) + ".." + std::to_string(slice.end_us) + " " +
                        vp::slice_kind_name(slice.kind) + ": " + collector.names().at(slice.what));
    }
    return words;
}

vp::Slice slice(std::int64_t begin_us, std::int64_t end_us, vp::SliceKind kind = vp::SliceKind::call) {
    return {begin_us, end_us, 0, kind};
}

TEST(ALane, HoldsWaitsCallsHeldLocksAndCallbacks) {
    vp::LaneCollector collector(false);
    collector.take_call(call(10, "read", "/dev/x", 4));
    collector.take_call(call(11, "read", "/dev/x", 0));  // takes no time
    collector.take_call(call(30, "lock", "mutex_focus", 15));
    vp::CallAt unlock = call(50, "unlock", "mutex_focus", 0);
    unlock.us = 20;
    collector.take_call(unlock);
    vp::ReturnLine end;
    end.t_us = 70;
    end.thread = 2;
    end.callback = "toast";
    end.took_us = 5;
    collector.take_return(end);
    EXPECT_EQ(words_of(collector),
              (std::vector<std::string>{"6..10 call: read /dev/x", "15..30 wait: lock mutex_focus",
                                        "30..50 hold: hold mutex_focus", "65..70 callback: callback toast"}));
    EXPECT_EQ(collector.lanes().at(2).name, "worker");
}

TEST(ALane, HoldsASleepUntilItsEndOrUntilTheThreadDoesSomethingElse) {
    vp::LaneCollector collector(false);
    collector.take_call(sleep_call(0, 100));
    collector.take_call(sleep_call(100, 1000));
    collector.take_call(call(400, "read", "/dev/x", 0));  // a signal woke it
    collector.take_call(sleep_call(400, 1000));
    collector.finish(500);
    EXPECT_EQ(words_of(collector),
              (std::vector<std::string>{"0..100 wait: sleep", "100..400 wait: sleep", "400..500 wait: sleep"}));
}

vp::WaitLine wait(std::int64_t t_us, const std::string& kind, const std::string& path, std::int64_t took_us) {
    return {t_us, 2, "worker", kind, path, took_us, "woken"};
}

TEST(ALane, HoldsWaitsWithTheNamesOfWhatWasWaitedFor) {
    vp::LaneCollector collector(false);
    collector.take_wait(wait(10, "condition", "key_pressed", 4));
    collector.take_wait(wait(20, "semaphore", "semaphore 1", 5));
    collector.take_wait(wait(30, "signal", "", 1));
    collector.take_wait(wait(40, "descriptor", "pipe", 10));
    collector.take_wait(wait(50, "descriptor", "", 5));
    collector.take_wait(wait(70, "end of", "3 sampler", 20));
    EXPECT_EQ(words_of(collector),
              (std::vector<std::string>{"6..10 wait: wait for condition key_pressed",
                                        "15..20 wait: wait for semaphore 1", "29..30 wait: wait for a signal",
                                        "30..40 wait: wait for pipe", "45..50 wait: wait for a descriptor",
                                        "50..70 wait: wait for end of 3 sampler"}));
    EXPECT_EQ(collector.lanes().at(2).name, "worker");
}

TEST(ALane, EndsASleepWhereAWaitBegins) {
    vp::LaneCollector collector(false);
    collector.take_call(sleep_call(0, 1000));
    collector.take_wait(wait(400, "condition", "", 100));
    EXPECT_EQ(words_of(collector),
              (std::vector<std::string>{"0..300 wait: sleep", "300..400 wait: wait for a condition"}));
}

TEST(ALane, HoldsCallsThatTakeNoTimeWhereTheyAreWanted) {
    vp::LaneCollector collector(true);
    collector.take_call(call(11, "call", "nx_cal_pc", 0));
    EXPECT_EQ(words_of(collector), (std::vector<std::string>{"11..11 call: nx_cal_pc"}));
}

TEST(Slices, ThatOverlapStandInFurtherRows) {
    const auto rows = vp::nested_rows({slice(0, 10), slice(2, 8), slice(5, 12), slice(10, 20)});
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[0].size(), 3U);
    ASSERT_EQ(rows[1].size(), 1U);
    EXPECT_EQ(rows[1][0].begin_us, 5);
}

// Slow but plain: every pair lies apart or one in the other.
bool is_nested(const std::vector<vp::Slice>& row) {
    for (const vp::Slice& a : row) {
        for (const vp::Slice& b : row) {
            const bool overlap = a.begin_us < b.begin_us && b.begin_us < a.end_us && a.end_us < b.end_us;
            if (overlap) return false;
        }
    }
    return std::is_sorted(row.begin(), row.end(),
                          [](const vp::Slice& a, const vp::Slice& b) { return a.begin_us < b.begin_us; });
}

TEST(Slices, OfWhateverKindAreNestedInEveryRowAndNoneIsLost) {
    for (unsigned seed = 0; seed < 300; ++seed) {
        std::mt19937 random(seed);
        std::vector<vp::Slice> slices;
        for (unsigned i = 0; i < random() % 30; ++i) {
            const std::int64_t begin = random() % 20;
            slices.push_back(slice(begin, begin + static_cast<std::int64_t>(random() % 10)));
        }
        std::size_t count = 0;
        for (const std::vector<vp::Slice>& row : vp::nested_rows(slices)) {
            EXPECT_TRUE(is_nested(row)) << "seed " << seed;
            count += row.size();
        }
        EXPECT_EQ(count, slices.size()) << "seed " << seed;
    }
}

TEST(Slices, ThatAreFewAreNotMerged) {
    std::int64_t merged_us = -1;
    EXPECT_EQ(vp::merge_short({slice(0, 10), slice(10, 20)}, 2, merged_us).size(), 2U);
    EXPECT_EQ(merged_us, 0);
}

TEST(Slices, ThatAreManyAreMergedWhereTheyAreShortAndFollowEachOtherAtOnce) {
    std::vector<vp::Slice> slices;
    for (std::int64_t i = 0; i < 100; ++i) slices.push_back(slice(i * 20000, (i + 1) * 20000));
    slices.insert(slices.begin() + 50, slice(1000000, 1001000, vp::SliceKind::hold));
    std::int64_t merged_us = 0;
    const std::vector<vp::Slice> fewer = vp::merge_short(slices, 10, merged_us);
    ASSERT_LE(fewer.size(), 10U);
    EXPECT_GE(merged_us, 20000);
    EXPECT_EQ(fewer.front().begin_us, 0);
    EXPECT_EQ(fewer.back().end_us, 2000000);
    EXPECT_EQ(std::count_if(fewer.begin(), fewer.end(),
                            [](const vp::Slice& each) { return each.kind == vp::SliceKind::hold; }),
              1);
}

TEST(Slices, ThatAreMergedAreWhatTheLongestOfThemIs) {
    std::vector<vp::Slice> slices = {slice(0, 30000, vp::SliceKind::call)};
    for (std::int64_t i = 0; i < 100; ++i)
        slices.push_back(slice(30000 + i * 40000, 30000 + (i + 1) * 40000, vp::SliceKind::wait));
    std::int64_t merged_us = 0;
    const std::vector<vp::Slice> fewer = vp::merge_short(slices, 10, merged_us);
    ASSERT_EQ(fewer.size(), 1U);
    EXPECT_EQ(fewer.front().kind, vp::SliceKind::wait);
}

}  // namespace
