#include "virtual_projector/devices/fault_plan.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace {

using vp::FaultEffect;
using vp::FaultPlan;
using vp::FaultRule;

FaultRule failing(const char* operation, const char* path, int nth = 0, int error_number = EIO) {
    FaultRule rule;
    rule.operation = operation;
    rule.path = path;
    rule.nth = nth;
    rule.effect.error_number = error_number;
    return rule;
}

TEST(FaultPlan, LetsEverythingThroughWithoutRules) {
    FaultPlan plan;
    EXPECT_TRUE(plan.effect_on("read", "/dev/dis").is_harmless());
}

TEST(FaultPlan, HitsOperationAndPathThatMatch) {
    FaultPlan plan;
    plan.add(failing("read", "/dev/dis"));
    EXPECT_EQ(plan.effect_on("read", "/dev/dis").error_number, EIO);
    EXPECT_TRUE(plan.effect_on("write", "/dev/dis").is_harmless());
    EXPECT_TRUE(plan.effect_on("read", "/dev/dis2").is_harmless());
}

TEST(FaultPlan, AnEmptyOperationOrPathMatchesAny) {
    FaultPlan plan;
    plan.add(failing("", "/dev/dis"));
    plan.add(failing("call", ""));
    EXPECT_FALSE(plan.effect_on("ioctl", "/dev/dis").is_harmless());
    EXPECT_FALSE(plan.effect_on("call", "usb_eth_config").is_harmless());
    EXPECT_TRUE(plan.effect_on("ioctl", "/dev/fb0").is_harmless());
}

TEST(FaultPlan, AStarAtTheEndMatchesWhatBeginsSo) {
    FaultPlan plan;
    plan.add(failing("open", "/sys/class/motor/*"));
    EXPECT_FALSE(plan.effect_on("open", "/sys/class/motor/stop").is_harmless());
    EXPECT_TRUE(plan.effect_on("open", "/sys/class/moto").is_harmless());
}

TEST(FaultPlan, HitsTheNthMatchingCallSinceTheRuleWasAdded) {
    FaultPlan plan;
    (void)plan.effect_on("read", "/dev/dis");
    plan.add(failing("read", "/dev/dis", 2));
    EXPECT_TRUE(plan.effect_on("read", "/dev/dis").is_harmless());
    EXPECT_TRUE(plan.effect_on("read", "/dev/fb0").is_harmless());
    EXPECT_FALSE(plan.effect_on("read", "/dev/dis").is_harmless());
    EXPECT_TRUE(plan.effect_on("read", "/dev/dis").is_harmless());
}

TEST(FaultPlan, TheFirstRuleThatHitsDecidesAndAllCount) {
    FaultPlan plan;
    plan.add(failing("read", "", 1, EIO));
    plan.add(failing("read", "", 2, EBUSY));
    EXPECT_EQ(plan.effect_on("read", "x").error_number, EIO);
    EXPECT_EQ(plan.effect_on("read", "x").error_number, EBUSY);
}

int hits_in(int calls, double probability, std::uint64_t seed) {
    FaultPlan plan(seed);
    FaultRule rule = failing("read", "");
    rule.probability = probability;
    plan.add(rule);
    int hits = 0;
    for (int i = 0; i < calls; ++i) hits += plan.effect_on("read", "x").is_harmless() ? 0 : 1;
    return hits;
}

TEST(FaultPlan, HitsWithAProbabilityDrawnFromTheSeed) {
    EXPECT_EQ(hits_in(1000, 0.0, 1), 0);
    EXPECT_EQ(hits_in(1000, 1.0, 1), 1000);
    EXPECT_NEAR(hits_in(1000, 0.25, 1), 250, 50);
    EXPECT_EQ(hits_in(1000, 0.25, 5), hits_in(1000, 0.25, 5));
}

TEST(FaultPlan, ForgetsItsRulesWhenCleared) {
    FaultPlan plan;
    plan.add(failing("", ""));
    plan.clear();
    EXPECT_TRUE(plan.effect_on("read", "x").is_harmless());
}

TEST(FaultPlan, NumbersItsRulesInTheOrderInWhichTheyCame) {
    FaultPlan plan;
    plan.add(failing("read", "x"));
    plan.add(failing("write", "x"));
    EXPECT_EQ(plan.effect_on("write", "x").number, 2);
    EXPECT_EQ(plan.effect_on("read", "x").number, 1);
    EXPECT_EQ(plan.effect_on("open", "x").number, 0);
    plan.clear();
    plan.add(failing("read", "x"));
    EXPECT_EQ(plan.effect_on("read", "x").number, 3);
}

TEST(FaultEffect, SaysInWordsWhatItDoesToEachKindOfCall) {
    FaultEffect effect;
    EXPECT_EQ(words_of(effect, "read"), "");
    effect.stale = true;
    EXPECT_EQ(words_of(effect, "read"), "delivered what was read last");
    EXPECT_EQ(words_of(effect, "ioctl"), "reported success and did nothing");
    EXPECT_EQ(words_of(effect, "open"), "");
    effect.garbage = "x";
    EXPECT_EQ(words_of(effect, "read"), "delivered other bytes");
    EXPECT_EQ(words_of(effect, "call"), "handed out other bytes");
    effect.short_count = 3;
    EXPECT_EQ(words_of(effect, "write"), "moved at most 3 bytes");
    EXPECT_EQ(words_of(effect, "ioctl"), "had the result 3");
    EXPECT_EQ(words_of(effect, "close"), "");
    effect.error_number = EIO;
    EXPECT_EQ(words_of(effect, "close"), "failed with EIO");
    effect.delay_us = 70;
    EXPECT_EQ(words_of(effect, "read"), "failed with EIO, took 70 us longer");
    effect = {};
    effect.delay_us = 70;
    EXPECT_EQ(words_of(effect, "open"), "took 70 us longer");
}

TEST(FaultEffect, IsHarmlessOnlyWithNothingSet) {
    EXPECT_TRUE(FaultEffect{}.is_harmless());
    FaultEffect effect;
    effect.delay_us = 1;
    EXPECT_FALSE(effect.is_harmless());
    effect = {};
    effect.short_count = 0;
    EXPECT_FALSE(effect.is_harmless());
    effect = {};
    effect.garbage = "";
    EXPECT_FALSE(effect.is_harmless());
    effect = {};
    effect.stale = true;
    EXPECT_FALSE(effect.is_harmless());
}

}  // namespace
